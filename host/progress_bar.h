// How far the render of a clip has come, as one line on standard error.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vitrella::host {

// Draws only when standard error is a terminal, so that logs and pipes stay clean, and
// redraws at most ten times a second. The line is cleared when the object goes.
class ProgressBar {
 public:
  // total: the frames to render, nullopt when the clip does not say. wanted: false draws
  // nothing, whatever standard error is.
  ProgressBar(std::optional<int64_t> total, bool wanted);
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  ~ProgressBar();

  void Update(int64_t done);
  // A warning on a line of its own; the bar comes back at the next update.
  void Warn(std::string_view warning);

 private:
  void Draw(const std::string& text) const;

  std::optional<int64_t> total_;
  // A duplicate of standard error taken at the start: while a codec on another thread
  // has standard error silenced, the bar still reaches the terminal.
  int terminal_ = -1;
  std::chrono::steady_clock::time_point start_;
  std::chrono::steady_clock::time_point lastDrawn_;
};

// "[########            ]  40/100 frames  12.5 fps", or "40 frames  12.5 fps" without a
// total.
std::string ProgressText(int64_t done, std::optional<int64_t> total, double seconds);

}  // namespace vitrella::host
