// Videos made and taken apart in the tests through FFmpeg's libraries and its command-line
// tool, so that what a render wrote can be checked stream by stream and packet by packet.
#pragma once

#include <string>
#include <vector>

#include <opencv2/core.hpp>

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace vitrella::testing {

// Stores each frame's pixels as they lie in memory, as raw video in a NUT file at 25 frames
// per second: deep and alpha video of known pixels.
void WriteRawVideo(const std::string& path, AVPixelFormat format,
                   const std::vector<cv::Mat>& frames);

// Runs the ffmpeg tool with these arguments (after -v error -y); true when it succeeded.
bool RunFfmpeg(const std::string& arguments);

struct ProbedVideo {
  std::string videoCodec;          // FFmpeg's name of the first video stream's codec
  std::string pixelFormat;         // of its frames
  double rate = 0;                 // its average frame rate
  std::string colors;              // range, matrix, primaries and transfer, as FFmpeg names them
  std::vector<double> times;       // of its frames in seconds, in display order
  std::string audioCodec;          // of the first audio stream; empty without one
  std::vector<std::string> audio;  // that stream's packets, as they are stored
  std::vector<double> audioTimes;  // and their start times in seconds
};

// The first video stream and the first audio stream of a file, read packet by packet.
ProbedVideo Probe(const std::string& path);

}  // namespace vitrella::testing
