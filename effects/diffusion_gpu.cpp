#include "effects/diffusion.h"
#include "gpu/gpu_frame_objects.h"

namespace vitrella {
namespace {

constexpr ProgramPair kExtractProgram{kProgramQuadVertex, kProgramDiffusionExtract};
constexpr ProgramPair kHorizontalProgram{kProgramQuadVertex, kProgramBlurHorizontal};
constexpr ProgramPair kVerticalProgram{kProgramQuadVertex, kProgramBlurVertical};
constexpr ProgramPair kCombineProgram{kProgramQuadVertex, kProgramDiffusionCombine};

float Gain(uint32_t color, int shift) {
  return static_cast<float>(((color >> shift) & 0xFFu) >> 6);
}

}  // namespace

// The GPU's blur is the CPU's size plus two, and takes no account of the pixel aspect; a
// field halves the vertical size. So at Blur 0 it still blurs by 3 where the CPU does not.
bool CDiffusionFilter::RenderGPUFrame(IEffectHost* host, const GPUTextureRef* source,
                                      const GPUTextureRef* /*secondSource*/,
                                      GPUTextureRef* destination, const RenderInfo* info) {
  if (source == nullptr || destination == nullptr || info == nullptr) return false;
  const DiffusionValues v = ReadDiffusion(host);
  const int32_t width = source->width;
  const int32_t height = source->height;
  const int32_t kg = static_cast<int32_t>(static_cast<float>(width) * v.blur * 0.3f) | 1;
  const int32_t horizontal = kg + 2;
  const int32_t vertical = info->fieldMode != kFieldModeFrame ? horizontal / 2 : horizontal;
  constexpr float kPerLevel = 0.003921569f;
  const float dim = 1.0f - v.dim * 0.5f;

  GpuFrameObjects objects(*this);
  GPUTextureRef& t1 = objects.Target(width, height, source->format);
  GPUTextureRef& t2 = objects.Target(width, height, source->format);
  GPUTextureRef& t3 = objects.Target(width, height, t2.format);
  ProgramBundle& extract = objects.Program(kExtractProgram);
  ProgramBundle& blurAcross = objects.Program(kHorizontalProgram);
  ProgramBundle& blurDown = objects.Program(kVerticalProgram);
  ProgramBundle& combine = objects.Program(kCombineProgram);
  if (!objects.made()) return false;
  t1.flipped = t2.flipped = t3.flipped = source->flipped;
  SetupView(10.0, 10.0);
  const int32_t swap = SwapFlag(source->format);

  SetRenderTarget(&t2, false);
  BeginPass(extract);
  extract.SetInt("SwapChannelsSrc", swap);
  extract.SetFloat("fMul", dim);
  extract.SetFloat("fThrLow", (1.0f - v.ambience) * 320.999f * kPerLevel);
  extract.SetFloat("fThrHigh", ((1.0f - v.glow) * 385.0f + 321.0f) * kPerLevel);
  DrawQuad(source, false, nullptr);

  SeparableBlur(horizontal, vertical, &t2, &t3, &t2, blurAcross, blurDown);

  SetRenderTarget(&t1, false);
  BeginPass(combine);
  combine.SetInt("SwapChannelsSrc0", swap);
  combine.SetFloat("fMul", dim);
  combine.SetFloat("fGlow", v.glow);
  combine.SetVec3("fGlowColor", Gain(v.color, 0), Gain(v.color, 8), Gain(v.color, 16));
  DrawQuad2(source, &t2);

  // What the output step answers is not looked at: the frame was drawn.
  FinishFrame(&t1, source, destination);
  return true;
}

}  // namespace vitrella
