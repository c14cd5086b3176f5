// The text of the options dialog's GPU report (template 260, control 1017): which effects
// of the library the host can run on its GPU, and the host's own diagnostic text.
#pragma once

#include <string>

#include "vitrella/effect.h"
#include "vitrella/library.h"

namespace vitrella {

// Lines, each ended by a carriage return and a line feed. Without a host, a library or
// the host's GPU services, the report is the one line that says which is missing.
std::u16string GpuReportText(IEffectHost* host, IEffectLibrary* library);

}  // namespace vitrella
