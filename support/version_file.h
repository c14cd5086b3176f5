// The version file on the download server, read for one build and host.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vitrella {

// What a version file says for one build and host.
struct VersionFileFacts {
  bool readable = false;  // well-formed, with a Version element
  bool available = false;
  std::string downloadPath;
  std::string buildVersion;
  std::string latestDate;  // the text of the newest date above the build
  std::u16string fixes;    // each entry behind a line feed and its marker
  std::u16string features;
};

// Reads a version file (NUL-terminated; null reads as nothing) for the build number and
// the host's name.
VersionFileFacts ReadVersionFile(const char* text, uint32_t build, std::string_view hostName);

}  // namespace vitrella
