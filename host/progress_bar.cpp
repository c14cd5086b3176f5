#include "progress_bar.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "message_text.h"

namespace vitrella::host {
namespace {

constexpr int kBarWidth = 30;
constexpr auto kRedrawEvery = std::chrono::milliseconds(100);
constexpr const char* kClearLine = "\r\033[K";

std::string Speed(int64_t done, double seconds) {
  char text[32];
  std::snprintf(text, sizeof(text), "%.1f fps",
                seconds > 0 ? static_cast<double>(done) / seconds : 0.0);
  return text;
}

}  // namespace

std::string ProgressText(int64_t done, std::optional<int64_t> total, double seconds) {
  if (!total || *total <= 0) return std::to_string(done) + " frames  " + Speed(done, seconds);
  const int64_t filled = std::clamp<int64_t>(done * kBarWidth / *total, 0, kBarWidth);
  return "[" + std::string(static_cast<size_t>(filled), '#') +
         std::string(static_cast<size_t>(kBarWidth - filled), ' ') + "]  " + std::to_string(done) +
         "/" + std::to_string(*total) + " frames  " + Speed(done, seconds);
}

ProgressBar::ProgressBar(std::optional<int64_t> total, bool wanted)
    : total_(total), start_(std::chrono::steady_clock::now()) {
  if (wanted && isatty(STDERR_FILENO) == 1) terminal_ = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
  lastDrawn_ = start_ - kRedrawEvery;
}

ProgressBar::~ProgressBar() {
  if (terminal_ < 0) return;
  Draw("");
  close(terminal_);
}

void ProgressBar::Update(int64_t done) {
  if (terminal_ < 0) return;
  const auto now = std::chrono::steady_clock::now();
  if (now - lastDrawn_ < kRedrawEvery && done != total_.value_or(-1)) return;
  lastDrawn_ = now;
  Draw(ProgressText(done, total_, std::chrono::duration<double>(now - start_).count()));
}

void ProgressBar::Warn(std::string_view warning) {
  if (terminal_ >= 0) {
    Draw("");
    lastDrawn_ = start_ - kRedrawEvery;
  }
  host::Warn(warning);
}

void ProgressBar::Draw(const std::string& text) const {
  const std::string line = kClearLine + text;
  // A terminal that cannot take the line loses a redraw, and nothing else.
  const ssize_t written = write(terminal_, line.data(), line.size());
  static_cast<void>(written);
}

}  // namespace vitrella::host
