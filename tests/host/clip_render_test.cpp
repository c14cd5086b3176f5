// A clip's render in process, through a recording effect: the frames that GetFrame
// serves, the threads and their order, the order of the output, and failures.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <set>
#include <thread>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include "host/clip_render.h"
#include "host/host_error.h"
#include "host/host_frames.h"
#include "host/run_vitrella.h"
#include "host/synthetic_clip.h"

namespace vitrella::host {
namespace {

using testing::FrameCode;
using ::testing::HasSubstr;
using testing::TempFolder;

// What one Render call saw.
struct Call {
  int32_t frameNumber = 0;
  double time = 0;
  std::thread::id thread;
  HostInfo info{};
  std::vector<std::pair<int32_t, int>> fetched;  // asked for, frame code shown (-1: null)
};

// An effect that copies its source, and on the way asks the host for the four frames
// before the current one and for one far past it, as an effect that reads other frames
// does. It can be told to fail at one frame and to take longer on some.
class RecordingEffect final : public IVideoEffect {
 public:
  explicit RecordingEffect(uint32_t traits) : traits_(traits) {}

  Result VITRELLA_CALL QueryInterface(const Guid& iid, void** out) override {
    *out = (iid == kIID_IUnknown || iid == kIID_IVideoEffect) ? this : nullptr;
    return *out != nullptr ? kOk : kNoInterface;
  }
  uint32_t VITRELLA_CALL AddRef() override { return 1; }
  uint32_t VITRELLA_CALL Release() override { return 1; }
  const char* VITRELLA_CALL GetEffectName() override { return "Recorder"; }
  uint32_t VITRELLA_CALL GetEffectTraits() override { return traits_; }
  bool VITRELLA_CALL GetParamInfo(uint32_t /*index*/, ParamInfo* /*info*/) override {
    return false;
  }
  const char* VITRELLA_CALL GetPresetName(uint32_t /*preset*/) override { return nullptr; }
  bool VITRELLA_CALL GetPresetValue(uint32_t /*preset*/, uint32_t /*param*/,
                                    ParamValue* /*value*/) override {
    return false;
  }

  bool VITRELLA_CALL Render(IEffectHost* host, const HostFrame* source, uintptr_t /*unused*/,
                            HostFrame* destination, const RenderInfo* info) override {
    Call call;
    call.frameNumber = info->frameNumber;
    call.time = info->time;
    call.thread = std::this_thread::get_id();
    host->GetHostInfo(&call.info);
    for (const int32_t offset : {-1, -2, -3, -4, 1000}) {
      RenderInfo which = *info;
      which.frameNumber += offset;
      which.time = which.frameNumber / which.frameRate;
      HostFrame frame = *source;
      frame.data = nullptr;
      void* handle = host->GetFrame(&which, &frame);
      int code = -1;
      if (handle != nullptr) {
        const bool sameLayout = frame.format == source->format &&
                                frame.flipped == source->flipped && frame.width == source->width &&
                                frame.height == source->height;
        code = sameLayout ? FrameCode(FrameToPicture(frame)) : -2;
        host->ReleaseFrame(handle, &frame);
      }
      call.fetched.emplace_back(which.frameNumber, code);
    }
    if (info->frameNumber == failAt) return false;
    if (slowFrames.contains(info->frameNumber)) {
      std::this_thread::sleep_for(std::chrono::milliseconds(30));
    }
    for (int32_t y = 0; y < source->height; ++y) {
      std::memcpy(destination->data + static_cast<ptrdiff_t>(y) * destination->pitch,
                  source->data + static_cast<ptrdiff_t>(y) * source->pitch,
                  static_cast<size_t>(source->width) * source->pixelBytes);
    }
    const std::lock_guard lock(mutex_);
    calls_.push_back(call);
    return true;
  }

  std::vector<Call> calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
  }

  int32_t failAt = -1;
  std::set<int32_t> slowFrames;

 private:
  uint32_t traits_;
  mutable std::mutex mutex_;
  std::vector<Call> calls_;
};

class ClipRender : public ::testing::Test {
 protected:
  // A synthetic clip of `frames` pictures numbered from 1, as many cameras number them.
  void SetUp() override { testing::WriteSyntheticClip(In(), kFrames, 1); }

  std::string In() const { return folder_.Path("in%04d.png"); }
  std::string Path(const std::string& name) const { return folder_.Path(name); }

  RenderOptions Options(const std::string& output) const {
    RenderOptions options;
    options.input = In();
    options.output = output;
    options.quiet = true;
    return options;
  }

  ClipSummary Render(RecordingEffect& effect, const RenderOptions& options) {
    return RenderClip(effect, "Recorder", {}, options);
  }

  std::vector<std::string> Files() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(Path("")))
      names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

  static constexpr int kFrames = 8;
  TempFolder folder_;
};

