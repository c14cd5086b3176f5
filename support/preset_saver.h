// CPresetSaver: moves one effect's parameter set between the host's PresetRecord and a
// preset file that the user picks in the file dialogs, and tells the user in message
// boxes when that went wrong.
#pragma once

#include <atomic>

#include "support/translation_helper.h"
#include "vitrella/preset.h"

namespace vitrella {

class CPresetSaver final : public IPresetSaver {
 public:
  CPresetSaver() = default;

  Result VITRELLA_CALL QueryInterface(const Guid& iid, void** out) override;
  uint32_t VITRELLA_CALL AddRef() override;
  uint32_t VITRELLA_CALL Release() override;

  // 0 done or cancelled, 1 failed (the user saw the error box), 2 read but another
  // effect's (the user saw the warning; the record holds what the file held).
  int32_t VITRELLA_CALL LoadPreset(WindowHandle parent, IEffectLibrary* library,
                                   uint32_t effectIndex, PresetRecord* record,
                                   const char* language) override;
  // 0 done or cancelled, 1 failed (the user saw the error box).
  int32_t VITRELLA_CALL SavePreset(WindowHandle parent, IEffectLibrary* library,
                                   uint32_t effectIndex, PresetRecord* record,
                                   const char* language) override;
  void VITRELLA_CALL Destroy(uint32_t deleting) override;

 private:
  ~CPresetSaver() = default;

  int32_t Load(WindowHandle parent, IEffectLibrary* library, uint32_t effectIndex,
               PresetRecord* record, const char* language);
  int32_t Save(WindowHandle parent, IEffectLibrary* library, uint32_t effectIndex,
               PresetRecord* record, const char* language);

  std::atomic<int32_t> refs_{1};
  // Set up by each translated operation; keeps the library until the next one.
  TranslationHelper translator_;
};

}  // namespace vitrella
