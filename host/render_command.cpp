#include "render_command.h"

#include "builtin_picture.h"
#include "effect_catalog.h"
#include "effect_host.h"
#include "host_error.h"
#include "host_frames.h"
#include "library_loader.h"
#include "param_text.h"
#include "picture_io.h"

namespace vitrella::host {
namespace {

constexpr double kFrameRate = 25.0;

uint32_t FindPreset(IVideoEffect& effect, const std::string& effectName, const std::string& key) {
  const std::vector<std::string> names = ReadPresetNames(effect);
  uint32_t index = 0;
  if (ParseIndex(key, &index) && index < names.size()) return index;
  for (uint32_t i = 0; i < names.size(); ++i) {
    if (EqualsIgnoreCase(names[i], key)) return i;
  }
  std::string known;
  for (const std::string& name : names)
    known += (known.empty() ? "'" : ", '") + name + "'";
  throw UsageError("unknown preset '" + key + "' for " + effectName + "; " +
                   (known.empty() ? "it has no presets" : "presets: " + known));
}

RenderInfo MakeRenderInfo(const RenderOptions& options) {
  RenderInfo info{};
  info.time = 0.0;
  info.frameNumber = 0;
  info.frameRate = kFrameRate;
  info.fieldMode = options.fieldMode;
  info.pixelAspect = options.pixelAspect.value_or(1.0);
  if (options.pixelAspect) info.infoFlags |= kInfoPixelAspectValid;
  return info;
}

}  // namespace

std::vector<ParamValue> ChooseValues(IVideoEffect& effect, const std::vector<ParamInfo>& params,
                                     const RenderOptions& options) {
  std::vector<ParamValue> values;
  values.reserve(params.size());
  for (const ParamInfo& info : params) values.push_back(info.defaultValue);
  if (options.preset) {
    const uint32_t preset = FindPreset(effect, EffectName(effect), *options.preset);
    for (uint32_t i = 0; i < params.size(); ++i) {
      ParamValue value{};
      if (params[i].kind != ParamGroup && effect.GetPresetValue(preset, i, &value)) {
        values[i] = value;
      }
    }
  }
  for (const ParamSetting& setting : options.settings) {
    const uint32_t index = ResolveParam(params, setting.param);
    values[index] = ParseValue(params[index], index, setting.value);
  }
  return values;
}

void RunRender(const CommandLine& line) {
  const RenderOptions& options = line.render;
  // A name no codec can write is refused before any work.
  CheckPictureWriter(options.output);

  const LibraryLoader loader(line.library.empty() ? DefaultLibraryPath() : line.library);
  ComRef<IEffectLibrary> library = loader.CreateLibrary();
  FoundEffect found = FindEffect(*library, options.effect);
  EffectHost host(ChooseValues(*found.effect, ReadParams(*found.effect), options),
                  NextInstanceKey());

  const cv::Mat picture = options.input ? ReadPicture(*options.input) : BuiltinPicture();
  // Top-down memory goes over with `flipped` set; bottom-up memory with it clear.
  OwnedFrame source = PictureToFrame(
      picture, options.format, options.bottomUp ? RowOrder::kBottomFirst : RowOrder::kTopFirst);
  OwnedFrame destination = FrameLike(source.record());
  const RenderInfo info = MakeRenderInfo(options);

  if (!found.effect->Render(&host, &source.record(), 0, &destination.record(), &info)) {
    throw HostError("the effect " + found.name + " did not render the picture (" +
                    std::to_string(picture.cols) + "x" + std::to_string(picture.rows) + ", " +
                    std::string(FormatName(options.format)) + ")");
  }
  WritePicture(options.output, FrameToPicture(destination.record()));
}

}  // namespace vitrella::host
