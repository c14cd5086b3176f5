#include "core/frame_blur.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "core/frame_ops.h"
#include "kernels/channels.h"
#include "kernels/copy.h"
#include "kernels/linear_filter.h"

namespace vitrella {
namespace {

constexpr int32_t kLongestBlur = 1000;

// Sizes count in whole pixels; NaN and anything below 1 mean no blur.
int32_t BlurLength(float size) {
  if (!(size >= 1.0f)) return 0;
  return size >= kLongestBlur ? kLongestBlur : static_cast<int32_t>(size);
}

// The weights 1, 2, ..., m, ..., 2, 1 with m = (n + 1) / 2, the peak twice for an even n;
// their sum m (m + 1), less m for an odd n, divides bytes, and floats are normalised.
struct Triangle {
  explicit Triangle(int32_t n) : length(n) {
    for (int32_t i = 0; i < n; ++i) {
      weights[i] = std::min(i + 1, n - i);
      sum += weights[i];
    }
    for (int32_t i = 0; i < n; ++i)
      normalised[i] = static_cast<float>(static_cast<double>(weights[i]) / sum);
  }
  int32_t length;
  int32_t sum = 0;
  int32_t weights[kLongestBlur];
  float normalised[kLongestBlur];
};

// Repeats the edges of the part (x, y, w, h) of a frame over the part's own margins, in
// place: the inner rectangle, shrunk by the margins, is what gets repeated.
bool RefillMargins(const FrameBuffer& frame, int32_t x, int32_t y, int32_t w, int32_t h,
                   int32_t marginX, int32_t marginY) {
  FrameBuffer part;
  part.Attach(frame.data + static_cast<ptrdiff_t>(y) * frame.pitch +
                  static_cast<ptrdiff_t>(x) * frame.pixelBytes,
              w, h, frame.pitch, frame.pixelBytes, frame.format, false);
  return CopyWithBorder(part, part, marginX, marginY);
}

// One pass on the kernel of the destination's format.
bool Pass(bool alongRows, PixelFormat format, kernels::ConstImageView from, kernels::ImageView to,
          const Triangle& kernel, int32_t copiedChannel) {
  using kernels::ColumnFilter32f_C1, kernels::ColumnFilter32f_C4, kernels::ColumnFilter8u_C1,
      kernels::ColumnFilter8u_C4, kernels::RowFilter32f_C1, kernels::RowFilter32f_C4,
      kernels::RowFilter8u_C1, kernels::RowFilter8u_C4;
  const int32_t n = kernel.length;
  const int32_t anchor = n / 2;
  kernels::Status status = kernels::kOk;
  switch (format) {
    case PixelFormat8BGRA:
    case PixelFormat8ARGB:
      status = (alongRows ? RowFilter8u_C4 : ColumnFilter8u_C4)(from, to, kernel.weights, n, anchor,
                                                                kernel.sum, copiedChannel);
      break;
    case PixelFormat8Gray:
      status = (alongRows ? RowFilter8u_C1 : ColumnFilter8u_C1)(from, to, kernel.weights, n, anchor,
                                                                kernel.sum);
      break;
    case PixelFormat32FBGRA:
    case PixelFormat32FARGB:
      status = (alongRows ? RowFilter32f_C4 : ColumnFilter32f_C4)(from, to, kernel.normalised, n,
                                                                  anchor, copiedChannel);
      break;
    case PixelFormat32FGray:
      status = (alongRows ? RowFilter32f_C1 : ColumnFilter32f_C1)(from, to, kernel.normalised, n,
                                                                  anchor);
      break;
  }
  return status == kernels::kOk;
}

// The rows base[clamp(p - before, low, high)] + offset for p = 0 .. count - 1: a picture's
// lines with their edges repeated, without margins in memory.
std::unique_ptr<const uint8_t* []> ClampedRows(const uint8_t* base, ptrdiff_t pitch,
                                               ptrdiff_t offset, int32_t count, int32_t before,
                                               int32_t low, int32_t high) {
  std::unique_ptr<const uint8_t*[]> rows(new (std::nothrow) const uint8_t*[count]);
  if (rows == nullptr) return rows;
  for (int32_t p = 0; p < count; ++p) {
    const int32_t line = std::clamp(p - before, low, high);
    rows[p] = base + static_cast<ptrdiff_t>(line) * pitch + offset;
  }
  return rows;
}

// The transposed column pass of one kernel on the destination's format.
bool TransposedPass(PixelFormat format, const uint8_t* const* rows, int32_t width, int32_t height,
                    kernels::ImageView to, const Triangle& kernel, int32_t copiedChannel) {
  const int32_t n = kernel.length;
  if (!IsFloatFormat(format)) {
    return kernels::TransposedColumnFilter8u_C4(rows, width, height, to, kernel.weights, n, n / 2,
                                                kernel.sum, copiedChannel);
  }
  return kernels::TransposedColumnFilter32f_C4(rows, width, height, to, kernel.normalised, n, n / 2,
                                               copiedChannel);
}

bool TakesTransposedPass(PixelFormat format, const Triangle& kernel) {
  switch (format) {
    case PixelFormat8BGRA:
    case PixelFormat8ARGB:
      return kernels::TakesTransposedColumnFilter8u(kernel.weights, kernel.length, kernel.sum);
    case PixelFormat32FBGRA:
    case PixelFormat32FARGB:
      return kernels::TakesTransposedColumnFilter32f(kernel.normalised, kernel.length);
    default:
      return false;
  }
}

// Four-channel pictures in the destination's order blur without margins: the column pass
// reads the source through clamped rows and writes its result transposed, so that the row
// pass filters columns too, and writes back transposed into place. The edges come out as
// with margins: the inner rectangle repeats outward, and the rows outside it copy its
// first and last rows. False, with nothing written, where the kernels filter with margins
// only.
bool BlurTransposed(const FrameBuffer& src, FrameBuffer& dst, int32_t width, int32_t height,
                    const Triangle& kernelX, const Triangle& kernelY, int32_t insetX,
                    int32_t insetY, int32_t copiedChannel, MemoryAllocator* allocator) {
  const PixelFormat format = dst.format;
  if (src.format != format || !TakesTransposedPass(format, kernelX) ||
      !TakesTransposedPass(format, kernelY)) {
    return false;
  }
  const int32_t bytes = dst.pixelBytes;
  const int32_t innerWidth = width - 2 * insetX;
  const int32_t innerHeight = height - 2 * insetY;
  const int32_t nx = kernelX.length;
  const int32_t ny = kernelY.length;
  FrameBuffer turned;
  if (!turned.Allocate(innerHeight, innerWidth, bytes, allocator, format, false)) return false;
  const auto down = ClampedRows(src.data, src.pitch, ptrdiff_t{bytes} * insetX,
                                innerHeight + ny - 1, ny / 2 - insetY, insetY, height - 1 - insetY);
  const auto across =
      ClampedRows(turned.data, turned.pitch, 0, width + nx - 1, nx / 2 + insetX, 0, innerWidth - 1);
  const kernels::ImageView inner = dst.View().Sub(0, insetY, width, innerHeight, bytes);
  if (down == nullptr || across == nullptr ||
      !TransposedPass(format, down.get(), innerWidth, innerHeight, turned.View(), kernelY,
                      copiedChannel) ||
      !TransposedPass(format, across.get(), innerHeight, width, inner, kernelX, copiedChannel)) {
    return false;
  }
  const size_t rowBytes = static_cast<size_t>(bytes) * static_cast<size_t>(width);
  for (int32_t y = 0; y < insetY; ++y) {
    std::memcpy(dst.View().Row(y), inner.Row(0), rowBytes);
    std::memcpy(dst.View().Row(height - 1 - y), inner.Row(innerHeight - 1), rowBytes);
  }
  return true;
}

}  // namespace

bool FrameBlur(const FrameBuffer& src, FrameBuffer& dst, float sizeX, float sizeY,
               MemoryAllocator* allocator, uint8_t blurAlpha) {
  const int32_t nx = BlurLength(sizeX);
  const int32_t ny = BlurLength(sizeY);
  if (nx < 1 || ny < 1) return CopyFrame(src, dst);
  if (src.pixelBytes != dst.pixelBytes || !IsConsistent(src) || !IsConsistent(dst)) return false;
  const int32_t width = std::min(src.width, dst.width);
  const int32_t height = std::min(src.height, dst.height);
  const int32_t hx = nx / 2;
  const int32_t hy = ny / 2;
  constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
  if (width < 1 || height < 1 || width > kMax - 2 * hx || height > kMax - 2 * hy) return false;

  // The margins repeat the picture's edges, but from two pixels inside them: the outer two
  // rows and columns give way to the third. A frame of fewer than five pixels keeps its
  // middle one or two instead.
  const int32_t insetX = std::min(2, (width - 1) / 2);
  const int32_t insetY = std::min(2, (height - 1) / 2);
  int32_t copiedChannel = kernels::kFilterAllChannels;
  PixelLayout layout;
  if (!blurAlpha && FourChannelLayout(dst, &layout)) copiedChannel = layout.alpha;
  const Triangle kernelX(nx);
  const Triangle kernelY(ny);
  if (BlurTransposed(src, dst, width, height, kernelX, kernelY, insetX, insetY, copiedChannel,
                     allocator)) {
    return true;
  }

  const int32_t bytes = dst.pixelBytes;
  FrameBuffer first;
  FrameBuffer second;
  const bool flipped = dst.flipped != 0;
  if (!first.Allocate(width + 2 * hx, height + 2 * hy, bytes, allocator, dst.format, flipped) ||
      !second.Allocate(width + 2 * hx, height + 2 * hy, bytes, allocator, dst.format, flipped)) {
    return false;
  }

  // The picture enters the first frame at (hx, hy) in the destination's channel order.
  const kernels::ImageView picture = first.View().Sub(hx, hy, width, height, bytes);
  if (kernels::CopyPixels(src.View(), picture, bytes) != kernels::kOk) return false;
  if ((src.format == PixelFormat8ARGB && dst.format == PixelFormat8BGRA) ||
      (src.format == PixelFormat32FARGB && dst.format == PixelFormat32FBGRA)) {
    const kernels::Status reversed = bytes == 4 ? kernels::ReverseChannels8u_C4(picture, picture)
                                                : kernels::ReverseChannels32f_C4(picture, picture);
    if (reversed != kernels::kOk) return false;
  }

  const int32_t innerWidth = width - 2 * insetX;
  const int32_t innerHeight = height - 2 * insetY;
  // The column pass writes only the columns that the second refill keeps, and so reads
  // only the top and bottom margins of those columns; nothing else needs filling.
  if (!RefillMargins(first, hx + insetX, 0, innerWidth, height + 2 * hy, 0, hy + insetY)) {
    return false;
  }

  const kernels::ImageView columnsIn =
      first.View().Sub(hx + insetX, hy + insetY, innerWidth, innerHeight, bytes);
  const kernels::ImageView columnsOut =
      second.View().Sub(hx + insetX, hy + insetY, innerWidth, innerHeight, bytes);
  if (!Pass(false, dst.format, columnsIn, columnsOut, kernelY, copiedChannel)) return false;
  // The row pass reads the rows of the picture, margins included.
  if (!RefillMargins(second, 0, hy, width + 2 * hx, height, hx + insetX, insetY)) return false;
  const kernels::ImageView rowsIn = second.View().Sub(hx, hy, width, height, bytes);
  const kernels::ImageView rowsOut = dst.View().Sub(0, 0, width, height, bytes);
  return Pass(true, dst.format, rowsIn, rowsOut, kernelX, copiedChannel);
}

}  // namespace vitrella
