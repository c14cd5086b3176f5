#include "core/effect_factory.h"

#include <new>

#include "effects/auto_contrast.h"
#include "effects/diffusion.h"
#include "effects/dual_booster.h"
#include "effects/edge_smoother.h"
#include "effects/gradient_tint.h"
#include "effects/image_mapper.h"
#include "effects/proportion_helper.h"
#include "effects/rolling_shutter.h"
#include "effects/split_screen.h"
#include "effects/spotlight.h"
#include "vitrella/library.h"

namespace vitrella {
namespace {

using EffectFactory = IVideoEffect* (*)();

template <typename Effect>
IVideoEffect* Make() {
  return new (std::nothrow) Effect();
}

// One explicit entry per index. An effect that is not built yet answers null.
constexpr EffectFactory kEffects[kEffectCount] = {
    &Make<CAutoContrast>,         // 0 Auto Contrast
    &Make<CDiffusionFilter>,      // 1 Diffusion
    &Make<CDualBooster>,          // 2 Dual Booster
    &Make<CEdgeSmoother>,         // 3 Edge Smoother
    &Make<CGradientTint>,         // 4 Gradient Tint
    &Make<CImageMapper>,          // 5 Image Mapper
    &Make<PropHelper>,            // 6 Proportion Helper
    &Make<CRollingShutterFixer>,  // 7 Rolling Shutter
    &Make<CSplitScreen>,          // 8 Split Screen
    &Make<CSpotlight>,            // 9 Spotlight
};

}  // namespace

IVideoEffect* CreateEffectByIndex(uint32_t index) {
  if (index >= kEffectCount || kEffects[index] == nullptr) return nullptr;
  return kEffects[index]();
}

}  // namespace vitrella
