#include <ctime>

#include "platform/clock.h"

namespace vitrella::platform {

uint32_t TickCount() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const uint64_t ms =
      static_cast<uint64_t>(now.tv_sec) * 1000u + static_cast<uint64_t>(now.tv_nsec) / 1000000u;
  return static_cast<uint32_t>(ms);  // wraps by design
}

}  // namespace vitrella::platform
