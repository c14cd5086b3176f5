// The frei0r entry points of one effect's plugin; VITRELLA_FREI0R_EFFECT is the effect's
// index in the library's table. Built once per effect.
// frei0r.h declares its functions without C linkage for C++.
extern "C" {
#include <frei0r.h>
}

#include "effect_description.h"
#include "library_access.h"
#include "param_mapping.h"
#include "plugin_instance.h"

#ifndef VITRELLA_FREI0R_EFFECT
#error "VITRELLA_FREI0R_EFFECT names the effect's index"
#endif

#define VITRELLA_F0R extern "C" __attribute__((visibility("default")))

namespace {

using vitrella::frei0r::DescriptionOf;
using vitrella::frei0r::PluginInstance;

constexpr uint32_t kEffectIndex = VITRELLA_FREI0R_EFFECT;
constexpr int kPluginMajorVersion = 3;
constexpr int kPluginMinorVersion = 0;

}  // namespace

VITRELLA_F0R int f0r_init() {
  // The library object lives from the first init to the last deinit, whichever instance
  // the host makes them for.
  if (!vitrella::frei0r::AcquireLibrary()) return 0;
  if (DescriptionOf(kEffectIndex) == nullptr) {
    vitrella::frei0r::ReleaseLibrary();
    return 0;
  }
  return 1;
}

VITRELLA_F0R void f0r_deinit() {
  vitrella::frei0r::ReleaseLibrary();
}

VITRELLA_F0R void f0r_get_plugin_info(f0r_plugin_info_t* info) {
  if (info == nullptr) return;
  static const char* const kUnavailable = "Vitrella (effect library not found)";
  const auto* description = DescriptionOf(kEffectIndex);
  info->name = description != nullptr ? description->name.c_str() : kUnavailable;
  info->author = description != nullptr ? description->author.c_str() : "";
  info->explanation = description != nullptr ? description->explanation.c_str() : kUnavailable;
  info->plugin_type = F0R_PLUGIN_TYPE_FILTER;
  // Our byte format 0 is frei0r's BGRA8888 byte for byte: frames go to the effect as they
  // are, with no conversion on our side.
  info->color_model = F0R_COLOR_MODEL_BGRA8888;
  info->frei0r_version = FREI0R_MAJOR_VERSION;
  info->major_version = kPluginMajorVersion;
  info->minor_version = kPluginMinorVersion;
  info->num_params = description != nullptr ? description->ParamCount() : 0;
}

VITRELLA_F0R void f0r_get_param_info(f0r_param_info_t* info, int index) {
  const auto* description = DescriptionOf(kEffectIndex);
  if (info == nullptr || description == nullptr || index < 0 ||
      index >= description->ParamCount()) {
    return;
  }
  if (index == vitrella::frei0r::kPresetParam) {
    info->name = vitrella::frei0r::kPresetParamName;
    info->type = F0R_PARAM_STRING;
    info->explanation =
        "A built-in preset by name (any case and spacing); parameters set after it override it";
    return;
  }
  const auto& param = description->params[static_cast<size_t>(index - 1)];
  info->name = param.name.c_str();
  info->type = vitrella::frei0r::Frei0rType(param.kind);
  info->explanation = param.explanation.c_str();
}

// Cheap: the effect's constructor and a copy of its defaults. No GPU context, no frames.
VITRELLA_F0R f0r_instance_t f0r_construct(unsigned int width, unsigned int height) {
  const auto* description = DescriptionOf(kEffectIndex);
  if (description == nullptr) return nullptr;
  return PluginInstance::Create(*description, vitrella::frei0r::CreateEffect(kEffectIndex), width,
                                height);
}

VITRELLA_F0R void f0r_destruct(f0r_instance_t instance) {
  delete static_cast<PluginInstance*>(instance);
}

VITRELLA_F0R void f0r_set_param_value(f0r_instance_t instance, f0r_param_t param, int index) {
  if (instance != nullptr) static_cast<PluginInstance*>(instance)->SetParam(index, param);
}

VITRELLA_F0R void f0r_get_param_value(f0r_instance_t instance, f0r_param_t param, int index) {
  if (instance != nullptr) static_cast<PluginInstance*>(instance)->GetParam(index, param);
}

VITRELLA_F0R void f0r_update(f0r_instance_t instance, double time, const uint32_t* inframe,
                             uint32_t* outframe) {
  if (instance != nullptr) static_cast<PluginInstance*>(instance)->Update(time, inframe, outframe);
}

// A filter's one input; hosts that call the general form reach the same render.
VITRELLA_F0R void f0r_update2(f0r_instance_t instance, double time, const uint32_t* inframe1,
                              const uint32_t* /*inframe2*/, const uint32_t* /*inframe3*/,
                              uint32_t* outframe) {
  f0r_update(instance, time, inframe1, outframe);
}
