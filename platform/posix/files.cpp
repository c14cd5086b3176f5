#include "platform/files.h"

#include <dirent.h>
#include <sys/stat.h>

#include <climits>
#include <string_view>
#include <utility>

#include "platform/module.h"
#include "platform/text.h"

namespace vitrella::platform {
namespace {

// Wildcards as the Windows file search reads them in the last component: no character
// classes and no escapes, so '[' and '\' are plain characters in a name.
bool MatchesWildcard(std::u16string_view pattern, std::u16string_view name) {
  size_t p = 0;
  size_t n = 0;
  size_t star = std::u16string_view::npos;
  size_t resume = 0;
  while (n < name.size()) {
    if (p < pattern.size() && (pattern[p] == u'?' || pattern[p] == name[n])) {
      ++p;
      ++n;
    } else if (p < pattern.size() && pattern[p] == u'*') {
      star = p++;
      resume = n;
    } else if (star != std::u16string_view::npos) {
      // Let the last star take one more character and try again from there.
      p = star + 1;
      n = ++resume;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == u'*')
    ++p;
  return p == pattern.size();
}

EntryKind KindOf(DIR* folder, const dirent& entry) {
  if (entry.d_type == DT_DIR) return EntryKind::kDirectory;
  if (entry.d_type == DT_REG) return EntryKind::kFile;
  if (entry.d_type != DT_LNK && entry.d_type != DT_UNKNOWN) return EntryKind::kOther;
  // Links are judged by their target, as a directory link counts as a directory there.
  struct stat info {};
  if (fstatat(dirfd(folder), entry.d_name, &info, 0) != 0) return EntryKind::kOther;
  if (S_ISDIR(info.st_mode)) return EntryKind::kDirectory;
  if (S_ISREG(info.st_mode)) return EntryKind::kFile;
  return EntryKind::kOther;
}

}  // namespace

std::vector<DirectoryEntry> FindEntries(const std::u16string& searchPath) {
  std::vector<DirectoryEntry> entries;
  const size_t separator = searchPath.rfind(kPathSeparator);
  std::u16string folder = u".";
  std::u16string_view pattern = searchPath;
  if (separator != std::u16string::npos) {
    folder = separator == 0 ? std::u16string(1, kPathSeparator) : searchPath.substr(0, separator);
    pattern = pattern.substr(separator + 1);
  }
  if (pattern.empty()) return entries;

  DIR* handle = opendir(WideToUtf8(folder).c_str());
  if (handle == nullptr) return entries;
  try {
    while (const dirent* entry = readdir(handle)) {
      const std::string_view raw = entry->d_name;
      std::u16string name = Utf8ToWide(raw);
      // A name that is not UTF-8 could not be opened again through its wide form.
      if (WideToUtf8(name) != raw) continue;
      if (!MatchesWildcard(pattern, name)) continue;
      entries.push_back({std::move(name), KindOf(handle, *entry)});
    }
  } catch (...) {
    closedir(handle);
    throw;
  }
  closedir(handle);
  return entries;
}

size_t MaxPathLength() {
  return PATH_MAX - 1;
}

}  // namespace vitrella::platform
