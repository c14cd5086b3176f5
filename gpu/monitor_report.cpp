#include "gpu/monitor_report.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <random>

#include "core/effects_library.h"
#include "core/module.h"
#include "platform/monitor_channel.h"
#include "support/path_library.h"

namespace vitrella {
namespace {

using Outcome = platform::MonitorConnection::Outcome;

const char* OrEmpty(const char* text) {
  return text != nullptr ? text : "";
}

// The monitor program beside this library, unless the environment names another.
std::string MonitorProgram() {
  const char* chosen = std::getenv(platform::kMonitorProgramVariable);
  if (chosen != nullptr && *chosen != '\0') return chosen;
  const KZUnicodeString path = PathLibrary().FileBesideModule(
      LibraryModule(), KZUnicodeString(platform::kMonitorProgramName));
  return path.ToUtf8().SafeData();
}

// Filled once; a name that is missing stays "Unknown" for the life of the process.
std::string NameOrUnknown(const char* name) {
  return name != nullptr && *name != '\0' ? std::string(name) : std::string(kUnknownName);
}

// A monitor program that could not be started is not tried again for a while: without
// this, every report of a host whose monitor is missing would search the process list and
// fork twice, two reports a frame.
class FailedStarts {
 public:
  static constexpr std::chrono::seconds kRetryAfter{30};

  bool RecentlyFailed(const std::string& program) {
    const std::lock_guard<std::mutex> lock(mutex_);
    return program == program_ && std::chrono::steady_clock::now() < until_;
  }
  void Failed(const std::string& program) {
    const std::lock_guard<std::mutex> lock(mutex_);
    program_ = program;
    until_ = std::chrono::steady_clock::now() + kRetryAfter;
  }

 private:
  std::mutex mutex_;
  std::string program_;
  std::chrono::steady_clock::time_point until_;
};

FailedStarts& ProcessFailedStarts() {
  static FailedStarts starts;
  return starts;
}

}  // namespace

bool MakeRenderGuid(char* buffer, size_t size) {
  if (buffer == nullptr || size == 0) return false;
  std::memset(buffer, 0, size);
  uint8_t bytes[16];
  try {
    std::random_device random;
    for (size_t i = 0; i < sizeof(bytes); i += 4) {
      const uint32_t word = random();
      std::memcpy(bytes + i, &word, 4);
    }
  } catch (...) {
    return false;
  }
  // Version 4 (random) in the high nibble of the third group, the RFC 4122 variant in the
  // two high bits of the fourth.
  bytes[6] = static_cast<uint8_t>((bytes[6] & 0x0F) | 0x40);
  bytes[8] = static_cast<uint8_t>((bytes[8] & 0x3F) | 0x80);
  const auto word32 = [&](int at) {
    return static_cast<unsigned>(bytes[at]) << 24 | static_cast<unsigned>(bytes[at + 1]) << 16 |
           static_cast<unsigned>(bytes[at + 2]) << 8 | bytes[at + 3];
  };
  const auto word16 = [&](int at) { return static_cast<unsigned>(bytes[at]) << 8 | bytes[at + 1]; };
  char text[40];
  std::snprintf(text, sizeof(text), "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x", word32(0),
                word16(4), word16(6), bytes[8], bytes[9], bytes[10], bytes[11], bytes[12],
                bytes[13], bytes[14], bytes[15]);
  const size_t length = std::strlen(text);
  if (length >= size) return false;
  std::memcpy(buffer, text, length + 1);
  return true;
}

std::string MonitorMessage(const char* host, const char* library, const char* effect,
                           const char* guid, int32_t state) {
  std::string message;
  message.append(OrEmpty(host)).append(";").append(OrEmpty(library)).append(";");
  message.append(OrEmpty(effect)).append(";").append(OrEmpty(guid)).append(";");
  message.append(std::to_string(state));
  return message;
}

bool SendMonitorReport(const char* host, const char* library, const char* effect, const char* guid,
                       int32_t state, const MonitorLimits& limits) {
  try {
    const std::string message = MonitorMessage(host, library, effect, guid, state);
    const std::string path = platform::MonitorSocketPath();
    platform::MonitorConnection connection;
    bool started = false;
    for (;;) {
      const Outcome outcome = connection.Connect(path);
      if (outcome == Outcome::kConnected) break;
      if (outcome == Outcome::kBusy) {
        // One bounded wait; it ends with the connection made or the report given up.
        if (!connection.WaitAndConnect(path, limits.busyWaitMs)) return false;
        break;
      }
      // A monitor that runs without its socket may be on its way out: the report is lost.
      const std::string program = MonitorProgram();
      if (started || ProcessFailedStarts().RecentlyFailed(program) ||
          platform::MonitorRunning(program)) {
        return false;
      }
      if (!platform::StartMonitor(program)) {
        ProcessFailedStarts().Failed(program);
        return false;
      }
      started = true;
      platform::SleepMilliseconds(limits.startWaitMs);
    }
    return connection.Write(message);
  } catch (...) {
    return false;
  }
}

const char* ReportHostName(IEffectHost* host) {
  static std::string name;
  static std::once_flag once;
  std::call_once(once, [host] {
    HostInfo info{};
    const HostInfo* answered = host != nullptr ? host->GetHostInfo(&info) : nullptr;
    name = NameOrUnknown(answered != nullptr ? answered->hostName : nullptr);
  });
  return name.c_str();
}

const char* ReportLibraryName() {
  static std::string name;
  static std::once_flag once;
  std::call_once(once, [] {
    IEffectLibrary* library = new (std::nothrow) CVitrellaEffects3();
    name = NameOrUnknown(library != nullptr ? library->GetLibraryName() : nullptr);
    if (library != nullptr) library->Release();
  });
  return name.c_str();
}

}  // namespace vitrella
