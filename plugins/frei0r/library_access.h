// The effect library as a frei0r plugin reaches it: loaded by path from beside the plugin
// (the build) or from lib/vitrella (an installation), through its exports only.
#pragma once

#include <string>

#include "vitrella/library.h"

namespace vitrella::frei0r {

// Where the plugin that holds this code looks for the library, first match wins.
std::string FindLibraryPath();

// One reference to a library object for the whole plugin, shared between instances, kept
// while f0r_init calls outnumber f0r_deinit calls. Hosts call these once per instance.
bool AcquireLibrary();
void ReleaseLibrary();

// A new effect instance (one reference for the caller), or null. Between AcquireLibrary
// and ReleaseLibrary it comes from the shared library object; a host that never called
// f0r_init gets one from a library object made for the moment.
IVideoEffect* CreateEffect(uint32_t index);

// The library's constant name, or null when no library loads.
const char* LibraryName();

}  // namespace vitrella::frei0r
