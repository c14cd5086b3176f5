// How the host tells a clip from a single picture by its name: a printf-style pattern of
// numbered pictures, or a video file by its extension.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vitrella::host {

// A name such as "frames/%04d.png": text around one number.
struct FramePattern {
  std::string prefix;
  std::string suffix;
  int digits = 0;  // the least number of digits written
  bool zeroPad = false;

  std::string Name(int64_t number) const;
};

// The pattern in a name that holds one conversion %d, %Nd or %0Nd (%% stands for one
// percent sign there); nullopt for a name without a conversion, which is a plain file
// name, so that "50%.png" stays a picture. Throws UsageError for a second conversion or
// a width above 32 digits.
std::optional<FramePattern> ParseFramePattern(const std::string& name);

// A video container by the name's extension, in any case (.avi, .mp4, .mov, .mkv, ...).
bool IsVideoName(const std::string& name);

// A pattern or a video: the render goes frame by frame.
bool IsClipName(const std::string& name);

}  // namespace vitrella::host
