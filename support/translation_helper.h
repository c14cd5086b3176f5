// TranslationHelper: a text by category and key in the chosen language, from the
// library's IMultiLingual, with the English text wherever no translation is found.
#pragma once

#include <cstdint>

#include "support/text_keys.h"
#include "vitrella/language.h"
#include "vitrella/library.h"

namespace vitrella {

class TranslationHelper {
 public:
  static constexpr int32_t kTextCapacity = 2048;

  TranslationHelper() noexcept;
  TranslationHelper(const TranslationHelper&) = delete;
  TranslationHelper& operator=(const TranslationHelper&) = delete;
  // Releases the library.
  virtual ~TranslationHelper();

  // Empties the text, holds a reference to library (either argument may be null), then
  // sets the language.
  void SetContext(IEffectLibrary* library, const char* language) noexcept;
  // A text of exactly two bytes is the code; anything else, null included, is "en".
  void SetLanguage(const char* language) noexcept;
  const char* Language() const noexcept { return language_; }
  IEffectLibrary* Library() const noexcept { return library_; }

  // A counted reference to the library's IMultiLingual, for the caller to release; null
  // without a library or when the library has no language table.
  IMultiLingual* FindLanguageInterface() const noexcept;

  // The translation of key, else fallback, else key itself, else an empty text. The
  // text lives in this object until the next look-up; a caller that keeps it copies it.
  const WideChar* Translate(uint32_t category, const char* key, const char* fallback) noexcept;
  const WideChar* Translate(const TextKey& key) noexcept {
    return Translate(key.category, key.key, key.fallback);
  }
  const WideChar* Text() const noexcept { return text_; }

  // The language the table is set to, else this helper's own code.
  const char* CurrentLanguage() const noexcept;

 private:
  char language_[3];
  WideChar text_[kTextCapacity];
  IEffectLibrary* library_ = nullptr;
};

}  // namespace vitrella