TEST_F(ClipRender, ServesTheClipsFramesFromBeforeARangeThatStartsMidClip) {
  RecordingEffect effect(kTraitsReadsFrames);
  RenderOptions options = Options(Path("out%04d.png"));
  options.frames = FrameRange{3, 6};
  options.threads = 3;
  options.rate = 12.5;
  const ClipSummary summary = Render(effect, options);
  EXPECT_EQ(summary.frames, 4);

  const std::vector<Call> calls = effect.calls();
  ASSERT_EQ(calls.size(), 4u);
  std::set<int32_t> rendered;
  for (const Call& call : calls) {
    rendered.insert(call.frameNumber);
    EXPECT_DOUBLE_EQ(call.time, call.frameNumber / 12.5);
    EXPECT_EQ(call.info.hostFlags & kHostServesGetFrame, kHostServesGetFrame);
    // One effect instance renders the clip, whichever thread renders the frame.
    EXPECT_EQ(call.info.instanceKey, calls[0].info.instanceKey);
    for (const auto& [asked, code] : call.fetched) {
      const bool exists = asked >= 0 && asked < kFrames;
      EXPECT_EQ(code, exists ? asked : -1) << "frame " << call.frameNumber << " asked " << asked;
    }
  }
  EXPECT_EQ(rendered, (std::set<int32_t>{3, 4, 5, 6}));
  // Pictures carry the numbers of their source frames.
  EXPECT_THAT(Files(), ::testing::IsSupersetOf({"out0004.png", "out0007.png"}));
  EXPECT_FALSE(std::filesystem::exists(Path("out0003.png")));
  EXPECT_FALSE(std::filesystem::exists(Path("out0008.png")));
  EXPECT_EQ(FrameCode(cv::imread(Path("out0005.png"), cv::IMREAD_UNCHANGED)), 4);
}

TEST_F(ClipRender, WithoutGetFrameAnEffectThatReadsFramesRendersInOrderOnOneThread) {
  RecordingEffect effect(kTraitsReadsFrames);
  RenderOptions options = Options(Path("out%04d.png"));
  options.threads = 4;
  options.serveFrames = false;
  Render(effect, options);

  const std::vector<Call> calls = effect.calls();
  ASSERT_EQ(calls.size(), static_cast<size_t>(kFrames));
  for (size_t i = 0; i < calls.size(); ++i) {
    EXPECT_EQ(calls[i].frameNumber, static_cast<int32_t>(i));
    EXPECT_EQ(calls[i].thread, calls[0].thread);
    EXPECT_EQ(calls[i].info.hostFlags & kHostServesGetFrame, 0);
    for (const auto& fetched : calls[i].fetched)
      EXPECT_EQ(fetched.second, -1);
  }
}

TEST(RenderThreads, OneOnlyForAnEffectThatReadsFramesTheHostDoesNotServe) {
  EXPECT_EQ(RenderThreads(8, kTraitsReadsFrames, false), 1u);
  EXPECT_EQ(RenderThreads(8, kTraitsReadsFrames, true), 8u);
  EXPECT_EQ(RenderThreads(8, kTraitsPlain, false), 8u);
  EXPECT_EQ(RenderThreads(8, kTraitsPositional, true), 8u);
  EXPECT_EQ(RenderThreads(0, kTraitsPlain, true), 1u);
}

TEST_F(ClipRender, WritesFramesInOrderWhenLaterOnesFinishFirst) {
  RecordingEffect effect(kTraitsPlain);
  effect.slowFrames = {0, 1, 4};
  RenderOptions options = Options(Path("out.avi"));
  options.threads = 4;
  Render(effect, options);

  cv::VideoCapture video(Path("out.avi"));
  ASSERT_TRUE(video.isOpened());
  cv::Mat frame;
  int read = 0;
  while (video.read(frame)) {
    cv::Mat bgra;
    cv::cvtColor(frame, bgra, cv::COLOR_BGR2BGRA);
    EXPECT_EQ(FrameCode(bgra), read) << "frame " << read;
    ++read;
  }
  EXPECT_EQ(read, kFrames);
  // Nothing but the input and the finished video.
  EXPECT_EQ(Files().size(), static_cast<size_t>(kFrames) + 1);
}

TEST_F(ClipRender, AFrameThatFailsNamesItselfAndLeavesNoOutput) {
  for (const std::string output : {"out.avi", "out%04d.png"}) {
    RecordingEffect effect(kTraitsPlain);
    effect.failAt = 5;
    RenderOptions options = Options(Path(output));
    options.threads = 2;
    try {
      Render(effect, options);
      ADD_FAILURE() << output << ": the render did not fail";
    } catch (const HostError& error) {
      EXPECT_THAT(error.what(), HasSubstr("did not render frame 5 of")) << output;
    }
    // The input pictures alone: no video, no hidden partial file, no output pictures.
    EXPECT_EQ(Files().size(), static_cast<size_t>(kFrames)) << output;
  }
}

TEST_F(ClipRender, ADamagedFrameFailsTheRender) {
  std::ofstream(Path("in0004.png"), std::ios::trunc) << "not a picture";
  RecordingEffect effect(kTraitsPlain);
  EXPECT_THROW(Render(effect, Options(Path("out.avi"))), HostError);
  EXPECT_FALSE(std::filesystem::exists(Path("out.avi")));
}

}  // namespace
}  // namespace vitrella::host
