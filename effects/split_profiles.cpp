#include "effects/split_profiles.h"

#include <algorithm>
#include <cmath>

namespace vitrella {
namespace {

// Bytes keep every step's value truncated, floats keep them as they come.
struct ByteRules {
  using Value = uint8_t;
  static constexpr float kFull = 255.0f;
  static Value FromGauss(float g) { return static_cast<Value>(255.0f * g); }
  // (value * trunc(o * 256)) >> 8, with full opacity leaving the value alone.
  static Value Opaque(Value v, float o) {
    if (o == 1.0f) return v;
    return static_cast<Value>((v * static_cast<int32_t>(o * 256.0f)) >> 8);
  }
  static Value FromRamp(float r) { return static_cast<Value>(r); }
  static float Fraction(Value v) { return static_cast<float>(v) / 255.0f; }
  // Truncation after adding a half, by definition.
  // NOLINTNEXTLINE(bugprone-incorrect-roundings)
  static Value FromFraction(float x) { return static_cast<Value>(x * 255.0f + 0.5f); }
};

struct FloatRules {
  using Value = float;
  static constexpr float kFull = 1.0f;
  static Value FromGauss(float g) { return g; }
  static Value Opaque(Value v, float o) { return v * o; }
  static Value FromRamp(float r) { return r; }
  static float Fraction(Value v) { return v; }
  static Value FromFraction(float x) { return x; }
};

template <typename Rules>
SplitProfiles<typename Rules::Value> Make(int32_t f, int32_t l, float o) {
  using V = typename Rules::Value;
  SplitProfiles<V> p;
  f = f < 0 ? 0 : f;
  l = l < 0 ? 0 : l;
  const auto n = static_cast<size_t>(f) + static_cast<size_t>(l);
  const auto full = static_cast<V>(Rules::kFull);

  // G: exp(-t^2 / 10) with t running from 0 to 7 over the feather.
  p.falloff.resize(static_cast<size_t>(f));
  for (int32_t i = 0; i < f; ++i) {
    const float t = static_cast<float>(i) * 7.0f / static_cast<float>(f);
    p.falloff[static_cast<size_t>(i)] = Rules::FromGauss(std::exp(-(t * t) * 0.1f));
  }
  const auto g = [&](int32_t i) { return Rules::Opaque(p.falloff[static_cast<size_t>(i)], o); };

  // P: a line at least as wide as the feather rises over f entries, stays full and falls
  // over the last f; a narrower one is a bump of the Gaussian's two flanks, cut where they
  // meet, with nothing after it.
  p.line.assign(n, V{});
  const int32_t h = f >> 1;
  const int32_t k = l >> 1;
  if (k >= h) {
    std::fill(p.line.begin(), p.line.end(), full);
    for (int32_t i = 0; i < f; ++i)
      p.line[static_cast<size_t>(i)] = g(f - 1 - i);
    for (int32_t j = 0; j < f; ++j)
      p.line[static_cast<size_t>(l) + static_cast<size_t>(j)] = g(j);
  } else {
    const int32_t m = h + k;
    const int32_t s = f - m;
    for (int32_t i = 0; i < m; ++i)
      p.line[static_cast<size_t>(i)] = g(f - 1 - i);
    for (int32_t j = 0; j < m; ++j)
      p.line[static_cast<size_t>(m) + static_cast<size_t>(j)] = g(s + j);
  }

  // R: full at 0, lowered by full / n per entry while it stays above 0.
  p.ramp.assign(n, V{});
  const float step = n == 0 ? 0.0f : Rules::kFull / static_cast<float>(n);
  for (size_t i = 0; i < n; ++i) {
    const float r = Rules::kFull - static_cast<float>(i) * step;
    if (!(r > 0.0f)) break;
    p.ramp[i] = Rules::FromRamp(r);
  }

  // The line over the edge: c = 1 - (1 - a)(1 - b) is what covers the picture's place, and
  // a / c the share of it that is the line's colour. Where nothing covers, nothing is line.
  p.colour.resize(n);
  p.alpha.resize(n);
  for (size_t i = 0; i < n; ++i) {
    const float a = Rules::Fraction(p.line[i]);
    const float b = Rules::Fraction(p.ramp[i]);
    const float c = 1.0f - (1.0f - a) * (1.0f - b);
    p.colour[i] = Rules::FromFraction(c > 0.0f ? a / c : 0.0f);
    p.alpha[i] = Rules::FromFraction(c);
  }
  return p;
}

}  // namespace

SplitProfiles<uint8_t> MakeByteSplitProfiles(int32_t f, int32_t l, float o) {
  return Make<ByteRules>(f, l, o);
}

SplitProfiles<float> MakeFloatSplitProfiles(int32_t f, int32_t l, float o) {
  return Make<FloatRules>(f, l, o);
}

}  // namespace vitrella
