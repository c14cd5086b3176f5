// `vitrella render`: one picture, or a clip, through one effect on the CPU path.
#pragma once

#include <cstdint>
#include <vector>

#include "command_line.h"
#include "vitrella/effect.h"

namespace vitrella::host {

// A clip's summary line goes to standard error unless the options ask for quiet.
void RunRender(const CommandLine& line);

// The time, number, rate, field mode and pixel aspect of one frame of the render.
RenderInfo MakeRenderInfo(const RenderOptions& options, int32_t frameNumber, double frameRate);

// The value of every parameter record for the render: the effect's defaults, replaced by
// the preset's values when one is chosen, then by the settings in their order. Throws
// UsageError for an unknown preset, parameter or value.
std::vector<ParamValue> ChooseValues(IVideoEffect& effect, const std::vector<ParamInfo>& params,
                                     const RenderOptions& options);

}  // namespace vitrella::host
