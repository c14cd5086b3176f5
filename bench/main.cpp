// Runs every benchmark pair single-threaded and ends with a table of ours / OpenCV.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <opencv2/core.hpp>
#include <string>

#include "kernels/dispatch.h"

namespace {

// The console report, plus a ratio table of each operation's two sides at the end.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.error_occurred) continue;
      // With repetitions the median stands for the operation, else the single run.
      const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      if (run.run_type != Run::RT_Iteration && !median) continue;
      const std::string& name = run.run_name.function_name;  // without "/real_time"
      const size_t slash = name.rfind('/');
      if (slash == std::string::npos) continue;
      double& time = times_[name.substr(0, slash)][name.substr(slash + 1)];
      if (median || time == 0.0) time = run.GetAdjustedRealTime();  // ms, as registered
    }
  }

  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\n%-28s %12s %12s %8s\n", "operation", "ours ms", "opencv ms", "ratio");
    for (const auto& [operation, sides] : times_) {
      const auto ours = sides.find("ours");
      const auto opencv = sides.find("opencv");
      if (ours == sides.end() || opencv == sides.end()) continue;
      std::printf("%-28s %12.3f %12.3f %8.2f\n", operation.c_str(), ours->second, opencv->second,
                  ours->second / opencv->second);
    }
  }

 private:
  std::map<std::string, std::map<std::string, double>> times_;
};

}  // namespace

int main(int argc, char** argv) {
  cv::setNumThreads(0);  // one thread, as our kernels run
  vitrella::kernels::SelectKernelPath();
  std::printf("kernels: %s\n", vitrella::kernels::CurrentKernelVariant().name);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
