#include <cmath>

#include "effects/gradient_tint.h"
#include "effects/gradient_tint_values.h"
#include "gpu/gpu_frame_objects.h"

namespace vitrella {
namespace {

constexpr ProgramPair kMaskProgram{kProgramQuadVertex, kProgramGradientTintMask};
constexpr ProgramPair kHorizontalProgram{kProgramQuadVertex, kProgramGradientTintBlurHorizontal};
constexpr ProgramPair kVerticalProgram{kProgramQuadVertex, kProgramGradientTintBlurVertical};
constexpr ProgramPair kCombineProgram{kProgramQuadVertex, kProgramGradientTintCombine};

}  // namespace

// The capability test makes the program of the first stage, which stands for all four.
const ProgramPair kGradientTintSetupPrograms[1] = {kMaskProgram};

// The GPU takes the line's angle as it is, without the pixel aspect, and treats every frame
// as a whole frame; sizes are the source's.
bool CGradientTint::RenderGPUFrame(IEffectHost* host, const GPUTextureRef* source,
                                   const GPUTextureRef* /*secondSource*/,
                                   GPUTextureRef* destination, const RenderInfo* info) {
  if (source == nullptr || destination == nullptr || info == nullptr) return false;
  const gradient_tint::Values v = gradient_tint::ReadValues(host);
  const int32_t width = source->width;
  const int32_t height = source->height;
  float theta = v.angle * 360.0f + 90.0f;
  if (theta >= 360.0f) theta -= 360.0f;
  float y = 1.0f - v.y;
  if (source->flipped != 0) {
    y = 1.0f - y;
    theta = 360.0f - theta;
  }
  const double psi = (-static_cast<double>(theta) - 90.0) * 0.017453292519943295;
  const auto s = static_cast<float>(std::sin(psi));
  const auto c = static_cast<float>(std::cos(psi));
  const auto w = static_cast<float>(width);
  const auto h = static_cast<float>(height);
  const float minSide = std::min(w, h);
  const float halfRamp = std::max(minSide * v.crossfade * 0.75f, 0.001f);
  const int32_t box = static_cast<int32_t>(minSide * 0.05f) | 1;
  const auto maskValue = [](float mask) {
    return static_cast<float>(static_cast<int32_t>((1.0f - mask) * 255.0f) & 0xFF) * 0.003921569f;
  };

  GpuFrameObjects objects(*this);
  GPUTextureRef& t1 = objects.Target(width, height, source->format);
  GPUTextureRef& t2 = objects.Target(width, height, source->format);
  GPUTextureRef& t3 = objects.Target(width, height, source->format);
  ProgramBundle& mask = objects.Program(kMaskProgram);
  ProgramBundle& horizontal = objects.Program(kHorizontalProgram);
  ProgramBundle& vertical = objects.Program(kVerticalProgram);
  ProgramBundle& combine = objects.Program(kCombineProgram);
  if (!objects.made()) return false;
  t1.flipped = t2.flipped = t3.flipped = source->flipped;
  SetupView(10.0, 10.0);

  const int32_t swap = SwapFlag(source->format);
  // What stages 1 and 4 share: the line, the ramp and the two tint colours.
  const auto line = [&](ProgramBundle& bundle) {
    bundle.SetVec2("TextureSize", w, h);
    bundle.SetVec3("LineABC", s, -c, c * h * y - w * s * v.x);
    bundle.SetFloat("fCrossfade", halfRamp);
    const auto colour = [&](const char* name, const gradient_tint::Tint& t) {
      bundle.SetVec3(name, gradient_tint::TintChannel(t.color, 0, t.blend),
                     gradient_tint::TintChannel(t.color, 8, t.blend),
                     gradient_tint::TintChannel(t.color, 16, t.blend));
    };
    colour("Color1", v.first);
    colour("Color2", v.second);
  };

  SetRenderTarget(&t2, false);
  BeginPass(mask);
  mask.SetInt("SwapChannelsSrc", swap);
  line(mask);
  mask.SetFloat("fMaskStrength", 0.0f);
  mask.SetFloat("fMaskCuttof", 0.25f);
  mask.SetFloat("fFadeRange", 4.0f);
  mask.SetFloat("fMaskVal1", maskValue(v.first.mask));
  mask.SetFloat("fMaskVal2", maskValue(v.second.mask));
  DrawQuad(source, false, nullptr);

  SetRenderTarget(&t1, false);
  BeginPass(horizontal);
  horizontal.SetInt("size", box / 2);
  DrawQuad(&t2, false, nullptr);
  SetRenderTarget(&t3, false);
  BeginPass(vertical);
  vertical.SetInt("size", box / 2);
  DrawQuad(&t1, false, nullptr);

  SetRenderTarget(&t1, false);
  BeginPass(combine);
  combine.SetInt("SwapChannelsSrc0", swap);
  line(combine);
  combine.SetInt("iBlendMode", v.mode);
  combine.SetFloat("fBlend1", v.first.blend);
  combine.SetFloat("fBlend2", v.second.blend);
  DrawQuad2(source, &t3);

  // What the output step answers is not looked at: the frame was drawn.
  FinishFrame(&t1, source, destination);
  return true;
}

}  // namespace vitrella
