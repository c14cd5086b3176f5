#include "quiet_stderr.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <mutex>

namespace vitrella::host {
namespace {

// Standard error is one per process while a clip decodes and encodes on several threads,
// so all holders share one redirection: the first one in sends it away and the last one
// out brings it back. Separate redirections would restore each other's sink.
struct Redirection {
  std::mutex mutex;
  int holders = 0;
  int saved = -1;
};

Redirection& SharedRedirection() {
  static Redirection redirection;
  return redirection;
}

}  // namespace

QuietStderr::QuietStderr() {
  Redirection& shared = SharedRedirection();
  const std::lock_guard lock(shared.mutex);
  if (shared.holders++ > 0) return;
  std::fflush(stderr);
  const int sink = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (sink < 0) return;
  shared.saved = dup(STDERR_FILENO);
  if (shared.saved >= 0) dup2(sink, STDERR_FILENO);
  close(sink);
}

QuietStderr::~QuietStderr() {
  Redirection& shared = SharedRedirection();
  const std::lock_guard lock(shared.mutex);
  if (--shared.holders > 0 || shared.saved < 0) return;
  std::fflush(stderr);
  dup2(shared.saved, STDERR_FILENO);
  close(shared.saved);
  shared.saved = -1;
}

void WriteToStderr(std::string_view text) {
  Redirection& shared = SharedRedirection();
  const std::lock_guard lock(shared.mutex);
  std::fflush(stderr);
  const int target = shared.saved >= 0 ? shared.saved : STDERR_FILENO;
  while (!text.empty()) {
    const ssize_t written = write(target, text.data(), text.size());
    if (written <= 0) return;  // a closed standard error loses the line, nothing else
    text.remove_prefix(static_cast<size_t>(written));
  }
}

}  // namespace vitrella::host
