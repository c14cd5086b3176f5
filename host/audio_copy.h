// The audio streams of a clip copied packet for packet into a rendered video: the sound
// stays exactly as it was, never decoded or encoded again.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "av_support.h"

namespace vitrella::host {

class AudioCopy {
 public:
  // Opens `input` again, on its own, and adds to `output` a stream for each of its audio
  // streams; call before the output's header is written. Throws UsageError naming
  // `outputName` when its container does not take a stream's codec.
  AudioCopy(const std::string& input, AVFormatContext& output, const std::string& outputName);
  AudioCopy(const AudioCopy&) = delete;
  AudioCopy& operator=(const AudioCopy&) = delete;

  bool empty() const { return streams_.empty(); }

  // Keeps the packets that start from `from` to before `to`, in seconds of the input, and
  // moves them `shift` seconds earlier. Call before the first Copy.
  void Cut(double from, double to, double shift);
  // Writes the packets that start before `until`, in seconds of the input, interleaved
  // with what the output holds. Throws HostError.
  void Copy(double until);

 private:
  struct Stream {
    int input = 0;            // its index in the input
    AVStream* out = nullptr;  // owned by the output
  };

  std::string outputName_;
  FormatContext input_;
  AVFormatContext& output_;
  std::vector<Stream> streams_;
  Packet packet_{av_packet_alloc()};
  bool held_ = false;  // packet_ holds a packet read and not yet written
  bool ended_ = false;
  double from_ = -std::numeric_limits<double>::infinity();
  double to_ = std::numeric_limits<double>::infinity();
  double shift_ = 0;
};

}  // namespace vitrella::host
