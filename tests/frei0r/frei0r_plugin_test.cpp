// The plugins through their f0r_* functions, in process: what a host reads, values by
// kind, presets, bad values, in-place renders, time units and threads.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "frei0r_plugin.h"

namespace vitrella::testing {
namespace {

constexpr unsigned kWidth = 64;
constexpr unsigned kHeight = 48;

// Diagonal stripes that move `shift` pixels to the right per frame, rows sheared a little,
// opaque: enough for every effect to have something to work on.
std::vector<uint32_t> StripeFrame(int frame, unsigned width = kWidth, unsigned height = kHeight) {
  std::vector<uint32_t> pixels(static_cast<size_t>(width) * height);
  for (unsigned y = 0; y < height; ++y) {
    for (unsigned x = 0; x < width; ++x) {
      const unsigned phase = (x + y / 2 + 3 * static_cast<unsigned>(frame)) % 16;
      const uint32_t level = phase < 8 ? 40 + 20 * phase : 220;
      const uint32_t blue = (x * 255) / width;
      pixels[y * width + x] = blue | level << 8 | ((y * 255) / height) << 16 | 0xFF000000u;
    }
  }
  return pixels;
}

// One constructed instance, destroyed with the object.
class Instance {
 public:
  Instance(const Frei0rPlugin& plugin, unsigned width = kWidth, unsigned height = kHeight)
      : plugin_(plugin), instance_(plugin.construct(width, height)) {}
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;
  ~Instance() {
    if (instance_ != nullptr) plugin_.destruct(instance_);
  }
  f0r_instance_t get() const { return instance_; }

  void SetDouble(int index, double value) { plugin_.set_param_value(instance_, &value, index); }
  double GetDouble(int index) const {
    double value = -1;
    plugin_.get_param_value(instance_, &value, index);
    return value;
  }
  void SetPreset(const char* name) {
    f0r_param_string text = const_cast<char*>(name);
    plugin_.set_param_value(instance_, &text, 0);
  }
  std::string GetPreset() const {
    f0r_param_string text = nullptr;
    plugin_.get_param_value(instance_, &text, 0);
    return text != nullptr ? text : "(null)";
  }
  std::vector<uint32_t> Render(const std::vector<uint32_t>& in, double time) {
    std::vector<uint32_t> out(in.size(), 0);
    plugin_.update(instance_, time, in.data(), out.data());
    return out;
  }

 private:
  const Frei0rPlugin& plugin_;
  f0r_instance_t instance_;
};

int FindParam(const Frei0rPlugin& plugin, const std::string& name) {
  for (int i = 0; i < plugin.Info().num_params; ++i) {
    if (plugin.ParamInfo(i).name == name) return i;
  }
  return -1;
}

class Frei0rPluginTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(spotlight.init(), 1); }
  void TearDown() override { spotlight.deinit(); }

  Frei0rPlugin spotlight{"spotlight"};
};

TEST_F(Frei0rPluginTest, DescribesTheEffectWithThePresetFirst) {
  const f0r_plugin_info_t info = spotlight.Info();
  EXPECT_STREQ(info.name, "Vitrella Spotlight");
  EXPECT_STREQ(info.author, "Corvane Vitrella III");
  EXPECT_EQ(info.plugin_type, F0R_PLUGIN_TYPE_FILTER);
  EXPECT_EQ(info.color_model, F0R_COLOR_MODEL_BGRA8888);
  EXPECT_EQ(info.frei0r_version, FREI0R_MAJOR_VERSION);

  const f0r_param_info_t preset = spotlight.ParamInfo(0);
  EXPECT_STREQ(preset.name, "preset");
  EXPECT_EQ(preset.type, F0R_PARAM_STRING);
  // Records under a group carry its name; groups themselves are no parameters.
  const int center = FindParam(spotlight, "Shape/Center");
  ASSERT_GT(center, 0);
  EXPECT_EQ(spotlight.ParamInfo(center).type, F0R_PARAM_POSITION);
  EXPECT_EQ(FindParam(spotlight, "Shape"), -1);
  const int size = FindParam(spotlight, "Shape/Size");
  ASSERT_GT(size, 0);
  EXPECT_EQ(spotlight.ParamInfo(size).type, F0R_PARAM_DOUBLE);
  EXPECT_NE(std::string(spotlight.ParamInfo(size).explanation).find("0 to 1 for 0 to 100"),
            std::string::npos)
      << spotlight.ParamInfo(size).explanation;
  // Names are unique, so hosts that address parameters by name reach each one.
  for (int i = 0; i < info.num_params; ++i) {
    for (int j = i + 1; j < info.num_params; ++j) {
      EXPECT_STRNE(spotlight.ParamInfo(i).name, spotlight.ParamInfo(j).name);
    }
  }
  // Past the end the record stays as it was.
  f0r_param_info_t past{"untouched", 7, "untouched"};
  spotlight.get_param_info(&past, info.num_params);
  EXPECT_STREQ(past.name, "untouched");
}

