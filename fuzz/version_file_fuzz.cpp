// Any bytes as the update server's version file: the reader answers for every build and
// host without a crash, a hang or a leak, and offers an update only from a file it read.
#include <cstdint>
#include <string>

#include "support/version_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // The fetch hands the parser a NUL-terminated buffer; bytes past a NUL are not read.
  const std::string text(reinterpret_cast<const char*>(data), size);
  for (const uint32_t build : {0u, 20260101u, 0xFFFFFFFFu}) {
    const vitrella::VersionFileFacts facts =
        vitrella::ReadVersionFile(text.c_str(), build, "Vegas");
    if (facts.available && !facts.readable) __builtin_trap();
    if (facts.available && facts.fixes.empty() && facts.features.empty()) __builtin_trap();
  }
  return 0;
}
