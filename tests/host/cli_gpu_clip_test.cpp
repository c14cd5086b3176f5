// Clips on the GPU path: the same frames as the CPU's, in order, and a render killed
// inside a frame leaves a crash report that the next start turns into the CPU path.
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include "common/fake_monitor.h"
#include "common/temp_config.h"
#include "host/run_vitrella.h"
#include "host/synthetic_clip.h"
#include "platform/monitor_channel.h"
#include "platform/settings_store.h"

namespace vitrella::testing {
namespace {

constexpr int kFrames = 8;
constexpr const char* kReports = "Common\\Monitoring\\Reports";

std::vector<std::string> GpuRender(const std::string& in, const std::string& out, bool gpu) {
  std::vector<std::string> args = {"render",           "--effect", "Spotlight", "--preset",
                                   "Classic Portrait", in,         out};
  if (gpu) args.insert(args.begin() + 1, "--gpu");
  return args;
}

TEST(VitrellaGpuClip, FramesMatchTheCpuPathInOrder) {
  TempConfig config;  // no "Forced CPU" of the person running the tests
  MonitorFolder monitor;
  TempFolder folder;
  WriteSyntheticClip(folder.Path("in%04d.png"), kFrames);
  const RunResult cpu =
      RunVitrella(GpuRender(folder.Path("in%04d.png"), folder.Path("cpu%04d.png"), false));
  ASSERT_EQ(cpu.exitCode, 0) << cpu.err;
  const RunResult gpu =
      RunVitrella(GpuRender(folder.Path("in%04d.png"), folder.Path("gpu%04d.png"), true));
  ASSERT_EQ(gpu.exitCode, 0) << gpu.err;
  EXPECT_EQ(gpu.err.rfind("rendered 8 frames in ", 0), 0U) << gpu.err;
  const auto frame = [&](const char* side, int k) {
    char name[32];
    std::snprintf(name, sizeof(name), "%s%04d.png", side, k);
    return cv::imread(folder.Path(name), cv::IMREAD_UNCHANGED);
  };
  const auto meanDifference = [](const cv::Mat& a, const cv::Mat& b) {
    cv::Mat difference;
    cv::absdiff(a, b, difference);
    return cv::mean(difference);
  };
  for (int k = 0; k < kFrames; ++k) {
    const cv::Mat a = frame("cpu", k);
    const cv::Mat b = frame("gpu", k);
    ASSERT_FALSE(a.empty()) << k;
    ASSERT_EQ(a.size(), b.size()) << k;
    // Spotlight's parity tolerance: 20 levels at the worst pixel, and a mean of 3.5 over a
    // photograph; a 64x48 frame is mostly edges, where those worst pixels lie, so 5 here.
    cv::Mat difference;
    cv::absdiff(a, b, difference);
    double largest = 0;
    cv::minMaxLoc(difference.reshape(1), nullptr, &largest);
    EXPECT_LE(largest, 20.0) << k;
    const cv::Scalar mean = meanDifference(a, b);
    for (int c = 0; c < 4; ++c)
      EXPECT_LE(mean[c], 5.0) << "frame " << k << " channel " << c;
    // In order: each frame lies nearer its own CPU frame than the one before, whose
    // background differs in blue.
    if (k > 0) {
      EXPECT_GT(meanDifference(frame("cpu", k - 1), b)[0], 1.5 * mean[0]) << k;
    }
  }
}

TEST(VitrellaGpuClip, AKilledRenderIsReportedAndTheNextStartOffersTheCpu) {
  TempConfig config;
  MonitorFolder monitor;
  TempFolder folder;
  std::filesystem::copy_file(std::string(VITRELLA_BIN_DIR) + "/GPUMonitor", monitor.ProgramPath());
  setenv("VITRELLA_UI", "headless", 1);
  setenv("VITRELLA_UI_LOG", folder.Path("ui.log").c_str(), 1);
  unsetenv("VITRELLA_UI_WINDOW");
  unsetenv("VITRELLA_UI_ANSWER");
  WriteSyntheticClip(folder.Path("in%04d.png"), 40);

  // Killed at a moment a little after the monitor came up; a kill that falls between two
  // frames' reports leaves none, so a few moments are tried.
  std::vector<std::string> reports;
  for (int attempt = 0; attempt < 5 && reports.empty(); ++attempt) {
    std::optional<std::chrono::steady_clock::time_point> seen;
    const auto ready = [&] {
      if (!seen && platform::MonitorRunning(monitor.ProgramPath())) {
        seen = std::chrono::steady_clock::now();
      }
      return seen && std::chrono::steady_clock::now() - *seen >
                         std::chrono::milliseconds(250 + 90 * attempt);
    };
    const RunResult run = RunVitrellaAndSignal(
        GpuRender(folder.Path("in%04d.png"), folder.Path("out%04d.png"), true), ready, SIGKILL);
    EXPECT_EQ(run.exitCode, 128 + SIGKILL) << run.err;
    // The monitor writes the report and leaves with its host.
    for (int i = 0; i < 500 && platform::MonitorRunning(monitor.ProgramPath()); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_FALSE(platform::MonitorRunning(monitor.ProgramPath()));
    reports = platform::SettingSubsections(kReports);
  }
  ASSERT_EQ(reports.size(), 1U);
  const std::string report = std::string(kReports) + "\\" + reports[0];
  EXPECT_EQ(platform::ReadSetting(report, "HostName").text, "vitrella");
  EXPECT_EQ(platform::ReadSetting(report, "ProductName").text, "Corvane Vitrella III");
  EXPECT_EQ(platform::ReadSetting(report, "EffectName").text, "Spotlight");
  EXPECT_EQ(platform::ReadSetting(report, "Shown").text, "false");

  // The next start offers the CPU (headless: OK), and the GPU render runs on the CPU.
  const RunResult next =
      RunVitrella(GpuRender(folder.Path("in%04d.png"), folder.Path("next%04d.png"), true));
  EXPECT_EQ(next.exitCode, 0) << next.err;
  EXPECT_EQ(next.err.rfind("vitrella: \"Forced CPU\" is set for Corvane Vitrella III for Windows: "
                           "rendering on the CPU\n",
                           0),
            0U)
      << next.err;
  EXPECT_EQ(TempConfig::ReadFile(folder.Path("ui.log")).rfind("box\t1\tWarning\tSpotlight ", 0),
            0U);
  EXPECT_EQ(platform::ReadSetting(report, "Shown").text, "true");
  unsetenv("VITRELLA_UI_LOG");
}

}  // namespace
}  // namespace vitrella::testing
