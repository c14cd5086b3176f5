// The shared body of every GPU effect: the capability call and the frame call of
// IVideoGPUEffect, each bracketed by the helper's entry and exit, and the capability test
// of the effect's programs. An effect adds Render and RenderGPUFrame.
#pragma once

#include <span>

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
  // Tests the effect's program list on this context and fills the capability record:
  // words 0 and 2 are 0, word 1 says whether the programs could be made. False without
  // the host's services. An effect with reasons of its own to refuse overrides it.
  bool VITRELLA_CALL SetupGPUFrame(IEffectHost* host, GPUSetupInfo* info, uintptr_t word) override;

 protected:
  // The programs that stand for the effect's GPU path in the capability test; the list
  // need not hold all of them.
  explicit GPUEffectHelper(std::span<const ProgramPair> setupPrograms = {})
      : setupPrograms_(setupPrograms) {}
  ~GPUEffectHelper() = default;

 private:
  std::span<const ProgramPair> setupPrograms_;
};

// The host's GPU services, with a reference the caller releases; null without them.
IGPUServices* QueryGPUServices(IEffectHost* host);

}  // namespace vitrella
