// Module-wide start-up: the kernels' code path and this library's module handle, with
// which every file beside the library is found.
#pragma once

#include "platform/module.h"

namespace vitrella {

// Runs once when the library is loaded, before any other of its code.
void OnModuleAttach();

// This library's module; valid for as long as the library is loaded.
platform::ModuleHandle LibraryModule();

}  // namespace vitrella
