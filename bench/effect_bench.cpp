#include "bench/effect_bench.h"

#include <GL/gl.h>
#include <sys/resource.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>

#include "bench/bench_common.h"
#include "bench/bench_host.h"
#include "host/egl_services.h"
#include "host/gpu_render.h"
#include "host/host_error.h"
#include "host/host_frames.h"
#include "tests/common/fake_host.h"
#include "vitrella/pixel_format.h"

namespace vitrella::bench {
namespace {

int64_t MinorFaults() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_minflt;
}

int PresetNumber(IVideoEffect* effect, const char* name) {
  if (name == nullptr) return -1;
  for (uint32_t i = 0; const char* preset = effect->GetPresetName(i); ++i) {
    if (std::strcmp(preset, name) == 0) return static_cast<int>(i);
  }
  return -1;
}

cv::Mat Picture(PixelFormat format, int32_t shift) {
  return BenchPicture(IsFloatFormat(format), shift);
}

// One render's effect, values, frames and host: frame 1 of a pan, frame 0 before it.
struct Scene {
  Scene(const EffectBench& bench, const char* preset, PixelFormat format)
      : effect(bench.make()),
        values(testing::EffectValues(effect, PresetNumber(effect, preset))),
        earlier(
            host::PictureToFrame(Picture(format, kBenchPan), format, host::RowOrder::kTopFirst)),
        source(host::PictureToFrame(Picture(format, 0), format, host::RowOrder::kTopFirst)),
        destination(host::FrameLike(source.record())),
        host(values, bench.readsEarlierFrame ? &earlier.record() : nullptr) {
    info = testing::WholeFrameInfo();
    info.frameNumber = 1;
    info.time = 1.0 / info.frameRate;
  }
  ~Scene() { effect->Release(); }
  Scene(const Scene&) = delete;
  Scene& operator=(const Scene&) = delete;

  // From now on the values of another preset.
  void Use(const char* preset) {
    values = testing::EffectValues(effect, PresetNumber(effect, preset));
    host.SetValues(values);
  }
  bool Render() { return effect->Render(&host, &source.record(), 0, &destination.record(), &info); }

  IVideoEffect* effect;
  std::vector<ParamValue> values;
  host::OwnedFrame earlier;
  host::OwnedFrame source;
  host::OwnedFrame destination;
  BenchHost host;
  RenderInfo info{};
};

// Page faults per frame over the timed loop, after a first frame that took its memory.
class FaultCount {
 public:
  FaultCount() : start_(MinorFaults()) {}
  void Report(benchmark::State& state) const {
    state.counters["faults"] = static_cast<double>(MinorFaults() - start_) /
                               static_cast<double>(std::max<int64_t>(state.iterations(), 1));
  }

