// The GPU monitor: its book of open renders, and the built program end to end: a host
// killed inside a render leaves exactly one report, one that ends normally leaves none,
// and the monitor leaves when its hosts have.
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "common/fake_monitor.h"
#include "common/temp_config.h"
#include "platform/monitor_channel.h"
#include "platform/settings_store.h"
#include "platform/ui_script.h"
#include "support/common_settings.h"
#include "support/gpu_crash_reports.h"
#include "tools/gpumonitor/monitor_state.h"

extern char** environ;

namespace vitrella {
namespace {

using monitor::MonitorState;

TEST(MonitorState, MessagesAreParsedStrictly) {
  const auto message = monitor::ParseRenderMessage("Vitrella;Corvane Vitrella III;Spotlight;g;1");
  ASSERT_TRUE(message);
  EXPECT_EQ(message->host, "Vitrella");
  EXPECT_EQ(message->library, "Corvane Vitrella III");
  EXPECT_EQ(message->effect, "Spotlight");
  EXPECT_EQ(message->guid, "g");
  EXPECT_EQ(message->state, 1);
  EXPECT_TRUE(monitor::ParseRenderMessage(";;;g;2"));
  for (const char* bad : {"", ";;;;1", "a;b;c;g;3", "a;b;c;g;1;", "a;b;c;g", "a;b;c;g;12",
                          "a;b;c;g;", "a;b;c;d;g;1"}) {
    EXPECT_FALSE(monitor::ParseRenderMessage(bad)) << bad;
  }
}

TEST(MonitorState, AHostThatEndsInsideARenderLeavesOneReport) {
  MonitorState state;
  EXPECT_FALSE(state.Receive(7, "rubbish"));
  EXPECT_FALSE(state.Knows(7));
  EXPECT_TRUE(state.Receive(7, "H;L;First;g1;1"));
  EXPECT_TRUE(state.Receive(7, "H;L;First;g1;2"));
  EXPECT_TRUE(state.Receive(8, "H;L;Other;g3;1"));
  // Two threads inside renders when the host died: the earlier one is reported.
  EXPECT_TRUE(state.Receive(7, "H;L;Second;g2;1"));
  EXPECT_TRUE(state.Receive(7, "H;L;Third;g4;1"));
  const auto report = state.Ended(7);
  ASSERT_TRUE(report);
  EXPECT_EQ(report->effect, "Second");
  EXPECT_EQ(report->guid, "g2");
  EXPECT_FALSE(state.Ended(7));  // forgotten
  EXPECT_FALSE(state.Empty());
  EXPECT_TRUE(state.Receive(8, "H;L;Other;g3;2"));
  EXPECT_FALSE(state.Ended(8));  // ended normally: no report
  EXPECT_TRUE(state.Empty());
}

TEST(MonitorState, AnEndThatOvertookItsBeginClosesIt) {
  // Each message has a connection of its own; the end's may be read first.
  MonitorState state;
  EXPECT_TRUE(state.Receive(7, "H;L;E;g1;2"));
  EXPECT_TRUE(state.Receive(7, "H;L;E;g1;1"));
  EXPECT_FALSE(state.Ended(7));
}

using Clock = std::chrono::steady_clock;

template <typename Condition>
bool WaitFor(Condition condition, double seconds) {
  const Clock::time_point until = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                                     std::chrono::duration<double>(seconds));
  while (!condition()) {
    if (Clock::now() > until) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

class GpuMonitorEndToEnd : public ::testing::Test {
 protected:
  GpuMonitorEndToEnd() {
    // The built monitor under a name of this test's own.
    std::filesystem::copy_file(std::string(VITRELLA_BIN_DIR) + "/GPUMonitor",
                               folder_.ProgramPath());
    setenv(kUiBackendVariable, kUiHeadless, 1);
    unsetenv(kUiWindowVariable);
    platform::ResetUiScript();
  }
  ~GpuMonitorEndToEnd() override {
    // No monitor outlives its test.
    EXPECT_TRUE(WaitFor([&] { return !platform::MonitorRunning(folder_.ProgramPath()); }, 10));
  }

  // Starts the test host; answers its process once it has reported the begin.
  pid_t StartHost(const char* argument) {
    int out[2];
    EXPECT_EQ(pipe(out), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    const std::string program = std::string(VITRELLA_TESTS_BIN_DIR) + "/monitor_test_host";
    char* argv[] = {const_cast<char*>(program.c_str()), const_cast<char*>(argument), nullptr};
    pid_t host = 0;
    EXPECT_EQ(posix_spawn(&host, program.c_str(), &actions, nullptr, argv, environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    char said[16] = {};
    (void)!read(out[0], said, sizeof(said) - 1);
    close(out[0]);
    lastSaid_ = said;
    return host;
  }

  static std::vector<std::string> Reports() {
    return platform::SettingSubsections(settings::kReportsSection);
  }
  static std::string ReportValue(const std::string& name, const char* value) {
    return platform::ReadSetting(std::string(settings::kReportsSection) + "\\" + name, value).text;
  }

  testing::TempConfig config_;
  testing::MonitorFolder folder_;
  std::string lastSaid_;
};

TEST_F(GpuMonitorEndToEnd, HostKilledInsideARenderLeavesOneReportThatIsOfferedOnce) {
  const pid_t host = StartHost("crash");
  ASSERT_EQ(lastSaid_, "begun\n");
  EXPECT_TRUE(platform::MonitorRunning(folder_.ProgramPath()));  // started by the begin
  kill(host, SIGKILL);
  waitpid(host, nullptr, 0);
  ASSERT_TRUE(WaitFor([] { return !Reports().empty(); }, 10));
  const std::vector<std::string> reports = Reports();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(ReportValue(reports[0], settings::kReportHostName), "Test Host");
  EXPECT_EQ(ReportValue(reports[0], settings::kReportProductName), "Corvane Vitrella III");
  EXPECT_EQ(ReportValue(reports[0], settings::kReportEffectName), "Spotlight");
  EXPECT_FALSE(ReportValue(reports[0], settings::kReportOccurredTime).empty());
  EXPECT_EQ(ReportValue(reports[0], settings::kReportShown), "false");

  // The next start: a host with no window yet leaves the report for later.
  setenv(kUiWindowVariable, kUiNoWindow, 1);
  EXPECT_EQ(ShowGPUCrashReports(), 0);
  EXPECT_EQ(ReportValue(reports[0], settings::kReportShown), "false");
  unsetenv(kUiWindowVariable);
  platform::ScriptBoxAnswer(platform::kAnswerOk);
  EXPECT_EQ(ShowGPUCrashReports(), 1);
  const std::vector<platform::ShownBox> boxes = platform::ShownBoxes();
  ASSERT_EQ(boxes.size(), 1U);
  EXPECT_EQ(boxes[0].title, u"Warning");
  EXPECT_EQ(boxes[0].type, platform::kBoxOkCancel);
  EXPECT_NE(boxes[0].owner, nullptr);
  EXPECT_EQ(boxes[0].text,
            u"Spotlight detected a crash occurred in the GPU the last time it was run. Please "
            u"verify that your video drivers are up to date. Choose Okay to run in software or "
            u"Cancel to continue with the GPU.");
  EXPECT_EQ(ReportValue(reports[0], settings::kReportShown), "true");
  EXPECT_EQ(platform::ReadSetting("Corvane Vitrella III for Windows", settings::kForcedCpu).text,
            "yes");
  EXPECT_EQ(ShowGPUCrashReports(), 0);  // shown once
}

TEST_F(GpuMonitorEndToEnd, HostThatEndsItsRenderLeavesNoReport) {
  const pid_t host = StartHost("end");
  int status = 0;
  waitpid(host, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  // The monitor leaves with its last host, and has written nothing.
  EXPECT_TRUE(WaitFor([&] { return !platform::MonitorRunning(folder_.ProgramPath()); }, 10));
  EXPECT_TRUE(Reports().empty());
}

TEST(GpuCrashReports, EachUnshownReportGetsItsBoxAndItsOwnProduct) {
  testing::TempConfig config;
  setenv(kUiBackendVariable, kUiHeadless, 1);
  unsetenv(kUiWindowVariable);
  platform::ResetUiScript();
  const auto report = [](const std::string& name, const char* product, const char* shown) {
    const std::string section = std::string(settings::kReportsSection) + "\\" + name;
    platform::WriteSetting(section, settings::kReportEffectName, "Diffusion");
    platform::WriteSetting(section, settings::kReportProductName, product);
    platform::WriteSetting(section, settings::kReportShown, shown);
  };
  report("one", "Corvane Vitrella III", "false");
  report("two", "Corvane Lumen for Windows", "false");  // already ends in the platform
  report("three", "Corvane Other", "true");             // shown before: no box
  platform::ScriptBoxAnswer(platform::kAnswerOk);
  platform::ScriptBoxAnswer(platform::kAnswerOk);
  EXPECT_EQ(ShowGPUCrashReports(), 2);
  EXPECT_EQ(platform::ShownBoxes().size(), 2U);
  EXPECT_EQ(platform::ReadSetting("Corvane Vitrella III for Windows", settings::kForcedCpu).text,
            "yes");
  EXPECT_EQ(platform::ReadSetting("Corvane Lumen for Windows", settings::kForcedCpu).text, "yes");
  EXPECT_EQ(
      platform::ReadSetting("Corvane Lumen for Windows for Windows", settings::kForcedCpu).status,
      platform::SettingStatus::kMissing);
  EXPECT_EQ(platform::ReadSetting("Corvane Other for Windows", settings::kForcedCpu).status,
            platform::SettingStatus::kMissing);

  // Cancel keeps the GPU, and the report still counts as shown.
  report("four", "Corvane Fourth", "false");
  platform::ScriptBoxAnswer(platform::kAnswerCancel);
  EXPECT_EQ(ShowGPUCrashReports(), 1);
  EXPECT_EQ(platform::ReadSetting("Corvane Fourth for Windows", settings::kForcedCpu).status,
            platform::SettingStatus::kMissing);
  EXPECT_EQ(ShowGPUCrashReports(), 0);
}

}  // namespace
}  // namespace vitrella
