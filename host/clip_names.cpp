#include "clip_names.h"

#include <filesystem>
#include <utility>

#include "host_error.h"
#include "param_text.h"

namespace vitrella::host {
namespace {

constexpr int kMaxDigits = 32;

constexpr const char* kVideoExtensions[] = {".avi",  ".mp4", ".m4v",  ".mov", ".mkv", ".nut",
                                            ".webm", ".mpg", ".mpeg", ".wmv", ".flv", ".ogv",
                                            ".3gp",  ".ts",  ".mts",  ".m2ts"};

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

}  // namespace

std::string FramePattern::Name(int64_t number) const {
  std::string text = std::to_string(number);
  const size_t width = static_cast<size_t>(digits);
  if (text.size() < width) text.insert(0, width - text.size(), zeroPad ? '0' : ' ');
  return prefix + text + suffix;
}

std::optional<FramePattern> ParseFramePattern(const std::string& name) {
  FramePattern pattern;
  std::string plain;  // the text read so far, %% already turned into %
  bool found = false;
  for (size_t i = 0; i < name.size(); ++i) {
    if (name[i] != '%') {
      plain += name[i];
      continue;
    }
    if (i + 1 < name.size() && name[i + 1] == '%') {
      plain += '%';
      ++i;
      continue;
    }
    size_t end = i + 1;
    while (end < name.size() && IsDigit(name[end]))
      ++end;
    if (end >= name.size() || name[end] != 'd') {
      plain += '%';  // not a conversion: a percent sign of a plain name
      continue;
    }
    if (found) throw UsageError("the pattern " + name + " holds more than one frame number");
    const std::string width = name.substr(i + 1, end - i - 1);
    pattern.zeroPad = width.size() > 1 && width[0] == '0';
    if (width.size() > 3 || (!width.empty() && std::stoi(width) > kMaxDigits)) {
      throw UsageError("the pattern " + name + " asks for more than " + std::to_string(kMaxDigits) +
                       " digits");
    }
    pattern.digits = width.empty() ? 0 : std::stoi(width);
    pattern.prefix = std::exchange(plain, std::string());
    found = true;
    i = end;
  }
  if (!found) return std::nullopt;
  pattern.suffix = plain;
  return pattern;
}

bool IsVideoName(const std::string& name) {
  const std::string extension = std::filesystem::path(name).extension().string();
  for (const char* video : kVideoExtensions) {
    if (EqualsIgnoreCase(extension, video)) return true;
  }
  return false;
}

bool IsClipName(const std::string& name) {
  return IsVideoName(name) || ParseFramePattern(name).has_value();
}

}  // namespace vitrella::host
