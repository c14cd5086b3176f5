// One picture through an effect's GPU path: the source goes up as a texture, the effect
// renders with BeginGPUFrameSetup and RenderGPU, and the destination comes back.
#pragma once

#include <string>

#include "egl_services.h"
#include "vitrella/effect.h"

namespace vitrella::host {

// The host that a GPU render is given: another host's answers, with the GPU services lent
// besides.
class GpuHost final : public IEffectHost {
 public:
  GpuHost(IEffectHost& inner, IGPUServices& services);

  Result VITRELLA_CALL QueryInterface(const Guid& iid, void** out) override;
  uint32_t VITRELLA_CALL AddRef() override;
  uint32_t VITRELLA_CALL Release() override;
  int32_t VITRELLA_CALL GetParamValue(uint32_t index, void* value, ParamKind kind) override;
  void* VITRELLA_CALL GetFrame(const RenderInfo* which, HostFrame* frame) override;
  int32_t VITRELLA_CALL ReleaseFrame(void* handle, HostFrame* frame) override;
  HostInfo* VITRELLA_CALL GetHostInfo(HostInfo* info) override;

 private:
  IEffectHost& inner_;
  IGPUServices& services_;
};

// Throws HostError when the effect has no GPU path, refuses this context, or fails.
void RenderOnGpu(EglServices& services, IVideoEffect& effect, IEffectHost& host,
                 const HostFrame& source, HostFrame& destination, const RenderInfo& info,
                 const std::string& effectName);

// Whether the effect accepts the GPU path on the services' context.
bool AcceptsGpu(EglServices& services, IVideoEffect& effect);

}  // namespace vitrella::host
