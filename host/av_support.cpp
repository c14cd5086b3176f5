#include "av_support.h"

#include <array>
#include <cstdarg>
#include <mutex>

namespace vitrella::host {

// A callback rather than a level alone, since OpenCV sets the level again when its video
// classes first open.
void SilenceLibraries() {
  static std::once_flag once;
  std::call_once(once, [] {
    av_log_set_level(AV_LOG_QUIET);
    av_log_set_callback(
        [](void* /*context*/, int /*level*/, const char* /*format*/, va_list /*arguments*/) {});
  });
}

FormatContext OpenInputFile(const std::string& name) {
  SilenceLibraries();
  AVDictionary* options = nullptr;
  av_dict_set(&options, "protocol_whitelist", "file", 0);
  AVFormatContext* format = nullptr;
  const int opened = avformat_open_input(&format, ("file:" + name).c_str(), nullptr, &options);
  av_dict_free(&options);
  if (opened < 0) return nullptr;
  return FormatContext(format);
}

std::string ErrorText(int error) {
  std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
  av_strerror(error, text.data(), text.size());
  std::string result = text.data();
  // FFmpeg's sentences start with a capital; here they follow a parenthesis.
  if (!result.empty() && result[0] >= 'A' && result[0] <= 'Z' &&
      (result.size() < 2 || result[1] < 'A' || result[1] > 'Z')) {
    result[0] = static_cast<char>(result[0] - 'A' + 'a');
  }
  return result;
}

}  // namespace vitrella::host
