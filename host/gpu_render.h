// One picture through an effect's GPU path: the source goes up as a texture, the effect
// renders with BeginGPUFrameSetup and RenderGPU, and the destination comes back.
#pragma once

#include <string>

#include "egl_services.h"
#include "vitrella/effect.h"

namespace vitrella::host {

// Throws HostError when the effect has no GPU path, refuses this context, or fails.
void RenderOnGpu(EglServices& services, IVideoEffect& effect, IEffectHost& host,
                 const HostFrame& source, HostFrame& destination, const RenderInfo& info,
                 const std::string& effectName);

// Whether the effect accepts the GPU path on the services' context.
bool AcceptsGpu(EglServices& services, IVideoEffect& effect);

}  // namespace vitrella::host
