// Frames of a clip, decoded one at a time: a video file through FFmpeg's libraries, or a
// sequence of numbered pictures.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <opencv2/core.hpp>

namespace vitrella::host {

// Not safe for concurrent calls; FrameServer serialises them.
class ClipReader {
 public:
  virtual ~ClipReader() = default;

  // The clip's name as the user gave it, for messages.
  virtual const std::string& name() const = 0;
  // How many frames the clip holds; nullopt when the file does not say, and its end shows
  // only when reading fails.
  virtual std::optional<int64_t> FrameCount() const = 0;
  // Frames per second that the clip declares; nullopt for picture sequences and for
  // videos that declare none.
  virtual std::optional<double> FrameRate() const = 0;
  // The number in the file name of frame 0: the first of a picture sequence, 0 for a
  // video.
  virtual int64_t FirstNumber() const = 0;

  // Frame n (0 is the clip's first) as an upright BGRA picture with the depth of the file
  // (8-bit, 16-bit or float), or an empty picture when the clip has no frame n. The frame
  // after the one read last comes cheapest; any other means a seek. Throws HostError when
  // frame n should exist but cannot be decoded, or differs in size from the others.
  virtual cv::Mat Read(int64_t n) = 0;
};

// A pattern (see ParseFramePattern) opens as a picture sequence: its first number is 0 when
// that picture exists and 1 otherwise, and the sequence runs up to the first missing
// number. Any other name opens as a video. Throws HostError when nothing can be read.
std::unique_ptr<ClipReader> OpenClip(const std::string& name);

}  // namespace vitrella::host
