// The plugins inside Debian's ffmpeg and melt, end to end: frames equal `vitrella render`'s
// for the same pictures and values, melt lists and renders them, bad values neither crash
// nor stop a render, and a threaded run stays clean (under the sanitizer builds as well,
// where the programs get the sanitizer's runtime preloaded).
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "frei0r_plugin.h"
#include "host/run_vitrella.h"
#include "vitrella/library.h"

namespace vitrella::testing {
namespace {

constexpr int kFrames = 3;
constexpr const char* kClip = VITRELLA_TESTDATA_DIR "/Megamind.avi";

// How each input reaches the filter: the same chain makes the pictures `vitrella render`
// reads, so both see the very same BGRA bytes. Widths are multiples of 16, where ffmpeg's
// rows are exactly width * 4 bytes apart as frei0r assumes.
struct Input {
  const char* name;
  std::vector<std::string> source;  // ffmpeg's input arguments
  std::string chain;                // filters before ours
};
const Input kInputs[] = {
    // NOLINT(cert-err58-cpp): test data, built before main
    {"testsrc", {"-f", "lavfi", "-i", "testsrc=size=96x64:rate=25"}, "format=bgra"},
    {"clip", {"-i", kClip}, "scale=240:176,format=bgra"},
};

std::vector<std::string> ProgramEnvironment() {
  std::vector<std::string> env{"FREI0R_PATH=" + Frei0rFolder()};
#ifdef VITRELLA_SANITIZER_RUNTIME
  // The plugins of a sanitizer build need its runtime first in the process.
  env.push_back("LD_PRELOAD=" VITRELLA_SANITIZER_RUNTIME);
  env.push_back("ASAN_OPTIONS=detect_leaks=0:abort_on_error=1");
#endif
  return env;
}

RunResult Ffmpeg(std::vector<std::string> args) {
  args.insert(args.begin(), {"ffmpeg", "-nostdin", "-hide_banner", "-v", "error", "-y"});
  return RunProgram(args, ProgramEnvironment());
}

RunResult Melt(std::vector<std::string> args) {
  args.insert(args.begin(), "melt");
  return RunProgram(args, ProgramEnvironment());
}

// The frames of `pattern`, numbered from 0, as BGRA.
std::vector<cv::Mat> ReadFrames(const std::string& folder) {
  std::vector<cv::Mat> frames;
  for (int k = 0;; ++k) {
    char name[32];
    std::snprintf(name, sizeof(name), "/%04d.png", k);
    if (!std::filesystem::exists(folder + name)) break;
    cv::Mat picture = cv::imread(folder + name, cv::IMREAD_UNCHANGED);
    if (picture.empty()) break;
    if (picture.channels() == 3) cv::cvtColor(picture, picture, cv::COLOR_BGR2BGRA);
    frames.push_back(picture);
  }
  return frames;
}

// The effect's records as any host reads them, from the library in the build.
class Library {
 public:
  Library() {
    const std::string path = std::string(VITRELLA_BIN_DIR) + "/Vitrella3OpenGL64.so";
    module_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module_ == nullptr) throw std::runtime_error(dlerror());
    auto factory = reinterpret_cast<GetEffectsLibraryFn>(dlsym(module_, kGetEffectsLibraryExport));
    library_ = factory();
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library() { library_->Release(); }

  std::vector<ParamInfo> Params(uint32_t effect) const {
    IVideoEffect* instance = library_->CreateEffect(effect);
    std::vector<ParamInfo> params;
    ParamInfo info{};
    while (instance->GetParamInfo(static_cast<uint32_t>(params.size()), &info))
      params.push_back(info);
    instance->Release();
    return params;
  }
  std::string LastPreset(uint32_t effect) const {
    IVideoEffect* instance = library_->CreateEffect(effect);
    std::string name;
    for (uint32_t p = 0; instance->GetPresetName(p) != nullptr; ++p)
      name = instance->GetPresetName(p);
    instance->Release();
    return name;
  }

