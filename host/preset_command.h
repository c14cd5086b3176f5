// `vitrella preset save` and `vitrella preset load`: a preset file written or read
// through the library's IPresetSaver, its file dialog answered with the command's file.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "command_line.h"
#include "effect_catalog.h"
#include "vitrella/library.h"

namespace vitrella::host {

// Exit statuses of a load that the library answered with 1 and 2.
inline constexpr int kPresetLoadFailed = 1;
inline constexpr int kPresetOfOtherEffect = 3;

// Both print what the library showed and its result; they return the exit status.
int RunPresetSave(const CommandLine& line, std::ostream& out);
int RunPresetLoad(const CommandLine& line, std::ostream& out);

// The values of a render that starts from a preset file: the file's, then the settings
// in their order. Throws HostError with the library's message when the file is refused.
std::vector<ParamValue> PresetFileValues(IEffectLibrary& library, FoundEffect& found,
                                         const RenderOptions& options,
                                         const std::optional<std::string>& language);

}  // namespace vitrella::host
