#include "effects/edge_smoother.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <type_traits>

#include "core/frame_buffer.h"
#include "core/render_setup.h"
#include "effects/step_search.h"
#include "kernels/bit_planes.h"
#include "kernels/copy.h"
#include "kernels/filter_gauss.h"
#include "kernels/marked_copy.h"

namespace vitrella {
namespace {

constexpr ParamDef kParams[] = {
    SliderParam("Strength", 0, 100, 0.605f, {0, 0, 48, 30}, "Adjusts how much of edge is smoothed"),
    CheckParam("Show changed pixels", false, {66, 0, 130, 10}, "Highlights area impacted"),
    CheckParam("Soften straight lines", false, {66, 30, 130, 10}, "Use if lines appears uneven"),
};

constexpr PresetDef kPresets[] = {
    {"Font Smoothing - Medium", {SliderValue(0.5001f), kOff, kOn}},
    {"Font Smoothing - Strong", {SliderValue(1.0f), kOff, kOn}},
    {"Font Smoothing - Weak", {SliderValue(0.2501f), kOff, kOn}},
    {"Reset to None", {SliderValue(0.0f), kOff, kOff}},
    {"Smooth SD to HD Upres", {SliderValue(0.975f), kOff, kOff}},
};

constexpr SliderId kStrength{0, "Strength"};
constexpr CheckId kShowChanged{1, "Show changed pixels"};
constexpr CheckId kSoftenLines{2, "Soften straight lines"};

static_assert(NamesMatch(kParams, kStrength, kShowChanged, kSoftenLines));
static_assert(TableIsWellFormed(kParams, kPresets));

constexpr EffectTable kTable{"Edge Smoother", kTraitsPlain, kParams, kPresets};

// The bordered copy of the source keeps image pixel (x, y) at (x + 2, y + 2).
constexpr int32_t kBorder = 2;

// The threshold below which two colours count as one: a high strength catches faint
// edges, and strength 1 makes any difference an edge.
int32_t Threshold(float strength) {
  if (!(strength >= 0.0f)) strength = 0.0f;  // also catches NaN
  strength = std::min(strength, 1.0f);
  return static_cast<int32_t>((1.0f - strength) * 255.0f);
}

// Whether more than one pixel in eight differs from the one below it, on every sixteenth
// row: the search then meets a pattern at most pixels, and reads the lines' matches as
// rows of bits rather than comparing colours.
template <typename T, typename Tolerance>
bool ManyEdges(const FrameBuffer& src, int32_t width, int32_t height, const PixelLayout& l,
               Tolerance tolerance) {
  int64_t differing = 0;
  int64_t seen = 0;
  const int32_t channels[3] = {l.red, l.green, l.blue};
  for (int32_t y = 0; y + 1 < height; y += 16) {
    const T* row = src.Row<const T>(y);
    const T* below = src.Row<const T>(y + 1);
    for (int32_t x = 0; x < width; ++x) {
      bool same = true;
      for (const int32_t c : channels) {
        const T a = row[4 * x + c];
        const T b = below[4 * x + c];
        same = same && (a > b ? a - b : b - a) <= tolerance;
      }
      differing += same ? 0 : 1;
    }
    seen += width;
  }
  return differing * 8 > seen;
}

// The set bits of a word, by halves of ever wider fields: std::popcount calls a library
// routine where the build may not assume the processor's own instruction.
constexpr int32_t CountBits(uint64_t bits) {
  bits -= (bits >> 1) & 0x5555555555555555ULL;
  bits = (bits & 0x3333333333333333ULL) + ((bits >> 2) & 0x3333333333333333ULL);
  bits = (bits + (bits >> 4)) & 0x0F0F0F0F0F0F0F0FULL;
  return static_cast<int32_t>((bits * 0x0101010101010101ULL) >> 56);
}
static_assert(CountBits(0) == 0 && CountBits(~uint64_t{0}) == 64 && CountBits(0x8001) == 2);

// Replaces the colour of each marked pixel: magenta where changes are shown, else the
// source's 3 by 3 Gaussian blur. A row with many marks is blurred whole and copied
// through its marks; one with few blurs just those pixels. With `written`, the
// destination holds the source already; else each row is written here whole, once: a
// row with many marks is put together in the cache and then streamed out.
template <typename T>
bool ApplyMarks(RenderSetup& setup, const FrameBuffer& bordered, const uint64_t* marks,
                ptrdiff_t markPitch, bool showChanged, bool written) {
  const FrameBuffer& src = setup.src();
  const FrameBuffer& dst = setup.dst();
  const int32_t width = setup.width();
  const int32_t pixelBytes = src.pixelBytes;
  const PixelLayout& layout = setup.srcLayout();
  const kernels::ColourPositions at{layout.blue, layout.green, layout.red};
  FrameBuffer given;  // the row the marked pixels take their colours from
  FrameBuffer line;   // a row put together before it is written
  if (!given.Allocate(width, 1, pixelBytes, &setup.memory(), src.format, false) ||
      (!written && !line.Allocate(width, 1, pixelBytes, &setup.memory(), src.format, false))) {
    return false;
  }
  if (showChanged) {
    constexpr T kFull = std::is_same_v<T, uint8_t> ? T(255) : T(1);
    T* px = given.Row<T>(0);
    for (int32_t x = 0; x < width; ++x, px += 4) {
      px[layout.red] = kFull;
      px[layout.green] = T(0);
      px[layout.blue] = kFull;
    }
  }
  const kernels::ConstImageView inside =
      bordered.View().Sub(kBorder, kBorder, width, setup.height(), pixelBytes);
  const ptrdiff_t words = (width + 63) / 64;
  const kernels::ImageView output = dst.View();
  for (int32_t y = 0; y < setup.height(); ++y) {
    const uint64_t* rowMarks = marks + y * markPitch;
    int32_t count = 0;
    for (ptrdiff_t w = 0; w < words; ++w)
      count += CountBits(rowMarks[w]);
    const kernels::ConstImageView source = inside.Sub(0, y, width, 1, pixelBytes);
    const kernels::ImageView target = output.Sub(0, y, width, 1, pixelBytes);
    const bool sparse = !showChanged && count * 8 < width;
    if (!written && (count == 0 || sparse)) {
      const kernels::Status copied = count == 0 ? kernels::StreamPixels(source, target, pixelBytes)
                                                : kernels::CopyPixels(source, target, pixelBytes);
      if (copied != kernels::kOk) return false;
    }
    if (count == 0) continue;
    T* out = dst.Row<T>(y);
    if (sparse) {
      const T* rows[3] = {bordered.Row<const T>(y + kBorder - 1) + 4 * kBorder,
                          bordered.Row<const T>(y + kBorder) + 4 * kBorder,
                          bordered.Row<const T>(y + kBorder + 1) + 4 * kBorder};
      for (ptrdiff_t w = 0; w < words; ++w) {
        for (uint64_t bits = rowMarks[w]; bits != 0; bits &= bits - 1) {
          const ptrdiff_t i = 4 * (64 * w + std::countr_zero(bits));
          for (const int32_t c : {at.blue, at.green, at.red})
            out[i + c] = kernels::Gauss3x3Tap(rows[0] + i + c, rows[1] + i + c, rows[2] + i + c);
        }
      }
      continue;
    }
    kernels::Status status = kernels::kOk;
    if (!showChanged) {
      status = std::is_same_v<T, uint8_t>
                   ? kernels::FilterGauss8u_C4(source, given.View(), kernels::kMask3x3)
                   : kernels::FilterGauss32f_C4(source, given.View(), kernels::kMask3x3);
    }
    T* into = out;
    if (!written && status == kernels::kOk) {
      into = line.Row<T>(0);
      status = kernels::CopyPixels(source, line.View(), pixelBytes);
    }
    if (status == kernels::kOk) {
      if constexpr (std::is_same_v<T, uint8_t>) {
        status = kernels::CopyMarked8u_C4(rowMarks, given.Row<const T>(0), into, width, at);
      } else {
        status = kernels::CopyMarked32f_C4(rowMarks, given.Row<const T>(0), into, width, at);
      }
    }
    if (!written && status == kernels::kOk)
      status = kernels::StreamPixels(line.View(), target, pixelBytes);
    if (status != kernels::kOk) return false;
  }
  return true;
}

template <typename T>
bool Smooth(RenderSetup& setup, int32_t threshold, bool showChanged, bool softenLines) {
  const FrameBuffer& src = setup.src();
  FrameBuffer& dst = setup.dst();
  const int32_t width = setup.width();
  const int32_t height = setup.height();
  FrameBuffer bordered;
  if (!bordered.Allocate(width + 2 * kBorder, height + 2 * kBorder, src.pixelBytes, &setup.memory(),
                         src.format, src.flipped != 0)) {
    return false;
  }
  // The destination keeps the source, alpha included, but for the colours of marked
  // pixels. Floats compare on their own scale: the byte threshold over 255. A quick look
  // at every sixteenth row says whether the search will meet a pattern at most pixels.
  // Where it will not, the destination takes the source as the bordered copy does, from
  // the same read, and few of its rows change after; where it will, most rows change,
  // and each is written once, after the search.
  const PixelLayout& layout = setup.srcLayout();
  const auto tolerance = [threshold] {
    if constexpr (std::is_same_v<T, float>) {
      return static_cast<float>(threshold) * 0.003921569f;
    } else {
      return threshold;
    }
  }();
  const bool many = ManyEdges<T>(src, width, height, layout, tolerance);
  const int32_t pixelBytes = src.pixelBytes;
  const kernels::ConstImageView picture = src.View().Sub(0, 0, width, height, pixelBytes);
  const kernels::ImageView inside =
      bordered.View().Sub(kBorder, kBorder, width, height, pixelBytes);
  const kernels::ImageView out = dst.View();
  for (int32_t y = 0; y < height; ++y) {
    const kernels::ConstImageView row = picture.Sub(0, y, width, 1, pixelBytes);
    if (kernels::CopyPixels(row, inside.Sub(0, y, width, 1, pixelBytes), pixelBytes) !=
            kernels::kOk ||
        (!many && kernels::StreamPixels(row, out.Sub(0, y, width, 1, pixelBytes), pixelBytes) !=
                      kernels::kOk)) {
      return false;
    }
  }
  if (kernels::ReplicateBorder(bordered.View(), pixelBytes, kBorder, kBorder, kBorder, kBorder) !=
      kernels::kOk) {
    return false;
  }
  // The column pass reads its lines along memory, transposed a strip at a time.
  FrameBuffer strip;
  if (!strip.Allocate(height + 2 * kBorder, StepStripRows(height, pixelBytes), pixelBytes,
                      &setup.memory(), src.format, false)) {
    return false;
  }
  // The marks as rows of bits, from the library's own memory: its rows, of four-byte
  // pixels, are aligned as 64-bit words want, which a host's allocator need not give.
  const ptrdiff_t rowWords = StepMarkWords(width);
  const ptrdiff_t columnWords = StepMarkWords(height);
  FrameBuffer rowMarks;
  FrameBuffer columnMarks;
  if (!rowMarks.Allocate(static_cast<int32_t>(2 * rowWords), height, 4, nullptr, src.format,
                         false) ||
      !columnMarks.Allocate(static_cast<int32_t>(2 * columnWords), width, 4, nullptr, src.format,
                            false) ||
      kernels::ClearPixels(rowMarks.View(), 4) != kernels::kOk ||
      kernels::ClearPixels(columnMarks.View(), 4) != kernels::kOk) {
    return false;
  }
  const StepSource source{&bordered, &strip, width, height, layout.red, layout.green, layout.blue};
  const StepMarks marks{rowMarks.Row<uint64_t>(0), rowMarks.pitch / 8, columnMarks.Row<uint64_t>(0),
                        columnMarks.pitch / 8};
  bool searched = false;
  if constexpr (std::is_same_v<T, float>) {
    searched = SearchSteps32f(source, tolerance, softenLines, many, marks);
  } else {
    searched = SearchSteps8u(source, tolerance, softenLines, many, marks);
  }
  // What the walk down the columns marked joins what the one along the rows did.
  searched = searched && kernels::OrTransposedBits(marks.columns, marks.columnPitch, width, height,
                                                   marks.rows, marks.rowPitch) == kernels::kOk;
  return searched && ApplyMarks<T>(setup, bordered, marks.rows, marks.rowPitch, showChanged, !many);
}

}  // namespace

CEdgeSmoother::CEdgeSmoother() : EffectBase(kTable) {}

bool CEdgeSmoother::Render(IEffectHost* host, const HostFrame* source, uintptr_t /*unused*/,
                           HostFrame* destination, const RenderInfo* info) {
  RenderSetup setup(host, source, destination, info);
  if (!setup) return false;
  const ParamReader params(host);
  const bool showChanged = params.Read(kShowChanged);
  const int32_t threshold = Threshold(params.Read(kStrength));
  const bool softenLines = params.Read(kSoftenLines);
  return BySampleType(setup.srcLayout().isFloat, [&]<typename T>(Samples<T>) {
    return Smooth<T>(setup, threshold, showChanged, softenLines);
  });
}

}  // namespace vitrella
