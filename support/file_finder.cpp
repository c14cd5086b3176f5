#include "support/file_finder.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/files.h"
#include "support/path_library.h"

namespace vitrella {

FileFinder::FileFinder(const KZUnicodeString& directory, const KZUnicodeString& pattern) noexcept {
  const PathLibrary paths;
  searchPath_ = paths.Collapse(pattern.IsEmpty() ? paths.FileBesideModule(nullptr, directory)
                                                 : paths.Join(directory, pattern));
  if (searchPath_.IsEmpty()) return;
  try {
    std::vector<platform::DirectoryEntry> entries =
        platform::FindEntries(std::u16string(searchPath_.Data(), searchPath_.Length()));
    std::erase_if(entries, [](const platform::DirectoryEntry& entry) {
      return entry.kind != platform::EntryKind::kFile || entry.name == u"." || entry.name == u"..";
    });
    std::sort(entries.begin(), entries.end(),
              [](const auto& a, const auto& b) { return a.name < b.name; });
    const KZUnicodeString folder = paths.DirectoryOf(searchPath_);
    files_.reserve(entries.size());
    for (const platform::DirectoryEntry& entry : entries) {
      KZUnicodeString path = paths.Join(folder, KZUnicodeString(entry.name.c_str()));
      if (!path.IsEmpty()) files_.push_back(std::move(path));
    }
  } catch (...) {
    files_.clear();  // out of memory: nothing found rather than part of it
  }
}

KZUnicodeString FileFinder::File(uint64_t index) const noexcept {
  return index < files_.size() ? files_[index] : KZUnicodeString();
}

}  // namespace vitrella
