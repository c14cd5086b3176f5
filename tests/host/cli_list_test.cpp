// `vitrella list` and `vitrella help`, run as a user runs them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/json_reader.h"
#include "host/run_vitrella.h"

namespace vitrella::testing {
namespace {

using ::testing::HasSubstr;

struct ExpectedParam {
  const char* kind;
  const char* name;
  double defaultSlider;  // sliders
  bool defaultCheck;     // checks
  int x, y, width, height;
  const char* tooltip;
};

struct ExpectedPreset {
  const char* name;
  float strength;
  bool showChanged;
  bool softenLines;
};

const JsonValue& EffectAt(const JsonValue& document, double index) {
  for (const JsonValue& effect : document["effects"].items) {
    if (effect["index"].number == index) return effect;
  }
  throw std::runtime_error("no effect at index " + std::to_string(index));
}

TEST(VitrellaList, JsonDescribesEdgeSmootherExactly) {
  const RunResult run = RunVitrella({"list", "--json"});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.err, "");
  const JsonValue document = ParseJson(run.out);
  EXPECT_EQ(document["library"].kind, JsonValue::Kind::kString);

  const JsonValue& effect = EffectAt(document, 3);
  EXPECT_EQ(effect["name"].text, "Edge Smoother");
  EXPECT_EQ(effect["traits"].number, 961);
  EXPECT_EQ(effect["gpu"].kind, JsonValue::Kind::kBool);
  EXPECT_FALSE(effect["gpu"].boolean);

  const ExpectedParam params[] = {
      {"slider", "Strength", 0.605, false, 0, 0, 48, 30, "Adjusts how much of edge is smoothed"},
      {"check", "Show changed pixels", 0, false, 66, 0, 130, 10, "Highlights area impacted"},
      {"check", "Soften straight lines", 0, false, 66, 30, 130, 10, "Use if lines appears uneven"},
  };
  ASSERT_EQ(effect["params"].items.size(), 3u);
  for (size_t i = 0; i < 3; ++i) {
    SCOPED_TRACE(params[i].name);
    const JsonValue& param = effect["params"][i];
    EXPECT_EQ(param["index"].number, static_cast<double>(i));
    EXPECT_EQ(param["kind"].text, params[i].kind);
    EXPECT_EQ(param["name"].text, params[i].name);
    if (std::string(params[i].kind) == "slider") {
      EXPECT_EQ(static_cast<float>(param["default"].number),
                static_cast<float>(params[i].defaultSlider));
      EXPECT_EQ(param["min"].number, 0);
      EXPECT_EQ(param["max"].number, 100);
    } else {
      EXPECT_EQ(param["default"].kind, JsonValue::Kind::kBool);
      EXPECT_EQ(param["default"].boolean, params[i].defaultCheck);
      EXPECT_TRUE(param["min"].IsNull());
      EXPECT_TRUE(param["max"].IsNull());
    }
    EXPECT_TRUE(param["choices"].IsNull());
    EXPECT_TRUE(param["groupClose"].IsNull());
    EXPECT_EQ(param["panel"]["x"].number, params[i].x);
    EXPECT_EQ(param["panel"]["y"].number, params[i].y);
    EXPECT_EQ(param["panel"]["width"].number, params[i].width);
    EXPECT_EQ(param["panel"]["height"].number, params[i].height);
    EXPECT_EQ(param["tooltip"].text, params[i].tooltip);
  }

  const ExpectedPreset presets[] = {
      {"Font Smoothing - Medium", 0.5001f, false, true},
      {"Font Smoothing - Strong", 1.0f, false, true},
      {"Font Smoothing - Weak", 0.2501f, false, true},
      {"Reset to None", 0.0f, false, false},
      {"Smooth SD to HD Upres", 0.975f, false, false},
  };
  ASSERT_EQ(effect["presets"].items.size(), 5u);
  for (size_t i = 0; i < 5; ++i) {
    SCOPED_TRACE(presets[i].name);
    const JsonValue& preset = effect["presets"][i];
    EXPECT_EQ(preset["name"].text, presets[i].name);
    ASSERT_EQ(preset["values"].items.size(), 3u);
    EXPECT_EQ(static_cast<float>(preset["values"][0].number), presets[i].strength);
    EXPECT_EQ(preset["values"][1].boolean, presets[i].showChanged);
    EXPECT_EQ(preset["values"][2].boolean, presets[i].softenLines);
  }
}

TEST(VitrellaList, TextShowsParametersTooltipsAndPresets) {
  const RunResult run = RunVitrella({"list"});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("[3] Edge Smoother"));
  EXPECT_THAT(run.out, HasSubstr("traits 961 (0x3C1), GPU no"));
  EXPECT_THAT(run.out, HasSubstr("default 0.605 (60.5 of 0..100)"));
  EXPECT_THAT(run.out, HasSubstr("panel x 66, y 30, width 130, height 10"));
  EXPECT_THAT(run.out, HasSubstr("tooltip \"Use if lines appears uneven\""));
  EXPECT_THAT(run.out, HasSubstr("4  \"Smooth SD to HD Upres\""));
}

TEST(VitrellaHelp, PrintsUsageOnStandardOutput) {
  for (const char* form : {"--help", "help"}) {
    const RunResult run = RunVitrella({form});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, HasSubstr("vitrella [--library PATH] render --effect NAME|INDEX"));
    EXPECT_EQ(run.err, "");
  }
}

}  // namespace
}  // namespace vitrella::testing
