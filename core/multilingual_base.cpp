#include "core/multilingual_base.h"

namespace vitrella {

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

bool CMultiLingualBase::LoadLanguageTable(platform::ModuleHandle /*library*/,
                                          const char* /*tableFile*/) {
  ready_ = false;
  return ready_;
}

uint64_t CMultiLingualBase::LanguageQuery(uintptr_t a1, uintptr_t a2, uintptr_t a3,
                                          uintptr_t a4, uintptr_t a5, uintptr_t a6,
                                          uintptr_t a7) {
  if (!LanguageReady()) return 0;
  return parser_->LanguageQuery(a1, a2, a3, a4, a5, a6, a7);
}

int32_t CMultiLingualBase::GetLanguageText(const char* language, uint32_t category,
                                           const char* key, WideChar* text, int32_t capacity) {
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
