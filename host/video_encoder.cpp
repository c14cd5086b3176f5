#include "video_encoder.h"

#include <filesystem>
#include <limits>
#include <optional>

extern "C" {
#include <libavutil/pixdesc.h>
}

#include "audio_copy.h"
#include "av_support.h"
#include "host_error.h"
#include "message_text.h"
#include "replacing_file.h"
#include "yuv420_from_bgra.h"

namespace vitrella::host {
namespace {

// Visually lossless at x264's own balance of speed and size.
constexpr int kDefaultCrf = 18;
constexpr const char* kDefaultPreset = "medium";

struct OutputCloser {
  void operator()(AVFormatContext* context) const {
    if ((context->oformat->flags & AVFMT_NOFILE) == 0) avio_closep(&context->pb);
    avformat_free_context(context);
  }
};
using OutputContext = std::unique_ptr<AVFormatContext, OutputCloser>;

std::string Extension(const std::string& name) {
  return std::filesystem::path(name).extension().string();
}

AVPixelFormat PixelFormatFor(ClipCodec codec, bool deep) {
  switch (codec) {
    case ClipCodec::kH264:
      return deep ? AV_PIX_FMT_YUV420P10LE : AV_PIX_FMT_YUV420P;
    case ClipCodec::kProRes:
      return AV_PIX_FMT_YUV422P10LE;
    case ClipCodec::kProRes4444:
      return AV_PIX_FMT_YUVA444P10LE;
    case ClipCodec::kFfv1:
      // RGB, as the frames are: nothing is lost to a colour matrix.
      return deep ? AV_PIX_FMT_GBRAP16LE : AV_PIX_FMT_BGRA;
    default:
      return AV_PIX_FMT_YUVJ420P;
  }
}

// The encoder's private options for the codec.
AVDictionary* EncoderOptions(const ClipOutput& output, ClipCodec codec) {
  AVDictionary* options = nullptr;
  switch (codec) {
    case ClipCodec::kH264:
      av_dict_set_int(&options, "crf", output.crf.value_or(kDefaultCrf), 0);
      av_dict_set(&options, "preset", output.encoderPreset.value_or(kDefaultPreset).c_str(), 0);
      break;
    case ClipCodec::kProRes:
      av_dict_set(&options, "profile", "hq", 0);
      break;
    case ClipCodec::kProRes4444:
      av_dict_set(&options, "profile", "4444", 0);
      av_dict_set(&options, "alpha_bits", "16", 0);
      break;
    case ClipCodec::kFfv1:
      // Version 3 codes slices apart, which threads share, each with its own checksum.
      av_dict_set(&options, "level", "3", 0);
      av_dict_set(&options, "slices", "4", 0);
      av_dict_set(&options, "slicecrc", "1", 0);
      break;
    default:
      break;
  }
  return options;
}

class VideoEncoder final : public ClipWriter {
 public:
  VideoEncoder(const ClipOutput& output, ClipCodec codec, const ClipSource& source)
      : output_(output), codec_(codec), source_(source), file_(output.name) {
    const ClipFacts& facts = source.facts;
    timed_ = !source.retimed && facts.timeBaseNum > 0 && facts.timeBaseDen > 0 &&
             facts.startTimestamp.has_value();
    if (timed_) sourceBase_ = {facts.timeBaseNum, facts.timeBaseDen};
    rate_ = !source.retimed && facts.rateNum > 0 && facts.rateDen > 0
                ? AVRational{facts.rateNum, facts.rateDen}
                : av_d2q(source.rate, 1001000);
  }

  ~VideoEncoder() override {
    // The muxer and the sound let go of the output before the hidden file is removed.
    audio_.reset();
    codecContext_.reset();
    format_.reset();
  }

