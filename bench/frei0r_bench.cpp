// The frei0r adapter's cost per frame at 1920x1080, one thread:
//   Frei0r<Effect>_8u/direct   the effect's Render through the library's exports, with a
//                              host that hands over the same values
//   Frei0r<Effect>_8u/frei0r   the same frame through the plugin's f0r_update
//   Frei0rAdapterAlone_8u      what the adapter adds around a render that does nothing but
//                              read every parameter: values, frame records, frame clock
//   Frei0rChannelSwap_8u       one RGBA <-> BGRA pass, which frei0r's RGBA8888 would cost
//                              twice per frame; BGRA8888 is our format 0 and needs none
// Both plugin and direct rows load the same library file, so they run the same code.
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <cstring>
#include <opencv2/imgproc.hpp>
#include <stdexcept>
#include <string>
#include <vector>

extern "C" {
#include <frei0r.h>
}

#include "bench/bench_common.h"
#include "bench/bench_host.h"
#include "effect_description.h"
#include "plugin_instance.h"
#include "vitrella/library.h"

namespace vitrella::bench {
namespace {

const std::string kBinDir = VITRELLA_BENCH_BIN_DIR;

void* Load(const std::string& path) {
  void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) throw std::runtime_error(dlerror());
  return module;
}

IEffectLibrary* Library() {
  static IEffectLibrary* library = [] {
    void* module = Load(kBinDir + "/Vitrella3OpenGL64.so");
    return reinterpret_cast<GetEffectsLibraryFn>(dlsym(module, kGetEffectsLibraryExport))();
  }();
  return library;
}

std::vector<ParamValue> Defaults(IVideoEffect* effect) {
  std::vector<ParamValue> values;
  ParamInfo info{};
  while (effect->GetParamInfo(static_cast<uint32_t>(values.size()), &info))
    values.push_back(info.defaultValue);
  return values;
}

HostFrame TopDownFrame(cv::Mat& picture) {
  HostFrame frame{};
  frame.data = picture.data;
  frame.width = picture.cols;
  frame.height = picture.rows;
  frame.pitch = static_cast<int32_t>(picture.step);
  frame.pixelBytes = 4;
  frame.format = PixelFormat8BGRA;
  frame.flipped = 1;
  return frame;
}

void Direct(benchmark::State& state, uint32_t effectIndex) {
  IVideoEffect* effect = Library()->CreateEffect(effectIndex);
  BenchHost host(Defaults(effect));
  cv::Mat source = TestPicture(kWidth, kHeight, CV_8UC4);
  cv::Mat destination(kHeight, kWidth, CV_8UC4);
  const HostFrame src = TopDownFrame(source);
  HostFrame dst = TopDownFrame(destination);
  RenderInfo info{};
  info.frameRate = 25.0;
  info.fieldMode = kFieldModeFrame;
  info.pixelAspect = 1.0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(effect->Render(&host, &src, 0, &dst, &info));
    ++info.frameNumber;
    info.time = info.frameNumber / info.frameRate;
  }
  effect->Release();
}

void ThroughPlugin(benchmark::State& state, const char* plugin) {
  void* module = Load(kBinDir + "/frei0r-1/vitrella_" + plugin + ".so");
  const auto init = reinterpret_cast<decltype(&f0r_init)>(dlsym(module, "f0r_init"));
  const auto construct = reinterpret_cast<decltype(&f0r_construct)>(dlsym(module, "f0r_construct"));
  const auto destruct = reinterpret_cast<decltype(&f0r_destruct)>(dlsym(module, "f0r_destruct"));
  const auto update = reinterpret_cast<decltype(&f0r_update)>(dlsym(module, "f0r_update"));
  const auto deinit = reinterpret_cast<decltype(&f0r_deinit)>(dlsym(module, "f0r_deinit"));
  init();
  f0r_instance_t instance = construct(kWidth, kHeight);
  cv::Mat source = TestPicture(kWidth, kHeight, CV_8UC4);
  cv::Mat destination(kHeight, kWidth, CV_8UC4);
  double time = 0.0;
  for (auto _ : state) {
    update(instance, time, source.ptr<uint32_t>(), destination.ptr<uint32_t>());
    time += 40.0;
  }
  destruct(instance);
  deinit();
}