TEST_F(Frei0rPluginTest, EveryChoiceTellsHowItsRangeMaps) {
  // Rolling Shutter's two choices: two entries each, at 0 and 1.
  Frei0rPlugin rolling("rolling_shutter");
  ASSERT_EQ(rolling.init(), 1);
  const int direction = FindParam(rolling, "Scanning Direction");
  ASSERT_GT(direction, 0);
  const std::string text = rolling.ParamInfo(direction).explanation;
  EXPECT_NE(text.find("0 "), std::string::npos) << text;
  EXPECT_NE(text.find(", 1 "), std::string::npos) << text;
  Instance instance(rolling);
  EXPECT_EQ(instance.GetDouble(direction), 0.0);
  instance.SetDouble(direction, 0.8);  // nearest entry: the second
  EXPECT_EQ(instance.GetDouble(direction), 1.0);
  instance.SetDouble(direction, 0.4);
  EXPECT_EQ(instance.GetDouble(direction), 0.0);
  // Out of range clamps to the end entries; NaN changes nothing.
  instance.SetDouble(direction, 1e300);
  EXPECT_EQ(instance.GetDouble(direction), 1.0);
  instance.SetDouble(direction, std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(instance.GetDouble(direction), 1.0);
  instance.SetDouble(direction, -3.0);
  EXPECT_EQ(instance.GetDouble(direction), 0.0);
  rolling.deinit();
}

TEST_F(Frei0rPluginTest, PresetByNameThenLaterValuesOverride) {
  Instance instance(spotlight);
  const int size = FindParam(spotlight, "Shape/Size");
  EXPECT_EQ(instance.GetPreset(), "");
  const double defaultSize = instance.GetDouble(size);
  EXPECT_DOUBLE_EQ(defaultSize, 0.3);

  // Names match whatever the case, spacing and punctuation.
  instance.SetPreset("no such preset");
  EXPECT_EQ(instance.GetPreset(), "");
  EXPECT_DOUBLE_EQ(instance.GetDouble(size), defaultSize);

  instance.SetPreset("bright  oval-SPOT");
  const std::string chosen = instance.GetPreset();
  EXPECT_EQ(chosen, "Bright Oval Spot");
  const double presetSize = instance.GetDouble(size);
  instance.SetDouble(size, 0.75);
  EXPECT_DOUBLE_EQ(instance.GetDouble(size), 0.75);
  // A preset set again puts back all of its values.
  instance.SetPreset(chosen.c_str());
  EXPECT_DOUBLE_EQ(instance.GetDouble(size), presetSize);
}

TEST_F(Frei0rPluginTest, BadValuesAreIgnoredOrClamped) {
  Instance instance(spotlight);
  const int size = FindParam(spotlight, "Shape/Size");
  const int center = FindParam(spotlight, "Shape/Center");
  const int count = spotlight.Info().num_params;
  const double nan = std::numeric_limits<double>::quiet_NaN();

  instance.SetDouble(size, nan);
  EXPECT_DOUBLE_EQ(instance.GetDouble(size), 0.3);
  instance.SetDouble(size, 7.0);
  EXPECT_DOUBLE_EQ(instance.GetDouble(size), 1.0);
  instance.SetDouble(size, -std::numeric_limits<double>::infinity());
  EXPECT_DOUBLE_EQ(instance.GetDouble(size), 0.0);

  f0r_param_position_t nanPoint{nan, 0.2};
  spotlight.set_param_value(instance.get(), &nanPoint, center);
  f0r_param_position_t point{};
  spotlight.get_param_value(instance.get(), &point, center);
  EXPECT_DOUBLE_EQ(point.x, 0.5);
  EXPECT_DOUBLE_EQ(point.y, 0.5);

  // Every colour and check of the effect shrugs off a NaN; colours clamp.
  for (int i = 1; i < count; ++i) {
    const f0r_param_info_t info = spotlight.ParamInfo(i);
    if (info.type == F0R_PARAM_COLOR) {
      f0r_param_color_t before{};
      spotlight.get_param_value(instance.get(), &before, i);
      f0r_param_color_t bad{static_cast<float>(nan), 0.5f, 0.5f};
      spotlight.set_param_value(instance.get(), &bad, i);
      f0r_param_color_t after{};
      spotlight.get_param_value(instance.get(), &after, i);
      EXPECT_EQ(before.r, after.r) << info.name;
      f0r_param_color_t bright{4.0f, -1.0f, 0.2f};
      spotlight.set_param_value(instance.get(), &bright, i);
      spotlight.get_param_value(instance.get(), &after, i);
      EXPECT_EQ(after.r, 1.0f) << info.name;
      EXPECT_EQ(after.g, 0.0f) << info.name;
      EXPECT_EQ(after.b, 51 / 255.0f) << info.name;
    } else if (info.type == F0R_PARAM_BOOL) {
      const double before = instance.GetDouble(i);
      instance.SetDouble(i, nan);
      EXPECT_EQ(instance.GetDouble(i), before) << info.name;
    }
  }
  // Null pointers and indices past the end change nothing and do not crash.
  spotlight.set_param_value(instance.get(), nullptr, size);
  spotlight.set_param_value(instance.get(), &nanPoint, count);
  spotlight.set_param_value(instance.get(), &nanPoint, -1);
  spotlight.get_param_value(instance.get(), nullptr, size);
  f0r_param_string noName = nullptr;
  spotlight.set_param_value(instance.get(), &noName, 0);
  spotlight.set_param_value(nullptr, &nanPoint, size);
  spotlight.update(nullptr, 0.0, nullptr, nullptr);
  spotlight.update(instance.get(), 0.0, nullptr, nullptr);
  spotlight.destruct(nullptr);
  EXPECT_EQ(spotlight.construct(0, 10), nullptr);
  EXPECT_EQ(spotlight.construct(1u << 20, 10), nullptr);
}

TEST_F(Frei0rPluginTest, InPlaceRenderEqualsSeparateBuffers) {
  Instance apart(spotlight);
  Instance inPlace(spotlight);
  apart.SetPreset("Bright Oval Spot");
  inPlace.SetPreset("Bright Oval Spot");
  const std::vector<uint32_t> in = StripeFrame(0);
  const std::vector<uint32_t> expected = apart.Render(in, 0.0);
  EXPECT_NE(expected, in);
  std::vector<uint32_t> frame = in;
  spotlight.update(inPlace.get(), 0.0, frame.data(), frame.data());
  EXPECT_EQ(frame, expected);
}

TEST(Frei0rPluginCounting, InitAndDeinitAreCountedPerInstance) {
  Frei0rPlugin diffusion("diffusion");
  // Two hosts' instances: the first deinit must leave the second working.
  ASSERT_EQ(diffusion.init(), 1);
  ASSERT_EQ(diffusion.init(), 1);
  diffusion.deinit();
  {
    Instance instance(diffusion);
    ASSERT_NE(instance.get(), nullptr);
    const std::vector<uint32_t> in = StripeFrame(0);
    EXPECT_NE(instance.Render(in, 0.0), in);
  }
  diffusion.deinit();
  diffusion.deinit();  // one too many is ignored
  // A host that never calls init still gets working instances.
  Instance late(diffusion);
  ASSERT_NE(late.get(), nullptr);
  const std::vector<uint32_t> in = StripeFrame(1);
  EXPECT_NE(late.Render(in, 0.04), in);
}

// ffmpeg passes milliseconds (or one meaningless time for frames without a timestamp) and
// melt seconds: Rolling Shutter, the one effect that looks at earlier frames, renders the
// same clip alike whichever it gets.
TEST(Frei0rPluginTime, TheTimeUnitChangesNothing) {
  Frei0rPlugin rolling("rolling_shutter");
  ASSERT_EQ(rolling.init(), 1);
  std::vector<std::vector<uint32_t>> inSeconds;
  {
    Instance instance(rolling);
    instance.SetDouble(1, 1.0);  // full correction
    for (int k = 0; k < 4; ++k)
      inSeconds.push_back(instance.Render(StripeFrame(k), 10.0 + k / 30.0));
  }
  {
    Instance instance(rolling);
    instance.SetDouble(1, 1.0);
    for (int k = 0; k < 4; ++k) {
      EXPECT_EQ(instance.Render(StripeFrame(k), 1000.0 * k / 24.0), inSeconds[k]) << k;
    }
  }
  {
    Instance instance(rolling);
    instance.SetDouble(1, 1.0);
    const double noTimestamp = -3.6893488147419103e+20;
    for (int k = 0; k < 4; ++k)
      EXPECT_EQ(instance.Render(StripeFrame(k), noTimestamp), inSeconds[k]) << k;
  }
  rolling.deinit();
}

// frei0r's rule is one thread per instance at a time; instances on different threads
// render at once and give what they give alone, and each thread's host may init and
// deinit the plugin as it comes and goes. Run under ThreadSanitizer in CI.
TEST(Frei0rPluginThreads, InstancesOnTwoThreadsRenderAtOnce) {
  Frei0rPlugin diffusion("diffusion");
  constexpr int kFrames = 3;
  const auto renderClip = [&](const char* preset) {
    EXPECT_EQ(diffusion.init(), 1);
    std::vector<std::vector<uint32_t>> out;
    {
      Instance instance(diffusion);
      instance.SetPreset(preset);
      out.reserve(kFrames);
      for (int k = 0; k < kFrames; ++k)
        out.push_back(instance.Render(StripeFrame(k), k * 40.0));
    }
    diffusion.deinit();
    return out;
  };
  const auto aloneFirst = renderClip("Pink Sky");
  const auto aloneSecond = renderClip("");
  EXPECT_NE(aloneFirst, aloneSecond);
  std::vector<std::vector<uint32_t>> first;
  std::vector<std::vector<uint32_t>> second;
  std::thread a([&] { first = renderClip("Pink Sky"); });
  std::thread b([&] { second = renderClip(""); });
  a.join();
  b.join();
  EXPECT_EQ(first, aloneFirst);
  EXPECT_EQ(second, aloneSecond);
}

}  // namespace
}  // namespace vitrella::testing