 private:
  void* module_ = nullptr;
  IEffectLibrary* library_ = nullptr;
};

std::string Text(double value) {
  char text[32];
  std::snprintf(text, sizeof(text), "%.6g", value);
  return text;
}

// A value for every record other than its default, written twice: as ffmpeg's positional
// filter_params and as `vitrella render --set INDEX=VALUE`.
struct Values {
  std::string frei0r;
  std::vector<std::string> sets;
};

Values OtherValues(const std::vector<ParamInfo>& params) {
  Values values;
  for (uint32_t i = 0; i < params.size(); ++i) {
    const ParamInfo& info = params[i];
    std::string f0r;
    std::string set;
    switch (info.kind) {
      case ParamSlider: {
        const double v = info.defaultValue.slider < 0.5f ? 0.7 : 0.2;
        f0r = set = Text(v);
        break;
      }
      case ParamCheck:
        f0r = info.defaultValue.check != 0 ? "n" : "y";
        set = info.defaultValue.check != 0 ? "off" : "on";
        break;
      case ParamChoice: {
        const int32_t last = info.choiceCount - 1;
        const int32_t k = info.defaultValue.choice == last ? 0 : last;
        f0r = Text(last > 0 ? static_cast<double>(k) / last : 0.0);
        set = std::to_string(k);
        break;
      }
      case ParamColor:  // bytes 204, 51, 102 exactly
        f0r = "0.8/0.2/0.4";
        set = "#CC3366";
        break;
      case ParamPoint: {  // towards the middle, so that shapes keep their corners apart
        const std::string x = Text(0.1 + 0.8 * info.defaultValue.point[0]);
        const std::string y = Text(0.1 + 0.8 * info.defaultValue.point[1]);
        f0r = x;
        f0r.append("/").append(y);
        set = x;
        set.append(",").append(y);
        break;
      }
      default:
        continue;
    }
    values.frei0r += "|" + f0r;  // after the empty preset
    values.sets.push_back("--set");
    values.sets.push_back(std::to_string(i) + "=" + set);
  }
  return values;
}

// Letters, digits and spaces: what a filter graph carries without quoting.
std::string Plain(const std::string& name) {
  std::string plain;
  for (const char c : name) {
    if (std::isalnum(static_cast<unsigned char>(c)) != 0 || c == ' ') plain += c;
  }
  return plain;
}

class Frei0rEndToEnd : public ::testing::TestWithParam<uint32_t> {
 protected:
  static void SetUpTestSuite() {
    folder_ = new TempFolder();
    for (const Input& input : kInputs) {
      const std::string out = folder_->Path(std::string("source-") + input.name);
      std::filesystem::create_directories(out);
      std::vector<std::string> args = input.source;
      args.insert(args.end(), {"-frames:v", std::to_string(kFrames), "-vf", input.chain, "-pix_fmt",
                               "rgba", "-start_number", "0", out + "/%04d.png"});
      if (HaveProgram("ffmpeg")) Ffmpeg(args);
    }
  }
  static void TearDownTestSuite() {
    delete folder_;
    folder_ = nullptr;
  }
  void SetUp() override {
    if (!HaveProgram("ffmpeg")) GTEST_SKIP() << "ffmpeg is not installed";
  }

  // ffmpeg with our filter over the input, and vitrella render over its pictures.
  void ExpectSameFrames(const Input& input, const std::string& label, const std::string& params,
                        const std::vector<std::string>& vitrellaValues) {
    const std::string effect = kFrei0rEffects[GetParam()];
    const std::string tag = effect + "-" + input.name + "-" + label;
    const std::string ours = folder_->Path("ffmpeg-" + tag);
    const std::string reference = folder_->Path("vitrella-" + tag);
    std::filesystem::create_directories(ours);
    std::filesystem::create_directories(reference);

    std::vector<std::string> args = input.source;
    args.insert(args.end(), {"-frames:v", std::to_string(kFrames), "-vf",
                             input.chain + ",frei0r=filter_name=vitrella_" + effect +
                                 ":filter_params=" + params,
                             "-pix_fmt", "rgba", "-start_number", "0", ours + "/%04d.png"});
    const RunResult run = Ffmpeg(args);
    ASSERT_EQ(run.exitCode, 0) << run.err;

    std::vector<std::string> render{"render", "--effect", std::to_string(GetParam()),
                                    "--no-get-frame", "--quiet"};
    render.insert(render.end(), vitrellaValues.begin(), vitrellaValues.end());
    render.push_back(folder_->Path(std::string("source-") + input.name) + "/%04d.png");
    render.push_back(reference + "/%04d.png");
    const RunResult rendered = RunVitrella(render);
    ASSERT_EQ(rendered.exitCode, 0) << rendered.err;

    const std::vector<cv::Mat> got = ReadFrames(ours);
    const std::vector<cv::Mat> want = ReadFrames(reference);
    ASSERT_EQ(got.size(), static_cast<size_t>(kFrames)) << tag;
    ASSERT_EQ(want.size(), got.size()) << tag;
    for (size_t k = 0; k < got.size(); ++k) {
      ASSERT_EQ(got[k].size(), want[k].size());
      cv::Mat difference;
      cv::absdiff(got[k], want[k], difference);
      double largest = 0;
      cv::minMaxLoc(difference.reshape(1), nullptr, &largest);
      // Same bytes in, same layout, same values: every effect's byte path is the same
      // code on both sides, so the frames are equal.
      EXPECT_EQ(largest, 0) << tag << " frame " << k;
    }
  }

