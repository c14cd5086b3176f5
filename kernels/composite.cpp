#include "kernels/composite.h"

#include <algorithm>
#include <type_traits>

#include "kernels/composite_hwy.h"
#include "kernels/dispatch.h"

namespace vitrella::kernels {
namespace {

bool ValidAlpha(int32_t alpha) {
  return alpha == 0 || alpha == 3;
}

// The arithmetic of one pixel in bytes.
struct ByteMath {
  using T = uint8_t;
  static uint8_t Premultiply(uint32_t c, uint32_t a) { return static_cast<uint8_t>(c * a / 255); }
  static void Over(const uint8_t* f, const uint8_t* b, uint8_t* o, int32_t alpha,
                   bool premultiplied) {
    const uint32_t fa = f[alpha];
    const uint32_t inverse = 255 - fa;
    if (premultiplied) {
      for (int c = 0; c < 4; ++c) {
        if (c == alpha) continue;
        o[c] = static_cast<uint8_t>(std::min(255u, b[c] * inverse / 255 + f[c]));
      }
      o[alpha] = static_cast<uint8_t>(std::min(255u, b[alpha] * inverse / 255 + fa));
      return;
    }
    const uint32_t t = std::min(255u, b[alpha] * inverse / 255);
    for (int c = 0; c < 4; ++c) {
      if (c == alpha) continue;
      o[c] = static_cast<uint8_t>(std::min(255u, (f[c] * fa + b[c] * t) / 255));
    }
    o[alpha] = static_cast<uint8_t>(std::min(255u, fa + t));
  }
};

// The same in floats, alpha 0..1, with no truncation.
struct FloatMath {
  using T = float;
  static float Premultiply(float c, float a) { return c * a; }
  static void Over(const float* f, const float* b, float* o, int32_t alpha, bool premultiplied) {
    const float fa = f[alpha];
    const float inverse = 1.0f - fa;
    if (premultiplied) {
      for (int c = 0; c < 4; ++c) {
        if (c != alpha) o[c] = std::min(1.0f, b[c] * inverse + f[c]);
      }
      o[alpha] = std::min(1.0f, b[alpha] * inverse + fa);
      return;
    }
    const float t = std::min(1.0f, b[alpha] * inverse);
    for (int c = 0; c < 4; ++c) {
      if (c != alpha) o[c] = std::min(1.0f, f[c] * fa + b[c] * t);
    }
    o[alpha] = std::min(1.0f, fa + t);
  }
};

template <typename Math>
Status Premultiply(ConstImageView src, ImageView dst, int32_t alpha) {
  using T = typename Math::T;
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  if (!ValidAlpha(alpha)) return kBadChannel;
  const Size size = MinSize(src.Extent(), dst.Extent());
  for (int32_t y = 0; y < size.height; ++y) {
    const T* in = src.Row<const T>(y);
    T* out = dst.Row<T>(y);
    for (int32_t x = 0; x < size.width; ++x) {
      const T a = in[4 * x + alpha];
      for (int c = 0; c < 4; ++c) {
        out[4 * x + c] = c == alpha ? a : Math::Premultiply(in[4 * x + c], a);
      }
    }
  }
  return kOk;
}

template <typename Math>
Status Composite(ConstImageView foreground, ConstImageView background, ImageView dst, int32_t alpha,
                 bool premultiplied) {
  using T = typename Math::T;
  if (Status s = CheckViews(foreground, background); s != kOk) return s;
  if (Status s = CheckView(dst); s != kOk) return s;
  if (!ValidAlpha(alpha)) return kBadChannel;
  const Size size = MinSize(MinSize(foreground.Extent(), background.Extent()), dst.Extent());
  for (int32_t y = 0; y < size.height; ++y) {
    const T* f = foreground.Row<const T>(y);
    const T* b = background.Row<const T>(y);
    T* o = dst.Row<T>(y);
    for (int32_t x = 0; x < size.width; ++x) {
      // Through a copy, so that dst may be one of the inputs.
      T pixel[4];
      Math::Over(f + 4 * x, b + 4 * x, pixel, alpha, premultiplied);
      std::copy(pixel, pixel + 4, o + 4 * x);
    }
  }
  return kOk;
}

// The mix of one pixel through a mask value, bytes and floats, shared with the vector rows.
void ThroughMask(const uint8_t* f, uint8_t* b, uint32_t m, int32_t alpha) {
  const uint32_t t = std::min(255U, b[alpha] * (255 - m) / 255);
  for (int c = 0; c < 4; ++c) {
    if (c != alpha) b[c] = static_cast<uint8_t>(std::min(255U, (f[c] * m + b[c] * t) / 255));
  }
}
void ThroughMask(const float* f, float* b, float m, int32_t alpha) {
  for (int c = 0; c < 4; ++c) {
    if (c == alpha) continue;
    if (m == 0.0f) {
      b[c] = std::min(1.0f, 0.0f + b[c] * std::min(1.0f, b[alpha] * 1.0f));
    } else if (m == 1.0f) {
      b[c] = std::min(1.0f, f[c] + 0.0f);
    } else {
      b[c] = std::min(1.0f, f[c] * m + b[c] * std::min(1.0f, b[alpha] * (1.0f - m)));
    }
  }
}

template <typename T>
Status ThroughMaskRows(ConstImageView foreground, ImageView background, ConstImageView mask,
                       int32_t alpha) {
  if (Status s = CheckViews(foreground, background); s != kOk) return s;
  if (Status s = CheckView(mask); s != kOk) return s;
  if (!ValidAlpha(alpha)) return kBadChannel;
  const Size size = MinSize(MinSize(foreground.Extent(), background.Extent()), mask.Extent());
  for (int32_t y = 0; y < size.height; ++y) {
    const T* f = foreground.Row<const T>(y);
    T* b = background.Row<T>(y);
    const T* m = mask.Row<const T>(y);
    int32_t done = 0;
    if (!UseReferenceKernels()) {
      if constexpr (std::is_same_v<T, uint8_t>) {
        vector::ThroughMaskRow8u_C4(f, b, m, size.width, alpha);
        continue;
      } else {
        done = vector::ThroughMaskRow32f_C4(f, b, m, size.width, alpha);
      }
    }
    for (int32_t x = done; x < size.width; ++x)
      ThroughMask(f + 4 * x, b + 4 * x, m[x], alpha);
  }
  return kOk;
}

}  // namespace

Status PremultiplyAlpha8u_C4(ConstImageView src, ImageView dst, int32_t alpha) {
  return Premultiply<ByteMath>(src, dst, alpha);
}

Status PremultiplyAlpha32f_C4(ConstImageView src, ImageView dst, int32_t alpha) {
  return Premultiply<FloatMath>(src, dst, alpha);
}

Status Composite8u_C4(ConstImageView foreground, ConstImageView background, ImageView dst,
                      int32_t alpha, bool premultiplied) {
  return Composite<ByteMath>(foreground, background, dst, alpha, premultiplied);
}

Status Composite32f_C4(ConstImageView foreground, ConstImageView background, ImageView dst,
                       int32_t alpha, bool premultiplied) {
  return Composite<FloatMath>(foreground, background, dst, alpha, premultiplied);
}

Status CompositeThroughMask8u_C4(ConstImageView foreground, ImageView background,
                                 ConstImageView mask, int32_t alpha) {
  return ThroughMaskRows<uint8_t>(foreground, background, mask, alpha);
}

Status CompositeThroughMask32f_C4(ConstImageView foreground, ImageView background,
                                  ConstImageView mask, int32_t alpha) {
  return ThroughMaskRows<float>(foreground, background, mask, alpha);
}

}  // namespace vitrella::kernels
