// Diffusion: a soft coloured glow over the bright parts of the picture. The picture is
// dimmed, its bright areas found with two thresholds, blurred by a triangle whose size
// follows the frame's width, and added back in a coarse colour. On the CPU and on the GPU,
// whose blur is two pixels wider and takes no account of the pixel aspect.
#pragma once

#include <cstdint>

#include "core/effect_base.h"
#include "gpu/gpu_effect_helper.h"

namespace vitrella {

struct DiffusionValues {
  uint32_t color;  // 0x00BBGGRR; only the top two bits of each byte count
  float blur;
  float glow;
  float ambience;
  float dim;
};
DiffusionValues ReadDiffusion(IEffectHost* host);

// The CPU's kernel sizes for a width, pixel aspect (1 when unknown) and field mode: kx odd
// and at least 1, ky = trunc(kx / aspect), halved for a single field (it may be even or 0).
struct DiffusionKernels {
  int32_t kx;
  int32_t ky;
};
DiffusionKernels DiffusionKernelSizes(int32_t width, float blur, float aspect, uint16_t fieldMode);

// The triangular kernel of size n: 1, 2, ... up to index ((n + 1) >> 1) - 1, then mirrored.
// Writes n weights and answers their sum; -1 when the buffer of `capacity` is too small.
int32_t FillTriangle(int32_t* weights, int32_t capacity, int32_t n);

class CDiffusionFilter final : public EffectBase<CDiffusionFilter, GPUEffectHelper> {
 public:
  CDiffusionFilter();

  bool VITRELLA_CALL Render(IEffectHost* host, const HostFrame* source, uintptr_t unused,
                            HostFrame* destination, const RenderInfo* info) override;
  bool VITRELLA_CALL RenderGPUFrame(IEffectHost* host, const GPUTextureRef* source,
                                    const GPUTextureRef* secondSource, GPUTextureRef* destination,
                                    const RenderInfo* info) override;
};

}  // namespace vitrella
