#include "support/multilingual_base.h"

#include "support/kz_unicode_string.h"
#include "support/path_library.h"

namespace vitrella {
namespace {

// The language module's file name, before the platform's module suffix.
constexpr const char* kLanguageModuleBaseName = "KZLang";

}  // namespace

CMultiLingualBase::~CMultiLingualBase() {
  if (parser_ != nullptr) {
    parser_->Release();
    parser_ = nullptr;
  }
  if (module_ == nullptr) return;
  // A language module that must stay in memory says so; it is then left loaded.
  const auto canUnload =
      reinterpret_cast<LanguageCanUnloadFn>(platform::FindSymbol(module_, "CanUnloadDLLNow"));
  if (canUnload != nullptr && !canUnload()) return;
  platform::FreeModule(module_);
  module_ = nullptr;
}

bool CMultiLingualBase::LoadLanguageTable(platform::ModuleHandle library, const char* tableFile) {
  ready_ = false;
  if (parser_ != nullptr) return ready_;
  if (module_ != nullptr) {
    // Unlike the destructor, a module that must stay is forgotten here, not kept.
    const auto canUnload =
        reinterpret_cast<LanguageCanUnloadFn>(platform::FindSymbol(module_, "CanUnloadDLLNow"));
    if (canUnload == nullptr || canUnload()) platform::FreeModule(module_);
    module_ = nullptr;
  }

  const PathLibrary paths;
  const KZUnicodeString moduleName = KZUnicodeString(kLanguageModuleBaseName)
                                         .Concatenate(KZUnicodeString(platform::kModuleSuffix));
  const KZUnicodeString tableName(tableFile);
  const KZUnicodeString modulePath = paths.FileBesideModule(library, moduleName);
  const KZUnicodeString tablePath = paths.FileBesideModule(library, tableName);

  if (!modulePath.IsEmpty()) module_ = platform::LoadModule(modulePath.SafeData());
  // The bare name gives the system's search path its chance.
  if (module_ == nullptr) module_ = platform::LoadModule(moduleName.SafeData());
  if (module_ == nullptr) return ready_;

  const auto getParser =
      reinterpret_cast<GetLangXMLParserFn>(platform::FindSymbol(module_, kGetLangXMLParserExport));
  if (getParser == nullptr) return ready_;
  parser_ = getParser();
  if (parser_ == nullptr) return ready_;

  ready_ = parser_->LoadLanguageFile(tablePath.SafeData());
  // The module searches a bare name in its own places.
  if (!ready_) ready_ = parser_->LoadLanguageFile(tableName.SafeData());
  return ready_;
}

uint64_t CMultiLingualBase::LanguageQuery(uintptr_t a1, uintptr_t a2, uintptr_t a3, uintptr_t a4,
                                          uintptr_t a5, uintptr_t a6, uintptr_t a7) {
  if (!LanguageReady()) return 0;
  return parser_->LanguageQuery(a1, a2, a3, a4, a5, a6, a7);
}

int32_t CMultiLingualBase::GetLanguageText(const char* language, uint32_t category, const char* key,
                                           WideChar* text, int32_t capacity) {
  if (!LanguageReady()) return 0;
  return parser_->GetLanguageText(language, category, key, text, capacity);
}

const char* CMultiLingualBase::GetCurrentLanguage() {
  if (!LanguageReady()) return nullptr;
  return parser_->GetCurrentLanguage();
}

bool CMultiLingualBase::LanguageCommand(uintptr_t a1, uintptr_t a2, uintptr_t a3, uintptr_t a4) {
  if (!LanguageReady()) return false;
  return parser_->LanguageCommand(a1, a2, a3, a4);
}

}  // namespace vitrella
