// A monotonic clock in milliseconds, for ages of cached data. It wraps after about 49
// days, so callers compare ticks by unsigned difference.
#pragma once

#include <cstdint>

namespace vitrella::platform {

uint32_t TickCount();

// Whatever reads ticks takes one of these, so that tests can drive time.
using TickSource = uint32_t (*)();

}  // namespace vitrella::platform
