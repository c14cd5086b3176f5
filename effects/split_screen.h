// Split Screen: keeps the picture on one side of a straight line through a centre and makes
// it transparent on the other, so that the host shows what lies below; the line can turn,
// carry a colour and be feathered, and the picture can be zoomed and moved within its half.
#pragma once

#include <cstdint>

#include "core/effect_base.h"
#include "gpu/gpu_effect_helper.h"

namespace vitrella {

// The parameters as both render paths read them.
struct SplitScreenValues {
  float centerX, centerY;  // Split Center, y from the top
  float angle;             // Split Angle, a fraction of a full turn
  float shiftX, shiftY;    // Shift, y from the top
  float crop;
  bool lock;
  float lineWidth;
  uint32_t lineColor;  // 0x00BBGGRR
  float feather;
};
SplitScreenValues ReadSplitScreen(IEffectHost* host);

// The line's opacity for a line of lineWidth (a fraction of q) and the whole pixels l it
// spans: lines above 3% of q are opaque, thinner ones fade with their width, and below a
// hundredth of the opacity there is no line (0).
float SplitLineOpacity(float q, float lineWidth, int32_t l);

class CSplitScreen final : public EffectBase<CSplitScreen, GPUEffectHelper> {
 public:
  CSplitScreen();

  bool VITRELLA_CALL Render(IEffectHost* host, const HostFrame* source, uintptr_t unused,
                            HostFrame* destination, const RenderInfo* info) override;
  bool VITRELLA_CALL RenderGPUFrame(IEffectHost* host, const GPUTextureRef* source,
                                    const GPUTextureRef* secondSource, GPUTextureRef* destination,
                                    const RenderInfo* info) override;
};

}  // namespace vitrella
