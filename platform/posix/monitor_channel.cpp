#include "platform/monitor_channel.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>

#ifndef CLOSE_RANGE_CLOEXEC
#define CLOSE_RANGE_CLOEXEC (1U << 2)
#endif

namespace vitrella::platform {
namespace {

constexpr const char* kSocketName = "corvanegpumonitor";

bool FillAddress(const std::string& path, sockaddr_un& address) {
  std::memset(&address, 0, sizeof(address));
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof(address.sun_path)) return false;
  std::memcpy(address.sun_path, path.data(), path.size());
  return true;
}

// The whole of a small file; empty when it cannot be read.
std::string ReadSmallFile(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return {};
  char buffer[256];
  const ssize_t got = read(file, buffer, sizeof(buffer));
  close(file);
  return got > 0 ? std::string(buffer, static_cast<size_t>(got)) : std::string();
}

}  // namespace

std::string MonitorSocketPath() {
  const char* chosen = std::getenv(kMonitorSocketVariable);
  if (chosen != nullptr && *chosen != '\0') return chosen;
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime != nullptr && runtime[0] == '/') return std::string(runtime) + "/" + kSocketName;
  // The temporary folder is everyone's: the user's number keeps the sockets apart.
  const char* temporary = std::getenv("TMPDIR");
  const std::string folder = temporary != nullptr && temporary[0] == '/' ? temporary : "/tmp";
  return folder + "/" + kSocketName + "-" + std::to_string(getuid());
}

MonitorConnection::~MonitorConnection() {
  Close();
}

void MonitorConnection::Close() {
  if (socket_ >= 0) close(socket_);
  socket_ = -1;
}

MonitorConnection::Outcome MonitorConnection::Connect(const std::string& path) {
  Close();
  sockaddr_un address{};
  if (!FillAddress(path, address)) return Outcome::kAbsent;
  socket_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (socket_ < 0) return Outcome::kAbsent;
  if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
    return Outcome::kConnected;
  }
  const int error = errno;
  Close();
  // A listening socket whose queue is full refuses a connection that may not wait.
  return error == EAGAIN ? Outcome::kBusy : Outcome::kAbsent;
}

bool MonitorConnection::WaitAndConnect(const std::string& path, uint32_t timeoutMs) {
  Close();
  sockaddr_un address{};
  if (!FillAddress(path, address)) return false;
  socket_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (socket_ < 0) return false;
  // A blocking connect waits for room in the queue as long as the send time-out allows.
  timeval timeout{};
  timeout.tv_sec = static_cast<time_t>(timeoutMs / 1000);
  timeout.tv_usec = static_cast<suseconds_t>((timeoutMs % 1000) * 1000);
  if (timeoutMs == 0) timeout.tv_usec = 1;  // 0 would wait for ever
  if (setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof(timeout)) != 0 ||
      connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
    Close();
    return false;
  }
  return true;
}

bool MonitorConnection::Write(std::string_view bytes) {
  if (socket_ < 0) return false;
  // A monitor that went away must not end the host with SIGPIPE.
  const ssize_t put = send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  return put >= 0 && static_cast<size_t>(put) == bytes.size();
}

bool MonitorRunning(const std::string& program) {
  // The kernel keeps a process's name to 15 bytes.
  constexpr size_t kNameBytes = 15;
  const std::string name = program.substr(program.rfind('/') + 1).substr(0, kNameBytes);
  if (name.empty()) return false;
  DIR* processes = opendir("/proc");
  if (processes == nullptr) return false;
  const uid_t user = getuid();
  bool found = false;
  while (const dirent* entry = readdir(processes)) {
    const char* process = entry->d_name;
    if (process[0] < '0' || process[0] > '9') continue;
    const std::string folder = std::string("/proc/") + process;
    struct stat info {};
    if (stat(folder.c_str(), &info) != 0 || info.st_uid != user) continue;
    std::string command = ReadSmallFile(folder + "/comm");
    if (!command.empty() && command.back() == '\n') command.pop_back();
    if (command == name) {
      found = true;
      break;
    }
  }
  closedir(processes);
  return found;
}

bool StartMonitor(const std::string& program) {
  if (program.empty()) return false;
  // The grandchild tells through this pipe why its exec failed; a pipe closed by a
  // successful exec says nothing.
  int report[2];
  if (pipe2(report, O_CLOEXEC) != 0) return false;
  char* const argv[] = {const_cast<char*>(program.c_str()), nullptr};
  const pid_t child = fork();
  if (child < 0) {
    close(report[0]);
    close(report[1]);
    return false;
  }
  if (child == 0) {
    // Only calls that are safe after fork in a threaded process from here on. The monitor
    // gets a session of its own, so that the terminal's signals to the host pass it by,
    // and none of the host's files: a test runner's pipe held open would never end.
    setsid();
    const pid_t monitor = fork();
    if (monitor == 0) {
      const int null = open("/dev/null", O_RDWR);
      if (null >= 0) {
        dup2(null, STDIN_FILENO);
        dup2(null, STDOUT_FILENO);
        dup2(null, STDERR_FILENO);
      }
      close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);
      execv(program.c_str(), argv);
      const int error = errno;
      (void)!write(report[1], &error, sizeof(error));
      _exit(127);
    }
    _exit(monitor < 0 ? 1 : 0);
  }
  close(report[1]);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  int error = 0;
  ssize_t got = 0;
  do {
    got = read(report[0], &error, sizeof(error));
  } while (got < 0 && errno == EINTR);
  close(report[0]);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0 && got == 0;
}

void SleepMilliseconds(uint32_t milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

}  // namespace vitrella::platform
