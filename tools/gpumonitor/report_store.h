// The monitor's one output: a crash report in the settings store, below
// "Common\Monitoring\Reports", in a subsection named after the render's guid.
#pragma once

#include <ctime>
#include <string>

#include "tools/gpumonitor/monitor_state.h"

namespace vitrella::monitor {

// "2026-11-24 10:57:39 UTC"
std::string OccurredTimeText(std::time_t when);

// Writes the five values at once, "Shown" as "false". False when the store refused them.
bool StoreCrashReport(const CrashReport& report, std::time_t when);

}  // namespace vitrella::monitor
