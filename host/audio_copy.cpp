#include "audio_copy.h"

#include <filesystem>

#include "host_error.h"

namespace vitrella::host {

AudioCopy::AudioCopy(const std::string& input, AVFormatContext& output,
                     const std::string& outputName)
    : outputName_(outputName), input_(OpenInputFile(input)), output_(output) {
  if (!packet_) throw std::bad_alloc();
  // The video reader opened the same file already: a failure here leaves the sound out.
  if (!input_ || avformat_find_stream_info(input_.get(), nullptr) < 0) {
    input_.reset();
    return;
  }
  for (unsigned i = 0; i < input_->nb_streams; ++i) {
    const AVStream& stream = *input_->streams[i];
    if (stream.codecpar->codec_type != AVMEDIA_TYPE_AUDIO) continue;
    if (avformat_query_codec(output.oformat, stream.codecpar->codec_id, FF_COMPLIANCE_NORMAL) !=
        1) {
      const AVCodecDescriptor* codec = avcodec_descriptor_get(stream.codecpar->codec_id);
      throw UsageError("cannot write " + outputName + ": its container takes no " +
                       (codec != nullptr ? codec->name : "such") +
                       " audio, which the input holds; --no-audio leaves the sound out, or "
                       "write another container");
    }
    AVStream* out = avformat_new_stream(&output, nullptr);
    if (out == nullptr || avcodec_parameters_copy(out->codecpar, stream.codecpar) < 0) {
      throw std::bad_alloc();
    }
    // The input container's tag may mean nothing in the output's.
    out->codecpar->codec_tag = 0;
    out->time_base = stream.time_base;
    av_dict_copy(&out->metadata, stream.metadata, 0);
    out->disposition = stream.disposition;
    streams_.push_back({static_cast<int>(i), out});
  }
}

void AudioCopy::Cut(double from, double to, double shift) {
  from_ = from;
  to_ = to;
  shift_ = shift;
}

void AudioCopy::Copy(double until) {
  while (!empty() && !ended_) {
    AVPacket* packet = packet_.get();
    if (!held_) {
      const int read = av_read_frame(input_.get(), packet);
      if (read < 0) {
        ended_ = true;
        return;
      }
      held_ = true;
    }
    const Stream* stream = nullptr;
    for (const Stream& candidate : streams_) {
      if (candidate.input == packet->stream_index) stream = &candidate;
    }
    if (stream == nullptr) {
      av_packet_unref(packet);
      held_ = false;
      continue;
    }
    const AVRational base = input_->streams[stream->input]->time_base;
    const int64_t start = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
    const double seconds = start != AV_NOPTS_VALUE ? static_cast<double>(start) * av_q2d(base) : 0;
    if (seconds >= until) return;  // kept for a later call
    const PacketData data(packet);
    held_ = false;
    if (seconds < from_ || seconds >= to_) continue;
    const int64_t shift = std::llround(shift_ / av_q2d(base));
    if (packet->pts != AV_NOPTS_VALUE) packet->pts -= shift;
    if (packet->dts != AV_NOPTS_VALUE) packet->dts -= shift;
    av_packet_rescale_ts(packet, base, stream->out->time_base);
    packet->stream_index = stream->out->index;
    packet->pos = -1;
    const int written = av_interleaved_write_frame(&output_, packet);
    if (written < 0) {
      throw HostError("cannot write the sound to " + outputName_ + ": " + ErrorText(written));
    }
  }
}

}  // namespace vitrella::host
