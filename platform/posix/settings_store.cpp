#include "platform/settings_store.h"

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vitrella::platform {
namespace {

// The registry's read sizes, NUL included: a first read, and a second one for the
// current user's values that did not fit.
constexpr size_t kFirstReadBytes = 10240;
constexpr size_t kSecondReadBytes = 102400;
// A settings file holds a few short values; a bigger one is not ours and reads as damaged.
constexpr off_t kMaxFileBytes = 4 << 20;

constexpr std::string_view kFolder = "/corvane";
constexpr std::string_view kFileName = "/settings.ini";

struct Section {
  std::string name;
  std::vector<std::pair<std::string, std::string>> values;
};
using Document = std::vector<Section>;

enum class FileState { kRead, kMissing, kDamaged };

bool SameName(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
    if (lower(a[i]) != lower(b[i])) return false;
  }
  return true;
}

std::string HomeConfig() {
  const char* config = std::getenv("XDG_CONFIG_HOME");
  if (config != nullptr && config[0] == '/') return config;
  const char* home = std::getenv("HOME");
  if (home == nullptr || home[0] != '/') {
    const passwd* user = getpwuid(getuid());
    home = user != nullptr ? user->pw_dir : nullptr;
  }
  return std::string(home != nullptr ? home : "") + "/.config";
}

std::string MachineConfig() {
  // The first absolute entry of the list, as the desktop's own lookups take it.
  const char* dirs = std::getenv("XDG_CONFIG_DIRS");
  std::string_view list = dirs != nullptr ? dirs : "";
  while (!list.empty()) {
    const size_t colon = list.find(':');
    const std::string_view entry = list.substr(0, colon);
    if (!entry.empty() && entry[0] == '/') return std::string(entry);
    if (colon == std::string_view::npos) break;
    list.remove_prefix(colon + 1);
  }
  return "/etc/xdg";
}

std::optional<std::string> Unescape(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      out += text[i];
      continue;
    }
    if (++i == text.size()) return std::nullopt;
    switch (text[i]) {
      case '\\':
        out += '\\';
        break;
      case 'n':
        out += '\n';
        break;
      case 'r':
        out += '\r';
        break;
      default:
        return std::nullopt;
    }
  }
  return out;
}

std::string Escape(std::string_view text) {
  std::string out;
  for (const char c : text) {
    if (c == '\\') {
      out += "\\\\";
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\r') {
      out += "\\r";
    } else {
      out += c;
    }
  }
  return out;
}

std::optional<Document> Parse(std::string_view text) {
  Document document;
  while (!text.empty()) {
    const size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    // A file saved by a Windows editor ends its lines with CR LF; values escape their own.
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.find('\0') != std::string_view::npos) return std::nullopt;
    if (line.empty() || line[0] == '#') continue;
    if (line[0] == '[') {
      if (line.back() != ']' || line.size() < 3) return std::nullopt;
      document.push_back({std::string(line.substr(1, line.size() - 2)), {}});
      continue;
    }
    const size_t equals = line.find('=');
    if (document.empty() || equals == 0 || equals == std::string_view::npos) return std::nullopt;
    std::optional<std::string> value = Unescape(line.substr(equals + 1));
    if (!value) return std::nullopt;
    document.back().values.emplace_back(line.substr(0, equals), std::move(*value));
  }
  return document;
}

std::string Serialise(const Document& document) {
  std::string text = "# Corvane settings: [section], then name=value lines.\n";
  for (const Section& section : document) {
    text += "[" + section.name + "]\n";
    for (const auto& [name, value] : section.values)
      text += name + "=" + Escape(value) + "\n";
  }
  return text;
}

FileState ReadDocument(const std::string& path, Document& document) {
  document.clear();
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return errno == ENOENT ? FileState::kMissing : FileState::kDamaged;
  struct stat info {};
  std::string bytes;
  bool whole = fstat(file, &info) == 0 && S_ISREG(info.st_mode) && info.st_size <= kMaxFileBytes;
  if (whole) {
    bytes.resize(static_cast<size_t>(info.st_size));
    size_t done = 0;
    while (done < bytes.size()) {
      const ssize_t got = read(file, bytes.data() + done, bytes.size() - done);
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) break;
      done += static_cast<size_t>(got);
    }
    whole = done == bytes.size();
  }
  close(file);
  std::optional<Document> parsed = whole ? Parse(bytes) : std::nullopt;
  if (!parsed) return FileState::kDamaged;
  document = std::move(*parsed);
  return FileState::kRead;
}

const std::string* FindValue(const Document& document, std::string_view section,
                             std::string_view name) {
  // A later line wins, as a file edited by hand would be read.
  const std::string* found = nullptr;
  for (const Section& each : document) {
    if (!SameName(each.name, section)) continue;
    for (const auto& [key, value] : each.values) {
      if (SameName(key, name)) found = &value;
    }
  }
  return found;
}

void SetValue(Document& document, std::string_view section, std::string_view name,
              std::string_view value) {
  Section* target = nullptr;
  for (Section& each : document) {
    if (!SameName(each.name, section)) continue;
    target = &each;
    for (auto& [key, old] : each.values) {
      if (SameName(key, name)) {
        old = value;
        return;
      }
    }
  }
  if (target == nullptr) target = &document.emplace_back(Section{std::string(section), {}});
  target->values.emplace_back(name, value);
}

bool MakeFolders(const std::string& path) {
  for (size_t slash = path.find('/', 1); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    const std::string part = path.substr(0, slash);
    if (mkdir(part.c_str(), 0700) != 0 && errno != EEXIST) return false;
  }
  return true;
}

