#include "effects/gradient_tint.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/colour_ops.h"
#include "core/frame_buffer.h"
#include "core/frame_ops.h"
#include "core/render_setup.h"
#include "core/strip_rotation.h"
#include "effects/gradient_tint_values.h"
#include "kernels/tint.h"
#include "vitrella/pixel_format.h"

namespace vitrella {

namespace gradient_tint {

Values ReadValues(IEffectHost* host) {
  const ParamReader params(host);
  Values v{};
  v.angle = params.Read(kAngle);
  const ParamReader::Point center = params.Read(kCenter);
  v.x = center.x;
  v.y = center.y;
  v.crossfade = params.Read(kCrossfade);
  v.first = {params.Read(kFirstColor), params.Read(kFirstBlend), params.Read(kFirstMask)};
  v.second = {params.Read(kSecondColor), params.Read(kSecondBlend), params.Read(kSecondMask)};
  v.mode = params.Read(kBlendMode);
  return v;
}

}  // namespace gradient_tint

namespace {

using gradient_tint::Values;

// The frame's pixel aspect: 1 when the host gives none. It tilts the line as pixels are
// wider or narrower than square.
float PixelAspectOf(const RenderInfo& info) {
  const bool known = (info.infoFlags & kInfoPixelAspectValid) != 0 && info.pixelAspect > 0.0;
  return known ? static_cast<float>(info.pixelAspect) : 1.0f;
}

// A view of a rectangle of pixels placed at `at`, of the given format.
void ViewAt(FrameBuffer& view, uint8_t* at, int32_t width, int32_t height, int32_t pixelBytes,
            PixelFormat format) {
  view.Attach(at, width, height, width * pixelBytes, pixelBytes, format, false);
}

// The strip's one row: full at column 0, falling by full / L per column until it would
// reach 0, then 0; all 0 for L below 1. Every row of the strip is alike, so the strip is
// this row given with pitch 0.
template <typename T>
void FillRamp(T* row, int32_t width, int32_t length) {
  std::fill_n(row, width, T{});
  if (length >= 1) {
    constexpr float kFull = sizeof(T) == 1 ? 255.0f : 1.0f;
    const float step = kFull / static_cast<float>(length);
    float value = kFull;
    for (int32_t x = 0; x < width && value > 0.0f; ++x, value -= step)
      row[x] = static_cast<T>(value);
  }
}

template <typename T>
void FillFull(FrameBuffer& mask) {
  constexpr T kFull = sizeof(T) == 1 ? T(255) : T(1);
  for (int32_t y = 0; y < mask.height; ++y)
    std::fill_n(mask.Row<T>(y), mask.width, kFull);
}

// Colour channels of `rows` rows of src, row `first + step * i` of src to row i of dst;
// dst keeps its alpha.
template <typename T>
void CopyColourRows(const FrameBuffer& src, FrameBuffer& dst, int32_t first, int32_t step,
                    int32_t rows, int32_t width, int32_t alpha) {
  for (int32_t y = 0; y < rows; ++y) {
    const T* in = src.Row<const T>(first + step * y);
    T* out = dst.Row<T>(y);
    for (int32_t i = 0; i < 4 * width; ++i) {
      if ((i & 3) != alpha) out[i] = in[i];
    }
  }
}

template <typename T>
bool RenderFrame(RenderSetup& setup) {
  constexpr bool kFloat = sizeof(T) != 1;
  const FrameBuffer& source = setup.src();
  FrameBuffer& dst = setup.dst();
  const PixelLayout& layout = setup.srcLayout();
  const RenderInfo& info = setup.info();
  MemoryAllocator* memory = &setup.memory();
  const PixelFormat format = source.format;
  const PixelFormat gray = kFloat ? PixelFormat32FGray : PixelFormat8Gray;
  constexpr int32_t kSample = sizeof(T);

  const float p = PixelAspectOf(info);
  const Values v = gradient_tint::ReadValues(setup.host());
  if (v.mode < 0 || v.mode >= kernels::kBlendModes) return false;
  constexpr float kTurn = 6.2831855f;
  float theta =
      57.295776f * std::atan2(std::sin(kTurn * v.angle), p * std::cos(kTurn * v.angle)) + 90.0f;
  if (theta >= 360.0f) theta -= 360.0f;
  float y = 1.0f - v.y;
  if (source.flipped != 0) {
    y = 1.0f - y;
    theta = 360.0f - theta;
  }

  const int32_t width = setup.width();
  const int32_t frameHeight = setup.height();
  const bool field = info.fieldMode != kFieldModeFrame;
  const int32_t height = field ? 2 * frameHeight : frameHeight;
  const auto cx = static_cast<int32_t>(static_cast<float>(width) * v.x);
  const auto cy = static_cast<int32_t>(static_cast<float>(height) * y);

  // The strip: D + D / 2 columns, 2 D rows, all alike.
  const int32_t longest = std::max(width, height);
  const auto reach = static_cast<int32_t>(std::sqrt(2.0 * longest * static_cast<double>(longest)));
  const int32_t stripWidth = reach + (reach >> 1);
  FrameBuffer ramp, masks;
  if (!ramp.Allocate(stripWidth, 1, kSample, memory, gray, false) ||
      !masks.Allocate(width, 2 * height, kSample, memory, gray, false)) {
    return false;
  }
  const ptrdiff_t maskBytes = static_cast<ptrdiff_t>(width) * height * kSample;
  FrameBuffer m2, m3;
  ViewAt(m2, masks.data, width, height, kSample, gray);
  ViewAt(m3, masks.data + maskBytes, width, height, kSample, gray);

  // Q and U are work pictures. The picture P is the source itself for a whole frame; a
  // field doubles its lines into a copy, and so does a host that renders in place, as the
  // tint is written over the source before the source is done with.
  FrameBuffer q, u, own;
  if (!q.Allocate(width, height, source.pixelBytes, memory, format, false) ||
      !u.Allocate(width, height, source.pixelBytes, memory, format, false)) {
    return false;
  }
  const bool copied = field || FramesShareMemory(source, dst);
  if (copied && !own.Allocate(width, height, source.pixelBytes, memory, format, false)) {
    return false;
  }
  const FrameBuffer& pic = copied ? own : source;
  FrameBuffer g;
  g.Attach(q.data, width, height, q.pitch, kSample, gray, false);

  // The gradient: full on the first tint's side, the ramp rotated over it.
  const auto minSide = static_cast<float>(std::min(width, height));
  const auto rampLength = static_cast<int32_t>(v.crossfade * 1.5f * minSide);
  // Only the part of the strip that the rotation reads is filled and rotated.
  const StripShift shift = StripRotationShift(width, height, cx, cy, theta, rampLength);
  const kernels::Size needed = StripExtentNeeded(width, height, theta, shift);
  const int32_t filled = std::min(needed.width, stripWidth);
  FillRamp(ramp.Row<T>(0), filled, rampLength);
  FrameBuffer strip;
  strip.Attach(ramp.data, filled, std::min(needed.height, 2 * reach), 0, kSample, gray, false);
  FillFull<T>(g);
  if (!StripRotated(RotateStrip(strip, g, theta, shift.x, shift.y, kStripCubicSmooth)) ||
      !CopyFrame(g, m2) || !CopyFrame(g, m3)) {
    return false;
  }

  // The tint picture U: the first colour where the gradient is full, the second where it
  // is 0.
  const float full = kFloat ? 1.0f : 255.0f;
  const auto colour = [&](const gradient_tint::Tint& t) {
    return FlatColour{gradient_tint::TintChannel(t.color, 0, t.blend) * full,
                      gradient_tint::TintChannel(t.color, 8, t.blend) * full,
                      gradient_tint::TintChannel(t.color, 16, t.blend) * full};
  };
  if (!MixColours(colour(v.first), colour(v.second), m2, u)) return false;

  // The picture's own copy, every line of a field doubled.
  if (field) {
    for (int32_t row = 0; row < height; ++row) {
      std::memcpy(own.Row(row), source.Row(row >> 1),
                  static_cast<size_t>(width) * source.pixelBytes);
    }
  } else if (copied && !CopyFrame(source, own)) {
    return false;
  }

  // The colour mask, blurred by a box of about a twentieth of the picture.
  const auto base = [](float mask) { return static_cast<int32_t>((1.0f - mask) * 255.0f); };
  const kernels::ColourPlaces places{layout.red, layout.green, layout.blue, layout.alpha};
  const auto colourMask = kFloat ? kernels::ColourMask32f : kernels::ColourMask8u;
  const int32_t box = static_cast<int32_t>(0.05f * minSide) | 1;
  if (colourMask(pic.View(), u.View(), m3.View(), places, base(v.first.mask),
                 base(v.second.mask)) != kernels::kOk ||
      !BoxBlurMask(m3, box, memory)) {
    return false;
  }

  // The blend, weakened by the strength, into Q; in Hue mode the hue of the tint alone.
  const auto strength = kFloat ? kernels::StrengthMask32f : kernels::StrengthMask8u;
  if (strength(m2.View(), v.first.blend, v.second.blend) != kernels::kOk) return false;
  if (v.mode == kernels::kBlendHue) {
    const auto hue = kFloat ? kernels::HueBlend32f_C4 : kernels::HueBlend8u_C4;
    if (hue(pic.View(), u.View(), m2.View(), q.View(), IsAlphaFirst(format) ? 1 : 0) !=
        kernels::kOk) {
      return false;
    }
  } else {
    const auto blend = kFloat ? kernels::BlendTint32f_C4 : kernels::BlendTint8u_C4;
    if (blend(pic.View(), u.View(), v.mode, layout.alpha) != kernels::kOk ||
        !MixFrames(u, pic, m2, q)) {
      return false;
    }
  }
  // Through the colour mask over the picture, into the destination; a field returns the
  // even rows of the doubled picture.
  if (!copied) {
    if (!MixFrames(q, pic, m3, dst)) return false;
  } else {
    if (!MixFrames(q, pic, m3, u)) return false;
    CopyColourRows<T>(u, dst, 0, field ? 2 : 1, frameHeight, width, layout.alpha);
  }
  // Alpha is the source's.
  return CopyChannel(source, dst, layout.alpha, layout.alpha);
}

}  // namespace

CGradientTint::CGradientTint() : EffectBase(gradient_tint::kTable, kGradientTintSetupPrograms) {}

bool CGradientTint::Render(IEffectHost* host, const HostFrame* source, uintptr_t /*unused*/,
                           HostFrame* destination, const RenderInfo* info) {
  RenderSetup setup(host, source, destination, info);
  return setup && BySampleType(setup.srcLayout().isFloat,
                               [&]<typename T>(Samples<T>) { return RenderFrame<T>(setup); });
}

}  // namespace vitrella
