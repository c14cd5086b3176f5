// Any bytes as a preset file: the reader ends with a record inside its bounds, whatever
// the file held, and never crashes, hangs or leaks.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "support/preset_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  // Through a stream, as the file reader does it.
  std::FILE* file = fmemopen(const_cast<uint8_t*>(data), size, "rb");
  if (file == nullptr) return 0;
  vitrella::PresetRecord record{};
  const bool read = vitrella::ReadPreset(file, record);
  std::fclose(file);
  if (record.paramCount < 0 || record.paramCount > vitrella::kPresetMaxParams) __builtin_trap();
  if (read != (record.paramCount > 0)) __builtin_trap();
  for (const char* name : {record.name, record.libraryName, record.effectName}) {
    if (strnlen(name, vitrella::kPresetTextBytes) == vitrella::kPresetTextBytes) __builtin_trap();
  }
  return 0;
}
