// Image Mapper: places the picture inside a free four-cornered shape whose edges can bend,
// after a crop and an aspect trim, with a softened edge; around the shape the frame is
// transparent black. On the CPU the pixels go through the four stages of
// image_mapper_stages.h.
#pragma once

#include <cstdint>

#include "core/effect_base.h"
#include "effects/image_mapper_stages.h"
#include "gpu/gpu_effect_helper.h"

namespace vitrella {

// The parameters as both render paths read them, in memory orientation: row 0 is the
// picture's top when the source is flipped and its bottom otherwise.
struct ImageMapperValues {
  EdgeCurves curves;     // each (v - 0.5) * 2
  float crop;            // Crop * 0.2
  float aspect;          // (Aspect Ratio - 0.5) * 2
  float blur;            // Edge Blur * 0.2
  float sx, sy;          // the shift, (x - 0.5) * 2 and its row counterpart
  double corners[4][2];  // P0 at memory (0, 0), P1 at (W - 1, 0), P2, P3: fractions
};
ImageMapperValues ReadImageMapper(IEffectHost* host, bool flipped);

// The programs that the GPU capability test makes: the lookup and the strip.
extern const ProgramPair kImageMapperSetupPrograms[2];

class CImageMapper final : public EffectBase<CImageMapper, GPUEffectHelper> {
 public:
  CImageMapper();

  bool VITRELLA_CALL Render(IEffectHost* host, const HostFrame* source, uintptr_t unused,
                            HostFrame* destination, const RenderInfo* info) override;
  bool VITRELLA_CALL RenderGPUFrame(IEffectHost* host, const GPUTextureRef* source,
                                    const GPUTextureRef* secondSource, GPUTextureRef* destination,
                                    const RenderInfo* info) override;
};

}  // namespace vitrella
