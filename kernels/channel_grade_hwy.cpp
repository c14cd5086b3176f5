// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/channel_grade_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cstring>

#include "kernels/channel_grade.h"
#include "kernels/channel_grade_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Whole 32-bit pixels per lane: each channel is shifted out, moved and looked up in 32-bit
// lanes, and shifted back; the other byte (alpha) goes through as it was.
void GradeRow8u_C4(const uint8_t* in, uint8_t* out, int32_t width, int32_t blueShift,
                   int32_t greenShift, int32_t redShift, bool move, int32_t amount,
                   const int32_t weights[3], const int32_t* const tables[3]) {
  const hn::ScalableTag<int32_t> d;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(d));
  const auto byte = hn::Set(d, 0xFF);
  const auto zero = hn::Zero(d);
  const auto keepMask = hn::Set(
      d,
      static_cast<int32_t>(~((0xFFu << blueShift) | (0xFFu << greenShift) | (0xFFu << redShift))));
  const auto keep = hn::Set(d, 127 - amount);
  const auto toward = hn::Set(d, amount);
  const auto wBlue = hn::Set(d, weights[0]);
  const auto wGreen = hn::Set(d, weights[1]);
  const auto wRed = hn::Set(d, weights[2]);
  const bool lookup = tables[0] != nullptr;
  const auto channel = [&](hn::Vec<decltype(d)> px, int32_t shift) {
    return hn::And(hn::ShiftRightSame(px, shift), byte);
  };
  int32_t x = 0;
  for (; x + lanes <= width; x += lanes) {
    const auto px = hn::LoadU(d, reinterpret_cast<const int32_t*>(in + 4 * x));
    auto blue = channel(px, blueShift);
    auto green = channel(px, greenShift);
    auto red = channel(px, redShift);
    if (move) {
      const auto luma = hn::ShiftRight<8>(
          hn::Add(hn::Add(hn::Mul(blue, wBlue), hn::Mul(green, wGreen)), hn::Mul(red, wRed)));
      const auto towardLuma = [&](hn::Vec<decltype(d)> c) {
        const auto moved = hn::ShiftRight<7>(hn::Add(hn::Mul(c, keep), hn::Mul(luma, toward)));
        return hn::Min(hn::Max(moved, zero), byte);
      };
      blue = towardLuma(blue);
      green = towardLuma(green);
      red = towardLuma(red);
    }
    if (lookup) {
      blue = hn::GatherIndex(d, tables[0], blue);
      green = hn::GatherIndex(d, tables[1], green);
      red = hn::GatherIndex(d, tables[2], red);
    }
    auto result = hn::And(px, keepMask);
    result = hn::Or(result, hn::ShiftLeftSame(blue, blueShift));
    result = hn::Or(result, hn::ShiftLeftSame(green, greenShift));
    result = hn::Or(result, hn::ShiftLeftSame(red, redShift));
    hn::StoreU(result, d, reinterpret_cast<int32_t*>(out + 4 * x));
  }
  ByteGradeSpec grade;
  grade.move = move;
  grade.amount = amount;
  grade.weightBlue = weights[0];
  grade.weightGreen = weights[1];
  grade.weightRed = weights[2];
  grade.blueTable = tables[0];
  grade.greenTable = tables[1];
  grade.redTable = tables[2];
  for (; x < width; ++x) {
    uint32_t px;
    std::memcpy(&px, in + 4 * x, 4);
    auto blue = static_cast<int32_t>((px >> blueShift) & 0xFF);
    auto green = static_cast<int32_t>((px >> greenShift) & 0xFF);
    auto red = static_cast<int32_t>((px >> redShift) & 0xFF);
    GradePixel(blue, green, red, grade);
    px &= ~((0xFFu << blueShift) | (0xFFu << greenShift) | (0xFFu << redShift));
    px |= static_cast<uint32_t>(blue) << blueShift | static_cast<uint32_t>(green) << greenShift |
          static_cast<uint32_t>(red) << redShift;
    std::memcpy(out + 4 * x, &px, 4);
  }
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(GradeRow8u_C4);

void GradeRow8u_C4(const uint8_t* in, uint8_t* out, int32_t width, int32_t blueShift,
                   int32_t greenShift, int32_t redShift, bool move, int32_t amount,
                   const int32_t weights[3], const int32_t* const tables[3]) {
  HWY_DYNAMIC_DISPATCH(GradeRow8u_C4)
  (in, out, width, blueShift, greenShift, redShift, move, amount, weights, tables);
}

}  // namespace vitrella::kernels::vector
#endif
