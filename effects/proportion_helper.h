// Proportion Helper: a composition guide (thirds, golden section, golden spiral and its
// sections, golden triangles, diagonals) laid over the picture in the picture's own
// negative, so that it shows on any content; it can be moved, scaled, turned and mirrored.
// The CPU path is the effect; the GPU path is refused, and its frame call only sketches
// the guide.
#pragma once

#include <cstdint>

#include "core/effect_base.h"
#include "gpu/gpu_effect_helper.h"

namespace vitrella {

class PropHelper final : public EffectBase<PropHelper, GPUEffectHelper> {
 public:
  PropHelper();

  bool VITRELLA_CALL Render(IEffectHost* host, const HostFrame* source, uintptr_t unused,
                            HostFrame* destination, const RenderInfo* info) override;
  // No GPU path: answers false and touches nothing.
  bool VITRELLA_CALL SetupGPUFrame(IEffectHost* host, GPUSetupInfo* info, uintptr_t word) override;
  bool VITRELLA_CALL RenderGPUFrame(IEffectHost* host, const GPUTextureRef* source,
                                    const GPUTextureRef* secondSource, GPUTextureRef* destination,
                                    const RenderInfo* info) override;
};

}  // namespace vitrella
