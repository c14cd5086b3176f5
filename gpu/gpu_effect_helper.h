// The shared body of every GPU effect: the capability call and the frame call of
// IVideoGPUEffect, each bracketed by the helper's entry and exit. An effect adds Render,
// SetupGPUFrame and RenderGPUFrame.
#pragma once

#include "gpu/gpu_helper.h"
#include "vitrella/effect.h"

namespace vitrella {

class GPUEffectHelper : public IVideoGPUEffect, public GPUHelper {
 public:
  bool VITRELLA_CALL BeginGPUFrameSetup(IEffectHost* host, IGLContext* context, GPUSetupInfo* info,
                                        uintptr_t word) override;
  bool VITRELLA_CALL RenderGPU(uintptr_t unused, IEffectHost* host, IGLContext* context,
                               const GPUTextureRef* source, const GPUTextureRef* secondSource,
                               GPUTextureRef* destination, const RenderInfo* info) override;

 protected:
  GPUEffectHelper() = default;
  ~GPUEffectHelper() = default;
};

// The host's GPU services, with a reference the caller releases; null without them.
IGPUServices* QueryGPUServices(IEffectHost* host);

// 1 when a picture of this format is read and written through the .grab swizzle.
int32_t SwapFlag(int32_t format);

}  // namespace vitrella
