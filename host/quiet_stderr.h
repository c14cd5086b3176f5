// Keeps libraries quiet on standard error for a while.
#pragma once

#include <string_view>

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

// Writes to the real standard error, even while some thread holds it quiet: for the
// host's own lines during a clip's render.
void WriteToStderr(std::string_view text);

}  // namespace vitrella::host
