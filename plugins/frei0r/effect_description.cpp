#include "effect_description.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <mutex>

#include "library_access.h"
#include "vitrella/library.h"

namespace vitrella::frei0r {
namespace {

constexpr const char* kNamePrefix = "Vitrella ";
// The traits bit of an effect that reads frames other than the one it renders.
constexpr uint32_t kTraitReadsOtherFrames = 0x020;
constexpr char kGroupMark = '/';

// A text field of a record, safe against a missing NUL.
std::string FieldText(const char* field, size_t size) {
  size_t length = 0;
  while (length < size && field[length] != '\0')
    ++length;
  return {field, length};
}

std::string Label(const ParamInfo& info) {
  return FieldText(info.name, sizeof(info.name));
}

// Shortest decimal text of a number of the explanations: "0.5", "0.333", "-100".
std::string Number(double value) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.3g", value);
  return text.data();
}

std::string KindText(ParamKind kind) {
  switch (kind) {
    case ParamPoint:
      return "position";
    case ParamChoice:
      return "choice";
    case ParamSlider:
      return "slider";
    case ParamColor:
      return "colour";
    case ParamCheck:
      return "check";
    default:
      return "group";
  }
}

// How the frei0r value maps onto the panel's, after the tooltip.
std::string MappingText(const ParamInfo& info) {
  switch (info.kind) {
    case ParamSlider:
      return "0 to 1 for " + Number(info.minimum) + " to " + Number(info.slider.maximum) +
             " on the panel";
    case ParamPoint:
      return "x and y as fractions of the frame, y from the top";
    case ParamChoice: {
      const int32_t count = std::clamp(info.choiceCount, 1, kChoiceSlots);
      std::string text;
      for (int32_t i = 0; i < count; ++i) {
        const double at = count > 1 ? static_cast<double>(i) / (count - 1) : 0.0;
        text += (i == 0 ? "" : ", ") + Number(at) + " " +
                FieldText(info.choiceText[i], kChoiceTextBytes);
      }
      return text;
    }
    default:
      return {};
  }
}

std::string Explanation(const std::string& tooltip, const std::string& mapping) {
  std::string text = tooltip;
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())) != 0)
    text.pop_back();
  if (mapping.empty()) return text;
  return text.empty() ? mapping : text + " (" + mapping + ")";
}

std::string Folded(std::string_view name) {
  std::string folded;
  for (const char c : name) {
    if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
      folded += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
  }
  return folded;
}

// Names under their groups; a name that two records still share (a colour and a slider
// both called "Tint" in one group) gets its kind after it.
void NameParams(const std::vector<ParamInfo>& records, std::vector<MappedParam>& params) {
  std::vector<std::string> open;
  std::vector<std::string> groupOf(records.size());
  for (size_t i = 0; i < records.size(); ++i) {
    const ParamInfo& info = records[i];
    if (info.kind == ParamGroup && info.groupClose != 0 && !open.empty()) open.pop_back();
    groupOf[i] = open.empty() ? std::string() : open.back();
    if (info.kind == ParamGroup && info.groupClose == 0) open.push_back(Label(info));
  }
  for (MappedParam& param : params) {
    const std::string& group = groupOf[param.record];
    param.name = group.empty() ? Label(records[param.record])
                               : group + kGroupMark + Label(records[param.record]);
  }
  std::vector<std::string> plain;
  plain.reserve(params.size());
  for (const MappedParam& param : params)
    plain.push_back(param.name);
  for (size_t i = 0; i < params.size(); ++i) {
    if (std::count(plain.begin(), plain.end(), plain[i]) > 1) {
      params[i].name += " (" + KindText(params[i].kind) + ")";
    }
  }
}

}  // namespace

int EffectDescription::FindPreset(std::string_view wanted) const {
  const std::string key = Folded(wanted);
  if (key.empty()) return -1;
  for (size_t i = 0; i < presetNames.size(); ++i) {
    if (Folded(presetNames[i]) == key) return static_cast<int>(i);
  }
  return -1;
}

std::unique_ptr<EffectDescription> DescribeEffect(IVideoEffect& effect, uint32_t effectIndex,
                                                  const char* libraryName) {
  auto description = std::make_unique<EffectDescription>();
  description->effectIndex = effectIndex;
  const char* effectName = effect.GetEffectName();
  if (effectName == nullptr) return nullptr;
  description->name = std::string(kNamePrefix) + effectName;
  description->clearsDestination = (effect.GetEffectTraits() & kTraitReadsOtherFrames) != 0;
  description->author = libraryName != nullptr ? libraryName : "";
  description->explanation = std::string(effectName) + " of " + description->author +
                             "; parameter \"preset\" takes a built-in preset by name";

  IParamToolTip* tips = nullptr;
  if (effect.QueryInterface(kIID_IParamToolTip, reinterpret_cast<void**>(&tips)) != kOk) {
    tips = nullptr;
  }
  std::vector<ParamInfo> records;
  for (uint32_t i = 0;; ++i) {
    ParamInfo info{};
    if (!effect.GetParamInfo(i, &info)) break;
    records.push_back(info);
    description->defaults.push_back(info.defaultValue);
    if (info.kind == ParamGroup) continue;
    const char* tip = tips != nullptr ? tips->GetParamToolTip(i) : nullptr;
    MappedParam param;
    param.record = i;
    param.kind = info.kind;
    param.choiceCount =
        info.kind == ParamChoice ? std::clamp(info.choiceCount, 1, kChoiceSlots) : 0;
    param.explanation = Explanation(tip != nullptr ? tip : "", MappingText(info));
    description->params.push_back(std::move(param));
  }
  if (tips != nullptr) tips->Release();
  NameParams(records, description->params);

  for (uint32_t p = 0;; ++p) {
    const char* presetName = effect.GetPresetName(p);
    if (presetName == nullptr) break;
    std::vector<ParamValue> values = description->defaults;
    for (uint32_t i = 0; i < records.size(); ++i) {
      ParamValue value{};
      if (records[i].kind != ParamGroup && effect.GetPresetValue(p, i, &value)) values[i] = value;
    }
    description->presetNames.emplace_back(presetName);
    description->presets.push_back(std::move(values));
  }
  return description;
}

const EffectDescription* DescriptionOf(uint32_t effectIndex) {
  static std::array<std::once_flag, kEffectCount> once;
  static std::array<std::unique_ptr<EffectDescription>, kEffectCount> descriptions;
  if (effectIndex >= kEffectCount) return nullptr;
  std::call_once(once[effectIndex], [&] {
    IVideoEffect* effect = CreateEffect(effectIndex);
    if (effect == nullptr) return;
    descriptions[effectIndex] = DescribeEffect(*effect, effectIndex, LibraryName());
    effect->Release();
  });
  return descriptions[effectIndex].get();
}

}  // namespace vitrella::frei0r
