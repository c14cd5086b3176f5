// The library object that a host gets from GetEffectsLibrary: the effect factory, and
// the door to the frame processor, preset files, help and shared services.
#pragma once

#include <atomic>

#include "support/multilingual_base.h"
#include "vitrella/library.h"

namespace vitrella {

class CSharedServices;

inline constexpr const char* kLibraryName = "Corvane Vitrella III";
inline constexpr const char* kLanguageTableFile = "KZVitrella3Lang.xml";
// The version words the shared services start from; the build is a date, which the
// update check compares with the dates of the server's version file.
inline constexpr SharedVersion kLibraryVersion{3, 0, 20261124, "Copyright 2026 Corvane"};

class CVitrellaEffects3 final : public IEffectLibrary, public CMultiLingualBase {
 public:
  // Loads the language table; without one the library works with its English texts.
  CVitrellaEffects3();

  Result VITRELLA_CALL QueryInterface(const Guid& iid, void** out) override;
  uint32_t VITRELLA_CALL AddRef() override;
  uint32_t VITRELLA_CALL Release() override;

  const char* VITRELLA_CALL GetLibraryName() override;
  IVideoEffect* VITRELLA_CALL CreateEffect(uint32_t index) override;
  void VITRELLA_CALL ShowHelp(WindowHandle parent, int32_t topic) override;
  ISharedServices* VITRELLA_CALL GetSharedServices() override;
  IFrameProcessor* VITRELLA_CALL CreateFrameProcessor() override;
  IPresetSaver* VITRELLA_CALL CreatePresetSaver() override;

 private:
  ~CVitrellaEffects3();
  // The shared services, initialised by this library unless another one did already.
  CSharedServices& GetSharedServicesReady();

  std::atomic<uint32_t> refs_{1};
};

}  // namespace vitrella