bool WriteAll(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t put = write(file, bytes.data(), bytes.size());
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return false;
    bytes.remove_prefix(static_cast<size_t>(put));
  }
  return true;
}

// Writes the bytes beside path and renames them over it, so that a reader sees the old
// file or the new one, never a part.
bool ReplaceFile(const std::string& path, std::string_view bytes) {
  std::string temporary = path + ".XXXXXX";
  const int file = mkostemp(temporary.data(), O_CLOEXEC);
  if (file < 0) return false;
  const bool written = WriteAll(file, bytes) && fsync(file) == 0;
  const bool closed = close(file) == 0;
  if (!written || !closed || rename(temporary.c_str(), path.c_str()) != 0) {
    unlink(temporary.c_str());
    return false;
  }
  return true;
}

// Writers make their temporary file only while they hold the lock, so one that the lock's
// holder finds was left by a writer that died.
void RemoveStaleTemporaries(const std::string& path) {
  const size_t slash = path.rfind('/');
  const std::string folder = path.substr(0, slash);
  const std::string prefix = path.substr(slash + 1) + ".";
  DIR* handle = opendir(folder.c_str());
  if (handle == nullptr) return;
  while (const dirent* entry = readdir(handle)) {
    const std::string_view name = entry->d_name;
    const std::string_view suffix =
        name.starts_with(prefix) ? name.substr(prefix.size()) : std::string_view();
    // mkostemp's six characters; "lock" and "damaged" are not six long.
    if (suffix.size() == 6) unlinkat(dirfd(handle), entry->d_name, 0);
  }
  closedir(handle);
}

bool SetAside(const std::string& path) {
  for (int copy = 0; copy < 100; ++copy) {
    const std::string aside = path + ".damaged" + (copy == 0 ? "" : "." + std::to_string(copy));
    // link fails rather than replace a copy that stands there already.
    if (link(path.c_str(), aside.c_str()) == 0) return unlink(path.c_str()) == 0;
    if (errno != EEXIST) return false;
  }
  return false;
}

bool Storable(std::string_view name, char forbidden) {
  return !name.empty() &&
         name.find_first_of(std::string{'\n', '\r', '\0', forbidden}) == std::string_view::npos;
}

}  // namespace

std::string UserSettingsPath() {
  return HomeConfig().append(kFolder).append(kFileName);
}

std::string MachineSettingsPath() {
  return MachineConfig().append(kFolder).append(kFileName);
}

SettingValue ReadSetting(std::string_view section, std::string_view name) {
  Document document;
  const std::string* value = nullptr;
  if (ReadDocument(UserSettingsPath(), document) == FileState::kRead &&
      (value = FindValue(document, section, name)) != nullptr) {
    if (value->size() + 1 > kSecondReadBytes) return {SettingStatus::kUnreadable, {}};
    return {SettingStatus::kFound, *value};
  }
  if (ReadDocument(MachineSettingsPath(), document) == FileState::kRead &&
      (value = FindValue(document, section, name)) != nullptr) {
    if (value->size() + 1 > kFirstReadBytes) return {SettingStatus::kUnreadable, {}};
    return {SettingStatus::kFound, *value};
  }
  return {};
}

bool WriteSetting(std::string_view section, std::string_view name, std::string_view value) {
  const std::pair<std::string_view, std::string_view> one[] = {{name, value}};
  return WriteSettings(section, one);
}

bool WriteSettings(std::string_view section,
                   std::span<const std::pair<std::string_view, std::string_view>> values) {
  if (!Storable(section, ']') || section.front() == '#') return false;
  for (const auto& [name, value] : values) {
    if (!Storable(name, '=') || name.front() == '[' || name.front() == '#' ||
        value.find('\0') != std::string_view::npos) {
      return false;
    }
  }
  const std::string path = UserSettingsPath();
  if (!MakeFolders(path)) return false;
  // The lock has a file of its own, which the rename never replaces.
  const int lock = open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (lock < 0) return false;
  while (flock(lock, LOCK_EX) != 0) {
    if (errno != EINTR) {
      close(lock);
      return false;
    }
  }
  RemoveStaleTemporaries(path);
  Document document;
  bool ok = true;
  if (ReadDocument(path, document) == FileState::kDamaged) {
    // What a damaged file held may still matter to someone; keep it aside, beside any
    // kept before.
    ok = SetAside(path);
  }
  if (ok) {
    for (const auto& [name, value] : values)
      SetValue(document, section, name, value);
    ok = ReplaceFile(path, Serialise(document));
  }
  close(lock);  // releases the lock
  return ok;
}

std::vector<std::string> SettingSubsections(std::string_view section) {
  std::vector<std::string> names;
  Document document;
  if (ReadDocument(UserSettingsPath(), document) != FileState::kRead) return names;
  for (const Section& each : document) {
    const std::string_view name = each.name;
    if (name.size() <= section.size() + 1 || name[section.size()] != '\\' ||
        !SameName(name.substr(0, section.size()), section)) {
      continue;
    }
    std::string_view below = name.substr(section.size() + 1);
    below = below.substr(0, below.find('\\'));
    if (below.empty()) continue;
    const bool known = std::any_of(names.begin(), names.end(),
                                   [&](const std::string& seen) { return SameName(seen, below); });
    if (!known) names.emplace_back(below);
  }
  return names;
}

}  // namespace vitrella::platform
