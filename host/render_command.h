// `vitrella render`: one picture, or a clip, through one effect on the CPU path.
#pragma once

#include <cstdint>
#include <vector>

#include "command_line.h"
#include "vitrella/effect.h"

namespace vitrella::host {

// A clip's summary line goes to standard error unless the options ask for quiet.
void RunRender(const CommandLine& line);

// The frame format of a render from pictures of `depth` (CV_8U, CV_16U, CV_32F): the one
// given, or float for channels deeper than bytes, which would lose them.
PixelFormat FormatFor(const RenderOptions& options, int depth);

// The time, number, rate, field mode and pixel aspect of one frame of the render.
RenderInfo MakeRenderInfo(const RenderOptions& options, int32_t frameNumber, double frameRate);

// The value of every parameter record for the render: the effect's defaults, replaced by
// the preset's values when one is chosen, then by the settings in their order. Throws
// UsageError for an unknown preset, parameter or value.
std::vector<ParamValue> ChooseValues(IVideoEffect& effect, const std::vector<ParamInfo>& params,
                                     const RenderOptions& options);

}  // namespace vitrella::host
