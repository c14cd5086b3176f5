// Runs every benchmark pair single-threaded and ends with a table of ours / OpenCV.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <opencv2/core.hpp>
#include <string>

#include "bench/effect_bench.h"
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
    PrintRatios("ours", "opencv");
    PrintRatios("gpu", "ours");
    PrintFramesPerSecond();
  }

 private:
  // The operations timed on both sides, `first` / `second`.
  void PrintRatios(const std::string& first, const std::string& second) const {
    bool header = false;
    for (const auto& [operation, sides] : times_) {
      const auto a = sides.find(first);
      const auto b = sides.find(second);
      if (a == sides.end() || b == sides.end()) continue;
      if (!header) {
        std::printf("\n%-28s %12s %12s %8s\n", "operation", (first + " ms").c_str(),
                    (second + " ms").c_str(), "ratio");
        header = true;
      }
      std::printf("%-28s %12.3f %12.3f %8.2f\n", operation.c_str(), a->second, b->second,
                  a->second / b->second);
    }
  }

  // Every effect row's sides as frames per second; "-" where a side was not run.
  void PrintFramesPerSecond() const {
    const char* const sides[] = {"ours", "opencv", "gpu", "gpu_render"};
    bool header = false;
    for (const auto& [operation, times] : times_) {
      if (vitrella::bench::EffectOperations().count(operation) == 0) continue;
      if (!header) {
        std::printf("\n%-28s %10s %10s %10s %10s   (frames per second)\n", "effect", sides[0],
                    sides[1], sides[2], sides[3]);
        header = true;
      }
      std::printf("%-28s", operation.c_str());
      for (const char* side : sides) {
        const auto found = times.find(side);
        if (found == times.end() || found->second <= 0.0) {
          std::printf(" %10s", "-");
        } else {
          std::printf(" %10.1f", 1000.0 / found->second);
        }
      }
      std::printf("\n");
    }
  }

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
