#include "quiet_stderr.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace vitrella::host {

QuietStderr::QuietStderr() {
  std::fflush(stderr);
  const int sink = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (sink < 0) return;
  saved_ = dup(STDERR_FILENO);
  if (saved_ >= 0) dup2(sink, STDERR_FILENO);
  close(sink);
}

QuietStderr::~QuietStderr() {
  if (saved_ < 0) return;
  std::fflush(stderr);
  dup2(saved_, STDERR_FILENO);
  close(saved_);
}

}  // namespace vitrella::host
