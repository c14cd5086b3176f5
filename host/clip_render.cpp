#include "clip_render.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <functional>
#include <optional>
#include <thread>

#include "clip_names.h"
#include "clip_reader.h"
#include "clip_writer.h"
#include "effect_host.h"
#include "frame_queue.h"
#include "frame_server.h"
#include "gpu_render.h"
#include "host_error.h"
#include "host_frames.h"
#include "interruption.h"
#include "output_loss.h"
#include "picture_pool.h"
#include "progress_bar.h"
#include "render_command.h"
#include "vitrella/pixel_format.h"

namespace vitrella::host {
namespace {

// Numbered pictures carry no rate of their own.
constexpr double kSequenceRate = 25.0;
// An effect that reads other frames asks for up to three before the one it renders.
constexpr int64_t kFramesLookedBack = 3;

std::string RangeText(const FrameRange& range) {
  return std::to_string(range.first) + "-" + (range.last ? std::to_string(*range.last) : "");
}

// Only where the clip tells its length beforehand; otherwise the end shows while decoding.
void CheckRange(const FrameRange& range, int64_t count, const std::string& name) {
  if (range.first < count && range.last.value_or(0) < count) return;
  throw UsageError("frame range " + RangeText(range) + " lies beyond " + name + ", which has " +
                   std::to_string(count) + " frames (0 to " + std::to_string(count - 1) + ")");
}

// Runs one stage; its failure stops the others.
void RunStage(FrameQueue& queue, const std::function<void()>& stage) {
  try {
    stage();
  } catch (...) {
    queue.Fail(std::current_exception());
  }
}

// Everything the stages of one clip share.
struct ClipJob {
  IVideoEffect& effect;
  const std::string& effectName;
  const std::vector<ParamValue>& values;
  const RenderOptions& options;
  const std::string& input;
  FrameRange range;
  double rate = kSequenceRate;
  std::optional<double> pixelAspect;  // the clip's, where it gives one
  uint32_t instanceKey = 0;
  bool warmUp = false;
  FrameServer& server;
  FrameQueue& queue;
  PicturePool& rendered;  // the pictures handed to the writer
};

void DecodeFrames(const ClipJob& job) {
  if (job.warmUp) {
    // The effect's first requests reach before the range: decoding them here, in order,
    // costs one seek instead of one for each request.
    for (int64_t n = std::max<int64_t>(0, job.range.first - kFramesLookedBack); n < job.range.first;
         ++n) {
      try {
        job.server.Picture(n);
      } catch (const std::exception&) {
        break;  // the effect will be told that the frame is not there
      }
    }
  }
  for (int64_t n = job.range.first; !job.range.last || n <= *job.range.last; ++n) {
    std::shared_ptr<const cv::Mat> picture = job.server.Picture(n);
    if (!picture) {
      if (n == 0) throw HostError("cannot read " + job.input + ": it holds no frames");
      if (n == job.range.first || job.range.last) {
        throw UsageError("frame range " + RangeText(job.range) + " lies beyond " + job.input +
                         ", which ends after frame " + std::to_string(n - 1));
      }
      break;  // the end of a clip that did not tell its length
    }
    if (!job.queue.PushDecoded({n, std::move(picture), job.server.TimeOf(n)})) return;
  }
  job.queue.CloseInput();
}

// A video's own times and pixel shape, unless the command line says otherwise.
RenderInfo FrameInfo(const ClipJob& job, const FrameQueue::Job& frame) {
  const RenderOptions& options = job.options;
  RenderInfo info = MakeRenderInfo(options, static_cast<int32_t>(frame.n), job.rate);
  if (frame.time && !options.rate) info.time = frame.time->seconds;
  if (job.pixelAspect && !options.pixelAspect) {
    info.pixelAspect = *job.pixelAspect;
    info.infoFlags |= kInfoPixelAspectValid;
  }
  return info;
}

cv::Mat RenderedPicture(const ClipJob& job, const HostFrame& frame) {
  cv::Mat picture = job.rendered.Take(frame.height, frame.width,
                                      IsFloatFormat(frame.format) ? CV_32FC4 : CV_8UC4);
  FrameToPicture(frame, picture);
  return picture;
}

// A destination frame that lies in a picture of the writer's pool, zeroed, so that the
// picture goes to the writer as the effect left it, without a copy. Its rows are padded as
// an OwnedFrame's are.
struct PictureFrame {
  cv::Mat picture;
  HostFrame record{};
};

PictureFrame DestinationPicture(const ClipJob& job, const HostFrame& source) {
  const int type = IsFloatFormat(source.format) ? CV_32FC4 : CV_8UC4;
  const auto pitch = static_cast<int32_t>(PaddedPitch(source.width, source.pixelBytes));
  cv::Mat whole = job.rendered.Take(source.height, pitch / source.pixelBytes, type);
  std::memset(whole.data, 0, whole.total() * whole.elemSize());
  PictureFrame frame{whole(cv::Rect(0, 0, source.width, source.height)), source};
  frame.record.data = frame.picture.data;
  frame.record.pitch = pitch;
  return frame;
}

// The effect left the record as the host made it: the picture holds its result.
bool SameRecord(const HostFrame& a, const HostFrame& b) {
  return a.data == b.data && a.width == b.width && a.height == b.height && a.pitch == b.pitch &&
         a.pixelBytes == b.pixelBytes && a.format == b.format && a.flipped == b.flipped;
}

void RenderFrames(const ClipJob& job) {
  const RenderOptions& options = job.options;
  const RowOrder order = options.bottomUp ? RowOrder::kBottomFirst : RowOrder::kTopFirst;
  EffectHost host(job.values, job.instanceKey, options.serveFrames ? &job.server : nullptr);
  // Frames whose rows run top first with blue first are laid out as pictures are, and the
  // destination is one; others are copied into a picture after the render.
  const bool direct = order == RowOrder::kTopFirst && !IsAlphaFirst(options.format);
  // Made once and reused while the frames keep their size: fresh frames of a large clip cost
  // more in page faults than many an effect's render.
  std::optional<OwnedFrame> source;
  std::optional<OwnedFrame> destination;
  while (std::optional<FrameQueue::Job> frame = job.queue.PopDecoded()) {
    const cv::Mat& picture = *frame->picture;
    // A decoded picture laid out as the frames are is the source as it stands, uncopied.
    HostFrame input{};
    if (const std::optional<HostFrame> borrowed =
            direct ? PictureAsFrame(picture, options.format) : std::nullopt) {
      input = *borrowed;
    } else {
      if (!source || !FillFrame(picture, *source)) {
        source.emplace(PictureToFrame(picture, options.format, order));
      }
      input = source->record();
    }
    PictureFrame out;
    if (direct) {
      out = DestinationPicture(job, input);
    } else if (!destination || destination->record().width != input.width ||
               destination->record().height != input.height) {
      destination.emplace(FrameLike(input));
    } else {
      destination->Clear();
    }
    HostFrame& target = direct ? out.record : destination->record();
    const HostFrame made = target;
    const RenderInfo info = FrameInfo(job, *frame);
    if (!job.effect.Render(&host, &input, 0, &target, &info)) {
      throw HostError("the effect " + job.effectName + " did not render frame " +
                      std::to_string(frame->n) + " of " + job.input + " (" +
                      std::to_string(input.width) + "x" + std::to_string(input.height) + ", " +
                      std::string(FormatName(options.format)) + ")");
    }
    const bool kept = direct && SameRecord(target, made);
    job.queue.PushRendered(frame->n, kept ? out.picture : RenderedPicture(job, target));
  }
}

// The GPU path: one thread with an OpenGL context of its own, fed by the decoder like the
// CPU's threads. One thread, because an effect instance must not be entered by two threads
// on the GPU; the context's driver spreads each frame's work over the processors itself.
void RenderFramesOnGpu(const ClipJob& job) {
  const RenderOptions& options = job.options;
  const RowOrder order = options.bottomUp ? RowOrder::kBottomFirst : RowOrder::kTopFirst;
  std::string reason;
  const std::unique_ptr<EglServices> services = CreateEglServices(&reason);
  if (services == nullptr) throw HostError("no OpenGL context for --gpu: " + reason);
  EffectHost host(job.values, job.instanceKey, options.serveFrames ? &job.server : nullptr);
  while (std::optional<FrameQueue::Job> frame = job.queue.PopDecoded()) {
    OwnedFrame source = PictureToFrame(*frame->picture, options.format, order);
    OwnedFrame destination = FrameLike(source.record());
    const RenderInfo info = FrameInfo(job, *frame);
    RenderOnGpu(*services, job.effect, host, source.record(), destination.record(), info,
                job.effectName);
    job.queue.PushRendered(frame->n, RenderedPicture(job, destination.record()));
  }
}

unsigned ProcessorThreads() {
  return std::max(1u, std::thread::hardware_concurrency());
}

}  // namespace

unsigned RenderThreads(unsigned requested, uint32_t traits, bool serveFrames) {
  if (!serveFrames && (traits & kTraitReadsOtherFrames) != 0) return 1;
  return std::max(1u, requested);
}

ClipSummary RenderClip(IVideoEffect& effect, const std::string& effectName,
                       const std::vector<ParamValue>& values, const RenderOptions& given) {
  const std::string& input = *given.input;
  std::unique_ptr<ClipReader> reader = OpenClip(input);
  FrameRange range = given.frames.value_or(FrameRange{});
  if (const std::optional<int64_t> count = reader->FrameCount()) {
    CheckRange(range, *count, input);
    if (!range.last) range.last = *count - 1;
  }
  // The first frame tells the depth of the clip's channels, and so the frames' format.
  const cv::Mat first = reader->Read(range.first);
  const int depth = first.empty() ? CV_8U : first.depth();
  RenderOptions options = given;
  options.format = FormatFor(given, depth);
  const double rate = options.rate.value_or(reader->FrameRate().value_or(kSequenceRate));
  const ClipOutput output{options.output, options.codec, options.crf, options.encoderPreset,
                          options.audio};
  const ClipCodec codec = CheckClipWriter(output);
  OutputLoss loss(options.output, depth, IsFloatFormat(options.format), codec);
  const uint32_t traits = effect.GetEffectTraits();
  const unsigned threads = options.gpu ? 1
                                       : RenderThreads(options.threads.value_or(ProcessorThreads()),
                                                       traits, options.serveFrames);

  ClipSource source;
  source.facts = reader->Facts();
  if (!ParseFramePattern(input)) source.video = input;
  source.rate = rate;
  source.retimed = options.rate.has_value();
  source.cutStart = range.first > 0;
  source.cutEnd = given.frames && given.frames->last && *range.last + 1 != reader->FrameCount();
  source.firstNumber = reader->FirstNumber();
  const std::optional<double> pixelAspect = source.facts.pixelAspect;
  std::unique_ptr<ClipWriter> writer = OpenClipWriter(output, source);
  // Frames between decoding and writing: enough to keep every thread busy while the
  // writer waits for the oldest. The window keeps those and the ones looked back on.
  const size_t inFlight = 2 * size_t{threads} + 2;
  // The window keeps what an effect that reads other frames looks back on. Any other effect
  // is served by the frames in flight alone, which the queue holds: a wider window would
  // only hold more 1080p pictures, over 8 MB each, that no one reads again.
  const size_t window =
      (traits & kTraitReadsOtherFrames) != 0 ? inFlight + kFramesLookedBack + 2 : 1;
  FrameServer server(std::move(reader), window, options.format,
                     options.bottomUp ? RowOrder::kBottomFirst : RowOrder::kTopFirst);
  FrameQueue queue(inFlight);
  // The queue's frames, those the writer holds and one each thread is filling.
  PicturePool rendered(inFlight + threads + 2);
  const ClipJob job{
      effect,
      effectName,
      values,
      options,
      input,
      range,
      rate,
      pixelAspect,
      NextInstanceKey(),
      options.serveFrames && (traits & kTraitReadsOtherFrames) != 0 && range.first > 0,
      server,
      queue,
      rendered};

  ProgressBar bar(range.last ? std::optional<int64_t>(*range.last - range.first + 1) : std::nullopt,
                  !options.quiet);
  const auto start = std::chrono::steady_clock::now();
  ClipSummary summary;
  {
    // A signal stops every stage as a failure would; the writer then removes its output.
    const OnInterrupt stop(
        [&](int signal) { queue.Fail(std::make_exception_ptr(Interrupted(signal))); });
    std::vector<std::jthread> stages;
    stages.emplace_back([&] { RunStage(queue, [&] { DecodeFrames(job); }); });
    for (unsigned i = 0; i < threads; ++i) {
      stages.emplace_back([&] {
        RunStage(queue, [&] { options.gpu ? RenderFramesOnGpu(job) : RenderFrames(job); });
      });
    }
    // This thread writes, in order.
    RunStage(queue, [&] {
      while (std::optional<FrameQueue::Rendered> next = queue.PopInOrder()) {
        const std::optional<FrameTime>& time = next->time;
        writer->Write(next->n, next->picture,
                      time ? std::optional<int64_t>(time->timestamp) : std::nullopt);
        // After the writer's conversion has brought the picture into the cache.
        for (const std::string& warning : loss.Check(next->picture))
          bar.Warn(warning);
        bar.Update(++summary.frames);
      }
    });
  }  // every stage has ended here
  if (const std::exception_ptr error = queue.error()) std::rethrow_exception(error);
  writer->Commit();
  summary.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return summary;
}

std::string SummaryText(const ClipSummary& summary) {
  char text[128];
  std::snprintf(text, sizeof(text), "rendered %lld frames in %.2f s (%.1f frames per second)",
                static_cast<long long>(summary.frames), summary.seconds,
                summary.seconds > 0 ? static_cast<double>(summary.frames) / summary.seconds : 0.0);
  return text;
}

}  // namespace vitrella::host
