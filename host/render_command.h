// `vitrella render`: one picture through one effect on the CPU path.
#pragma once

#include <vector>

#include "command_line.h"
#include "vitrella/effect.h"

namespace vitrella::host {

void RunRender(const CommandLine& line);

// The value of every parameter record for the render: the effect's defaults, replaced by
// the preset's values when one is chosen, then by the settings in their order. Throws
// UsageError for an unknown preset, parameter or value.
std::vector<ParamValue> ChooseValues(IVideoEffect& effect, const std::vector<ParamInfo>& params,
                                     const RenderOptions& options);

}  // namespace vitrella::host
