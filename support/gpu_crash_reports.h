// The crash reports of the GPU monitor, offered at the start of the shared services: a
// box for each report not yet shown, and on OK the collection runs on the CPU from then
// on ("Forced CPU" under the product's section).
#pragma once

namespace vitrella {

inline constexpr const char16_t* kCrashReportTitle = u"Warning";
inline constexpr const char* kCrashReportText =
    " detected a crash occurred in the GPU the last time it was run.";
inline constexpr const char* kCrashReportAdvice =
    " Please verify that your video drivers are up to date. Choose Okay to run in software or "
    "Cancel to continue with the GPU.";

// Once per process; later calls do nothing.
void CheckGPUCrashReports();

// The work of one check, for tests: every report with "Shown" "false" gets its box when
// this process has a window, and is then marked shown. Answers the number of boxes.
int ShowGPUCrashReports();

}  // namespace vitrella
