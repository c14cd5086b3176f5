// `vitrella render` for clips: frames decoded in order, rendered on several threads
// through one effect instance, and written in order.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "command_line.h"
#include "vitrella/effect.h"

namespace vitrella::host {

// The bit of an effect's traits that says it reads other frames through GetFrame.
inline constexpr uint32_t kTraitReadsOtherFrames = 0x020;

// Threads that render a clip: `requested`, except for an effect that reads other frames
// while the host does not serve them. Such an effect keeps its own run of earlier frames,
// which holds only when the frames come in order on one thread.
unsigned RenderThreads(unsigned requested, uint32_t traits, bool serveFrames);

struct ClipSummary {
  int64_t frames = 0;
  double seconds = 0;
};

// Renders the clip given.input into the clip given.output with the effect, the values of
// its parameters and the clip options; frames go in float when the clip's channels are
// deeper than bytes and no format was given. effectName is for messages. Throws HostError,
// and UsageError for a range that the clip does not hold; a failed render leaves no output
// behind.
ClipSummary RenderClip(IVideoEffect& effect, const std::string& effectName,
                       const std::vector<ParamValue>& values, const RenderOptions& given);

// "rendered 8 frames in 0.05 s (160.0 frames per second)"
std::string SummaryText(const ClipSummary& summary);

}  // namespace vitrella::host
