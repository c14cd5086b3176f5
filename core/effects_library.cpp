#include "core/effects_library.h"

#include <new>

#include "core/effect_factory.h"
#include "core/frame_processor.h"
#include "core/module.h"
#include "support/preset_saver.h"

namespace vitrella {

CVitrellaEffects3::CVitrellaEffects3() {
  LoadLanguageTable(LibraryModule(), kLanguageTableFile);
}

Result CVitrellaEffects3::QueryInterface(const Guid& iid, void** out) {
  if (out == nullptr) return kPointerError;
  if (iid == kIID_IUnknown || iid == kIID_IEffectLibrary) {
    *out = static_cast<IEffectLibrary*>(this);
  } else if (iid == kIID_IMultiLingual && LanguageReady()) {
    *out = static_cast<IMultiLingual*>(this);
  } else {
    *out = nullptr;
    return kNoInterface;
  }
  AddRef();
  return kOk;
}

uint32_t CVitrellaEffects3::AddRef() {
  return refs_.fetch_add(1) + 1;
}

uint32_t CVitrellaEffects3::Release() {
  const uint32_t left = refs_.fetch_sub(1) - 1;
  if (left == 0) delete this;
  return left;
}

const char* CVitrellaEffects3::GetLibraryName() {
  return kLibraryName;
}

IVideoEffect* CVitrellaEffects3::CreateEffect(uint32_t index) {
  return CreateEffectByIndex(index);
}

// Help and the shared services arrive with the settings module; until then these doors
// stay shut.
void CVitrellaEffects3::ShowHelp(WindowHandle /*parent*/, int32_t /*topic*/) {}

ISharedServices* CVitrellaEffects3::GetSharedServices() {
  return nullptr;
}

// The host owns the one reference that comes back; null only when memory ran out.
IFrameProcessor* CVitrellaEffects3::CreateFrameProcessor() {
  return new (std::nothrow) FrameProcessor();
}

// The host owns the one reference that comes back; null only when memory ran out.
IPresetSaver* CVitrellaEffects3::CreatePresetSaver() {
  return new (std::nothrow) CPresetSaver();
}

}  // namespace vitrella