  static TempFolder* folder_;
};

TempFolder* Frei0rEndToEnd::folder_ = nullptr;

TEST_P(Frei0rEndToEnd, FramesEqualVitrellaRender) {
  const Library library;
  const std::string preset = library.LastPreset(GetParam());
  const Values values = OtherValues(library.Params(GetParam()));
  for (const Input& input : kInputs) {
    SCOPED_TRACE(input.name);
    ExpectSameFrames(input, "preset", Plain(preset), {"--preset", preset});
    ExpectSameFrames(input, "values", values.frei0r, values.sets);
  }
}

INSTANTIATE_TEST_SUITE_P(EveryEffect, Frei0rEndToEnd, ::testing::Range<uint32_t>(0, kEffectCount),
                         [](const ::testing::TestParamInfo<uint32_t>& effect) {
                           return std::string(kFrei0rEffects[effect.param]);
                         });

class Frei0rPrograms : public ::testing::Test {
 protected:
  TempFolder folder_;
};

TEST_F(Frei0rPrograms, BadValuesNeitherCrashNorStopTheRender) {
  if (!HaveProgram("ffmpeg")) GTEST_SKIP() << "ffmpeg is not installed";
  // Rolling Shutter: an unknown preset, NaN for a slider and a choice, choices far out of
  // range; Spotlight: a NaN position, a huge one, sliders far out of range. ffmpeg itself
  // refuses "inf".
  const std::vector<std::pair<std::string, std::string>> cases{
      {"rolling_shutter", "no such preset|nan|nan|7|-3"},
      {"spotlight", "|nan/nan|1e308/-1e308|y|1e300|-1e300"},
  };
  for (const auto& [effect, params] : cases) {
    std::string filter = "frei0r=filter_name=vitrella_" + effect;
    filter.append(":filter_params=").append(params);
    const RunResult run = Ffmpeg({"-f", "lavfi", "-i", "testsrc=size=64x48:rate=25", "-frames:v",
                                  "2", "-vf", filter, "-f", "null", "-"});
    EXPECT_EQ(run.exitCode, 0) << effect << ": " << run.err;
  }
}

TEST_F(Frei0rPrograms, TwoInstancesOnFilterThreads) {
  if (!HaveProgram("ffmpeg")) GTEST_SKIP() << "ffmpeg is not installed";
  // Two inputs, each through its own instance, one with a preset.
  const std::string graph =
      "[0:v]format=bgra,frei0r=vitrella_diffusion:Pink Sky[a];"
      "[1:v]format=bgra,frei0r=vitrella_diffusion[b]";
  const RunResult run = Ffmpeg({"-filter_threads",
                                "2",
                                "-f",
                                "lavfi",
                                "-i",
                                "testsrc=size=128x96:rate=25",
                                "-f",
                                "lavfi",
                                "-i",
                                "testsrc2=size=128x96:rate=25",
                                "-filter_complex",
                                graph,
                                "-map",
                                "[a]",
                                "-frames:v",
                                "4",
                                "-f",
                                "null",
                                "-",
                                "-map",
                                "[b]",
                                "-frames:v",
                                "4",
                                "-f",
                                "null",
                                "-"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
}

TEST_F(Frei0rPrograms, MeltListsOurNamesAndDefaults) {
  if (!HaveProgram("melt")) GTEST_SKIP() << "melt is not installed";
  const RunResult run = Melt({"-query", "filter=frei0r.vitrella_spotlight"});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  for (const char* expected :
       {"Vitrella Spotlight", "title: preset", "title: Shape/Size", "title: Background/Blur",
        "Spotlight/Tint (colour)", "default: 0.3", "Changes size of spotlight"}) {
    EXPECT_NE(run.out.find(expected), std::string::npos) << expected << "\n" << run.out;
  }
}

TEST_F(Frei0rPrograms, MeltRendersAClip) {
  if (!HaveProgram("melt")) GTEST_SKIP() << "melt is not installed";
  const std::string out = folder_.Path("out.mp4");
  const RunResult run = Melt({kClip, "in=0", "out=5", "-attach", "frei0r.vitrella_spotlight",
                              "preset=Bright Oval Spot", "Shape/Size=0.5", "-consumer",
                              "avformat:" + out, "width=240", "height=176", "real_time=0"});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_GT(std::filesystem::file_size(out), 1000u) << run.err;
}

}  // namespace
}  // namespace vitrella::testing
