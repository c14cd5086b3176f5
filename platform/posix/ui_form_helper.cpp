// The desktop backend of forms: the form helper, run as a child process for each form.
// The helper draws with Xlib in its own process, so the host's process never loads a GUI
// toolkit that might clash with its own. Both of the helper's standard streams are one
// end of a socket pair: writes to it never raise SIGPIPE (MSG_NOSIGNAL), and a helper that
// dies is an end of file.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "platform/form_protocol.h"
#include "platform/module.h"
#include "platform/text.h"
#include "platform/ui_backends.h"

extern char** environ;

namespace vitrella::platform {
namespace {

namespace protocol = form_protocol;
using Clock = std::chrono::steady_clock;

std::atomic<int> g_startWaitMs{kFormHelperStartWaitMs};

// A line longer than any the helper writes is not read on.
constexpr size_t kMaxLine = 4096;
// How long a helper told to close may take to end before it is killed.
constexpr auto kExitWait = std::chrono::milliseconds(1000);

std::string HelperPath() {
  if (const char* named = std::getenv(kFormHelperVariable); named != nullptr && *named != '\0') {
    return named;
  }
  const std::string module = WideToUtf8(ModuleFileName(ThisModule()));
  const size_t slash = module.rfind('/');
  if (slash == std::string::npos) return {};
  return module.substr(0, slash + 1) + WideToUtf8(kFormHelperName);
}

class HelperProcess {
 public:
  HelperProcess() = default;
  HelperProcess(const HelperProcess&) = delete;
  HelperProcess& operator=(const HelperProcess&) = delete;
  ~HelperProcess() { End(); }

  bool Start(const std::string& path) {
    if (path.empty() || access(path.c_str(), X_OK) != 0) return false;
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return false;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    // The host's own descriptors (pipes, sockets) stay with the host, so that a helper never
    // keeps one of them open.
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    std::string program = path;
    char* argv[] = {program.data(), nullptr};
    const int spawned = posix_spawn(&child_, path.c_str(), &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    if (spawned != 0) {
      close(ends[0]);
      child_ = 0;
      return false;
    }
    socket_ = ends[0];
    return true;
  }

  bool Send(const std::string& text) {
    size_t sent = 0;
    while (sent < text.size()) {
      const ssize_t wrote = send(socket_, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
      if (wrote < 0 && errno == EINTR) continue;
      if (wrote <= 0) return false;
      sent += static_cast<size_t>(wrote);
    }
    return true;
  }

  // The next line; none at the end of the stream, on an error, or when the deadline
  // passed (no deadline: wait as long as the user takes).
  std::optional<std::string> ReadLine(std::optional<Clock::time_point> deadline) {
    for (;;) {
      if (const size_t end = pending_.find('\n'); end != std::string::npos) {
        std::string line = pending_.substr(0, end);
        pending_.erase(0, end + 1);
        if (line.size() <= kMaxLine) return line;
        continue;
      }
      if (pending_.size() > kMaxLine) pending_.clear();  // garbage without an end
      int timeout = -1;
      if (deadline) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(*deadline - Clock::now());
        if (left.count() <= 0) return std::nullopt;
        timeout = static_cast<int>(left.count());
      }
      pollfd watch{socket_, POLLIN, 0};
      const int ready = poll(&watch, 1, timeout);
      if (ready < 0 && errno == EINTR) continue;
      if (ready <= 0) return std::nullopt;
      char buffer[4096];
      const ssize_t got = recv(socket_, buffer, sizeof(buffer), 0);
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) return std::nullopt;
      pending_.append(buffer, static_cast<size_t>(got));
    }
  }

  // Closes the stream, which tells the helper to end, and reaps it; one that does not end
  // in time is killed.
  void End() {
    if (socket_ >= 0) close(socket_);
    socket_ = -1;
    if (child_ <= 0) return;
    const auto deadline = Clock::now() + kExitWait;
    int status = 0;
    for (;;) {
      const pid_t done = waitpid(child_, &status, WNOHANG);
      if (done == child_ || (done < 0 && errno != EINTR)) break;
      if (Clock::now() >= deadline) {
        kill(child_, SIGKILL);
        while (waitpid(child_, &status, 0) < 0 && errno == EINTR) {
        }
        break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    child_ = 0;
  }

 private:
  pid_t child_ = 0;
  int socket_ = -1;
  std::string pending_;
};

bool Pressable(const FormControl* control) {
  return control != nullptr && control->visible &&
         (control->kind == ControlKind::kButton || control->kind == ControlKind::kBitmapButton);
}

}  // namespace

void SetFormHelperStartWait(int milliseconds) {
  g_startWaitMs.store(milliseconds > 0 ? milliseconds : kFormHelperStartWaitMs);
}

namespace ui_detail {

std::optional<int32_t> DesktopRunForm(Form& form, const FormCommand& onCommand) {
  HelperProcess helper;
  if (!helper.Start(HelperPath())) return std::nullopt;
  if (!helper.Send(protocol::Describe(form))) return std::nullopt;

  // Until its window shows, a silent, failing or vanished helper leaves the form to the
  // headless backend.
  const auto deadline = Clock::now() + std::chrono::milliseconds(g_startWaitMs.load());
  for (;;) {
    const std::optional<std::string> line = helper.ReadLine(deadline);
    if (!line) return std::nullopt;
    const std::optional<protocol::HelperEvent> event = protocol::ParseHelperLine(*line);
    if (!event) continue;
    if (event->kind == protocol::HelperEvent::Kind::kWindowShown) break;
    if (event->kind == protocol::HelperEvent::Kind::kWindowFailed) return std::nullopt;
  }

  // The helper is taken at its word only for what the user could do: toggle a visible
  // check box, press a visible button, or cancel.
  while (const std::optional<std::string> line = helper.ReadLine(std::nullopt)) {
    const std::optional<protocol::HelperEvent> event = protocol::ParseHelperLine(*line);
    if (!event) continue;
    FormControl* control = form.Find(event->id);
    if (event->kind == protocol::HelperEvent::Kind::kCheck) {
      if (control != nullptr && control->visible && control->kind == ControlKind::kCheckBox) {
        control->checked = event->on;
      }
      continue;
    }
    if (event->kind != protocol::HelperEvent::Kind::kCommand) continue;
    if (!Pressable(control) && event->id != kFormCancel) {
      helper.Send(std::string(protocol::kStay) + "\n");
      continue;
    }
    const bool closes = onCommand(event->id);
    helper.Send(std::string(closes ? protocol::kClose : protocol::kStay) + "\n");
    if (closes) return event->id;
  }
  // The helper ended without a closing command: its window is gone, as if cancelled.
  return kFormCancel;
}

}  // namespace ui_detail
}  // namespace vitrella::platform
