#include "support/preset_saver.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "platform/ui.h"
#include "support/kz_string.h"
#include "support/kz_unicode_string.h"
#include "support/preset_file.h"
#include "support/preset_file_type.h"
#include "vitrella/library.h"

namespace vitrella {
namespace {

constexpr size_t kPathCapacity = 1024;
constexpr size_t kWarningCapacity = 1024;
constexpr uint32_t kOpenFlags =
    platform::kDialogExplorer | platform::kDialogFileMustExist | platform::kDialogPathMustExist;
constexpr uint32_t kSaveFlags = platform::kDialogOverwritePrompt;
// MB_OK with the exclamation mark.
constexpr uint32_t kBoxType = platform::kBoxOk | platform::kBoxIconWarning;

// The boxes speak fixed English in both forms of the operations.
constexpr const char16_t* kLoadErrorTitle = u"Preset load error";
constexpr const char16_t* kLoadErrorText =
    u"Sorry, can't open the preset specified.\nPossible reason: access denied or file is "
    u"corrupted.";
constexpr const char16_t* kSaveErrorTitle = u"Preset save error";
constexpr const char16_t* kSaveErrorText =
    u"Sorry, can't save preset.\nPossible reason: access denied or disk is full.";
constexpr const char16_t* kWrongEffectTitle = u"Preset open warning";

struct ReleaseEffect {
  void operator()(IVideoEffect* effect) const { effect->Release(); }
};
using EffectRef = std::unique_ptr<IVideoEffect, ReleaseEffect>;

EffectRef CreateEffect(IEffectLibrary* library, uint32_t index) {
  return EffectRef(library != nullptr ? library->CreateEffect(index) : nullptr);
}

// Boxes belong to the window in front, not to the operation's parent.
void ShowBox(const char16_t* title, const char16_t* text) {
  platform::ShowMessageBox(platform::ForegroundWindow(), text, title, kBoxType);
}

void ShowWrongEffect(const char* fileEffect, const char* thisEffect) {
  const KZUnicodeString text = KZUnicodeString(u"Error trying to open a ")
                                   .Concatenate(KZString(fileEffect).ToWide())
                                   .Concatenate(u" preset. This can only open ")
                                   .Concatenate(KZString(thisEffect).ToWide())
                                   .Concatenate(u" presets. Please try again.");
  WideChar buffer[kWarningCapacity] = {};
  std::copy_n(text.SafeData(), std::min<uint64_t>(text.Length(), kWarningCapacity - 1), buffer);
  ShowBox(kWrongEffectTitle, buffer);
}

// The file layer takes narrow paths, converted into a buffer of one byte per character:
// a path that needs more bytes in the narrow code page fails, as an empty one does.
bool NarrowPath(const WideChar* path, std::string& narrow) {
  const KZUnicodeString wide(path);
  if (wide.IsEmpty()) return false;
  const KZString converted = wide.ToNarrow();
  if (converted.Length() != wide.Length()) return false;
  narrow.assign(converted.SafeData(), converted.Length());
  return true;
}

void CopyName(char (&field)[kPresetTextBytes], const char* name) {
  const std::string_view text = name != nullptr ? name : "";
  const size_t count = std::min(text.size(), size_t{kPresetTextBytes - 1});
  std::memcpy(field, text.data(), count);
  field[count] = '\0';
}

bool NameEquals(const char (&field)[kPresetTextBytes], const char* name) {
  return std::string_view(field, strnlen(field, kPresetTextBytes)) ==
         std::string_view(name != nullptr ? name : "");
}

// Names equal byte for byte, and the kind of every parameter the effect describes
// equal to the record's entry at its index; surplus entries do not matter.
bool RecordFitsEffect(IEffectLibrary* library, uint32_t index, const PresetRecord& record) {
  if (library == nullptr) return record.paramCount > 0;
  const EffectRef effect = CreateEffect(library, index);
  if (effect == nullptr) return false;
  if (!NameEquals(record.libraryName, library->GetLibraryName()) ||
      !NameEquals(record.effectName, effect->GetEffectName())) {
    return false;
  }
  for (int32_t i = 0;; ++i) {
    ParamInfo info{};
    if (!effect->GetParamInfo(static_cast<uint32_t>(i), &info)) return true;
    if (i >= record.paramCount || record.params[i].kind != info.kind) return false;
  }
}

// What a file dialog of either operation shows.
struct DialogTexts {
  WideChar extension[kPresetExtensionCapacity];
  WideChar filter[kPresetFilterCapacity];
  KZUnicodeString title;
};

// The plain form, without a language code, shows fixed English; the translated form
// sets the translator's context and asks it for the title and the filter's label.
void PrepareDialog(TranslationHelper& translator, IEffectLibrary* library, uint32_t index,
                   const char* language, const char16_t* plainTitle, const TextKey& titleKey,
                   DialogTexts& texts) {
  PresetExtension(library != nullptr ? library->GetLibraryName() : nullptr, index, texts.extension);
  if (language == nullptr) {
    texts.title = KZUnicodeString(plainTitle);
    PresetFilter(u"Preset Files", texts.extension, texts.filter);
    return;
  }
  translator.SetContext(library, language);
  texts.title = KZUnicodeString(translator.Translate(titleKey));
  PresetFilter(translator.Translate(text::kPresetFiles), texts.extension, texts.filter);
}

platform::FileDialog MakeDialog(WindowHandle parent, const DialogTexts& texts, uint32_t flags,
                                WideChar* path) {
  platform::FileDialog dialog;
  dialog.owner = parent;
  dialog.title = texts.title.SafeData();
  dialog.filter = texts.filter;
  dialog.filterIndex = 0;
  dialog.defaultExtension = texts.extension;
  dialog.flags = flags;
  dialog.path = path;
  dialog.pathCapacity = kPathCapacity;
  return dialog;
}

}  // namespace

Result CPresetSaver::QueryInterface(const Guid& iid, void** out) {
  if (out == nullptr) return kPointerError;
  if (iid == kIID_IUnknown || iid == kIID_IPresetSaver) {
    *out = static_cast<IPresetSaver*>(this);
    AddRef();
    return kOk;
  }
  *out = nullptr;
  return kNoInterface;
}

uint32_t CPresetSaver::AddRef() {
  return static_cast<uint32_t>(refs_.fetch_add(1) + 1);
}

uint32_t CPresetSaver::Release() {
  const int32_t left = refs_.fetch_sub(1) - 1;
  if (left == 0) Destroy(1);
  return static_cast<uint32_t>(left);
}

void CPresetSaver::Destroy(uint32_t deleting) {
  if (deleting & 1u) {
    delete this;
  } else {
    translator_.SetContext(nullptr, nullptr);
  }
}

int32_t CPresetSaver::LoadPreset(WindowHandle parent, IEffectLibrary* library, uint32_t effectIndex,
                                 PresetRecord* record, const char* language) {
  try {
    return Load(parent, library, effectIndex, record, language);
  } catch (...) {
    // Only memory running out gets here.
    try {
      ShowBox(kLoadErrorTitle, kLoadErrorText);
    } catch (...) {
    }
    return kPresetFailed;
  }
}

int32_t CPresetSaver::SavePreset(WindowHandle parent, IEffectLibrary* library, uint32_t effectIndex,
                                 PresetRecord* record, const char* language) {
  try {
    return Save(parent, library, effectIndex, record, language);
  } catch (...) {
    try {
      ShowBox(kSaveErrorTitle, kSaveErrorText);
    } catch (...) {
    }
    return kPresetFailed;
  }
}

int32_t CPresetSaver::Load(WindowHandle parent, IEffectLibrary* library, uint32_t effectIndex,
                           PresetRecord* record, const char* language) {
  if (record == nullptr) {
    ShowBox(kLoadErrorTitle, kLoadErrorText);
    return kPresetFailed;
  }
  DialogTexts texts;
  PrepareDialog(translator_, library, effectIndex, language, u"Load Preset", text::kOpenPreset,
                texts);
  WideChar path[kPathCapacity] = {};
  platform::FileDialog dialog = MakeDialog(parent, texts, kOpenFlags, path);
  if (!platform::ShowOpenDialog(dialog)) return kPresetDone;  // cancelled
  if (path[0] == u'\0') {
    ShowBox(kLoadErrorTitle, kLoadErrorText);
    return kPresetFailed;
  }

  // This instance names the effect in the record and in the warning; validation makes
  // its own.
  const EffectRef effect = CreateEffect(library, effectIndex);
  if (effect != nullptr) {
    CopyName(record->libraryName, library->GetLibraryName());
    CopyName(record->effectName, effect->GetEffectName());
  }
  std::string narrow;
  if (!NarrowPath(path, narrow) || !ReadPresetFile(narrow.c_str(), *record)) {
    ShowBox(kLoadErrorTitle, kLoadErrorText);
    return kPresetFailed;
  }
  if (RecordFitsEffect(library, effectIndex, *record)) return kPresetDone;
  // The record keeps what the file held; the result tells the host not to use it.
  if (effect == nullptr) {
    ShowBox(kLoadErrorTitle, kLoadErrorText);
    return kPresetFailed;
  }
  const std::string fileEffect(record->effectName, strnlen(record->effectName, kPresetTextBytes));
  ShowWrongEffect(fileEffect.c_str(), effect->GetEffectName());
  return kPresetOtherEffect;
}

int32_t CPresetSaver::Save(WindowHandle parent, IEffectLibrary* library, uint32_t effectIndex,
                           PresetRecord* record, const char* language) {
  if (record == nullptr) {
    ShowBox(kSaveErrorTitle, kSaveErrorText);
    return kPresetFailed;
  }
  DialogTexts texts;
  PrepareDialog(translator_, library, effectIndex, language, u"Save Preset", text::kSavePresetAs,
                texts);
  WideChar path[kPathCapacity] = {};
  platform::FileDialog dialog = MakeDialog(parent, texts, kSaveFlags, path);
  if (!platform::ShowSaveDialog(dialog)) return kPresetDone;  // cancelled
  if (path[0] == u'\0') {
    ShowBox(kSaveErrorTitle, kSaveErrorText);
    return kPresetFailed;
  }

  // Without an instance the record's names are written as they stand.
  if (const EffectRef effect = CreateEffect(library, effectIndex); effect != nullptr) {
    CopyName(record->libraryName, library->GetLibraryName());
    CopyName(record->effectName, effect->GetEffectName());
  }
  std::string narrow;
  if (!NarrowPath(path, narrow) || !WritePresetFile(narrow.c_str(), *record)) {
    ShowBox(kSaveErrorTitle, kSaveErrorText);
    return kPresetFailed;
  }
  return kPresetDone;
}

}  // namespace vitrella
