// Listing the entries of a folder that match a wildcard pattern, and the path limit.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace vitrella::platform {

enum class EntryKind { kFile, kDirectory, kOther };

struct DirectoryEntry {
  std::u16string name;
  EntryKind kind = EntryKind::kOther;  // of what a link points to
};

// The entries of the folder that searchPath names before its last separator (the
// current folder without one) whose names match what follows: `*` stands for any run
// of characters, `?` for one, everything else for itself, with regard to case. "." and
// ".." come back as the system lists them. In the system's order; empty when the folder
// cannot be read.
std::vector<DirectoryEntry> FindEntries(const std::u16string& searchPath);

// The longest path, in characters, that the platform's file calls accept.
size_t MaxPathLength();

}  // namespace vitrella::platform
