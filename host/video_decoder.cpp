#include "video_decoder.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>

extern "C" {
#include <libavutil/pixdesc.h>
}

#include "av_support.h"
#include "bgra_from_yuv420.h"
#include "host_error.h"

namespace vitrella::host {
namespace {

// The most pixels on a side that a frame of the host may have.
constexpr int kMaxSide = 65535;
// RenderInfo numbers frames with 32 bits.
constexpr int64_t kMaxFrames = INT32_MAX;

std::string DamageText(const std::string& why) {
  return "its data is damaged (" + why + ")";
}

std::string SizeText(int width, int height) {
  return std::to_string(width) + "x" + std::to_string(height);
}

HostError NotAVideo(const std::string& name) {
  return HostError("cannot read " + name + ": not a video we can decode");
}

// swscale reads the yuvj formats as full range and any other as limited.
bool FullRangeFormat(AVPixelFormat format) {
  switch (format) {
    case AV_PIX_FMT_YUVJ411P:
    case AV_PIX_FMT_YUVJ420P:
    case AV_PIX_FMT_YUVJ422P:
    case AV_PIX_FMT_YUVJ440P:
    case AV_PIX_FMT_YUVJ444P:
      return true;
    default:
      return false;
  }
}

}  // namespace

// The file and its decoder; replaced whole when the stream must start again.
struct VideoDecoder::Session {
  FormatContext format;
  CodecContext codec;
  AVStream* stream = nullptr;  // owned by format
  AVRational rate{0, 0};       // what frames are numbered by, per second; 0/0 when unknown
  Packet packet{av_packet_alloc()};
  Frame frame{av_frame_alloc()};

  static std::unique_ptr<Session> Open(const std::string& name);
};

// Converts frames to BGRA; made again only when the frames' size, format or colours change.
struct VideoDecoder::Scaler {
  ScalerContext context;
  std::array<int, 6> madeFor{};  // width, height, format, depth, colorspace, range

