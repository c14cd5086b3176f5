// The constant store of GPU program texts. Each text is a file under gpu/programs/,
// embedded byte for byte at build time; gpu/program_ids.h (generated) names each entry
// after its file, e.g. kProgramPassThroughVertex.
#pragma once

#include <cstdint>
#include <span>

#include "gpu/program_ids.h"

namespace vitrella {

// Handed to the host's CreateProgram as it stands; the library never reads the text.
struct StoredProgram {
  const char* text;
  uint32_t storedSize;  // bytes stored
  uint32_t length;      // 0 for a plain text
  uint64_t value;       // 0 for a plain text
};

std::span<const StoredProgram> GpuProgramStore();

// A vertex and a fragment program of the store, by their ids, that make one program.
struct ProgramPair {
  int vertex;
  int fragment;
};

inline const StoredProgram& StoredProgramAt(int id) {
  return GpuProgramStore()[static_cast<size_t>(id)];
}

}  // namespace vitrella
