// Rolling Shutter: straightens the skew and squash that a rolling-shutter sensor puts in
// a moving picture, from the global motion measured against earlier frames. CPU only.
#pragma once

#include "core/effect_base.h"

namespace vitrella {

class CRollingShutterFixer final : public EffectBase<CRollingShutterFixer> {
 public:
  CRollingShutterFixer();

  // With source and destination both null, announces to the host the frames that a
  // render of this frame will ask for.
  bool VITRELLA_CALL Render(IEffectHost* host, const HostFrame* source, uintptr_t unused,
                            HostFrame* destination, const RenderInfo* info) override;
};

}  // namespace vitrella
