// The channel between a host's renders and the GPU monitor: a Unix-domain socket in the
// user's runtime folder (the Windows build's named pipe), the monitor program beside the
// library, and the look for a running monitor among the processes.
//
//   socket:  $VITRELLA_GPU_MONITOR_SOCKET, else $XDG_RUNTIME_DIR/corvanegpumonitor, else
//            <temporary folder>/corvanegpumonitor-<uid>
//   program: $VITRELLA_GPU_MONITOR, else GPUMonitor beside the library
//
// The two variables let tests and a host's installer choose other places.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vitrella::platform {

inline constexpr const char* kMonitorSocketVariable = "VITRELLA_GPU_MONITOR_SOCKET";
inline constexpr const char* kMonitorProgramVariable = "VITRELLA_GPU_MONITOR";
// The monitor program's file name, which is also its process's name.
inline constexpr const char* kMonitorProgramName = "GPUMonitor";

// The socket's path as the environment names it now.
std::string MonitorSocketPath();

// One connection to the monitor, closed with the object.
class MonitorConnection {
 public:
  enum class Outcome {
    kConnected,
    kBusy,    // the monitor's queue of connections is full
    kAbsent,  // no socket, or no one listening on it
  };

  MonitorConnection() = default;
  MonitorConnection(const MonitorConnection&) = delete;
  MonitorConnection& operator=(const MonitorConnection&) = delete;
  ~MonitorConnection();

  // Connects without waiting.
  Outcome Connect(const std::string& path);
  // Connects to a busy socket, waiting at most timeoutMs for it to take the connection.
  bool WaitAndConnect(const std::string& path, uint32_t timeoutMs);
  // Writes the bytes in one call; false when they did not all go.
  bool Write(std::string_view bytes);

 private:
  void Close();
  int socket_ = -1;
};

// Whether a process of this user runs the monitor program, found through /proc by the
// program's file name (as the system keeps it, cut to 15 bytes).
bool MonitorRunning(const std::string& program);

// Starts the program detached from this process (it is no child to wait for), with no
// arguments. False when it could not be started.
bool StartMonitor(const std::string& program);

void SleepMilliseconds(uint32_t milliseconds);

}  // namespace vitrella::platform