 private:
  int64_t start_;
};

void Ours(benchmark::State& state, const EffectBench& bench, const char* preset,
          PixelFormat format) {
  Scene scene(bench, preset, format);
  if (!scene.Render()) {
    state.SkipWithError("the render failed");
    return;
  }
  const FaultCount faults;
  for (auto _ : state)
    benchmark::DoNotOptimize(scene.Render());
  faults.Report(state);
}

void OpenCv(benchmark::State& state, const EffectBench& bench, const char* preset,
            PixelFormat format) {
  Scene scene(bench, preset, format);
  const cv::Mat src = Picture(format, 0);
  const BenchValues values(scene.effect, scene.values);
  cv::Mat dst;
  bench.opencv(src, dst, values);
  const FaultCount faults;
  for (auto _ : state) {
    bench.opencv(src, dst, values);
    benchmark::DoNotOptimize(dst.data);
  }
  faults.Report(state);
}

std::unique_ptr<host::EglServices> Services(benchmark::State& state) {
  std::string reason;
  std::unique_ptr<host::EglServices> services = host::CreateEglServices(&reason);
  if (services == nullptr) {
    state.SkipWithError(("no OpenGL context: " + reason).c_str());
  } else {
    state.SetLabel(reinterpret_cast<const char*>(glGetString(GL_RENDERER)));
  }
  return services;
}

void Gpu(benchmark::State& state, const EffectBench& bench, const char* preset,
         PixelFormat format) {
  const auto services = Services(state);
  if (services == nullptr) return;
  Scene scene(bench, preset, format);
  try {
    host::RenderOnGpu(*services, *scene.effect, scene.host, scene.source.record(),
                      scene.destination.record(), scene.info, bench.name);
    const FaultCount faults;
    for (auto _ : state) {
      host::RenderOnGpu(*services, *scene.effect, scene.host, scene.source.record(),
                        scene.destination.record(), scene.info, bench.name);
    }
    faults.Report(state);
  } catch (const host::HostError& error) {
    state.SkipWithError(error.what());
  }
}

// The render alone: the textures are made once, and each frame ends when the card is done.
void GpuRender(benchmark::State& state, const EffectBench& bench, const char* preset,
               PixelFormat format) {
  const auto services = Services(state);
  if (services == nullptr) return;
  Scene scene(bench, preset, format);
  void* found = nullptr;
  if (scene.effect->QueryInterface(kIID_IVideoGPUEffect, &found) != kOk) {
    state.SkipWithError("no GPU path");
    return;
  }
  auto* gpu = static_cast<IVideoGPUEffect*>(found);
  // Through RenderOnGpu once, which checks the capability and answers the host's services;
  // an effect that refuses the GPU path has no row.
  try {
    host::RenderOnGpu(*services, *scene.effect, scene.host, scene.source.record(),
                      scene.destination.record(), scene.info, bench.name);
  } catch (const host::HostError& error) {
    gpu->Release();
    state.SkipWithError(error.what());
    return;
  }
  GPUTextureRef source{};
  GPUTextureRef destination{};
  GPUTextureRef none{};
  host::GpuHost lending(scene.host, *services);
  const HostFrame& frame = scene.source.record();
  if (!services->Upload(frame, &source) ||
      !services->CreateTexture(services->context(), &destination, nullptr, frame.width,
                               frame.height, frame.format, nullptr, 0, 0)) {
    state.SkipWithError("no textures");
  } else {
    destination.flipped = frame.flipped;
    const FaultCount faults;
    for (auto _ : state) {
      if (!gpu->RenderGPU(0, &lending, services->context(), &source, &none, &destination,
                          &scene.info)) {
        state.SkipWithError("the GPU render failed");
        break;
      }
      glFinish();
    }
    faults.Report(state);
  }
  services->ReleaseTexture(&source);
  services->ReleaseTexture(&destination);
  gpu->Release();
}

// Every preset in turn, each in a steady state of its own: after a first frame that takes
// its memory, the best of three frames. A row's time is its slowest preset's, named in the
// label.
void EveryPreset(benchmark::State& state, const EffectBench& bench, PixelFormat format) {
  Scene scene(bench, nullptr, format);
  std::vector<std::string> presets;
  for (uint32_t i = 0; const char* name = scene.effect->GetPresetName(i); ++i)
    presets.emplace_back(name);
  std::string slowest;
  for (auto _ : state) {
    double worst = 0.0;
    for (const std::string& preset : presets) {
      scene.Use(preset.c_str());
      if (!scene.Render()) {
        state.SkipWithError("a render failed");
        return;
      }
      double best = 1e9;
      for (int frame = 0; frame < 3; ++frame) {
        const auto start = std::chrono::steady_clock::now();
        scene.Render();
        best = std::min(
            best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
      }
      if (best > worst) {
        worst = best;
        slowest = preset;
      }
    }
    state.SetIterationTime(worst);
  }
  state.SetLabel("slowest: " + slowest);
}

std::set<std::string>& Operations() {
  static std::set<std::string> operations;
  return operations;
}

}  // namespace

cv::Mat BenchPicture(bool isFloat, int32_t shift) {
  const cv::Mat wide = TestPicture(kWidth + kBenchPan, kHeight, CV_8UC4);
  cv::Mat picture = wide(cv::Rect(shift, 0, kWidth, kHeight)).clone();
  if (isFloat) picture.convertTo(picture, CV_32FC4, 1.0 / 255.0);
  return picture;
}

BenchValues::BenchValues(IVideoEffect* effect, std::vector<ParamValue> values)
    : values_(std::move(values)) {
  for (ParamInfo info{}; effect->GetParamInfo(static_cast<uint32_t>(params_.size()), &info);)
    params_.push_back(info);
}

ParamValue BenchValues::Get(const char* label, const char* group) const {
  const char* inGroup = "";
  for (size_t i = 0; i < params_.size() && i < values_.size(); ++i) {
    if (params_[i].kind == ParamGroup) {
      inGroup = params_[i].groupClose == 0 ? params_[i].name : "";
    } else if (std::strcmp(params_[i].name, label) == 0 &&
               (group == nullptr || std::strcmp(group, inGroup) == 0)) {
      return values_[i];
    }
  }
  throw std::invalid_argument(std::string("no parameter ") + label);
}

const std::set<std::string>& EffectOperations() {
  return Operations();
}

void RegisterEffectBench(const EffectBench& bench) {
  IVideoEffect* probe = bench.make();
  void* found = nullptr;
  const bool hasGpu = probe->QueryInterface(kIID_IVideoGPUEffect, &found) == kOk;
  if (hasGpu) static_cast<IVideoGPUEffect*>(found)->Release();
  probe->Release();

  const std::string name = bench.name;
  for (const auto& [label, preset] : {std::pair<std::string, const char*>{"Defaults", nullptr},
                                      {bench.heavyLabel, bench.heaviest}}) {
    for (const auto& [depth, format] :
         {std::pair{"_8u", PixelFormat8BGRA}, std::pair{"_32f", PixelFormat32FBGRA}}) {
      const std::string operation = name + label + depth;
      Operations().insert(operation);
      const auto add = [&](const char* side, auto run) {
        benchmark::RegisterBenchmark((operation + "/" + side).c_str(), run, bench, preset, format)
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
      };
      add("ours", &Ours);
      if (bench.opencv != nullptr) add("opencv", &OpenCv);
      if (hasGpu) {
        add("gpu", &Gpu);
        add("gpu_render", &GpuRender);
      }
    }
  }
  benchmark::RegisterBenchmark((name + "EveryPreset_8u/ours").c_str(), &EveryPreset, bench,
                               PixelFormat8BGRA)
      ->Unit(benchmark::kMillisecond)
      ->UseManualTime()
      ->Iterations(1);
}

}  // namespace vitrella::bench
