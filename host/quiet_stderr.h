// Keeps libraries quiet on standard error for a while.
#pragma once

namespace vitrella::host {

// Image codecs print their own complaints about damaged files straight to standard
// error. The host reports every failure itself, in one line, so while one of these
// objects lives, standard error goes nowhere. Safe to hold on several threads at once.
class QuietStderr {
 public:
  QuietStderr();
  QuietStderr(const QuietStderr&) = delete;
  QuietStderr& operator=(const QuietStderr&) = delete;
  ~QuietStderr();
};

}  // namespace vitrella::host
