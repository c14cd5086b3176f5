#include "catalog_json.h"

#include "json_writer.h"
#include "param_names.h"
#include "param_text.h"

namespace vitrella::host {
namespace {

void FloatOrNull(bool applies, float value, JsonWriter& json) {
  if (applies) {
    json.Float(value);
  } else {
    json.Null();
  }
}

void WriteValueJson(const ParamInfo& info, const ParamValue& value, JsonWriter& json) {
  switch (info.kind) {
    case ParamPoint:
      json.BeginArray(JsonWriter::Layout::kInline);
      json.Float(value.point[0]);
      json.Float(value.point[1]);
      json.EndArray();
      break;
    case ParamChoice:
      json.Integer(value.choice);
      break;
    case ParamSlider:
      json.Float(value.slider);
      break;
    case ParamColor:
      json.String(ColorText(value.color));
      break;
    case ParamCheck:
      json.Bool(value.check != 0);
      break;
    default:
      json.Null();
  }
}

void WriteParamJson(uint32_t index, const ParamInfo& info, const std::string& group,
                    const std::optional<std::string>& tip, JsonWriter& json) {
  json.BeginObject();
  json.Key("index");
  json.Integer(index);
  json.Key("kind");
  json.String(KindName(info.kind));
  json.Key("name");
  json.String(ParamLabel(info));
  json.Key("group");
  if (group.empty()) {
    json.Null();
  } else {
    json.String(group);
  }
  json.Key("default");
  WriteValueJson(info, info.defaultValue, json);
  json.Key("min");
  FloatOrNull(info.kind == ParamSlider, info.minimum, json);
  json.Key("max");
  FloatOrNull(info.kind == ParamSlider, info.slider.maximum, json);
  json.Key("choices");
  if (info.kind == ParamChoice) {
    json.BeginArray(JsonWriter::Layout::kInline);
    for (const std::string& text : ChoiceTexts(info))
      json.String(text);
    json.EndArray();
  } else {
    json.Null();
  }
  json.Key("groupClose");
  if (info.kind == ParamGroup) {
    json.Bool(info.groupClose != 0);
  } else {
    json.Null();
  }
  json.Key("panel");
  json.BeginObject(JsonWriter::Layout::kInline);
  json.Key("x");
  json.Integer(info.panelX);
  json.Key("y");
  json.Integer(info.panelY);
  json.Key("width");
  json.Integer(info.panelWidth);
  json.Key("height");
  json.Integer(info.panelHeight);
  json.EndObject();
  json.Key("tooltip");
  if (tip) {
    json.String(*tip);
  } else {
    json.Null();
  }
  json.EndObject();
}

}  // namespace

void WriteCatalogJson(std::string_view libraryName, const std::vector<EffectDescription>& effects,
                      std::ostream& out) {
  JsonWriter json(out);
  json.BeginObject();
  json.Key("library");
  json.String(libraryName);
  json.Key("effects");
  json.BeginArray();
  for (const EffectDescription& effect : effects) {
    json.BeginObject();
    json.Key("index");
    json.Integer(effect.index);
    json.Key("name");
    json.String(effect.name);
    json.Key("traits");
    json.Integer(effect.traits);
    json.Key("gpu");
    json.Bool(effect.gpu);
    json.Key("params");
    json.BeginArray();
    const std::vector<std::string> groups = ParamGroups(effect.params);
    for (uint32_t i = 0; i < effect.params.size(); ++i) {
      WriteParamJson(i, effect.params[i], groups[i], effect.tooltips[i], json);
    }
    json.EndArray();
    json.Key("presets");
    json.BeginArray();
    for (const PresetDescription& preset : effect.presets) {
      json.BeginObject(JsonWriter::Layout::kInline);
      json.Key("name");
      json.String(preset.name);
      json.Key("values");
      json.BeginArray(JsonWriter::Layout::kInline);
      for (uint32_t i = 0; i < preset.values.size(); ++i) {
        if (preset.values[i]) {
          WriteValueJson(effect.params[i], *preset.values[i], json);
        } else {
          json.Null();
        }
      }
      json.EndArray();
      json.EndObject();
    }
    json.EndArray();
    json.EndObject();
  }
  json.EndArray();
  json.EndObject();
}

}  // namespace vitrella::host
