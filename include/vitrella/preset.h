// Preset files: the host-owned record of one preset and the object that moves it
// between the record and a file chosen in the file dialogs.
#pragma once

#include <cstddef>
#include <cstdint>

#include "vitrella/base.h"
#include "vitrella/records.h"

namespace vitrella {

class IEffectLibrary;

inline constexpr Guid kIID_IPresetSaver{
    0x44CD1462, 0x6E3D, 0x438E, {0x9B, 0x72, 0x8C, 0x53, 0x3A, 0xA8, 0xFD, 0x8C}};

inline constexpr int kPresetTextBytes = 260;
inline constexpr int kPresetMaxParams = 100;

struct PresetParam {
  ParamValue value;  // read strictly according to kind
  int32_t kind;      // a ParamKind
};
static_assert(sizeof(PresetParam) == 12);
static_assert(offsetof(PresetParam, kind) == 8);

struct PresetRecord {
  char name[kPresetTextBytes];
  char libraryName[kPresetTextBytes];
  char effectName[kPresetTextBytes];
  PresetParam params[kPresetMaxParams];  // in parameter index order, group labels included
  int32_t paramCount;
};
static_assert(sizeof(PresetRecord) == 1984);
static_assert(offsetof(PresetRecord, libraryName) == 260);
static_assert(offsetof(PresetRecord, effectName) == 520);
static_assert(offsetof(PresetRecord, params) == 780);
static_assert(offsetof(PresetRecord, paramCount) == 1980);

// Results of LoadPreset and SavePreset.
inline constexpr int32_t kPresetDone = 0;         // done, or the user cancelled
inline constexpr int32_t kPresetFailed = 1;       // the user has seen the error box
inline constexpr int32_t kPresetOtherEffect = 2;  // load only: read, but not this effect's

class IPresetSaver : public IUnknown {
 public:
  // language is a two-letter code, or null for the untranslated dialogs.
  virtual int32_t VITRELLA_CALL LoadPreset(WindowHandle parent, IEffectLibrary* library,
                                           uint32_t effectIndex, PresetRecord* record,
                                           const char* language) = 0;  // 3
  virtual int32_t VITRELLA_CALL SavePreset(WindowHandle parent, IEffectLibrary* library,
                                           uint32_t effectIndex, PresetRecord* record,
                                           const char* language) = 0;  // 4
  // The destructor's slot; Release calls it.
  virtual void VITRELLA_CALL Destroy(uint32_t deleting) = 0;  // 5

 protected:
  ~IPresetSaver() = default;
};

}  // namespace vitrella