  SwsContext* For(const AVFrame& frame, const AVPixFmtDescriptor& descriptor, bool deep) {
    const auto format = static_cast<AVPixelFormat>(frame.format);
    const bool yuv = (descriptor.flags & AV_PIX_FMT_FLAG_RGB) == 0 && descriptor.nb_components >= 3;
    const bool fullRange = frame.color_range == AVCOL_RANGE_JPEG || FullRangeFormat(format);
    const std::array<int, 6> key = {frame.width,   frame.height,     frame.format,
                                    deep ? 16 : 8, frame.colorspace, fullRange ? 1 : 0};
    if (context && key == madeFor) return context.get();
    context.reset(sws_getContext(frame.width, frame.height, format, frame.width, frame.height,
                                 deep ? AV_PIX_FMT_BGRA64 : AV_PIX_FMT_BGRA, SWS_BICUBIC, nullptr,
                                 nullptr, nullptr));
    if (!context) return nullptr;
    madeFor = key;
    // swscale assumes BT.601 coefficients, and full range for the yuvj formats only: frames
    // tagged otherwise (BT.709 for HD video, full range from a phone) must say so. A YUV
    // frame tagged RGB is mistagged, and left to the defaults.
    const int* defaults = sws_getCoefficients(SWS_CS_DEFAULT);
    const int* coefficients =
        frame.colorspace == AVCOL_SPC_RGB ? defaults : sws_getCoefficients(frame.colorspace);
    const bool ownCoefficients = std::memcmp(coefficients, defaults, 4 * sizeof(int)) != 0;
    if (yuv && (ownCoefficients || fullRange != FullRangeFormat(format))) {
      sws_setColorspaceDetails(context.get(), coefficients, fullRange ? 1 : 0, defaults, 1, 0,
                               1 << 16, 1 << 16);
    }
    return context.get();
  }
};

std::unique_ptr<VideoDecoder::Session> VideoDecoder::Session::Open(const std::string& name) {
  auto session = std::make_unique<Session>();
  if (!session->packet || !session->frame) throw std::bad_alloc();

  session->format = OpenInputFile(name);
  if (!session->format) throw NotAVideo(name);
  AVFormatContext* format = session->format.get();
  if (avformat_find_stream_info(format, nullptr) < 0) throw NotAVideo(name);

  const AVCodec* decoder = nullptr;
  const int index = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0);
  if (index < 0 || decoder == nullptr) throw NotAVideo(name);
  AVStream* stream = format->streams[index];
  // A cover picture in an audio file is no clip.
  if ((stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0) throw NotAVideo(name);
  const AVCodecParameters& parameters = *stream->codecpar;
  if (parameters.width > kMaxSide || parameters.height > kMaxSide) {
    throw HostError("cannot read " + name + ": its frames are " +
                    SizeText(parameters.width, parameters.height) + ", more than " +
                    std::to_string(kMaxSide) + " pixels on a side");
  }

  session->codec.reset(avcodec_alloc_context3(decoder));
  AVCodecContext* codec = session->codec.get();
  if (codec == nullptr) throw std::bad_alloc();
  if (avcodec_parameters_to_context(codec, &parameters) < 0) throw NotAVideo(name);
  codec->pkt_timebase = stream->time_base;
  // Damage fails the frame instead of being concealed, and a frame the decoder knows to be
  // corrupt comes out flagged instead of being dropped without a word.
  codec->err_recognition = AV_EF_CRCCHECK | AV_EF_BITSTREAM | AV_EF_BUFFER | AV_EF_EXPLODE;
  codec->flags |= AV_CODEC_FLAG_OUTPUT_CORRUPT;
  // Frame threads keep decoding up with the effect on every core; a frame's error comes
  // out when that frame would, which Next numbers as the frame after the last one shown.
  codec->thread_type = FF_THREAD_FRAME | FF_THREAD_SLICE;
  codec->thread_count = 0;
  if (avcodec_open2(codec, decoder, nullptr) < 0) throw NotAVideo(name);
  session->stream = stream;
  // The base rate is exact for video of a constant rate, whose average a container's
  // duration can put a frame off; for a variable rate it is a common multiple, far above the
  // average, which is then the better guess.
  const AVRational average = stream->avg_frame_rate;
  const AVRational base = stream->r_frame_rate;
  const bool baseFits = !Valid(average) || (av_cmp_q(av_mul_q(base, {10, 11}), average) <= 0 &&
                                            av_cmp_q(av_mul_q(average, {10, 11}), base) <= 0);
  session->rate = Valid(base) && baseFits ? base : average;
  return session;
}

VideoDecoder::VideoDecoder(const std::string& name)
    : name_(name), session_(Session::Open(name)), scaler_(std::make_unique<Scaler>()) {
  const AVStream& stream = *session_->stream;
  const AVRational rate = Valid(stream.avg_frame_rate) ? stream.avg_frame_rate : session_->rate;
  if (Valid(rate)) rate_ = av_q2d(rate);

  double frames = 0;
  if (stream.nb_frames > 0) {
    frames = static_cast<double>(stream.nb_frames);
  } else if (Valid(rate)) {
    estimated_ = true;
    double seconds = 0;
    if (stream.duration != AV_NOPTS_VALUE && stream.duration > 0 && Valid(stream.time_base)) {
      seconds = static_cast<double>(stream.duration) * av_q2d(stream.time_base);
    } else if (session_->format->duration != AV_NOPTS_VALUE && session_->format->duration > 0) {
      seconds = static_cast<double>(session_->format->duration) / AV_TIME_BASE;
    }
    frames = seconds * av_q2d(rate);
  }
  if (frames >= 0.5) count_ = std::min<int64_t>(std::llround(std::min(frames, 1e18)), kMaxFrames);
}

VideoDecoder::~VideoDecoder() = default;

ClipFacts VideoDecoder::Facts() const {
  const AVStream& stream = *session_->stream;
  const AVCodecParameters& parameters = *stream.codecpar;
  ClipFacts facts;
  if (Valid(stream.time_base)) {
    facts.timeBaseNum = stream.time_base.num;
    facts.timeBaseDen = stream.time_base.den;
  }
  const AVRational rate = Valid(stream.avg_frame_rate) ? stream.avg_frame_rate : session_->rate;
  if (Valid(rate)) {
    facts.rateNum = rate.num;
    facts.rateDen = rate.den;
  }
  facts.startTimestamp = origin_;
  AVRational aspect = stream.sample_aspect_ratio;
  if (!Valid(aspect)) aspect = parameters.sample_aspect_ratio;
  if (Valid(aspect)) facts.pixelAspect = av_q2d(aspect);
  facts.fieldOrder = parameters.field_order;
  facts.colorRange = parameters.color_range;
  facts.colorSpace = parameters.color_space;
  facts.colorPrimaries = parameters.color_primaries;
  facts.colorTransfer = parameters.color_trc;
  if (const AVPixFmtDescriptor* descriptor =
          av_pix_fmt_desc_get(static_cast<AVPixelFormat>(parameters.format))) {
    facts.alpha = (descriptor->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
    for (int c = 0; c < descriptor->nb_components; ++c)
      facts.bits = std::max(facts.bits, descriptor->comp[c].depth);
  }
  if (FullRangeFormat(static_cast<AVPixelFormat>(parameters.format))) {
    facts.colorRange = AVCOL_RANGE_JPEG;
  }
  return facts;
}

std::optional<VideoFrame> VideoDecoder::Next() {
  Session& session = *session_;
  while (!ended_) {
    const int received = avcodec_receive_frame(session.codec.get(), session.frame.get());
    if (received == 0) {
      VideoFrame frame = Received();
      // What the decoder gives out after damaged data is not shown.
      if (failure_ && (frame.number < 0 || frame.number >= failure_->number)) break;
      ended_ = !frame.damage.empty();
      return frame;
    }
    if (received == AVERROR(EAGAIN) && !draining_) {
      Feed();
      continue;
    }
    if (received != AVERROR_EOF && received != AVERROR(EAGAIN) && !failure_) {
      // A decoder that reports errors as it gives frames out rather than as it takes data.
      failure_.emplace();
      failure_->number = last_ ? *last_ + 1 : -1;
      failure_->damage = DamageText(ErrorText(received));
    }
    break;
  }
  ended_ = true;
  std::optional<VideoFrame> failure = std::move(failure_);
  failure_.reset();
  return failure;
}

VideoFrame VideoDecoder::Received() {
  AVFrame& decoded = *session_->frame;
  const int64_t timestamp = decoded.best_effort_timestamp;
  if (!origin_ && last_ == -1 && timestamp != AV_NOPTS_VALUE) origin_ = timestamp;
  VideoFrame frame;
  frame.number = Following(NumberAt(timestamp));
  last_ = frame.number >= 0 ? std::optional<int64_t>(frame.number) : std::nullopt;
  frame.key = decoded.key_frame != 0;
  if (timestamp != AV_NOPTS_VALUE) frame.timestamp = timestamp;

  const auto format = static_cast<AVPixelFormat>(decoded.format);
  if ((decoded.flags & AV_FRAME_FLAG_CORRUPT) != 0 || decoded.decode_error_flags != 0) {
    frame.damage = DamageText((decoded.decode_error_flags & FF_DECODE_ERROR_MISSING_REFERENCE) != 0
                                  ? "a frame it refers to is missing"
                                  : "the decoder found errors in it");
  } else if (decoded.width <= 0 || decoded.height <= 0 || decoded.width > kMaxSide ||
             decoded.height > kMaxSide) {
    frame.damage = "its size " + SizeText(decoded.width, decoded.height) + " is out of range";
  } else if (sws_isSupportedInput(format) == 0) {
    const char* formatName = av_get_pix_fmt_name(format);
    frame.damage = std::string("its pixel format ") + (formatName ? formatName : "(none)") +
                   " is not supported";
  }
  if (!frame.damage.empty()) {
    av_frame_unref(&decoded);
    return frame;
  }
  Frame kept(av_frame_alloc());
  if (!kept) throw std::bad_alloc();
  av_frame_move_ref(kept.get(), &decoded);
  frame.decoded = std::shared_ptr<const AVFrame>(kept.release(), FrameFreer());
  return frame;
}

void VideoDecoder::Feed() {
  fresh_ = false;
  Session& session = *session_;
  AVPacket* packet = session.packet.get();
  AVIOContext* file = session.format->pb;
  const int read = av_read_frame(session.format.get(), packet);
  if (read < 0) {
    // The end of the file, where the frames the decoder holds still come out; or data that
    // cannot be read before it, which ends the stream as damage does.
    if (read != AVERROR_EOF && (file == nullptr || avio_feof(file) == 0)) {
      Fail(Following(-1), DamageText(ErrorText(read)), false);
    } else {
      avcodec_send_packet(session.codec.get(), nullptr);
      draining_ = true;
    }
    return;
  }
  const PacketData data(packet);
  if (packet->stream_index != session.stream->index) return;
  const int64_t number =
      Following(NumberAt(packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts));
  if ((packet->flags & AV_PKT_FLAG_CORRUPT) != 0) {
    // A demuxer marks a packet that the end of the file cuts short so.
    const bool cut = file != nullptr && avio_feof(file) != 0;
    Fail(number, cut ? "the file ends inside it" : DamageText("the container marks it corrupt"),
         cut);
    return;
  }
  const int sent = avcodec_send_packet(session.codec.get(), packet);
  if (sent < 0) Fail(number, DamageText(ErrorText(sent)), false);
}

void VideoDecoder::Fail(int64_t number, std::string damage, bool cut) {
  failure_.emplace();
  failure_->number = number;
  failure_->damage = std::move(damage);
  failure_->cut = cut;
  // The frames decoded before the damage still come out.
  avcodec_send_packet(session_->codec.get(), nullptr);
  draining_ = true;
}

int64_t VideoDecoder::NumberAt(int64_t timestamp) const {
  const AVRational rate = session_->rate;
  const AVRational base = session_->stream->time_base;
  if (timestamp == AV_NOPTS_VALUE || !origin_ || !Valid(rate) || !Valid(base)) return -1;
  int64_t ticks = 0;
  if (__builtin_sub_overflow(timestamp, *origin_, &ticks) || ticks < 0) return -1;
  const int64_t number = av_rescale_q(ticks, base, av_inv_q(rate));
  return number >= 0 ? number : -1;
}

int64_t VideoDecoder::Following(int64_t number) const {
  // Timestamps that are missing, repeat or go back count one frame on.
  if (last_ && (number < 0 || number <= *last_)) return *last_ + 1;
  return number;
}

bool VideoDecoder::Seek(int64_t n) {
  const AVRational rate = session_->rate;
  const AVRational base = session_->stream->time_base;
  if (!Valid(rate) || !Valid(base) || n < 0 || n >= kMaxFrames) return false;
  // Numbers count from the first frame's timestamp.
  if (!origin_ && fresh_) Next();
  if (!origin_) return false;
  const AVRational ticksPerFrame = av_div_q(av_inv_q(rate), base);
  if (!Valid(ticksPerFrame)) return false;
  // Half a frame past frame n's time, so that a timestamp a tick off still finds it.
  const int64_t offset =
      av_rescale_rnd(2 * n + 1, ticksPerFrame.num, 2 * int64_t{ticksPerFrame.den}, AV_ROUND_DOWN);
  int64_t target = 0;
  if (offset < 0 || __builtin_add_overflow(*origin_, offset, &target)) return false;
  fresh_ = false;
  if (av_seek_frame(session_->format.get(), session_->stream->index, target, AVSEEK_FLAG_BACKWARD) <
      0) {
    return false;
  }
  Restart(std::nullopt);
  return true;
}

void VideoDecoder::Rewind() {
  // Opening the file again starts it exactly as before, which seeking to its start does not
  // promise for every container.
  if (!fresh_) session_ = Session::Open(name_);
  fresh_ = true;
  Restart(-1);
}

void VideoDecoder::Restart(std::optional<int64_t> last) {
  avcodec_flush_buffers(session_->codec.get());
  last_ = last;
  draining_ = false;
  ended_ = false;
  failure_.reset();
}

// 8-bit 4:2:0 in a matrix of our own, the frames of nearly every H.264, MPEG and Motion JPEG
// clip: faster than swscale's, and with chroma interpolated from where the stream sites it.
// Empty for the other frames, which go to swscale.
cv::Mat VideoDecoder::OwnConversion(const AVFrame& decoded, bool deep) {
  const auto format = static_cast<AVPixelFormat>(decoded.format);
  if (deep || (format != AV_PIX_FMT_YUV420P && format != AV_PIX_FMT_YUVJ420P)) return {};
  const std::optional<YuvMatrix> matrix = YuvMatrixOf(decoded.colorspace);
  // A frame without its three planes is left to swscale, which fails it with a message
  // rather than handing on a picture that was never written.
  if (!matrix || decoded.data[0] == nullptr || decoded.data[1] == nullptr ||
      decoded.data[2] == nullptr) {
    return {};
  }
  const bool fullRange = decoded.color_range == AVCOL_RANGE_JPEG || FullRangeFormat(format);
  cv::Mat picture = pictures_.Take(decoded.height, decoded.width, CV_8UC4);
  const Yuv420Source planes{decoded.data[0],     decoded.data[1],     decoded.data[2],
                            decoded.linesize[0], decoded.linesize[1], decoded.linesize[2]};
  BgraFromYuv420(planes, decoded.width, decoded.height, *matrix, fullRange,
                 static_cast<ChromaSiting>(decoded.chroma_location), picture.data,
                 static_cast<ptrdiff_t>(picture.step[0]));
  return picture;
}

cv::Mat VideoDecoder::Picture(const VideoFrame& frame, int64_t n) {
  const AVFrame& decoded = *frame.decoded;
  const auto format = static_cast<AVPixelFormat>(decoded.format);
  const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(format);
  const auto failed = [&] {
    return HostError("cannot decode frame " + std::to_string(n) + " of " + name_ +
                     ": its pixels cannot be converted to BGRA");
  };
  if (descriptor == nullptr) throw failed();
  bool deep = false;
  for (int c = 0; c < descriptor->nb_components; ++c)
    deep = deep || descriptor->comp[c].depth > 8;

  const int width = decoded.width;
  const int height = decoded.height;
  if (cv::Mat picture = OwnConversion(decoded, deep); !picture.empty()) return picture;
  SwsContext* scaler = scaler_->For(decoded, *descriptor, deep);
  if (scaler == nullptr) throw failed();
  cv::Mat picture = pictures_.Take(height, width, deep ? CV_16UC4 : CV_8UC4);
  uint8_t* const planes[4] = {picture.data, nullptr, nullptr, nullptr};
  const int strides[4] = {static_cast<int>(picture.step[0]), 0, 0, 0};
  if (sws_scale(scaler, decoded.data, decoded.linesize, 0, height, planes, strides) != height) {
    throw failed();
  }
  return picture;
}

}  // namespace vitrella::host
