// Edge Smoother: removes stair-steps from hard edges, on the CPU only.
#pragma once

#include "core/effect_base.h"

namespace vitrella {

class CEdgeSmoother final : public EffectBase<CEdgeSmoother> {
 public:
  CEdgeSmoother();

  bool VITRELLA_CALL Render(IEffectHost* host, const HostFrame* source, uintptr_t unused,
                            HostFrame* destination, const RenderInfo* info) override;
};

}  // namespace vitrella
