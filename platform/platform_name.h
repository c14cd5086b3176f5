// How the maker's product name, help server and download server name the platform. The
// collection is one product on every system: its settings section, help pages and update
// file keep the names the maker's servers and earlier installations know.
#pragma once

namespace vitrella::platform {

// In the product name ("... for Windows 3.0"), whose section is cut behind it, and in the
// download folder.
inline constexpr const char* kPlatformWord = "Windows";
// The help address's platform= value.
inline constexpr const char* kHelpPlatform = "Win";

}  // namespace vitrella::platform
