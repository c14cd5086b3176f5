// How the maker's product names, help server and download server name this platform.
#pragma once

namespace vitrella::platform {

// In the product name ("... for Linux 3.0") and the download folder.
inline constexpr const char* kPlatformWord = "Linux";
// The help address's platform= value.
inline constexpr const char* kHelpPlatform = "Linux";

}  // namespace vitrella::platform
