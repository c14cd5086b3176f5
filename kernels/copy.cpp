#include "kernels/copy.h"

#include <algorithm>
#include <cstring>

#include "kernels/dispatch.h"
#include "kernels/stream_hwy.h"
#include "kernels/transpose_hwy.h"

namespace vitrella::kernels {
namespace {

// Wide margins (a blur of 300 pixels has 152 on each side) are filled by doubling what
// is already written: a handful of long copies instead of one short copy per pixel.
void RepeatPixel(uint8_t* to, const uint8_t* pixel, int32_t count, int32_t pixelBytes) {
  if (count < 1) return;
  const size_t total = static_cast<size_t>(count) * pixelBytes;
  std::memcpy(to, pixel, pixelBytes);
  for (size_t done = pixelBytes; done < total;) {
    const size_t n = std::min(done, total - done);
    std::memcpy(to + done, to, n);
    done += n;
  }
}

// Square tiles small enough that a tile's source and destination rows stay in the
// first-level cache while it is turned: columns left..right - 1 of rows top..bottom - 1.
template <size_t kPixelBytes>
void TransposeTiles(ConstImageView src, ImageView dst, int32_t left, int32_t right, int32_t top,
                    int32_t bottom) {
  constexpr int32_t kTile = kPixelBytes > 4 ? 8 : 16;
  for (int32_t y0 = top; y0 < bottom; y0 += kTile) {
    const int32_t y1 = std::min(bottom, y0 + kTile);
    for (int32_t x0 = left; x0 < right; x0 += kTile) {
      const int32_t x1 = std::min(right, x0 + kTile);
      for (int32_t x = x0; x < x1; ++x) {
        uint8_t* to = dst.Row(x);
        const uint8_t* from = src.data + static_cast<ptrdiff_t>(x) * kPixelBytes;
        for (int32_t y = y0; y < y1; ++y) {
          std::memcpy(to + static_cast<ptrdiff_t>(y) * kPixelBytes, from + y * src.pitch,
                      kPixelBytes);
        }
      }
    }
  }
}

// Whole blocks in vector registers where the processor has them, tiles for the rest.
template <size_t kPixelBytes, typename Blocks>
void TransposeInBlocks(ConstImageView src, ImageView dst, int32_t width, int32_t height,
                       Blocks blocks) {
  vector::Covered covered{0, 0};
  if (!UseReferenceKernels())
    covered = blocks(src.data, src.pitch, dst.data, dst.pitch, width, height);
  TransposeTiles<kPixelBytes>(src, dst, covered.columns, width, 0, covered.rows);
  TransposeTiles<kPixelBytes>(src, dst, 0, width, covered.rows, height);
}

}  // namespace

Status TransposePixels(ConstImageView src, ImageView dst, int32_t pixelBytes) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  if (pixelBytes < 1) return kBadSize;
  const int32_t width = std::min(src.width, dst.height);
  const int32_t height = std::min(src.height, dst.width);
  switch (pixelBytes) {
    case 4:
      TransposeInBlocks<4>(src, dst, width, height, vector::TransposePixels4);
      break;
    case 16:
      TransposeInBlocks<16>(src, dst, width, height, vector::TransposePixels16);
      break;
    default:
      for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
          std::memcpy(dst.Row(x) + static_cast<ptrdiff_t>(y) * pixelBytes,
                      src.Row(y) + static_cast<ptrdiff_t>(x) * pixelBytes, pixelBytes);
        }
      }
  }
  return kOk;
}

Status CopyPixels(ConstImageView src, ImageView dst, int32_t pixelBytes) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  if (pixelBytes < 1) return kBadSize;
  const Size size = MinSize(src.Extent(), dst.Extent());
  const size_t rowBytes = static_cast<size_t>(size.width) * pixelBytes;
  if (src.pitch == dst.pitch && src.pitch == static_cast<ptrdiff_t>(rowBytes)) {
    std::memmove(dst.data, src.data, rowBytes * size.height);
    return kOk;
  }
  for (int32_t y = 0; y < size.height; ++y)
    std::memmove(dst.Row(y), src.Row(y), rowBytes);
  return kOk;
}

