// The settings store: named text values in sections, as the Windows build keeps them in
// the registry under "Software\Corvane\<section>". Here they live in two files of the
// same format: the user's, which is written, and the machine's, which is only read.
//
//   user:    $XDG_CONFIG_HOME/corvane/settings.ini   ($XDG_CONFIG_HOME unset: ~/.config)
//   machine: <first of $XDG_CONFIG_DIRS>/corvane/settings.ini   (unset: /etc/xdg)
//
// The format is one "[section]" line, then its "name=value" lines; blank lines and lines
// starting with '#' are ignored. Section and value names compare without regard to ASCII
// case, as registry keys do. In a value, a backslash, line feed and carriage return are
// written as \\, \n and \r. Anything else makes the file damaged: it reads as empty, and
// a write sets it aside as settings.ini.damaged (.damaged.1 and so on beside an
// earlier one) instead of replacing it with less.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vitrella::platform {

enum class SettingStatus {
  kFound,
  kMissing,     // in neither file, or the files are missing or damaged
  kUnreadable,  // there, but longer than a read may take
};

struct SettingValue {
  SettingStatus status = SettingStatus::kMissing;
  std::string text;  // empty unless found
};

// A value of the user's file, else of the machine's. A value of up to 10240 bytes with
// its NUL is read from either; a longer one, up to 102400 bytes, from the user's only.
SettingValue ReadSetting(std::string_view section, std::string_view name);

// Writes the value into the user's file, making the folder when needed. The file is
// replaced whole by a renamed temporary file under a lock, so that two processes writing
// at once keep each other's values. False when the names are not storable (empty, or
// holding a line end, '=' in a value name or ']' in a section name) or the file could not
// be written, which leaves the old one as it was.
bool WriteSetting(std::string_view section, std::string_view name, std::string_view value);

// Several values of one section written at once, so that a reader finds all of them or
// none; the same rules and answer as WriteSetting.
bool WriteSettings(std::string_view section,
                   std::span<const std::pair<std::string_view, std::string_view>> values);

// The names of the sections directly below section in the user's file, as registry
// subkeys: "A\B" holds "A\B\C" as "C" (a deeper "A\B\C\D" adds "C" too), in the
// order of the file, each once.
std::vector<std::string> SettingSubsections(std::string_view section);

// The two files' paths, as the environment names them now.
std::string UserSettingsPath();
std::string MachineSettingsPath();

}  // namespace vitrella::platform
