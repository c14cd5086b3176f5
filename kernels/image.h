// The small image view that every kernel works on, and the kernels' status codes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vitrella::kernels {

// Status of a kernel; callers test for kOk only.
enum Status : int32_t {
  kOk = 0,
  kSqrtOfNegative = 3,  // success, with a square root of a negative number met
  // Warps that write nothing, which callers take as no failure: the destination
  // quadrilateral misses the destination rectangle, or meets it between pixel centres.
  kNoOverlap = 0x1D,
  kNoPixelInside = 0x1E,
  kBadSize = -6,  // width or height below 1
  kNullPointer = -8,
  kNoMemory = -9,
  kBadPitch = -14,          // pitch below 1
  kBadInterpolation = -22,  // an interpolation code the kernel does not know
  kBadResizeFactor = -23,   // a scale factor that is not above 0, or not finite
  kBadMaskSize = -33,
  kBadQuadrilateral = -40,  // a warp's quadrilateral that is not convex, or degenerate
  kBadChannel = -60,        // channel index outside 0 to 3
};

// Interpolation codes of resizes and warps; they are bit flags.
inline constexpr int32_t kInterNearest = 1;
inline constexpr int32_t kInterLinear = 2;
inline constexpr int32_t kInterCubic = 4;
inline constexpr int32_t kInterSuper = 8;  // area averaging, for reductions by factors <= 1
// Asks a warp to smooth the edges of the warped picture.
inline constexpr int32_t kSmoothEdges = static_cast<int32_t>(0x80000000u);

// The interpolation code of a frame operation's mode: 0 nearest, 1 bilinear, 2 cubic,
// anything else bilinear.
inline int32_t InterpolationOfMode(int32_t mode) {
  return mode == 0 ? kInterNearest : mode == 2 ? kInterCubic : kInterLinear;
}

struct Size {
  int32_t width = 0;
  int32_t height = 0;
};

// Pixels in rows: the first row's address, the byte distance between rows (never
// assumed to equal the row length), and the extent in pixels.
template <typename Byte>
struct BasicView {
  Byte* data = nullptr;
  ptrdiff_t pitch = 0;
  int32_t width = 0;
  int32_t height = 0;

  template <typename T = Byte>
  T* Row(int32_t y) const {
    return reinterpret_cast<T*>(data + static_cast<ptrdiff_t>(y) * pitch);
  }
  Size Extent() const { return {width, height}; }
  // The view of a rectangle inside this one; pixelBytes is the size of one pixel.
  BasicView Sub(int32_t x, int32_t y, int32_t w, int32_t h, int32_t pixelBytes) const {
    return {data + static_cast<ptrdiff_t>(y) * pitch + static_cast<ptrdiff_t>(x) * pixelBytes,
            pitch, w, h};
  }
  operator BasicView<const Byte>() const { return {data, pitch, width, height}; }
};

using ImageView = BasicView<uint8_t>;
using ConstImageView = BasicView<const uint8_t>;

// The checks that open every kernel: pointers, then sizes, then pitches.
template <typename Byte>
Status CheckView(const BasicView<Byte>& view) {
  if (view.data == nullptr) return kNullPointer;
  if (view.width < 1 || view.height < 1) return kBadSize;
  if (view.pitch < 1) return kBadPitch;
  return kOk;
}

template <typename A, typename B>
Status CheckViews(const BasicView<A>& a, const BasicView<B>& b) {
  if (a.data == nullptr || b.data == nullptr) return kNullPointer;
  if (Status s = CheckView(a); s != kOk) return s;
  return CheckView(b);
}

inline Size MinSize(Size a, Size b) {
  return {a.width < b.width ? a.width : b.width, a.height < b.height ? a.height : b.height};
}

}  // namespace vitrella::kernels