// An effect that renders nothing but reads its parameters as every effect does.
class ReadingEffect final : public IVideoEffect {
 public:
  explicit ReadingEffect(uint32_t records) : records_(records) {}
  Result VITRELLA_CALL QueryInterface(const Guid& /*iid*/, void** out) override {
    *out = nullptr;
    return kNoInterface;
  }
  uint32_t VITRELLA_CALL AddRef() override { return 1; }
  uint32_t VITRELLA_CALL Release() override { return 1; }
  const char* VITRELLA_CALL GetEffectName() override { return "Reading"; }
  uint32_t VITRELLA_CALL GetEffectTraits() override { return kTraitsPlain; }
  bool VITRELLA_CALL GetParamInfo(uint32_t /*index*/, ParamInfo* /*info*/) override {
    return false;
  }
  bool VITRELLA_CALL Render(IEffectHost* host, const HostFrame* source, uintptr_t /*unused*/,
                            HostFrame* destination, const RenderInfo* info) override {
    ParamValue value{};
    for (uint32_t i = 0; i < records_; ++i)
      host->GetParamValue(i, &value, ParamSlider);
    benchmark::DoNotOptimize(value);
    return source != nullptr && destination != nullptr && info != nullptr;
  }
  const char* VITRELLA_CALL GetPresetName(uint32_t /*preset*/) override { return nullptr; }
  bool VITRELLA_CALL GetPresetValue(uint32_t /*preset*/, uint32_t /*param*/,
                                    ParamValue* /*value*/) override {
    return false;
  }

 private:
  uint32_t records_;
};

void AdapterAlone(benchmark::State& state) {
  // Spotlight's description: the most parameters of the ten.
  IVideoEffect* spotlight = Library()->CreateEffect(9);
  const auto description = frei0r::DescribeEffect(*spotlight, 9, Library()->GetLibraryName());
  spotlight->Release();
  ReadingEffect effect(static_cast<uint32_t>(description->defaults.size()));
  frei0r::PluginInstance* instance =
      frei0r::PluginInstance::Create(*description, &effect, kWidth, kHeight);
  cv::Mat source = TestPicture(kWidth, kHeight, CV_8UC4);
  cv::Mat destination(kHeight, kWidth, CV_8UC4);
  double time = 0.0;
  for (auto _ : state) {
    instance->Update(time, source.ptr<uint32_t>(), destination.ptr<uint32_t>());
    time += 40.0;
  }
  delete instance;
}

void ChannelSwap(benchmark::State& state) {
  cv::Mat source = TestPicture(kWidth, kHeight, CV_8UC4);
  cv::Mat destination(kHeight, kWidth, CV_8UC4);
  for (auto _ : state) {
    cv::cvtColor(source, destination, cv::COLOR_RGBA2BGRA);
    benchmark::DoNotOptimize(destination.data);
  }
}

void RegisterRows(const char* name, uint32_t index, const char* plugin) {
  const std::string row = std::string("Frei0r") + name + "_8u/";
  benchmark::RegisterBenchmark((row + "direct").c_str(), [index](benchmark::State& state) {
    Direct(state, index);
  })->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark((row + "frei0r").c_str(), [plugin](benchmark::State& state) {
    ThroughPlugin(state, plugin);
  })->Unit(benchmark::kMillisecond);
}

[[maybe_unused]] const bool registered = [] {
  RegisterRows("ImageMapper", 5, "image_mapper");
  RegisterRows("SplitScreen", 8, "split_screen");
  benchmark::RegisterBenchmark("Frei0rAdapterAlone_8u", AdapterAlone)
      ->Unit(benchmark::kMicrosecond);
  benchmark::RegisterBenchmark("Frei0rChannelSwap_8u", ChannelSwap)->Unit(benchmark::kMillisecond);
  return true;
}();

}  // namespace
}  // namespace vitrella::bench
