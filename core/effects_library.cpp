#include "core/effects_library.h"

#include <new>

#include "core/effect_factory.h"
#include "core/frame_processor.h"
#include "core/module.h"
#include "support/preset_saver.h"
#include "support/shared_services.h"

namespace vitrella {

CVitrellaEffects3::CVitrellaEffects3() {
  LoadLanguageTable(LibraryModule(), kLanguageTableFile);
}

CVitrellaEffects3::~CVitrellaEffects3() {
  SharedServices().ForgetLibrary(this);
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

void CVitrellaEffects3::ShowHelp(WindowHandle parent, int32_t topic) {
  GetSharedServicesReady().ShowHelp(parent, topic, false);
}

// The module's one object, started by the first library that asks; the host owns the
// reference that comes back.
ISharedServices* CVitrellaEffects3::GetSharedServices() {
  CSharedServices& services = GetSharedServicesReady();
  services.AddRef();
  return &services;
}

CSharedServices& CVitrellaEffects3::GetSharedServicesReady() {
  CSharedServices& services = SharedServices();
  if (services.Build() == 0) services.SetVersion(&kLibraryVersion);
  services.Initialise(LibraryModule(), this, nullptr);
  return services;
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
