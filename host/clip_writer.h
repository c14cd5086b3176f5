// Where the frames of a rendered clip go: a video file chosen by its extension, or
// numbered pictures.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <opencv2/core.hpp>

namespace vitrella::host {

class ClipWriter {
 public:
  // Without Commit, removes what it wrote, so that a failed render leaves nothing that
  // looks finished.
  virtual ~ClipWriter() = default;

  // Frames come in order; n is the frame's number in the source clip. The picture is
  // upright BGRA with 8-bit or float channels. Throws HostError.
  virtual void Write(int64_t n, const cv::Mat& picture) = 0;
  // Makes the output final. A video stands under its own name only from here on.
  virtual void Commit() = 0;
};

// Throws HostError when no clip can be written under this name (no encoder for its
// extension, a missing folder), so that a bad output is refused before any work.
void CheckClipWriter(const std::string& name);

// A pattern writes one picture per frame, named with the number that the frame carries in
// its source (firstNumber + n), so that parts of one clip rendered separately fill one
// sequence. A video (.avi, .mkv: Motion JPEG; .mp4, .m4v, .mov: MPEG-4 Part 2) is written
// under a hidden name beside the output and renamed at Commit; it keeps no alpha, and float
// channels go to 8 bits.
std::unique_ptr<ClipWriter> OpenClipWriter(const std::string& name, double frameRate,
                                           int64_t firstNumber);

}  // namespace vitrella::host
