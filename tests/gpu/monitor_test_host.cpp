// A host for the GPU monitor's tests: it reports the begin of a GPU render, says so on
// its standard output, and waits inside the "render" until it is killed. With "end" as
// its argument it reports the end too and leaves normally.
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "gpu/monitor_report.h"

int main(int argc, char** argv) {
  using namespace vitrella;
  const bool ends = argc > 1 && std::strcmp(argv[1], "end") == 0;
  char guid[kRenderGuidCapacity];
  if (!MakeRenderGuid(guid, sizeof(guid))) return 2;
  // A monitor that it started may take longer than the library's pause to open its socket
  // (a sanitizer build); a real host would report its next frame, this one tries again.
  bool begun = false;
  for (int attempt = 0; attempt < 100 && !begun; ++attempt) {
    begun =
        SendMonitorReport("Test Host", "Corvane Vitrella III", "Spotlight", guid, kRenderBegins);
    if (!begun) usleep(50000);
  }
  if (!begun) return 3;
  if (ends) {
    return SendMonitorReport("Test Host", "Corvane Vitrella III", "Spotlight", guid, kRenderEnded)
               ? 0
               : 4;
  }
  std::puts("begun");
  std::fflush(stdout);
  for (;;)
    pause();
}
