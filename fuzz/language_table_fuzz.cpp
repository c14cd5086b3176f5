// Any bytes as a language table: the reader refuses or accepts it, and every text it
// accepted can be looked up, without a crash, a hang or a leak.
#include <cstdint>
#include <optional>
#include <string>

#include "tools/lang/language_table.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::optional<vitrella::lang::LanguageTable> table =
      vitrella::lang::LanguageTable::Parse(std::string(reinterpret_cast<const char*>(data), size));
  if (!table) return 0;
  if (table->Languages().empty() || !table->HasLanguage(table->BaseLanguage())) __builtin_trap();
  for (const std::string& code : table->Languages()) {
    table->Find(code, 4, "Open Preset");
  }
  return 0;
}
