// The health reports of GPU renders against a stand-in monitor: the message and the
// guid, begin and end around RenderGPU, and the bounds of a busy or missing monitor.
#include "gpu/monitor_report.h"

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <thread>

#include "common/fake_host.h"
#include "common/fake_monitor.h"
#include "core/effect_base.h"
#include "fake_gpu.h"
#include "gpu/gpu_effect_helper.h"
#include "platform/monitor_channel.h"

extern char** environ;

namespace vitrella {
namespace {

using testing::FakeMonitor;
using testing::MonitorFolder;
using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

TEST(MonitorReport, MessageIsFiveFieldsWithoutAnEnding) {
  EXPECT_EQ(MonitorMessage("Vitrella", "Corvane Vitrella III", "Spotlight",
                           "0123abcd-0000-4000-8000-00000000beef", kRenderBegins),
            "Vitrella;Corvane Vitrella III;Spotlight;0123abcd-0000-4000-8000-00000000beef;1");
  // Nulls are empty fields; the semicolons stay.
  EXPECT_EQ(MonitorMessage(nullptr, nullptr, nullptr, nullptr, kRenderEnded), ";;;;2");
  EXPECT_EQ(MonitorMessage("", "L", nullptr, "g", 2), ";L;;g;2");
}

TEST(MonitorReport, RenderGuidIsARandomVersionFourUuid) {
  const std::regex form("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
  std::set<std::string> seen;
  for (int i = 0; i < 50; ++i) {
    char guid[kRenderGuidCapacity];
    std::memset(guid, 'x', sizeof(guid));
    ASSERT_TRUE(MakeRenderGuid(guid, sizeof(guid)));
    EXPECT_TRUE(std::regex_match(guid, form)) << guid;
    EXPECT_EQ(guid[sizeof(guid) - 1], '\0');  // the whole buffer was cleared
    seen.insert(guid);
  }
  EXPECT_EQ(seen.size(), 50U);
  // 36 characters and the NUL: one byte less does not fit, and leaves the buffer empty.
  char small[36];
  EXPECT_FALSE(MakeRenderGuid(small, sizeof(small)));
  EXPECT_EQ(small[0], '\0');
  char exact[37];
  EXPECT_TRUE(MakeRenderGuid(exact, sizeof(exact)));
  EXPECT_FALSE(MakeRenderGuid(nullptr, 128));
}

class NamedHost final : public IEffectHost {
 public:
  explicit NamedHost(const char* name) : name_(name) {}
  Result VITRELLA_CALL QueryInterface(const Guid& /*iid*/, void** out) override {
    *out = nullptr;
    return kNoInterface;
  }
  uint32_t VITRELLA_CALL AddRef() override { return 1; }
  uint32_t VITRELLA_CALL Release() override { return 1; }
  int32_t VITRELLA_CALL GetParamValue(uint32_t, void*, ParamKind) override { return 0; }
  void* VITRELLA_CALL GetFrame(const RenderInfo*, HostFrame*) override { return nullptr; }
  int32_t VITRELLA_CALL ReleaseFrame(void*, HostFrame*) override { return 0; }
  HostInfo* VITRELLA_CALL GetHostInfo(HostInfo* info) override {
    ++asked;
    info->hostName = name_;
    return info;
  }
  int asked = 0;

 private:
  const char* name_;
};

// The names are made once per process, so each case runs in a process of its own.
TEST(MonitorReportDeathTest, NamesAreMadeOnceAndUnknownStandsForAMissingOne) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        NamedHost first("Vegas");
        NamedHost second("Other");
        const bool same = std::string(ReportHostName(&first)) == "Vegas" &&
                          std::string(ReportHostName(&second)) == "Vegas" && first.asked == 1 &&
                          second.asked == 0;
        std::exit(same ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
  EXPECT_EXIT(
      {
        NamedHost empty("");
        NamedHost later("Vegas");
        const bool unknown = std::string(ReportHostName(&empty)) == "Unknown" &&
                             std::string(ReportHostName(&later)) == "Unknown";
        std::exit(unknown ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
  EXPECT_STREQ(ReportLibraryName(), "Corvane Vitrella III");
}

TEST(MonitorReport, TwoThreadsReportIndependently) {
  MonitorFolder folder;
  FakeMonitor monitor(folder.SocketPath());
  ASSERT_TRUE(monitor.ok());
  const auto render = [](const char* effect) {
    char guid[kRenderGuidCapacity];
    ASSERT_TRUE(MakeRenderGuid(guid, sizeof(guid)));
    for (int i = 0; i < 5; ++i) {
      EXPECT_TRUE(SendMonitorReport("H", "L", effect, guid, kRenderBegins));
      EXPECT_TRUE(SendMonitorReport("H", "L", effect, guid, kRenderEnded));
    }
  };
  std::thread a(render, "A");
  std::thread b(render, "B");
  a.join();
  b.join();
  const std::vector<std::string> messages = monitor.AwaitMessages(20);
  ASSERT_EQ(messages.size(), 20U);
  // Per effect: one guid, its begins and ends alternating in the order sent.
  for (const std::string effect : {"A", "B"}) {
    std::string guid;
    int expected = 1;
    for (const std::string& message : messages) {
      if (message.rfind("H;L;" + effect + ";", 0) != 0) continue;
      const std::string own = message.substr(6, 36);
      if (guid.empty()) guid = own;
      EXPECT_EQ(own, guid);
      EXPECT_EQ(message.back(), '0' + expected);
      expected = 3 - expected;
    }
  }
}

TEST(MonitorReport, MissingMonitorFailsAtOnceWhenItCannotBeStarted) {
  MonitorFolder folder;  // no socket, and no program at its path
  const Clock::time_point start = Clock::now();
  EXPECT_FALSE(SendMonitorReport("H", "L", "E", "g", kRenderBegins));
  EXPECT_LT(SecondsSince(start), 1.0);
  // The failed start is remembered: the next reports neither look for it nor start it,
  // even once a program stands there.
  const std::string marker = folder.root() + "/started";
  {
    std::ofstream program(folder.ProgramPath());
    program << "#!/bin/sh\ntouch '" << marker << "'\n";
  }
  std::filesystem::permissions(folder.ProgramPath(), std::filesystem::perms::owner_all);
  EXPECT_FALSE(SendMonitorReport("H", "L", "E", "g", kRenderEnded));
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_FALSE(std::filesystem::exists(marker));
}

TEST(MonitorReport, BusyMonitorThatFreesWithinTheWaitGetsTheMessage) {
  MonitorFolder folder;
  FakeMonitor monitor(folder.SocketPath(), false, 0);
  ASSERT_TRUE(monitor.ok());
  // One connection fills the queue of a backlog of 0.
  platform::MonitorConnection filler;
  ASSERT_EQ(filler.Connect(folder.SocketPath()), platform::MonitorConnection::Outcome::kConnected);
  ASSERT_TRUE(filler.Write("filler"));
  platform::MonitorConnection busy;
  ASSERT_EQ(busy.Connect(folder.SocketPath()), platform::MonitorConnection::Outcome::kBusy);

  std::thread release([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    monitor.StartAccepting();
  });
  EXPECT_TRUE(SendMonitorReport("H", "L", "E", "g", kRenderBegins, {5000, 100}));
  release.join();
}

TEST(MonitorReport, BusyMonitorIsWaitedForWithinTheBound) {
  MonitorFolder folder;
  FakeMonitor monitor(folder.SocketPath(), false, 0);
  ASSERT_TRUE(monitor.ok());
  platform::MonitorConnection filler;
  ASSERT_EQ(filler.Connect(folder.SocketPath()), platform::MonitorConnection::Outcome::kConnected);
  const Clock::time_point start = Clock::now();
  EXPECT_FALSE(SendMonitorReport("H", "L", "E", "g", kRenderBegins, {200, 100}));
  EXPECT_GE(SecondsSince(start), 0.15);
  EXPECT_LT(SecondsSince(start), 3.0);
}

TEST(MonitorReport, RunningMonitorWithoutItsSocketIsNotStartedAgain) {
  MonitorFolder folder;
  // A process with the monitor's name that opens no socket: one on its way out.
  std::filesystem::copy_file("/bin/sleep", folder.ProgramPath());
  const std::string program = folder.ProgramPath();
  char* argv[] = {const_cast<char*>(program.c_str()), const_cast<char*>("30"), nullptr};
  pid_t sleeper = 0;
  ASSERT_EQ(posix_spawn(&sleeper, program.c_str(), nullptr, nullptr, argv, environ), 0);
  for (int i = 0; i < 200 && !platform::MonitorRunning(program); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  ASSERT_TRUE(platform::MonitorRunning(program));

  const Clock::time_point start = Clock::now();
  EXPECT_FALSE(SendMonitorReport("H", "L", "E", "g", kRenderBegins, {10000, 2000}));
  // Neither the pause after a start nor a second start.
  EXPECT_LT(SecondsSince(start), 1.0);
  kill(sleeper, SIGKILL);
  waitpid(sleeper, nullptr, 0);
  EXPECT_FALSE(platform::MonitorRunning(program));
}

// A GPU effect that runs a chosen step inside its render.
class ProbeEffect final : public EffectBase<ProbeEffect, GPUEffectHelper> {
 public:
  ProbeEffect() : EffectBase(kTable) {}
  bool VITRELLA_CALL Render(IEffectHost*, const HostFrame*, uintptr_t, HostFrame*,
                            const RenderInfo*) override {
    return false;
  }
  bool VITRELLA_CALL SetupGPUFrame(IEffectHost*, GPUSetupInfo*, uintptr_t) override { return true; }
  bool VITRELLA_CALL RenderGPUFrame(IEffectHost*, const GPUTextureRef*, const GPUTextureRef*,
                                    GPUTextureRef*, const RenderInfo*) override {
    if (inside) inside();
    return true;
  }
  std::function<void()> inside;
  static constexpr EffectTable kTable{"Probe", kTraitsPlain, {}, {}};
};

TEST(MonitorReport, RenderGPUReportsBeginBeforeAndEndAfterTheRender) {
  MonitorFolder folder;
  FakeMonitor monitor(folder.SocketPath());
  ASSERT_TRUE(monitor.ok());
  auto* effect = new ProbeEffect();
  testing::ServingHost host;
  testing::FakeContext context;
  const RenderInfo info = testing::WholeFrameInfo();
  GPUTextureRef source{nullptr, PixelFormat8BGRA, 4, 4, 4, 4, 0, 0, 0};
  GPUTextureRef destination = source;
  size_t heardInside = 0;
  effect->inside = [&] { heardInside = monitor.AwaitMessages(1).size(); };
  EXPECT_TRUE(effect->RenderGPU(0, &host, &context, &source, nullptr, &destination, &info));
  EXPECT_EQ(heardInside, 1U);
  const std::vector<std::string> messages = monitor.AwaitMessages(2);
  ASSERT_EQ(messages.size(), 2U);
  const std::string prefix = std::string(ReportHostName(nullptr)) + ";Corvane Vitrella III;Probe;";
  EXPECT_EQ(messages[0].rfind(prefix, 0), 0U) << messages[0];
  EXPECT_EQ(messages[0].back(), '1');
  EXPECT_EQ(messages[1], messages[0].substr(0, messages[0].size() - 1) + "2");
  effect->Release();
}

TEST(MonitorReport, RenderGPUWhoseBeginFailedSendsNoEnd) {
  MonitorFolder folder;
  auto* effect = new ProbeEffect();
  testing::ServingHost host;
  testing::FakeContext context;
  const RenderInfo info = testing::WholeFrameInfo();
  GPUTextureRef source{nullptr, PixelFormat8BGRA, 4, 4, 4, 4, 0, 0, 0};
  GPUTextureRef destination = source;
  // The monitor comes up only while the frame renders, after the begin found none.
  std::unique_ptr<FakeMonitor> monitor;
  effect->inside = [&] { monitor = std::make_unique<FakeMonitor>(folder.SocketPath()); };
  const Clock::time_point start = Clock::now();
  EXPECT_TRUE(effect->RenderGPU(0, &host, &context, &source, nullptr, &destination, &info));
  EXPECT_LT(SecondsSince(start), 1.0);
  ASSERT_TRUE(monitor && monitor->ok());
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_TRUE(monitor->Messages().empty());
  effect->Release();
}

}  // namespace
}  // namespace vitrella
