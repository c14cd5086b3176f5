#include "kernels/glow.h"

#include <algorithm>

#include "kernels/dispatch.h"
#include "kernels/glow_hwy.h"

namespace vitrella::kernels {
namespace {

bool ValidAlpha(int32_t alpha) {
  return alpha == 0 || alpha == 3;
}

}  // namespace

Status DimChannels8u_C4(ConstImageView src, ImageView dst, int32_t alpha, int32_t q) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  if (!ValidAlpha(alpha)) return kBadChannel;
  // Alpha's factor of 255 gives it back exactly.
  uint32_t factor[4];
  for (int c = 0; c < 4; ++c)
    factor[c] = c == alpha ? 255u : static_cast<uint32_t>(std::clamp(q, 0, 255));
  const Size size = MinSize(src.Extent(), dst.Extent());
  for (int32_t y = 0; y < size.height; ++y) {
    const uint8_t* in = src.Row(y);
    uint8_t* out = dst.Row(y);
    for (int32_t x = 0; x < size.width; ++x, in += 4, out += 4) {
      for (int c = 0; c < 4; ++c)
        out[c] = static_cast<uint8_t>((in[c] * factor[c] + 127) / 255);
    }
  }
  return kOk;
}

Status DimChannels32f_C4(ConstImageView src, ImageView dst, int32_t alpha, float m) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  if (!ValidAlpha(alpha)) return kBadChannel;
  float factor[4];
  for (int c = 0; c < 4; ++c)
    factor[c] = c == alpha ? 1.0f : m;
  const Size size = MinSize(src.Extent(), dst.Extent());
  for (int32_t y = 0; y < size.height; ++y) {
    const float* in = src.Row<const float>(y);
    float* out = dst.Row<float>(y);
    for (int32_t x = 0; x < size.width; ++x, in += 4, out += 4) {
      for (int c = 0; c < 4; ++c)
        out[c] = in[c] * factor[c];
    }
  }
  return kOk;
}

Status BrightMask8u_C4(ConstImageView src, ImageView mask, int32_t alpha, ByteThresholds t) {
  if (Status s = CheckViews(src, mask); s != kOk) return s;
  if (!ValidAlpha(alpha)) return kBadChannel;
  const int32_t first = alpha == 0 ? 1 : 0;
  const auto value = [t](int32_t s) {
    const int32_t v = s < t.low ? 0 : s < t.high ? s - t.low : 2 * s - t.high;
    return std::min(v / 3, 255);
  };
  // The vector rows look the mask up by the sum.
  const bool plain = UseReferenceKernels();
  int32_t table[766];
  if (!plain) {
    for (int32_t s = 0; s < 766; ++s)
      table[s] = value(s);
  }
  const Size size = MinSize(src.Extent(), mask.Extent());
  for (int32_t y = 0; y < size.height; ++y) {
    const uint8_t* in = src.Row(y);
    uint8_t* out = mask.Row(y);
    const int32_t done =
        plain ? 0 : vector::BrightMaskPixels8u(in, out, size.width, 8 * first, table);
    in += 4 * done + first;
    for (int32_t x = done; x < size.width; ++x, in += 4)
      out[x] = static_cast<uint8_t>(value(in[0] + in[1] + in[2]));
  }
  return kOk;
}

Status BrightMask32f_C4(ConstImageView src, ImageView mask, int32_t alpha, FloatThresholds t) {
  if (Status s = CheckViews(src, mask); s != kOk) return s;
  if (!ValidAlpha(alpha)) return kBadChannel;
  const int32_t first = alpha == 0 ? 1 : 0;
  const Size size = MinSize(src.Extent(), mask.Extent());
  for (int32_t y = 0; y < size.height; ++y) {
    const float* in = src.Row<const float>(y) + first;
    float* out = mask.Row<float>(y);
    for (int32_t x = 0; x < size.width; ++x, in += 4) {
      const float s = in[0] + in[1] + in[2];
      const float v = s < t.low ? 0.0f : s < t.high ? s - t.low : (s - t.high) * 2.0f + t.high;
      const float m = v * 0.33333f;
      out[x] = m > 0.0f ? std::min(m, 1.0f) : 0.0f;
    }
  }
  return kOk;
}

Status AddGlow8u_C4(ConstImageView mask, ImageView dst, int32_t alpha, int32_t strength,
                    const int32_t gains[4]) {
  if (Status s = CheckViews(mask, dst); s != kOk) return s;
  if (gains == nullptr) return kNullPointer;
  if (!ValidAlpha(alpha)) return kBadChannel;
  // Gains past 0..3 and strengths past a whole mask are no glow of this effect.
  strength = std::clamp(strength, 0, 256);
  int32_t gain[4];
  for (int c = 0; c < 4; ++c)
    gain[c] = c == alpha ? 0 : std::clamp(gains[c], 0, 3);
  // The vector rows add each mask value's four bytes from a table, saturating; the added
  // byte may be limited to 255 first, since the sum is limited to 255 anyway.
  const bool plain = UseReferenceKernels();
  int32_t table[256];
  if (!plain) {
    for (int32_t m = 0; m < 256; ++m) {
      const int32_t glow = (m * strength + 128) >> 8;
      uint32_t word = 0;
      for (int c = 0; c < 4; ++c)
        word |= static_cast<uint32_t>(std::min(glow * gain[c], 255)) << (8 * c);
      table[m] = static_cast<int32_t>(word);
    }
  }
  const Size size = MinSize(mask.Extent(), dst.Extent());
  for (int32_t y = 0; y < size.height; ++y) {
    const uint8_t* m = mask.Row(y);
    uint8_t* out = dst.Row(y);
    const int32_t done = plain ? 0 : vector::AddGlowPixels8u(m, out, size.width, table);
    out += 4 * done;
    for (int32_t x = done; x < size.width; ++x, out += 4) {
      const int32_t glow = (m[x] * strength + 128) >> 8;
      for (int c = 0; c < 4; ++c)
        out[c] = static_cast<uint8_t>(std::min(out[c] + glow * gain[c], 255));
    }
  }
  return kOk;
}

Status AddGlow32f_C4(ConstImageView mask, ImageView dst, int32_t alpha, float strength,
                     const int32_t gains[4]) {
  if (Status s = CheckViews(mask, dst); s != kOk) return s;
  if (gains == nullptr) return kNullPointer;
  if (!ValidAlpha(alpha)) return kBadChannel;
  float gain[4];
  for (int c = 0; c < 4; ++c)
    gain[c] = c == alpha ? 0.0f : static_cast<float>(gains[c]);
  const Size size = MinSize(mask.Extent(), dst.Extent());
  for (int32_t y = 0; y < size.height; ++y) {
    const float* m = mask.Row<const float>(y);
    float* out = dst.Row<float>(y);
    for (int32_t x = 0; x < size.width; ++x, out += 4) {
      const float glow = m[x] * strength;
      for (int c = 0; c < 4; ++c) {
        if (c != alpha) out[c] = std::min(out[c] + glow * gain[c], 1.0f);
      }
    }
  }
  return kOk;
}

}  // namespace vitrella::kernels
