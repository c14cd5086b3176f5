// Frames of a clip, decoded one at a time: a video file through FFmpeg's libraries, or a
// sequence of numbered pictures.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <opencv2/core.hpp>

namespace vitrella::host {

// What a video says of its frames beyond their pixels, numbered as FFmpeg's libraries
// number them; a picture sequence says none of it.
struct ClipFacts {
  // Of the frames' timestamps, as a fraction of a second; 0/0 when they carry none.
  int timeBaseNum = 0;
  int timeBaseDen = 0;
  // The declared rate as a fraction; 0/0 when there is none.
  int rateNum = 0;
  int rateDen = 0;
  std::optional<int64_t> startTimestamp;  // of the clip's first frame, once it is decoded
  std::optional<double> pixelAspect;      // where the stream gives its pixels' shape
  // AVFieldOrder, AVColorRange, AVColorSpace, AVColorPrimaries and
  // AVColorTransferCharacteristic: FFmpeg's "unknown" when the stream does not say.
  int fieldOrder = 0;
  int colorRange = 0;
  int colorSpace = 2;
  int colorPrimaries = 2;
  int colorTransfer = 2;
  int bits = 8;  // of the deepest channel
  bool alpha = false;
};

// When a frame of a video is shown.
struct FrameTime {
  int64_t timestamp = 0;  // in ClipFacts' time base
  double seconds = 0;     // after the clip's first frame
};

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
  virtual ClipFacts Facts() const { return {}; }
  // The time of the frame that Read(n) gave, for the frames read lately; nullopt for
  // frames that carry no timestamp.
  virtual std::optional<FrameTime> TimeOf(int64_t /*n*/) const { return std::nullopt; }

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
