#include "core/colour_adjust.h"
#include "effects/dual_booster.h"
#include "gpu/gpu_frame_objects.h"

namespace vitrella {
namespace {

constexpr ProgramPair kProgram{kProgramQuadVertex, kProgramDualBooster};

// A band's matrix on float samples as a 4x4 matrix, column after column: rows are red,
// green and blue out, the fourth column the offset, the fourth row zero. The weights of the
// neutral then lie on red, green and blue, in that order.
void BandMatrix(float brightness, float colour, float columns[16]) {
  const ColourMatrix m = ColourAdjustMatrix(brightness, colour, false);
  for (int column = 0; column < 4; ++column) {
    for (int row = 0; row < 4; ++row)
      columns[4 * column + row] = row < 3 ? m.m[row][column] : 0.0f;
  }
}

}  // namespace

bool CDualBooster::RenderGPUFrame(IEffectHost* host, const GPUTextureRef* source,
                                  const GPUTextureRef* /*secondSource*/, GPUTextureRef* destination,
                                  const RenderInfo* info) {
  if (source == nullptr || destination == nullptr || info == nullptr) return false;
  const DualBoosterValues v = ReadDualBooster(host);
  float dark[16];
  float light[16];
  BandMatrix(v.darkBrightness, v.darkColour, dark);
  BandMatrix(v.lightBrightness, v.lightColour, light);

  GpuFrameObjects objects(*this);
  GPUTextureRef& target = objects.Target(source->width, source->height, source->format);
  ProgramBundle& program = objects.Program(kProgram);
  if (!objects.made()) return false;
  SetupView(10.0, 10.0);
  SetRenderTarget(&target, false);
  BeginPass(program);
  program.SetInt("SwapChannelsSrc", SwapFlag(source->format));
  program.SetInt("bTestMask", v.test ? 1 : 0);
  program.SetFloat("fOffset", v.center);
  program.SetFloat("fSmooth", v.steepness);
  SetMatrix4(program, "MatA", dark);
  SetMatrix4(program, "MatB", light);
  DrawQuad(source, false, nullptr);
  // What the output step answers is not looked at: the frame was drawn.
  FinishFrame(&target, source, destination);
  return true;
}

}  // namespace vitrella