  void Write(int64_t n, const cv::Mat& picture, std::optional<int64_t> timestamp) override {
    if (!format_) Open(n, picture);
    if (picture.cols != frame_->width || picture.rows != frame_->height) {
      throw HostError("cannot write frame " + std::to_string(n) + " to " + output_.name +
                      ": its size differs from the first frame's");
    }
    if (!lastPts_ && timed_ && timestamp) StartAt(*timestamp);
    const int64_t pts = TimestampOf(timestamp);
    if (lastPts_ && pts <= *lastPts_) return;
    lastPts_ = pts;
    if (timed_ && timestamp) lastSource_ = *timestamp;

    cv::Mat converted;
    const cv::Mat* pixels = &picture;
    if (deep_ && picture.depth() == CV_32F) {
      picture.convertTo(converted, CV_16U, 65535.0);
      pixels = &converted;
    } else if (!deep_ && picture.depth() != CV_8U) {
      picture.convertTo(converted, CV_8U, picture.depth() == CV_16U ? 1.0 / 257 : 255.0);
      pixels = &converted;
    }
    const int made = av_frame_make_writable(frame_.get());
    if (made < 0) throw Failed(n, made);
    if (yuv420_ && pixels->depth() == CV_8U) {
      Yuv420FromBgra(pixels->data, static_cast<ptrdiff_t>(pixels->step[0]), pixels->cols,
                     pixels->rows, *yuv420_, fullRange_,
                     {frame_->data[0], frame_->data[1], frame_->data[2], frame_->linesize[0],
                      frame_->linesize[1], frame_->linesize[2]});
    } else {
      const uint8_t* const planes[4] = {pixels->data, nullptr, nullptr, nullptr};
      const int strides[4] = {static_cast<int>(pixels->step[0]), 0, 0, 0};
      if (sws_scale(scaler_.get(), planes, strides, 0, pixels->rows, frame_->data,
                    frame_->linesize) != pixels->rows) {
        throw HostError("cannot write frame " + std::to_string(n) + " to " + output_.name +
                        ": its pixels cannot be converted");
      }
    }
    frame_->pts = pts;
    Send(frame_.get(), n);
  }

  void Commit() override {
    if (!format_) throw HostError("cannot finish " + output_.name + ": it holds no frames");
    Send(nullptr, -1);
    if (audio_) {
      if (source_.cutEnd && lastSource_) {
        const double frame = av_q2d(av_inv_q(rate_));
        audio_->Cut(from_, static_cast<double>(*lastSource_) * av_q2d(sourceBase_) + frame,
                    shiftSeconds_);
      }
      audio_->Copy(std::numeric_limits<double>::infinity());
    }
    const int ended = av_write_trailer(format_.get());
    if (ended < 0) throw HostError("cannot finish " + output_.name + ": " + ErrorText(ended));
    audio_.reset();
    format_.reset();  // closes the file
    file_.Commit();
  }

 private:
  HostError Failed(int64_t n, int error) const {
    return HostError("cannot write frame " + std::to_string(n) + " to " + output_.name + ": " +
                     ErrorText(error));
  }

  // The frame's time in the encoder's base: its own, moved so that a range starts where the
  // clip did, or its place at the rate.
  int64_t TimestampOf(std::optional<int64_t> timestamp) const {
    const int64_t step = std::max<int64_t>(1, av_rescale_q(1, av_inv_q(rate_), base_));
    if (!timed_ || !timestamp) return lastPts_ ? *lastPts_ + step : 0;
    return av_rescale_q(*timestamp - shift_, sourceBase_, base_);
  }

  void StartAt(int64_t timestamp) {
    if (!source_.cutStart) return;
    shift_ = timestamp - *source_.facts.startTimestamp;
    shiftSeconds_ = static_cast<double>(shift_) * av_q2d(sourceBase_);
    from_ = static_cast<double>(timestamp) * av_q2d(sourceBase_);
    if (audio_) audio_->Cut(from_, std::numeric_limits<double>::infinity(), shiftSeconds_);
  }

