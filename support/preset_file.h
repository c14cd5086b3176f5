// The preset file: one XML document per saved preset, a root element `Preset` with the
// three names and one `parameter` element per entry of the record.
#pragma once

#include <cstdio>

#include "vitrella/preset.h"

namespace vitrella {

// Writes the names and the first paramCount entries (at most 100) into a new document,
// saved through the file opened in text mode. True when all of it reached the file.
bool WritePresetFile(const char* path, const PresetRecord& record) noexcept;

// Reads the file, opened in binary mode, into the record. Whatever tree the parser built
// is used, even from a file cut short. Without a `Preset` element the record stays as
// it was; otherwise it is cleared and filled from the file. True when at least one
// entry was read.
bool ReadPresetFile(const char* path, PresetRecord& record) noexcept;

// The same from an open stream.
bool ReadPreset(std::FILE* file, PresetRecord& record) noexcept;

}  // namespace vitrella
