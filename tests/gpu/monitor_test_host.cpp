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
  if (!SendMonitorReport("Test Host", "Corvane Vitrella III", "Spotlight", guid, kRenderBegins)) {
    return 3;
  }
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
