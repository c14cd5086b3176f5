// GPU health through the built program: a crash report in the settings is offered at the
// next start, once, and after OK `render --gpu` runs on the CPU and says so in one line.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "common/fake_monitor.h"
#include "common/temp_config.h"
#include "host/run_vitrella.h"

namespace vitrella {
namespace {

using testing::RunResult;
using testing::RunVitrella;
using testing::TempConfig;
using testing::TempFolder;

constexpr const char* kNotice =
    "vitrella: \"Forced CPU\" is set for Corvane Vitrella III for Windows: rendering on the CPU\n";

class GpuHealthCliTest : public ::testing::Test {
 protected:
  GpuHealthCliTest() {
    setenv("VITRELLA_UI", "headless", 1);
    setenv("VITRELLA_UI_LOG", folder_.Path("ui.log").c_str(), 1);
    unsetenv("VITRELLA_UI_ANSWER");
    unsetenv("VITRELLA_UI_WINDOW");
  }
  ~GpuHealthCliTest() override { unsetenv("VITRELLA_UI_LOG"); }

  RunResult Render(const std::string& output, bool gpu) {
    std::vector<std::string> args = {"render", "--effect", "Spotlight", folder_.Path(output)};
    if (gpu) args.insert(args.begin() + 1, "--gpu");
    return RunVitrella(args);
  }
  std::string UiLog() const { return TempConfig::ReadFile(folder_.Path("ui.log")); }

  TempConfig config_;
  TempFolder folder_;
  testing::MonitorFolder monitor_;  // no monitor program: reports are given up at once
};

TEST_F(GpuHealthCliTest, ACrashReportIsOfferedOnceAndOkMovesGpuRendersToTheCpu) {
  TempConfig::WriteFile(config_.UserFile(),
                        "[Common\\Monitoring\\Reports\\r1]\nHostName=vitrella\n"
                        "ProductName=Corvane Vitrella III\nEffectName=Spotlight\n"
                        "OccurredTime=2026-11-24 10:00:00 UTC\nShown=false\n");
  // A start without a window of its own leaves the report for later.
  setenv("VITRELLA_UI_WINDOW", "none", 1);
  RunResult run = Render("cpu.png", false);
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(UiLog(), "");
  unsetenv("VITRELLA_UI_WINDOW");

  // The next start shows it; the headless answer is OK, the box's first button.
  run = Render("forced.png", true);
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.err, kNotice);
  EXPECT_EQ(UiLog(),
            "box\t1\tWarning\tSpotlight detected a crash occurred in the GPU the last time it was "
            "run. Please verify that your video drivers are up to date. Choose Okay to run in "
            "software or Cancel to continue with the GPU.\n");
  const std::string settings = TempConfig::ReadFile(config_.UserFile());
  EXPECT_NE(settings.find("Shown=true\n"), std::string::npos);
  EXPECT_NE(settings.find("[Corvane Vitrella III for Windows]\nForced CPU=yes\n"),
            std::string::npos)
      << settings;
  // The CPU's picture, to the byte.
  EXPECT_EQ(TempConfig::ReadFile(folder_.Path("forced.png")),
            TempConfig::ReadFile(folder_.Path("cpu.png")));

  // Shown once; the setting holds at every later start.
  run = Render("again.png", true);
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.err, kNotice);
  const std::string log = UiLog();
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1);
}

TEST_F(GpuHealthCliTest, ForcedCpuForAllCollectionsHoldsToo) {
  TempConfig::WriteFile(config_.UserFile(), "[Common]\nForced CPU=YES\n");
  const RunResult run = Render("all.png", true);
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.err, "vitrella: \"Forced CPU\" is set for all collections: rendering on the CPU\n");
  // "no" leaves the GPU path, whose reports find no monitor and go unsent.
  TempConfig::WriteFile(config_.UserFile(), "[Common]\nForced CPU=no\n");
  const RunResult gpu = Render("gpu.png", true);
  EXPECT_EQ(gpu.exitCode, 0) << gpu.err;
  EXPECT_EQ(gpu.err, "");
}

}  // namespace
}  // namespace vitrella
