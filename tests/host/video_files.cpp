#include "host/video_files.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/pixdesc.h>
}

namespace vitrella::testing {

void WriteRawVideo(const std::string& path, AVPixelFormat format,
                   const std::vector<cv::Mat>& frames) {
  AVFormatContext* out = nullptr;
  if (avformat_alloc_output_context2(&out, nullptr, "nut", path.c_str()) < 0) {
    throw std::runtime_error("no NUT muxer");
  }
  AVStream* stream = avformat_new_stream(out, nullptr);
  stream->time_base = {1, 25};
  AVCodecParameters& parameters = *stream->codecpar;
  parameters.codec_type = AVMEDIA_TYPE_VIDEO;
  parameters.codec_id = AV_CODEC_ID_RAWVIDEO;
  parameters.codec_tag = avcodec_pix_fmt_to_codec_tag(format);
  parameters.format = format;
  parameters.width = frames[0].cols;
  parameters.height = frames[0].rows;
  if (avio_open(&out->pb, path.c_str(), AVIO_FLAG_WRITE) < 0 ||
      avformat_write_header(out, nullptr) < 0) {
    throw std::runtime_error("cannot write " + path);
  }
  AVPacket* packet = av_packet_alloc();
  for (size_t k = 0; k < frames.size(); ++k) {
    const size_t size = frames[k].total() * frames[k].elemSize();
    av_new_packet(packet, static_cast<int>(size));
    std::memcpy(packet->data, frames[k].data, size);
    packet->pts = static_cast<int64_t>(k);
    packet->flags = AV_PKT_FLAG_KEY;
    av_packet_rescale_ts(packet, {1, 25}, stream->time_base);
    av_interleaved_write_frame(out, packet);
  }
  av_packet_free(&packet);
  av_write_trailer(out);
  avio_closep(&out->pb);
  avformat_free_context(out);
}

bool RunFfmpeg(const std::string& arguments) {
  return std::system(("ffmpeg -nostdin -v error -y " + arguments).c_str()) == 0;
}

ProbedVideo Probe(const std::string& path) {
  ProbedVideo probed;
  AVFormatContext* format = nullptr;
  if (avformat_open_input(&format, path.c_str(), nullptr, nullptr) < 0) return probed;
  avformat_find_stream_info(format, nullptr);
  const int video = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  const int audio = av_find_best_stream(format, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
  if (video >= 0) {
    const AVStream& stream = *format->streams[video];
    probed.videoCodec = avcodec_get_name(stream.codecpar->codec_id);
    const char* pixels = av_get_pix_fmt_name(static_cast<AVPixelFormat>(stream.codecpar->format));
    probed.pixelFormat = pixels != nullptr ? pixels : "";
    probed.rate = av_q2d(stream.avg_frame_rate);
    const AVCodecParameters& parameters = *stream.codecpar;
    probed.colors = std::string(av_color_range_name(parameters.color_range)) + " " +
                    av_color_space_name(parameters.color_space) + " " +
                    av_color_primaries_name(parameters.color_primaries) + " " +
                    av_color_transfer_name(parameters.color_trc);
  }
  if (audio >= 0) probed.audioCodec = avcodec_get_name(format->streams[audio]->codecpar->codec_id);
  AVPacket* packet = av_packet_alloc();
  while (av_read_frame(format, packet) >= 0) {
    const AVRational base = format->streams[packet->stream_index]->time_base;
    const double time = static_cast<double>(packet->pts) * av_q2d(base);
    if (packet->stream_index == video) probed.times.push_back(time);
    if (packet->stream_index == audio) {
      probed.audio.emplace_back(reinterpret_cast<const char*>(packet->data),
                                static_cast<size_t>(packet->size));
      probed.audioTimes.push_back(time);
    }
    av_packet_unref(packet);
  }
  av_packet_free(&packet);
  avformat_close_input(&format);
  std::sort(probed.times.begin(), probed.times.end());
  return probed;
}

}  // namespace vitrella::testing
