#include "kernels/channel_grade.h"

#include "kernels/channel_grade_hwy.h"
#include "kernels/dispatch.h"

namespace vitrella::kernels {

Status GradeChannels8u_C4(ConstImageView src, ImageView dst, ColourPositions at,
                          const ByteGradeSpec& grade) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  if (!AreThreeChannels(at)) return kBadChannel;
  const bool tables = grade.blueTable != nullptr;
  if (tables && (grade.greenTable == nullptr || grade.redTable == nullptr)) return kNullPointer;
  const Size size = MinSize(src.Extent(), dst.Extent());
  if (!UseReferenceKernels()) {
    const int32_t* const lookups[3] = {grade.blueTable, grade.greenTable, grade.redTable};
    const int32_t weights[3] = {grade.weightBlue, grade.weightGreen, grade.weightRed};
    alignas(64) uint16_t narrow[3 * 256] = {};
    for (int t = 0; tables && t < 3; ++t) {
      for (int i = 0; i < 256; ++i)
        narrow[256 * t + i] = static_cast<uint16_t>(lookups[t][i]);
    }
    for (int32_t y = 0; y < size.height; ++y) {
      vector::GradeRow8u_C4(src.Row(y), dst.Row(y), size.width, 8 * at.blue, 8 * at.green,
                            8 * at.red, grade.move, grade.amount, weights, lookups, narrow);
    }
    return kOk;
  }
  for (int32_t y = 0; y < size.height; ++y) {
    const uint8_t* in = src.Row(y);
    uint8_t* out = dst.Row(y);
    for (int32_t x = 0; x < size.width; ++x, in += 4, out += 4) {
      int32_t blue = in[at.blue];
      int32_t green = in[at.green];
      int32_t red = in[at.red];
      GradePixel(blue, green, red, grade);
      const int32_t alpha = 6 - at.blue - at.green - at.red;
      out[alpha] = in[alpha];
      out[at.blue] = static_cast<uint8_t>(blue);
      out[at.green] = static_cast<uint8_t>(green);
      out[at.red] = static_cast<uint8_t>(red);
    }
  }
  return kOk;
}

Status GradeChannels32f_C4(ConstImageView src, ImageView dst, ColourPositions at,
                           const FloatGradeSpec& grade) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  if (!AreThreeChannels(at)) return kBadChannel;
  const Size size = MinSize(src.Extent(), dst.Extent());
  const int32_t alpha = 6 - at.blue - at.green - at.red;
  for (int32_t y = 0; y < size.height; ++y) {
    const auto* in = reinterpret_cast<const float*>(src.Row(y));
    auto* out = reinterpret_cast<float*>(dst.Row(y));
    if (!UseReferenceKernels()) {
      vector::GradeRow32f_C4(in, out, size.width, at.blue, at.green, at.red, grade);
      continue;
    }
    for (int32_t x = 0; x < size.width; ++x, in += 4, out += 4) {
      float blue = in[at.blue];
      float green = in[at.green];
      float red = in[at.red];
      GradePixel(blue, green, red, grade);
      out[alpha] = in[alpha];
      out[at.blue] = blue;
      out[at.green] = green;
      out[at.red] = red;
    }
  }
  return kOk;
}

}  // namespace vitrella::kernels
