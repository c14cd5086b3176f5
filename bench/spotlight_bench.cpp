// Spotlight on a 1920x1080 frame, its CPU path beside its GPU path through the reference
// host's EGL services (surfaceless Mesa without a GPU, the GPU's EGL device with one). The
// GPU side times a frame as a host pays for it: the source goes up as a texture, the effect
// renders, and the destination comes back. Beside the GPU time stand its differences from
// the CPU picture. "Classic Portrait" blurs and grades both the spot
// and the background; the defaults only grade.
#include <GL/gl.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include "bench/bench_common.h"
#include "effects/spotlight.h"
#include "host/egl_services.h"
#include "host/gpu_render.h"
#include "host/host_error.h"
#include "host/host_frames.h"
#include "tests/common/fake_host.h"

namespace vitrella::bench {
namespace {

constexpr int kClassicPortrait = 10;

// The effect with the values of a preset (-1: the defaults), and the frames of one render.
struct SpotlightRender {
  SpotlightRender(PixelFormat format, int preset)
      : effect(new CSpotlight()),
        host(testing::EffectValues(effect, preset)),
        source(host::PictureToFrame(TestPicture(kWidth, kHeight, CV_8UC4), format,
                                    host::RowOrder::kTopFirst)),
        destination(host::FrameLike(source.record())),
        info(testing::WholeFrameInfo()) {}
  ~SpotlightRender() { effect->Release(); }
  SpotlightRender(const SpotlightRender&) = delete;
  SpotlightRender& operator=(const SpotlightRender&) = delete;

  CSpotlight* effect;
  testing::FakeHost host;
  host::OwnedFrame source;
  host::OwnedFrame destination;
  RenderInfo info;
};

template <PixelFormat kFormat, int kPreset>
void Cpu(benchmark::State& state) {
  SpotlightRender render(kFormat, kPreset);
  for (auto _ : state) {
    if (!render.effect->Render(&render.host, &render.source.record(), 0,
                               &render.destination.record(), &render.info)) {
      state.SkipWithError("the CPU render failed");
      return;
    }
  }
}

template <PixelFormat kFormat, int kPreset>
void Gpu(benchmark::State& state) {
  std::string reason;
  const std::unique_ptr<host::EglServices> services = host::CreateEglServices(&reason);
  if (services == nullptr) {
    state.SkipWithError(("no OpenGL context: " + reason).c_str());
    return;
  }
  SpotlightRender render(kFormat, kPreset);
  state.SetLabel(reinterpret_cast<const char*>(glGetString(GL_RENDERER)));
  try {
    for (auto _ : state) {
      host::RenderOnGpu(*services, *render.effect, render.host, render.source.record(),
                        render.destination.record(), render.info, "Spotlight");
    }
  } catch (const host::HostError& error) {
    state.SkipWithError(error.what());
    return;
  }
  // How far the GPU's picture lies from the CPU's, in 8-bit levels: the worst channel's mean
  // and the largest difference, shown beside the time.
  host::OwnedFrame cpu = host::FrameLike(render.source.record());
  render.effect->Render(&render.host, &render.source.record(), 0, &cpu.record(), &render.info);
  const double levels = kFormat == PixelFormat32FBGRA ? 255.0 : 1.0;
  cv::Mat difference;
  cv::absdiff(host::FrameToPicture(cpu.record()), host::FrameToPicture(render.destination.record()),
              difference);
  double largest = 0;
  cv::minMaxLoc(difference.reshape(1), nullptr, &largest);
  const cv::Scalar mean = cv::mean(difference);
  state.counters["mean_diff"] = std::max({mean[0], mean[1], mean[2], mean[3]}) * levels;
  state.counters["max_diff"] = largest * levels;
}

// Operation/cpu and Operation/gpu, timed like the pairs beside OpenCV.
template <PixelFormat kFormat, int kPreset>
void RegisterBothPaths(const char* operation) {
  for (const auto& [side, run] :
       {std::pair{"cpu", &Cpu<kFormat, kPreset>}, std::pair{"gpu", &Gpu<kFormat, kPreset>}}) {
    benchmark::RegisterBenchmark((std::string(operation) + "/" + side).c_str(), run)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
  }
}

[[maybe_unused]] const bool registered = [] {
  RegisterBothPaths<PixelFormat8BGRA, -1>("SpotlightDefaults_8u");
  RegisterBothPaths<PixelFormat8BGRA, kClassicPortrait>("SpotlightPortrait_8u");
  RegisterBothPaths<PixelFormat32FBGRA, kClassicPortrait>("SpotlightPortrait_32f");
  return true;
}();

}  // namespace
}  // namespace vitrella::bench
