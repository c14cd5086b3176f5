#include "support/translation_helper.h"

#include <algorithm>
#include <cstring>

#include "support/kz_string.h"
#include "support/kz_unicode_string.h"

namespace vitrella {

TranslationHelper::TranslationHelper() noexcept : language_{'e', 'n', '\0'}, text_{} {}

TranslationHelper::~TranslationHelper() {
  if (library_ != nullptr) library_->Release();
}

void TranslationHelper::SetContext(IEffectLibrary* library, const char* language) noexcept {
  text_[0] = u'\0';
  if (library != library_) {
    if (library_ != nullptr) library_->Release();
    library_ = library;
    if (library_ != nullptr) library_->AddRef();
  }
  SetLanguage(language);
}

void TranslationHelper::SetLanguage(const char* language) noexcept {
  if (language != nullptr && strnlen(language, 3) == 2) {
    std::memcpy(language_, language, 3);
  } else {
    std::memcpy(language_, "en", 3);
  }
}

IMultiLingual* TranslationHelper::FindLanguageInterface() const noexcept {
  if (library_ == nullptr) return nullptr;
  void* found = nullptr;
  if (library_->QueryInterface(kIID_IMultiLingual, &found) != kOk) return nullptr;
  return static_cast<IMultiLingual*>(found);
}

const WideChar* TranslationHelper::Translate(uint32_t category, const char* key,
                                             const char* fallback) noexcept {
  text_[0] = u'\0';
  if (IMultiLingual* language = FindLanguageInterface()) {
    const int32_t written =
        language->GetLanguageText(language_, category, key, text_, kTextCapacity);
    language->Release();
    // Whatever the parser wrote ends inside the buffer.
    text_[kTextCapacity - 1] = u'\0';
    if (written > 0) {
      text_[std::min(written, kTextCapacity - 1)] = u'\0';
      return text_;
    }
  }
  const char* source = fallback != nullptr ? fallback : key;
  if (source == nullptr) return text_;
  const KZUnicodeString wide = KZString(source).ToWide();
  const uint64_t count = std::min<uint64_t>(wide.Length(), kTextCapacity - 1);
  std::copy_n(wide.SafeData(), count, text_);
  text_[count] = u'\0';
  return text_;
}

const char* TranslationHelper::CurrentLanguage() const noexcept {
  if (IMultiLingual* language = FindLanguageInterface()) {
    const char* current = language->GetCurrentLanguage();
    language->Release();
    if (current != nullptr) return current;
  }
  return language_;
}

}  // namespace vitrella
