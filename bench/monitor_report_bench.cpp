// What the health reports cost a GPU frame: a begin and an end, each a connection of its
// own to a running GPUMonitor, and so how many connections a second the monitor takes.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "gpu/monitor_report.h"
#include "platform/monitor_channel.h"

namespace vitrella::bench {
namespace {

// A socket and settings of the benchmark's own, and the monitor built beside this program.
std::string PointAtOwnMonitor() {
  std::string folder = std::filesystem::temp_directory_path() / "vitrella-bench-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) return {};
  char self[PATH_MAX] = {};
  if (readlink("/proc/self/exe", self, sizeof(self) - 1) <= 0) return {};
  const std::string program = std::filesystem::path(self).parent_path() / "GPUMonitor";
  setenv(platform::kMonitorSocketVariable, (folder + "/monitor.socket").c_str(), 1);
  setenv(platform::kMonitorProgramVariable, program.c_str(), 1);
  // A report the monitor might write lands here, never in the user's settings.
  setenv("XDG_CONFIG_HOME", folder.c_str(), 1);
  return folder;
}

void MonitorReportsPerFrame(benchmark::State& state) {
  static const std::string folder = PointAtOwnMonitor();
  char guid[kRenderGuidCapacity];
  // The first report starts the monitor, which then lives as long as this process.
  if (folder.empty() || !MakeRenderGuid(guid, sizeof(guid)) ||
      !SendMonitorReport("bench", "Corvane Vitrella III", "Spotlight", guid, kRenderBegins) ||
      !SendMonitorReport("bench", "Corvane Vitrella III", "Spotlight", guid, kRenderEnded)) {
    state.SkipWithError("no GPUMonitor beside the benchmark program");
    return;
  }
  bool sent = true;
  for (auto _ : state) {
    MakeRenderGuid(guid, sizeof(guid));
    sent = SendMonitorReport("bench", "Corvane Vitrella III", "Spotlight", guid, kRenderBegins) &&
           SendMonitorReport("bench", "Corvane Vitrella III", "Spotlight", guid, kRenderEnded) &&
           sent;
  }
  if (!sent) state.SkipWithError("a report was not sent");
  state.counters["connections/s"] = benchmark::Counter(
      2.0 * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(MonitorReportsPerFrame)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace
}  // namespace vitrella::bench
