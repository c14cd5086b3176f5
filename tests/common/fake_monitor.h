// A stand-in for the GPU monitor in a temporary folder: a listening socket that hears
// out each connection and keeps its bytes, and the environment pointed at it (socket and
// program), put back afterwards. It can hold back from accepting, to play a busy monitor.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "common/scoped_env.h"
#include "platform/monitor_channel.h"

namespace vitrella::testing {

// Points the monitor's socket and program into a fresh folder for one test.
class MonitorFolder {
 public:
  MonitorFolder() = default;
  MonitorFolder(const MonitorFolder&) = delete;
  MonitorFolder& operator=(const MonitorFolder&) = delete;
  std::string SocketPath() const { return root_.path() + "/monitor.socket"; }
  // A name of its own (15 bytes at most, as the system keeps it), so that monitors of
  // tests that run at the same time do not see each other.
  std::string ProgramPath() const { return root_.path() + "/GPUMon-" + std::to_string(getpid()); }
  const std::string& root() const { return root_.path(); }

 private:
  TempRoot root_{"vitrella-monitor-"};
  ScopedEnv socket_{platform::kMonitorSocketVariable, SocketPath()};
  // No program there unless a test puts one.
  ScopedEnv program_{platform::kMonitorProgramVariable, ProgramPath()};
};

class FakeMonitor {
 public:
  // backlog 0 lets one connection wait in the queue, and makes the next one busy.
  explicit FakeMonitor(const std::string& path, bool accepting = true, int backlog = 16)
      : accepting_(accepting) {
    listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    ok_ = listener_ >= 0 &&
          bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 &&
          listen(listener_, backlog) == 0;
    thread_ = std::thread([this] { Serve(); });
  }
  FakeMonitor(const FakeMonitor&) = delete;
  FakeMonitor& operator=(const FakeMonitor&) = delete;
  ~FakeMonitor() {
    stop_ = true;
    thread_.join();
    if (listener_ >= 0) close(listener_);
  }

  bool ok() const { return ok_; }
  void StartAccepting() { accepting_ = true; }
  // The messages heard so far, in the order their connections were accepted.
  std::vector<std::string> Messages() {
    const std::lock_guard hold(lock_);
    return messages_;
  }
  // Waits up to a few seconds for at least count messages.
  std::vector<std::string> AwaitMessages(size_t count) {
    for (int i = 0; i < 500 && Messages().size() < count; ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return Messages();
  }

 private:
  void Serve() {
    while (!stop_) {
      if (!accepting_) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        continue;
      }
      pollfd wait{listener_, POLLIN, 0};
      if (poll(&wait, 1, 20) <= 0) continue;
      const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
      if (client < 0) continue;
      std::string bytes;
      char buffer[512];
      pollfd data{client, POLLIN, 0};
      // Each message is one connection, closed after its one write.
      while (poll(&data, 1, 2000) > 0) {
        const ssize_t got = read(client, buffer, sizeof(buffer));
        if (got <= 0) break;
        bytes.append(buffer, static_cast<size_t>(got));
      }
      close(client);
      const std::lock_guard hold(lock_);
      messages_.push_back(bytes);
    }
  }

  int listener_ = -1;
  bool ok_ = false;
  std::atomic<bool> accepting_;
  std::atomic<bool> stop_{false};
  std::mutex lock_;
  std::vector<std::string> messages_;
  std::thread thread_;
};

}  // namespace vitrella::testing
