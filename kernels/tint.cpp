#include "kernels/tint.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <utility>

#include "kernels/dispatch.h"
#include "kernels/tint_hwy.h"

namespace vitrella::kernels {
namespace {

template <typename T>
constexpr float kFull = sizeof(T) == 1 ? 255.0f : 1.0f;

Status CheckAll(std::initializer_list<ConstImageView> views) {
  for (const ConstImageView& view : views) {
    if (Status s = CheckView(view); s != kOk) return s;
  }
  return kOk;
}

int32_t Extent(std::initializer_list<int32_t> sizes) {
  return *std::min_element(sizes.begin(), sizes.end());
}

bool ValidPlaces(const ColourPlaces& p) {
  const auto ok = [](int32_t c) { return c >= 0 && c < 4; };
  return ok(p.red) && ok(p.green) && ok(p.blue) && ok(p.alpha);
}

template <typename T>
float MaskValue(const uint8_t* row, int32_t x, int32_t step) {
  T value;
  std::memcpy(&value, row + static_cast<ptrdiff_t>(x) * step, sizeof(T));
  return static_cast<float>(value);
}

// 65535 / d for every byte difference d, so that the match divides by a table.
struct InverseDeltas {
  int32_t of[256];
  constexpr InverseDeltas() : of() {
    for (int32_t d = 1; d < 256; ++d)
      of[d] = 65535 / d;
  }
};
constexpr InverseDeltas kInverseDeltas;

// The 768-step hue of the eight-bit colour match: blue tested first, then green.
int32_t MatchHue8(int32_t r, int32_t g, int32_t b) {
  const int32_t high = std::max({r, g, b});
  const int32_t delta = high - std::min({r, g, b});
  if (delta < 1) return 0;
  const int32_t k = kInverseDeltas.of[delta];
  if (b == high) {
    const int32_t h = ((g - r) * k) >> 9;
    return h < 0 ? h + 768 : h;
  }
  if (g == high) return (((r - b) * k) >> 9) + 256;
  return (((b - g) * k) >> 9) + 512;
}

int32_t Match8(const uint8_t* p, const uint8_t* t, const ColourPlaces& c) {
  int32_t h = std::abs(MatchHue8(p[c.red], p[c.green], p[c.blue]) -
                       MatchHue8(t[c.red], t[c.green], t[c.blue]));
  if (h > 384) h = 768 - h;
  const int32_t dr = p[c.red] - t[c.red];
  const int32_t dg = p[c.green] - t[c.green];
  const int32_t db = p[c.blue] - t[c.blue];
  const int32_t s = dr * dr + dg * dg + db * db + h * 512;
  if (s < 0) return 255;
  if (s > 98302) return 0;
  return 255 - ((s * 170) >> 16);
}

float MatchHue32(float r, float g, float b) {
  const float high = std::max({r, g, b});
  const float delta = high - std::min({r, g, b});
  if (!(delta > 0.0f)) return 0.0f;
  float h = 0.0f;
  if (b == high) {
    h = (g - r) / delta;
    if (h < 0.0f) h += 6.0f;
  } else if (g == high) {
    h = (r - b) / delta + 2.0f;
  } else {
    h = (b - g) / delta + 4.0f;
  }
  return h * 0.16666667f;
}

float Match32(const float* p, const float* t, const ColourPlaces& c) {
  float h = std::fabs(MatchHue32(p[c.red], p[c.green], p[c.blue]) -
                      MatchHue32(t[c.red], t[c.green], t[c.blue]));
  if (h > 0.5f) h = 1.0f - h;
  h = h * 6.0f;
  const float dr = p[c.red] - t[c.red];
  const float dg = p[c.green] - t[c.green];
  const float db = p[c.blue] - t[c.blue];
  const float s = (dr * dr + dg * dg + db * db + h) * 0.16666667f;
  if (!(s >= 0.0f)) return 1.0f;
  if (s > 0.25f) return 0.0f;
  return 1.0f - 4.0f * s;
}

int32_t Blend8(int32_t a, int32_t b, int32_t mode) {
  switch (mode) {
    case 1:
      return std::clamp(b + 2 * a - 256, 0, 255);
    case 2:
      return 255 - (((255 - a) * (255 - b)) >> 8);
    case 3:
      return (a * b) >> 8;
    case 4:
      return std::max(a, b);
    case 5:
      return std::min(a, b);
    case 6:
      return b > 254 ? 255 : std::min((a * 256) / (255 - b), 255);
    case 7:
      return b < 1 ? 0 : std::max(((a - 255) * 256) / b + 255, 0);
    case 8:
      return 255 - std::abs(255 - a - b);
    default:
      return b;
  }
}

float Blend32(float a, float b, int32_t mode) {
  switch (mode) {
    case 1:
      return std::clamp(2.0f * a + b - 1.0f, 0.0f, 1.0f);
    case 2:
      return 1.0f - (1.0f - a) * (1.0f - b);
    case 3:
      return a * b;
    case 4:
      return std::max(a, b);
    case 5:
      return std::min(a, b);
    case 6:
      return b >= 1.0f ? 1.0f : std::min(a / (1.0f - b), 1.0f);
    case 7:
      return b > 0.0f ? std::max(1.0f - (1.0f - a) / b, 0.0f) : 0.0f;
    case 8:
      return 1.0f - std::fabs(1.0f - a - b);
    default:
      return b;
  }
}

uint8_t RoundByte(float v) {
  const float r = std::nearbyint(v);
  return static_cast<uint8_t>(!(r > 0.0f) ? 0.0f : r >= 255.0f ? 255.0f : r);
}

}  // namespace

void RgbToHsv(float r, float g, float b, float hsv[3]) {
  const float high = std::max({r, g, b});
  const float delta = high - std::min({r, g, b});
  hsv[2] = high;
  hsv[1] = high > 0.0f ? delta / high : 0.0f;
  if (!(delta > 0.0f)) {
    hsv[0] = 0.0f;
    return;
  }
  float h = 0.0f;
  if (r == high) {
    h = (g - b) / delta;
    if (h < 0.0f) h += 6.0f;
  } else if (g == high) {
    h = (b - r) / delta + 2.0f;
  } else {
    h = (r - g) / delta + 4.0f;
  }
  hsv[0] = h / 6.0f;
}

void HsvToRgb(float h, float s, float v, float rgb[3]) {
  float sector = h * 6.0f;
  if (!(sector >= 0.0f) || sector >= 6.0f) sector = 0.0f;
  const float i = std::floor(sector);
  const float f = sector - i;
  const float p = v * (1.0f - s);
  const float q = v * (1.0f - s * f);
  const float t = v * (1.0f - s * (1.0f - f));
  switch (static_cast<int32_t>(i)) {
    case 0:
      rgb[0] = v, rgb[1] = t, rgb[2] = p;
      break;
    case 1:
      rgb[0] = q, rgb[1] = v, rgb[2] = p;
      break;
    case 2:
      rgb[0] = p, rgb[1] = v, rgb[2] = t;
      break;
    case 3:
      rgb[0] = p, rgb[1] = q, rgb[2] = v;
      break;
    case 4:
      rgb[0] = t, rgb[1] = p, rgb[2] = v;
      break;
    default:
      rgb[0] = v, rgb[1] = p, rgb[2] = q;
      break;
  }
}

namespace {

// All four channels of a run of pixels, t from a one-byte mask. The sum a t + b (255 - t)
// is at most 65025: 16 bits hold it and its quotient needs no saturation, and the loop
// vectorises.
template <bool kShift>
void MixRun(const uint8_t* pa, const uint8_t* pb, const uint8_t* pm, uint8_t* out, int32_t count) {
  for (int32_t x = 0; x < count; ++x) {
    const auto t = static_cast<uint16_t>(pm[x]);
    const auto u = static_cast<uint16_t>(255 - t);
    for (int32_t c = 0; c < 4; ++c) {
      const auto sum = static_cast<uint16_t>(pa[4 * x + c] * t + pb[4 * x + c] * u);
      out[4 * x + c] = static_cast<uint8_t>(kShift ? sum >> 8 : sum / 255);
    }
  }
}

// The same on floats, t from a one-float mask, limited to 1 from above.
void MixRun(const float* pa, const float* pb, const float* pm, float* out, int32_t count) {
  for (int32_t x = 0; x < count; ++x) {
    const float t = pm[x];
    for (int32_t c = 0; c < 4; ++c)
      out[4 * x + c] = std::min(pa[4 * x + c] * t + pb[4 * x + c] * (1.0f - t), 1.0f);
  }
}

// A mix by a one-channel mask of the samples' own type, in runs of whole pixels: dst's
// alpha is saved before each run and put back after, and an input that is dst is copied
// aside first, so that `run` meets inputs apart from its output and vectorises.
template <typename T, typename Run>
void MixInRuns(ConstImageView a, ConstImageView b, ConstImageView mask, ImageView dst, int32_t w,
               int32_t h, int32_t alpha, Run run) {
  constexpr int32_t kRun = 256;
  T kept[kRun];
  T aside[4 * kRun];
  for (int32_t y = 0; y < h; ++y) {
    for (int32_t x = 0; x < w; x += kRun) {
      const int32_t count = std::min(kRun, w - x);
      const auto bytes = static_cast<size_t>(4 * count) * sizeof(T);
      T* out = dst.Row<T>(y) + 4 * x;
      const T* pa = a.Row<const T>(y) + 4 * x;
      const T* pb = b.Row<const T>(y) + 4 * x;
      const T* pm = mask.Row<const T>(y) + x;
      if (pa == out) pa = static_cast<const T*>(std::memcpy(aside, pa, bytes));
      if (pb == out) pb = static_cast<const T*>(std::memcpy(aside, pb, bytes));
      for (int32_t i = 0; i < count; ++i)
        kept[i] = out[4 * i + alpha];
      run(pa, pb, pm, out, count);
      for (int32_t i = 0; i < count; ++i)
        out[4 * i + alpha] = kept[i];
    }
  }
}

}  // namespace

Status Mix8u_C4(ConstImageView a, ConstImageView b, ConstImageView mask, int32_t maskStep,
                ImageView dst, int32_t alpha, MixDivide divide) {
  if (Status s = CheckAll({a, b, mask, dst}); s != kOk) return s;
  if (alpha < 0 || alpha > 3) return kBadChannel;
  if (maskStep < 1) return kBadSize;
  const int32_t w = Extent({a.width, b.width, dst.width, mask.width});
  const int32_t h = Extent({a.height, b.height, dst.height, mask.height});
  if (maskStep == 1) {
    if (divide == MixDivide::kShift8) {
      MixInRuns<uint8_t>(a, b, mask, dst, w, h, alpha, MixRun<true>);
    } else {
      MixInRuns<uint8_t>(a, b, mask, dst, w, h, alpha, MixRun<false>);
    }
    return kOk;
  }
  for (int32_t y = 0; y < h; ++y) {
    const uint8_t* pa = a.Row(y);
    const uint8_t* pb = b.Row(y);
    const uint8_t* pm = mask.Row(y);
    uint8_t* out = dst.Row(y);
    // All four channels without a branch, then dst's alpha put back: the loops vectorise.
    const auto mix = [&](auto divideBy) {
      for (int32_t x = 0; x < w; ++x) {
        const int32_t t = pm[static_cast<ptrdiff_t>(x) * maskStep];
        const uint8_t kept = out[4 * x + alpha];
        for (int32_t c = 0; c < 4; ++c) {
          const int32_t sum = pa[4 * x + c] * t + pb[4 * x + c] * (255 - t);
          out[4 * x + c] = static_cast<uint8_t>(std::min(divideBy(sum), 255));
        }
        out[4 * x + alpha] = kept;
      }
    };
    if (divide == MixDivide::kShift8) {
      mix([](int32_t sum) { return sum >> 8; });
    } else {
      mix([](int32_t sum) { return sum / 255; });
    }
  }
  return kOk;
}

Status Mix32f_C4(ConstImageView a, ConstImageView b, ConstImageView mask, int32_t maskStep,
                 ImageView dst, int32_t alpha) {
  if (Status s = CheckAll({a, b, mask, dst}); s != kOk) return s;
  if (alpha < 0 || alpha > 3) return kBadChannel;
  if (maskStep < 1) return kBadSize;
  const int32_t w = Extent({a.width, b.width, dst.width, mask.width});
  const int32_t h = Extent({a.height, b.height, dst.height, mask.height});
  if (maskStep == 4) {
    const auto run = [](const float* pa, const float* pb, const float* pm, float* out,
                        int32_t count) { MixRun(pa, pb, pm, out, count); };
    MixInRuns<float>(a, b, mask, dst, w, h, alpha, run);
    return kOk;
  }
  for (int32_t y = 0; y < h; ++y) {
    const float* pa = a.Row<const float>(y);
    const float* pb = b.Row<const float>(y);
    const uint8_t* pm = mask.Row(y);
    float* out = dst.Row<float>(y);
    for (int32_t x = 0; x < w; ++x) {
      const float t = MaskValue<float>(pm, x, maskStep);
      const float kept = out[4 * x + alpha];
      for (int32_t c = 0; c < 4; ++c)
        out[4 * x + c] = std::min(pa[4 * x + c] * t + pb[4 * x + c] * (1.0f - t), 1.0f);
      out[4 * x + alpha] = kept;
    }
  }
  return kOk;
}

Status ColourMask8u(ConstImageView picture, ConstImageView tint, ImageView mask,
                    ColourPlaces places, int32_t base1, int32_t base2) {
  if (Status s = CheckAll({picture, tint, mask}); s != kOk) return s;
  if (!ValidPlaces(places)) return kBadChannel;
  const int32_t w = Extent({picture.width, tint.width, mask.width});
  const int32_t h = Extent({picture.height, tint.height, mask.height});
  const bool vectors = !UseReferenceKernels();
  for (int32_t y = 0; y < h; ++y) {
    const uint8_t* p = picture.Row(y);
    const uint8_t* t = tint.Row(y);
    uint8_t* m = mask.Row(y);
    const int32_t done = vectors
                             ? vector::ColourMaskRow8u(p, t, m, w, 8 * places.red, 8 * places.green,
                                                       8 * places.blue, base1, base2)
                             : 0;
    for (int32_t x = done; x < w; ++x) {
      const int32_t match = Match8(p + 4 * x, t + 4 * x, places);
      const int32_t g = m[x];
      m[x] = static_cast<uint8_t>(
          ((255 - g) * std::min(base2 + match, 255) + g * std::min(base1 + match, 255)) >> 8);
    }
  }
  return kOk;
}

Status ColourMask32f(ConstImageView picture, ConstImageView tint, ImageView mask,
                     ColourPlaces places, int32_t base1, int32_t base2) {
  if (Status s = CheckAll({picture, tint, mask}); s != kOk) return s;
  if (!ValidPlaces(places)) return kBadChannel;
  const float b1 = static_cast<float>(base1) / 255.0f;
  const float b2 = static_cast<float>(base2) / 255.0f;
  const int32_t w = Extent({picture.width, tint.width, mask.width});
  const int32_t h = Extent({picture.height, tint.height, mask.height});
  const bool vectors = !UseReferenceKernels();
  for (int32_t y = 0; y < h; ++y) {
    const float* p = picture.Row<const float>(y);
    const float* t = tint.Row<const float>(y);
    float* m = mask.Row<float>(y);
    const int32_t done = vectors ? vector::ColourMaskRow32f(p, t, m, w, places.red, places.green,
                                                            places.blue, b1, b2)
                                 : 0;
    for (int32_t x = done; x < w; ++x) {
      const float match = Match32(p + 4 * x, t + 4 * x, places);
      const float g = m[x];
      m[x] = (1.0f - g) * std::min(match + b2, 1.0f) + g * std::min(match + b1, 1.0f);
    }
  }
  return kOk;
}

namespace {

// Blend8 of one mode, in a form the compiler vectorises: the two divisions go through
// floats, whose truncated quotients equal the integer ones for every pair of bytes.
template <int32_t kMode>
int32_t BlendOf(int32_t a, int32_t b) {
  if constexpr (kMode == 6) {
    const auto q = static_cast<int32_t>(static_cast<float>(a * 256) /
                                        static_cast<float>(b > 254 ? 1 : 255 - b));
    return b > 254 ? 255 : std::min(q, 255);
  } else if constexpr (kMode == 7) {
    const auto q = static_cast<int32_t>(static_cast<float>((a - 255) * 256) /
                                        static_cast<float>(b < 1 ? 1 : b));
    return b < 1 ? 0 : std::max(q + 255, 0);
  } else {
    return Blend8(a, b, kMode);
  }
}

// Rows of whole pixels blended, the tint's alpha saved before and put back after.
template <int32_t kMode>
void BlendRows8u(ConstImageView picture, ImageView tint, int32_t w, int32_t h, int32_t alpha) {
  constexpr int32_t kRun = 256;
  uint8_t kept[kRun];
  for (int32_t y = 0; y < h; ++y) {
    for (int32_t x = 0; x < w; x += kRun) {
      const int32_t count = std::min(kRun, w - x);
      const uint8_t* a = picture.Row(y) + 4 * x;
      uint8_t* b = tint.Row(y) + 4 * x;
      for (int32_t i = 0; i < count; ++i)
        kept[i] = b[4 * i + alpha];
      for (int32_t i = 0; i < 4 * count; ++i)
        b[i] = static_cast<uint8_t>(BlendOf<kMode>(a[i], b[i]));
      for (int32_t i = 0; i < count; ++i)
        b[4 * i + alpha] = kept[i];
    }
  }
}

template <int32_t... kModes>
void BlendRows8uOfMode(int32_t mode, std::integer_sequence<int32_t, kModes...>,
                       ConstImageView picture, ImageView tint, int32_t w, int32_t h,
                       int32_t alpha) {
  ((mode == kModes ? BlendRows8u<kModes>(picture, tint, w, h, alpha) : void()), ...);
}

}  // namespace

Status BlendTint8u_C4(ConstImageView picture, ImageView tint, int32_t mode, int32_t alpha) {
  if (Status s = CheckAll({picture, tint}); s != kOk) return s;
  if (mode < 0 || mode >= kBlendHue) return kBadSize;
  if (alpha < 0 || alpha > 3) return kBadChannel;
  if (mode == 0) return kOk;
  const int32_t w = Extent({picture.width, tint.width});
  const int32_t h = Extent({picture.height, tint.height});
  BlendRows8uOfMode(mode, std::integer_sequence<int32_t, 1, 2, 3, 4, 5, 6, 7, 8>{}, picture, tint,
                    w, h, alpha);
  return kOk;
}

Status BlendTint32f_C4(ConstImageView picture, ImageView tint, int32_t mode, int32_t alpha) {
  if (Status s = CheckAll({picture, tint}); s != kOk) return s;
  if (mode < 0 || mode >= kBlendHue) return kBadSize;
  if (alpha < 0 || alpha > 3) return kBadChannel;
  if (mode == 0) return kOk;
  const int32_t w = Extent({picture.width, tint.width});
  const int32_t h = Extent({picture.height, tint.height});
  for (int32_t y = 0; y < h; ++y) {
    const float* a = picture.Row<const float>(y);
    float* b = tint.Row<float>(y);
    for (int32_t i = 0; i < 4 * w; ++i) {
      if ((i & 3) != alpha) b[i] = Blend32(a[i], b[i], mode);
    }
  }
  return kOk;
}

Status StrengthMask8u(ImageView mask, float first, float second) {
  if (Status s = CheckView(mask); s != kOk) return s;
  const int32_t f = static_cast<int32_t>(first * 256.0f);
  const int32_t g = static_cast<int32_t>(second * 256.0f) & 0xFFFF;
  for (int32_t y = 0; y < mask.height; ++y) {
    uint8_t* m = mask.Row(y);
    for (int32_t x = 0; x < mask.width; ++x) {
      m[x] = static_cast<uint8_t>(((255 - m[x]) * g + m[x] * f) >> 8);
    }
  }
  return kOk;
}

Status StrengthMask32f(ImageView mask, float first, float second) {
  if (Status s = CheckView(mask); s != kOk) return s;
  for (int32_t y = 0; y < mask.height; ++y) {
    float* m = mask.Row<float>(y);
    for (int32_t x = 0; x < mask.width; ++x)
      m[x] = m[x] * first + (1.0f - m[x]) * second;
  }
  return kOk;
}

namespace {

template <typename T>
Status HueBlend(ConstImageView picture, ConstImageView tint, ConstImageView strength, ImageView dst,
                int32_t firstColour) {
  if (Status s = CheckAll({picture, tint, strength, dst}); s != kOk) return s;
  if (firstColour != 0 && firstColour != 1) return kBadChannel;
  constexpr float kScale = kFull<T>;
  const int32_t w = Extent({picture.width, tint.width, strength.width, dst.width});
  const int32_t h = Extent({picture.height, tint.height, strength.height, dst.height});
  for (int32_t y = 0; y < h; ++y) {
    const T* p = picture.Row<const T>(y);
    const T* t = tint.Row<const T>(y);
    const T* m = strength.Row<const T>(y);
    T* out = dst.Row<T>(y);
    int32_t done = 0;
    if (!UseReferenceKernels()) {
      if constexpr (sizeof(T) == 1) {
        done = vector::HueBlendRow8u(p, t, m, out, w, firstColour);
      } else {
        done = vector::HueBlendRow32f(p, t, m, out, w, firstColour);
      }
    }
    for (int32_t x = done; x < w; ++x) {
      const T* pp = p + 4 * x + firstColour;
      const T* tp = t + 4 * x + firstColour;
      float ph[3], th[3], rgb[3];
      RgbToHsv(pp[0] / kScale, pp[1] / kScale, pp[2] / kScale, ph);
      RgbToHsv(tp[0] / kScale, tp[1] / kScale, tp[2] / kScale, th);
      const float k = static_cast<float>(m[x]) / kScale;
      if constexpr (sizeof(T) == 1) {
        // The planes hold bytes: the hues are rounded as a stored HSV picture would.
        const float hp = std::nearbyint(ph[0] * 255.0f);
        const float ht = std::nearbyint(th[0] * 255.0f);
        const float hue = std::nearbyint(ht * k + hp * (1.0f - k));
        HsvToRgb(hue / 255.0f, std::nearbyint(ph[1] * 255.0f) / 255.0f, ph[2], rgb);
        for (int c = 0; c < 3; ++c)
          out[4 * x + firstColour + c] = RoundByte(rgb[c] * 255.0f);
      } else {
        HsvToRgb(th[0] * k + ph[0] * (1.0f - k), ph[1], ph[2], rgb);
        for (int c = 0; c < 3; ++c)
          out[4 * x + firstColour + c] = rgb[c];
      }
    }
  }
  return kOk;
}

}  // namespace

Status HueBlend8u_C4(ConstImageView picture, ConstImageView tint, ConstImageView strength,
                     ImageView dst, int32_t firstColour) {
  return HueBlend<uint8_t>(picture, tint, strength, dst, firstColour);
}

Status HueBlend32f_C4(ConstImageView picture, ConstImageView tint, ConstImageView strength,
                      ImageView dst, int32_t firstColour) {
  return HueBlend<float>(picture, tint, strength, dst, firstColour);
}

}  // namespace vitrella::kernels
