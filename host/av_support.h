// What the host's readers and writers of videos share around FFmpeg's libraries: owners of
// their objects, their error texts, and their silence.
#pragma once

#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

namespace vitrella::host {

struct FormatCloser {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
struct CodecFreer {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct PacketFreer {
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct FrameFreer {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct ScalerFreer {
  void operator()(SwsContext* context) const { sws_freeContext(context); }
};
using FormatContext = std::unique_ptr<AVFormatContext, FormatCloser>;
using CodecContext = std::unique_ptr<AVCodecContext, CodecFreer>;
using Packet = std::unique_ptr<AVPacket, PacketFreer>;
using Frame = std::unique_ptr<AVFrame, FrameFreer>;
using ScalerContext = std::unique_ptr<SwsContext, ScalerFreer>;

// Lets go of a packet's data however the handling of it ends.
class PacketData {
 public:
  explicit PacketData(AVPacket* packet) : packet_(packet) {}
  PacketData(const PacketData&) = delete;
  PacketData& operator=(const PacketData&) = delete;
  ~PacketData() { av_packet_unref(packet_); }

 private:
  AVPacket* packet_;
};

// The host reports every failure itself, in one line; the libraries say nothing.
void SilenceLibraries();

// A file opened for reading as a plain file: a name that looks like a URL or a protocol
// stays a file name. Null when FFmpeg cannot open it.
FormatContext OpenInputFile(const std::string& name);

// The matrix FFmpeg calls "unknown": a stream that does not say.
inline constexpr auto kUnknownMatrix = static_cast<AVColorSpace>(2);

inline bool Valid(AVRational rational) {
  return rational.num > 0 && rational.den > 0;
}

// FFmpeg's text for an error code, to follow a parenthesis or a colon.
std::string ErrorText(int error);

}  // namespace vitrella::host