Status StreamPixels(ConstImageView src, ImageView dst, int32_t pixelBytes) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  if (pixelBytes < 1) return kBadSize;
  if (UseReferenceKernels()) return CopyPixels(src, dst, pixelBytes);
  const Size size = MinSize(src.Extent(), dst.Extent());
  const size_t rowBytes = static_cast<size_t>(size.width) * pixelBytes;
  for (int32_t y = 0; y < size.height; ++y) {
    if (!vector::StreamBytes(src.Row(y), dst.Row(y), rowBytes))
      std::memcpy(dst.Row(y), src.Row(y), rowBytes);
  }
  return kOk;
}

Status ReplicateBorder(ImageView frame, int32_t pixelBytes, int32_t left, int32_t top,
                       int32_t right, int32_t bottom) {
  if (Status s = CheckView(frame); s != kOk) return s;
  if (pixelBytes < 1 || left < 0 || top < 0 || right < 0 || bottom < 0) return kBadSize;
  const int32_t innerWidth = frame.width - left - right;
  const int32_t innerHeight = frame.height - top - bottom;
  if (innerWidth < 1 || innerHeight < 1) return kBadSize;
  const int32_t lastInner = left + innerWidth - 1;
  for (int32_t y = top; y < top + innerHeight; ++y) {
    uint8_t* row = frame.Row(y);
    RepeatPixel(row, row + left * pixelBytes, left, pixelBytes);
    RepeatPixel(row + (lastInner + 1) * pixelBytes, row + lastInner * pixelBytes, right,
                pixelBytes);
  }
  const size_t rowBytes = static_cast<size_t>(frame.width) * pixelBytes;
  for (int32_t y = 0; y < top; ++y)
    std::memcpy(frame.Row(y), frame.Row(top), rowBytes);
  const int32_t lastRow = top + innerHeight - 1;
  for (int32_t y = lastRow + 1; y < frame.height; ++y) {
    std::memcpy(frame.Row(y), frame.Row(lastRow), rowBytes);
  }
  return kOk;
}

Status CopyWithBorder(ConstImageView src, ImageView dst, int32_t pixelBytes, int32_t left,
                      int32_t top) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  if (pixelBytes < 1 || left < 0 || top < 0) return kBadSize;
  const int32_t width = std::min(src.width, dst.width - left);
  const int32_t height = std::min(src.height, dst.height - top);
  if (width < 1 || height < 1) return kBadSize;
  const ImageView inner = dst.Sub(left, top, width, height, pixelBytes);
  if (Status s = CopyPixels(src, inner, pixelBytes); s != kOk) return s;
  return ReplicateBorder(dst, pixelBytes, left, top, dst.width - left - width,
                         dst.height - top - height);
}

Status ClearPixels(ImageView frame, int32_t pixelBytes) {
  if (Status s = CheckView(frame); s != kOk) return s;
  if (pixelBytes < 1) return kBadSize;
  const size_t rowBytes = static_cast<size_t>(frame.width) * pixelBytes;
  for (int32_t y = 0; y < frame.height; ++y)
    std::memset(frame.Row(y), 0, rowBytes);
  return kOk;
}

Status FlipRowsInPlace(ImageView frame, int32_t rowBytes) {
  if (Status s = CheckView(frame); s != kOk) return s;
  if (rowBytes < 1) return kBadSize;
  uint8_t buffer[1024];
  for (int32_t y = 0; y < frame.height / 2; ++y) {
    uint8_t* a = frame.Row(y);
    uint8_t* b = frame.Row(frame.height - 1 - y);
    // In chunks through a small buffer: no allocation, whatever the row's length.
    for (int32_t done = 0; done < rowBytes;) {
      const int32_t n = std::min<int32_t>(rowBytes - done, sizeof(buffer));
      std::memcpy(buffer, a + done, n);
      std::memcpy(a + done, b + done, n);
      std::memcpy(b + done, buffer, n);
      done += n;
    }
  }
  return kOk;
}

Status CopyRowsFlipped(ConstImageView src, ImageView dst, int32_t rowBytes) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  if (rowBytes < 1) return kBadSize;
  const int32_t rows = std::min(src.height, dst.height);
  for (int32_t y = 0; y < rows; ++y) {
    std::memmove(dst.Row(rows - 1 - y), src.Row(y), static_cast<size_t>(rowBytes));
  }
  return kOk;
}

}  // namespace vitrella::kernels
