// Where the frames of a rendered clip go: a video file written through FFmpeg's libraries,
// or numbered pictures.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <opencv2/core.hpp>

#include "clip_codecs.h"
#include "clip_reader.h"

namespace vitrella::host {

class ClipWriter {
 public:
  // Without Commit, removes what it wrote, so that a failed render leaves nothing that
  // looks finished.
  virtual ~ClipWriter() = default;

  // Frames come in order; n is the frame's number in the source clip and `timestamp` its
  // time there, in the source's time base. The picture is upright BGRA with 8-bit or float
  // channels. A frame whose timestamp is not after the one written before it repeats that
  // one and is left out, so a variable rate stays as it was. Throws HostError.
  virtual void Write(int64_t n, const cv::Mat& picture, std::optional<int64_t> timestamp) = 0;
  // Makes the output final. A video stands under its own name only from here on.
  virtual void Commit() = 0;
};

// How a clip is written, as the command line says.
struct ClipOutput {
  std::string name;
  std::optional<ClipCodec> codec;  // the extension's when absent
  std::optional<int> crf;          // H.264's quality, 0 (lossless) to 51
  std::optional<std::string> encoderPreset;
  bool audio = true;  // the input's audio streams are copied
};

// What the written clip keeps of its input.
struct ClipSource {
  std::string video;  // the input video, whose audio is copied; empty for numbered pictures
  ClipFacts facts;
  double rate = 25;      // frames per second of frames that carry no timestamp
  bool retimed = false;  // --rate: frames follow each other at `rate`, whatever their times
  // The frames start after the clip's first: the sound before them is left out, and they
  // start where the clip started.
  bool cutStart = false;
  // The frames end before the clip's last: the sound after them is left out.
  bool cutEnd = false;
  int64_t firstNumber = 0;  // of a picture sequence's first file
};

// The codec that writes `output`: the one given, else its extension's. Throws UsageError
// when that codec cannot be written under this name, and HostError when the folder is
// missing, so that a bad output is refused before any work.
ClipCodec CheckClipWriter(const ClipOutput& output);

// A pattern writes one picture per frame, named with the number that the frame carries in
// its source (firstNumber + n), so that parts of one clip rendered separately fill one
// sequence. A video is written under a hidden name beside the output and renamed at
// Commit.
std::unique_ptr<ClipWriter> OpenClipWriter(const ClipOutput& output, const ClipSource& source);

}  // namespace vitrella::host
