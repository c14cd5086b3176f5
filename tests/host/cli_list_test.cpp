// `vitrella list` and `vitrella help`, run as a user runs them.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/json_reader.h"
#include "host/run_vitrella.h"
#include "vitrella/vitrella.h"

namespace vitrella::testing {
namespace {

using ::testing::HasSubstr;

// The library as a host meets it, loaded in this process.
class InProcessLibrary {
 public:
  InProcessLibrary() {
    module_ = dlopen(VITRELLA_BIN_DIR "/Vitrella3OpenGL64.so", RTLD_NOW | RTLD_LOCAL);
    if (module_ == nullptr) throw std::runtime_error(dlerror());
    auto get = reinterpret_cast<GetEffectsLibraryFn>(dlsym(module_, kGetEffectsLibraryExport));
    library_ = get != nullptr ? get() : nullptr;
    if (library_ == nullptr) throw std::runtime_error("no library object");
  }
  ~InProcessLibrary() {
    library_->Release();
    dlclose(module_);
  }
  InProcessLibrary(const InProcessLibrary&) = delete;
  InProcessLibrary& operator=(const InProcessLibrary&) = delete;

  IEffectLibrary* operator->() const { return library_; }

 private:
  void* module_ = nullptr;
  IEffectLibrary* library_ = nullptr;
};

const JsonValue* EffectAt(const JsonValue& document, uint32_t index) {
  for (const JsonValue& effect : document["effects"].items) {
    if (effect["index"].number == index) return &effect;
  }
  return nullptr;
}

std::string ColorText(uint32_t word) {
  char text[8];
  std::snprintf(text, sizeof text, "#%02X%02X%02X", word & 0xFF, (word >> 8) & 0xFF,
                (word >> 16) & 0xFF);
  return text;
}

// A value as the JSON must give it for a parameter of this kind.
void ExpectValue(const JsonValue& json, const ParamInfo& info, const ParamValue& value) {
  switch (info.kind) {
    case ParamPoint:
      ASSERT_EQ(json.items.size(), 2u);
      EXPECT_EQ(static_cast<float>(json[0].number), value.point[0]);
      EXPECT_EQ(static_cast<float>(json[1].number), value.point[1]);
      break;
    case ParamChoice:
      EXPECT_EQ(json.number, value.choice);
      break;
    case ParamSlider:
      EXPECT_EQ(static_cast<float>(json.number), value.slider);
      break;
    case ParamColor:
      EXPECT_EQ(json.text, ColorText(value.color));
      break;
    case ParamCheck:
      EXPECT_EQ(json.kind, JsonValue::Kind::kBool);
      EXPECT_EQ(json.boolean, value.check != 0);
      break;
    default:
      EXPECT_TRUE(json.IsNull());
  }
}

void ExpectParam(const JsonValue& json, uint32_t index, const ParamInfo& info, const char* tip) {
  EXPECT_EQ(json["index"].number, index);
  EXPECT_EQ(json["name"].text, info.name);
  ExpectValue(json["default"], info, info.defaultValue);
  if (info.kind == ParamSlider) {
    EXPECT_EQ(static_cast<float>(json["min"].number), info.minimum);
    EXPECT_EQ(static_cast<float>(json["max"].number), info.slider.maximum);
  } else {
    EXPECT_TRUE(json["min"].IsNull());
    EXPECT_TRUE(json["max"].IsNull());
  }
  if (info.kind == ParamChoice) {
    ASSERT_EQ(json["choices"].items.size(), static_cast<size_t>(info.choiceCount));
    for (int32_t c = 0; c < info.choiceCount; ++c)
      EXPECT_EQ(json["choices"][static_cast<size_t>(c)].text, info.choiceText[c]);
  } else {
    EXPECT_TRUE(json["choices"].IsNull());
  }
  if (info.kind == ParamGroup) {
    EXPECT_EQ(json["groupClose"].boolean, info.groupClose != 0);
  } else {
    EXPECT_TRUE(json["groupClose"].IsNull());
  }
  EXPECT_EQ(json["panel"]["x"].number, info.panelX);
  EXPECT_EQ(json["panel"]["y"].number, info.panelY);
  EXPECT_EQ(json["panel"]["width"].number, info.panelWidth);
  EXPECT_EQ(json["panel"]["height"].number, info.panelHeight);
  if (tip != nullptr) {
    EXPECT_EQ(json["tooltip"].text, tip);
  } else {
    EXPECT_TRUE(json["tooltip"].IsNull());
  }
}

// Every effect, parameter, tooltip and preset value that `list --json` prints is what the
// library answers to a host in this process, and nothing the library makes is left out.
TEST(VitrellaList, JsonSaysWhatTheLibraryAnswers) {
  const RunResult run = RunVitrella({"list", "--json"});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.err, "");
  const JsonValue document = ParseJson(run.out);
  const InProcessLibrary library;
  EXPECT_EQ(document["library"].text, library->GetLibraryName());

