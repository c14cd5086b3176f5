// The parser object that the language module hands out: it reads the language table
// and answers texts by language, category and key.
#pragma once

#include <atomic>
#include <optional>
#include <string>

#include "tools/lang/language_table.h"
#include "vitrella/language.h"

namespace vitrella::lang {

// What the two pass-through slots mean between the host and this module.
// LanguageQuery(kQueryLanguageCount): the number of the table's languages.
// LanguageQuery(kQueryLanguageCode, index): the code at index as a pointer to narrow
// text, 0 past the end.
inline constexpr uintptr_t kQueryLanguageCount = 1;
inline constexpr uintptr_t kQueryLanguageCode = 2;
// LanguageCommand(kCommandSetLanguage, code): makes the code, a pointer to narrow text,
// the current language; false when the table does not have it.
inline constexpr uintptr_t kCommandSetLanguage = 1;

// The variable that picks the current language before the system's locale does.
inline constexpr const char* kLanguageVariable = "VITRELLA_LANGUAGE";

// Parsers alive in this process; the module may go when none is.
uint32_t LiveParsers();

class CLangXMLParser final : public ILangXMLParser {
 public:
  CLangXMLParser();

  Result VITRELLA_CALL QueryInterface(const Guid& iid, void** out) override;
  uint32_t VITRELLA_CALL AddRef() override;
  uint32_t VITRELLA_CALL Release() override;

  // A path with a separator is read as it stands; a bare file name is looked for beside
  // this module, then beside the program. A table that fails to load leaves the one
  // loaded before.
  bool VITRELLA_CALL LoadLanguageFile(const WideChar* path) override;
  uint64_t VITRELLA_CALL LanguageQuery(uintptr_t a1, uintptr_t a2, uintptr_t a3, uintptr_t a4,
                                       uintptr_t a5, uintptr_t a6, uintptr_t a7) override;
  // language null: the current one. Writes at most capacity - 1 characters and a NUL.
  int32_t VITRELLA_CALL GetLanguageText(const char* language, uint32_t category, const char* key,
                                        WideChar* text, int32_t capacity) override;
  // The language picked from $VITRELLA_LANGUAGE, else the locale's (LC_ALL, LC_MESSAGES,
  // LANG), when the table has it; else the table's base. Null before a table loaded.
  const char* VITRELLA_CALL GetCurrentLanguage() override;
  bool VITRELLA_CALL LanguageCommand(uintptr_t a1, uintptr_t a2, uintptr_t a3,
                                     uintptr_t a4) override;

 private:
  ~CLangXMLParser();

  std::atomic<uint32_t> refs_{1};
  std::optional<LanguageTable> table_;
  std::string current_;
};

}  // namespace vitrella::lang
