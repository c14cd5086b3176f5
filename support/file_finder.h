// FileFinder: the full paths of the files that a wildcard pattern names.
#pragma once

#include <cstdint>
#include <vector>

#include "support/kz_unicode_string.h"

namespace vitrella {

class FileFinder {
 public:
  // With a pattern, searches Join(directory, pattern); without one, directory is a
  // pattern beside the process's executable. The search path is collapsed first. Keeps
  // files only, never "." "..", nor directories, nor links to them, sorted by name so
  // that every system lists them alike.
  FileFinder(const KZUnicodeString& directory, const KZUnicodeString& pattern) noexcept;
  virtual ~FileFinder() = default;

  const KZUnicodeString& SearchPath() const noexcept { return searchPath_; }
  uint64_t Count() const noexcept { return files_.size(); }
  // The index-th full path; empty past the end.
  KZUnicodeString File(uint64_t index) const noexcept;
  const std::vector<KZUnicodeString>& Files() const noexcept { return files_; }

 private:
  KZUnicodeString searchPath_;
  std::vector<KZUnicodeString> files_;
};

}  // namespace vitrella