  size_t made = 0;
  for (uint32_t index = 0; index < kEffectCount; ++index) {
    IVideoEffect* effect = library->CreateEffect(index);
    const JsonValue* json = EffectAt(document, index);
    if (effect == nullptr) {
      EXPECT_EQ(json, nullptr) << "index " << index << " is listed but not made";
      continue;
    }
    ++made;
    SCOPED_TRACE(effect->GetEffectName());
    ASSERT_NE(json, nullptr);
    EXPECT_EQ((*json)["name"].text, effect->GetEffectName());
    EXPECT_EQ((*json)["traits"].number, effect->GetEffectTraits());
    void* gpu = nullptr;
    const bool hasGpu = effect->QueryInterface(kIID_IVideoGPUEffect, &gpu) == kOk;
    if (hasGpu) static_cast<IVideoGPUEffect*>(gpu)->Release();
    EXPECT_EQ((*json)["gpu"].boolean, hasGpu);
    void* tips = nullptr;
    ASSERT_EQ(effect->QueryInterface(kIID_IParamToolTip, &tips), kOk);
    auto* tooltips = static_cast<IParamToolTip*>(tips);

    std::vector<ParamInfo> params;
    for (ParamInfo info{}; effect->GetParamInfo(static_cast<uint32_t>(params.size()), &info);)
      params.push_back(info);
    ASSERT_EQ((*json)["params"].items.size(), params.size());
    std::string openGroup;  // the effects' groups do not nest
    for (uint32_t i = 0; i < params.size(); ++i) {
      SCOPED_TRACE(params[i].name);
      ExpectParam((*json)["params"][i], i, params[i], tooltips->GetParamToolTip(i));
      if (params[i].kind == ParamGroup) {
        EXPECT_TRUE((*json)["params"][i]["group"].IsNull());
        openGroup = params[i].groupClose != 0 ? "" : params[i].name;
      } else if (openGroup.empty()) {
        EXPECT_TRUE((*json)["params"][i]["group"].IsNull());
      } else {
        EXPECT_EQ((*json)["params"][i]["group"].text, openGroup);
      }
    }
    uint32_t preset = 0;
    for (; const char* name = effect->GetPresetName(preset); ++preset) {
      SCOPED_TRACE(name);
      ASSERT_LT(preset, (*json)["presets"].items.size());
      const JsonValue& row = (*json)["presets"][preset];
      EXPECT_EQ(row["name"].text, name);
      ASSERT_EQ(row["values"].items.size(), params.size());
      for (uint32_t i = 0; i < params.size(); ++i) {
        ParamValue value{};
        ASSERT_TRUE(effect->GetPresetValue(preset, i, &value));
        ExpectValue(row["values"][i], params[i], value);
      }
    }
    EXPECT_EQ((*json)["presets"].items.size(), preset);
    tooltips->Release();
    effect->Release();
  }
  EXPECT_EQ(document["effects"].items.size(), made);
}

TEST(VitrellaList, TextShowsParametersTooltipsAndPresets) {
  const RunResult run = RunVitrella({"list"});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("[3] Edge Smoother"));
  EXPECT_THAT(run.out, HasSubstr("traits 961 (0x3C1), GPU no"));
  EXPECT_THAT(run.out, HasSubstr("default 60.5% (fraction 0.605, 0%..100%)"));
  EXPECT_THAT(run.out, HasSubstr("panel x 66, y 30, width 130, height 10"));
  EXPECT_THAT(run.out, HasSubstr("tooltip \"Use if lines appears uneven\""));
  EXPECT_THAT(run.out, HasSubstr("4  \"Smooth SD to HD Upres\""));
}

TEST(VitrellaHelp, PrintsUsageOnStandardOutput) {
  for (const char* form : {"--help", "help"}) {
    const RunResult run = RunVitrella({form});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, HasSubstr("vitrella [--library PATH] render --effect EFFECT"));
    EXPECT_EQ(run.err, "");
  }
}

}  // namespace
}  // namespace vitrella::testing
