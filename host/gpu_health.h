// The host's side of GPU health: it starts the library's shared services with each render
// (which is when the library offers the CPU after a crash in the GPU), and it honours the
// "Forced CPU" settings when it chooses the path of a render.
#pragma once

#include <optional>
#include <string>

#include "vitrella/library.h"

namespace vitrella::host {

// Starts the library's shared services; a GPU crash report of an earlier run is offered
// then.
void StartSharedServices(IEffectLibrary& library);

// Why a GPU render must run on the CPU: "Forced CPU" is "yes" for all collections
// ("Common") or for this one (its section, the library's name with " for Windows"). None
// when the GPU may be used.
std::optional<std::string> ForcedCpuReason(IEffectLibrary& library);

// The one line that says so.
std::string ForcedCpuNotice(const std::string& reason);

}  // namespace vitrella::host