  void Open(int64_t n, const cv::Mat& picture) {
    const ClipCodecInfo& info = CodecInfo(codec_);
    const ClipFacts& facts = source_.facts;
    deep_ =
        picture.depth() != CV_8U && info.deepBits > 8 && (source_.video.empty() || facts.bits > 8);
    const AVPixelFormat pixels = PixelFormatFor(codec_, deep_);
    const AVPixFmtDescriptor& descriptor = *av_pix_fmt_desc_get(pixels);
    const bool rgb = (descriptor.flags & AV_PIX_FMT_FLAG_RGB) != 0;

    AVFormatContext* format = nullptr;
    const int allocated =
        avformat_alloc_output_context2(&format, nullptr, nullptr, file_.path().c_str());
    if (allocated < 0) throw Failed(n, allocated);
    format_.reset(format);
    // AVI counts frames rather than timing them: a gap in its timestamps becomes empty
    // frames, so it is timed at the rate.
    const bool counted = std::string(format->oformat->name) == "avi";
    base_ = timed_ && !counted ? sourceBase_ : av_inv_q(rate_);

    const AVCodec* encoder = avcodec_find_encoder_by_name(info.encoder);
    if (encoder == nullptr) throw HostError("cannot write " + output_.name + ": no encoder");
    codecContext_.reset(avcodec_alloc_context3(encoder));
    AVCodecContext* codec = codecContext_.get();
    if (codec == nullptr) throw std::bad_alloc();
    codec->width = picture.cols;
    codec->height = picture.rows;
    codec->pix_fmt = pixels;
    codec->time_base = base_;
    codec->framerate = rate_;
    if (facts.pixelAspect) codec->sample_aspect_ratio = av_d2q(*facts.pixelAspect, 65535);
    codec->field_order = static_cast<AVFieldOrder>(facts.fieldOrder);
    codec->color_primaries = static_cast<AVColorPrimaries>(facts.colorPrimaries);
    codec->color_trc = static_cast<AVColorTransferCharacteristic>(facts.colorTransfer);
    // ProRes holds limited range only, Motion JPEG full range only.
    const bool prores = codec_ == ClipCodec::kProRes || codec_ == ClipCodec::kProRes4444;
    const bool fullRange =
        codec_ == ClipCodec::kMjpeg || (!prores && facts.colorRange == AVCOL_RANGE_JPEG);
    if (rgb) {
      codec->colorspace = AVCOL_SPC_RGB;
      codec->color_range = AVCOL_RANGE_JPEG;
    } else {
      codec->colorspace = facts.colorSpace == AVCOL_SPC_RGB
                              ? kUnknownMatrix
                              : static_cast<AVColorSpace>(facts.colorSpace);
      codec->color_range = fullRange ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    }
    // Our own conversion to 4:2:0 takes each chroma sample as the mean of its 2x2 block,
    // which sites it in the block's middle; readers that honour the tag then put it back
    // where it came from.
    const bool ownYuv420 = !deep_ &&
                           (pixels == AV_PIX_FMT_YUV420P || pixels == AV_PIX_FMT_YUVJ420P) &&
                           YuvMatrixOf(codec->colorspace).has_value();
    if (ownYuv420) codec->chroma_sample_location = AVCHROMA_LOC_CENTER;
    if (codec_ == ClipCodec::kMjpeg) {
      codec->flags |= AV_CODEC_FLAG_QSCALE;
      codec->global_quality = FF_QP2LAMBDA * 2;
    }
    if ((format->oformat->flags & AVFMT_GLOBALHEADER) != 0) {
      codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    // Frame and slice threads on every core keep the encoder up with the effect.
    codec->thread_count = 0;
    codec->thread_type = FF_THREAD_FRAME | FF_THREAD_SLICE;
    AVDictionary* options = EncoderOptions(output_, codec_);
    const int opened = avcodec_open2(codec, encoder, &options);
    av_dict_free(&options);
    if (opened < 0) {
      throw HostError("cannot write " + output_.name + ": the " + info.name +
                      " encoder refused frames of " + std::to_string(picture.cols) + "x" +
                      std::to_string(picture.rows) + " pixels (" + ErrorText(opened) + ")");
    }

    stream_ = avformat_new_stream(format, nullptr);
    if (stream_ == nullptr || avcodec_parameters_from_context(stream_->codecpar, codec) < 0) {
      throw std::bad_alloc();
    }
    stream_->time_base = base_;
    stream_->avg_frame_rate = rate_;
    stream_->sample_aspect_ratio = codec->sample_aspect_ratio;
    if (output_.audio && !source_.video.empty()) {
      audio_ = std::make_unique<AudioCopy>(source_.video, *format, output_.name);
    }
    const int file = avio_open(&format->pb, ("file:" + file_.path()).c_str(), AVIO_FLAG_WRITE);
    if (file < 0) throw Failed(n, file);
    const int header = avformat_write_header(format, nullptr);
    if (header < 0) throw Failed(n, header);

    frame_.reset(av_frame_alloc());
    if (!frame_ || !packet_) throw std::bad_alloc();
    frame_->format = pixels;
    frame_->width = picture.cols;
    frame_->height = picture.rows;
    // Some encoders (ProRes) take the tags from the frames rather than the context.
    frame_->color_range = codec->color_range;
    frame_->colorspace = codec->colorspace;
    frame_->color_primaries = codec->color_primaries;
    frame_->color_trc = codec->color_trc;
    frame_->sample_aspect_ratio = codec->sample_aspect_ratio;
    const int buffered = av_frame_get_buffer(frame_.get(), 0);
    if (buffered < 0) throw Failed(n, buffered);

    // Exact rounding costs swscale its fast paths; it matters only for the deep steps.
    const int rounding = deep_ ? SWS_ACCURATE_RND : 0;
    scaler_.reset(sws_getContext(
        picture.cols, picture.rows, deep_ ? AV_PIX_FMT_BGRA64LE : AV_PIX_FMT_BGRA, picture.cols,
        picture.rows, pixels, SWS_BICUBIC | rounding, nullptr, nullptr, nullptr));
    if (!scaler_) throw HostError("cannot write " + output_.name + ": no conversion to its pixels");
    if (!rgb) {
      // The matrix and range the input came with, as the reader took them off.
      const int* coefficients = sws_getCoefficients(
          codec->colorspace == kUnknownMatrix ? SWS_CS_DEFAULT : codec->colorspace);
      sws_setColorspaceDetails(scaler_.get(), coefficients, 1, coefficients, fullRange ? 1 : 0, 0,
                               1 << 16, 1 << 16);
    }
    if (ownYuv420) {
      yuv420_ = YuvMatrixOf(codec->colorspace);
      fullRange_ = fullRange;
    }
  }

  // Hands a frame to the encoder (null: the end) and writes what comes out.
  void Send(const AVFrame* frame, int64_t n) {
    AVCodecContext* codec = codecContext_.get();
    const int sent = avcodec_send_frame(codec, frame);
    if (sent < 0) throw Failed(n, sent);
    AVPacket* packet = packet_.get();
    while (true) {
      const int received = avcodec_receive_packet(codec, packet);
      if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return;
      if (received < 0) throw Failed(n, received);
      const PacketData data(packet);
      if (audio_) {
        // The sound up to this frame goes first, so that the two stay close in the file.
        const int64_t at = packet->dts != AV_NOPTS_VALUE ? packet->dts : packet->pts;
        audio_->Copy(static_cast<double>(at) * av_q2d(base_) + shiftSeconds_);
      }
      av_packet_rescale_ts(packet, base_, stream_->time_base);
      packet->stream_index = stream_->index;
      const int written = av_interleaved_write_frame(format_.get(), packet);
      if (written < 0) throw Failed(n, written);
    }
  }

  ClipOutput output_;
  ClipCodec codec_;
  ClipSource source_;
  ReplacingFile file_;  // where the video grows until it is complete
  bool timed_ = false;  // frames keep the source's timestamps
  bool deep_ = false;   // written in more than 8 bits
  AVRational sourceBase_{0, 1};
  AVRational rate_{25, 1};
  AVRational base_{1, 25};  // of the encoder's timestamps
  int64_t shift_ = 0;       // source ticks taken off every timestamp
  double shiftSeconds_ = 0;
  // Where the sound starts in the source: the first frame's time when the start is cut.
  double from_ = -std::numeric_limits<double>::infinity();
  std::optional<int64_t> lastPts_;
  std::optional<int64_t> lastSource_;
  OutputContext format_;
  CodecContext codecContext_;
  AVStream* stream_ = nullptr;  // owned by format_
  std::unique_ptr<AudioCopy> audio_;
  Frame frame_;
  Packet packet_{av_packet_alloc()};
  ScalerContext scaler_;
  // Set where 8-bit 4:2:0 frames are converted by our own loop rather than swscale.
  std::optional<YuvMatrix> yuv420_;
  bool fullRange_ = false;
};

}  // namespace

void CheckVideoOutput(const std::string& name, ClipCodec codec) {
  SilenceLibraries();
  const ClipCodecInfo& info = CodecInfo(codec);
  const AVCodec* encoder = avcodec_find_encoder_by_name(info.encoder);
  if (encoder == nullptr) {
    throw HostError("cannot write " + name + ": this FFmpeg has no " + info.encoder + " encoder");
  }
  const AVOutputFormat* container = av_guess_format(nullptr, name.c_str(), nullptr);
  if (container == nullptr) {
    throw UsageError("cannot write " + name + ": FFmpeg knows no container by the extension " +
                     Quoted(Extension(name)));
  }
  if (avformat_query_codec(container, encoder->id, FF_COMPLIANCE_NORMAL) != 1) {
    throw UsageError("cannot write " + name + ": a " + Extension(name) + " file does not take " +
                     info.name + "; write .mkv, which takes every codec, or choose another");
  }
}

std::unique_ptr<ClipWriter> OpenVideoEncoder(const ClipOutput& output, ClipCodec codec,
                                             const ClipSource& source) {
  return std::make_unique<VideoEncoder>(output, codec, source);
}

}  // namespace vitrella::host
