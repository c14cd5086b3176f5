// The effect library: the object that a host gets from GetEffectsLibrary, and the
// module's exports.
#pragma once

#include <cstdint>

#include "vitrella/base.h"
#include "vitrella/effect.h"
#include "vitrella/shared_services.h"

namespace vitrella {

class IFrameProcessor;
class IPresetSaver;
class IEffectLibrary;

inline constexpr Guid kIID_IEffectLibrary{
    0x9B8D0B5F, 0x065A, 0x46B1, {0x88, 0x9C, 0xF0, 0x57, 0x93, 0x4C, 0xE8, 0xA4}};

inline constexpr uint32_t kEffectCount = 10;

class IEffectLibrary : public IUnknown {
 public:
  virtual const char* VITRELLA_CALL GetLibraryName() = 0;  // 3
  // A new effect instance with one reference for the caller; null past the last index.
  virtual IVideoEffect* VITRELLA_CALL CreateEffect(uint32_t index) = 0;         // 4
  virtual void VITRELLA_CALL ShowHelp(WindowHandle parent, int32_t topic) = 0;  // 5
  // A counted reference to the module-wide shared services, or null.
  virtual ISharedServices* VITRELLA_CALL GetSharedServices() = 0;     // 6
  virtual IFrameProcessor* VITRELLA_CALL CreateFrameProcessor() = 0;  // 7
  virtual IPresetSaver* VITRELLA_CALL CreatePresetSaver() = 0;        // 8

 protected:
  ~IEffectLibrary() = default;
};

// Exports of the effect library, by name, for hosts that load it at run time.
using GetEffectsLibraryFn = IEffectLibrary* (*)();
using CanUnloadDLLNowFn = bool (*)();
using DisplayPromotionWFn = bool (*)(WindowHandle parent, const WideChar* address);
inline constexpr const char* kGetEffectsLibraryExport = "GetEffectsLibrary";
inline constexpr const char* kCanUnloadDLLNowExport = "CanUnloadDLLNow";
inline constexpr const char* kDisplayPromotionWExport = "DisplayPromotionW";

}  // namespace vitrella
