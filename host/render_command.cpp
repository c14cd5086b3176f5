#include "render_command.h"

#include <filesystem>
#include <iostream>

#include "builtin_picture.h"
#include "clip_names.h"
#include "clip_render.h"
#include "clip_writer.h"
#include "effect_catalog.h"
#include "effect_host.h"
#include "gpu_health.h"
#include "gpu_render.h"
#include "host_error.h"
#include "host_frames.h"
#include "library_loader.h"
#include "message_text.h"
#include "name_match.h"
#include "output_loss.h"
#include "param_names.h"
#include "param_text.h"
#include "picture_io.h"
#include "preset_command.h"
#include "vitrella/pixel_format.h"

namespace vitrella::host {
namespace {

constexpr double kFrameRate = 25.0;

uint32_t FindPreset(IVideoEffect& effect, const std::string& effectName, const std::string& key) {
  const std::vector<std::string> names = ReadPresetNames(effect);
  uint32_t index = 0;
  if (ParseIndex(key, &index) && index < names.size()) return index;
  for (uint32_t i = 0; i < names.size(); ++i) {
    if (NamesMatch(names[i], key)) return i;
  }
  if (names.empty()) throw UsageError(effectName + " has no presets");
  const std::vector<std::string> nearest = NearestNames(key, names);
  throw UsageError("unknown preset " + Quoted(key) + " for " + effectName +
                   (nearest.empty() ? "; vitrella list '" + effectName + "' --presets shows them"
                                    : Suggestion(nearest)));
}

// A clip renders into a clip and a picture into a picture; the clip options belong to
// clips alone. Returns whether this render is a clip's.
// Both names lead to one file, or would: a render never writes over its own input.
bool SameFile(const std::string& a, const std::string& b) {
  std::error_code error;
  if (std::filesystem::exists(a, error) && std::filesystem::exists(b, error)) {
    return std::filesystem::equivalent(a, b, error);
  }
  return std::filesystem::weakly_canonical(std::filesystem::absolute(a), error) ==
         std::filesystem::weakly_canonical(std::filesystem::absolute(b), error);
}

// A lone file that exists is far more likely a picture meant as the input than an output
// to replace: only --builtin says otherwise.
void CheckFiles(const RenderOptions& options) {
  std::error_code error;
  if (!options.input && !options.builtin && std::filesystem::exists(options.output, error)) {
    throw UsageError(Quoted(options.output) +
                     " exists, and a render with one file writes the built-in picture to it: "
                     "name the output too (render ... INPUT OUTPUT), or add --builtin to "
                     "replace it with the built-in picture");
  }
  if (options.input && SameFile(*options.input, options.output)) {
    throw UsageError("the output " + Quoted(options.output) +
                     " is the input: a render never writes over its own input; name another "
                     "output");
  }
}

bool IsClipRender(const RenderOptions& options) {
  const bool clipIn = options.input && IsClipName(*options.input);
  const bool clipOut = IsClipName(options.output);
  if (clipIn && !clipOut) {
    throw UsageError("the clip " + *options.input + " renders into a clip, not into " +
                     options.output + ": name a video file or a pattern such as out/%04d.png");
  }
  if (!clipIn && clipOut) {
    throw UsageError(
        std::string(options.input ? "the picture " + *options.input : "the built-in picture") +
        " renders into a picture file, not into the clip " + options.output);
  }
  if (!clipIn) {
    const char* clipOption = options.frames          ? "--frames"
                             : options.rate          ? "--rate"
                             : options.threads       ? "--threads"
                             : !options.serveFrames  ? "--no-get-frame"
                             : options.quiet         ? "--quiet"
                             : options.codec         ? "--codec"
                             : options.crf           ? "--crf"
                             : options.encoderPreset ? "--encoder-preset"
                             : !options.audio        ? "--no-audio"
                                                     : nullptr;
    if (clipOption != nullptr) {
      throw UsageError(std::string("option ") + clipOption +
                       " applies to clips only: a video file or a pattern such as "
                       "frames/%04d.png");
    }
  }
  return clipIn;
}

}  // namespace

PixelFormat FormatFor(const RenderOptions& options, int depth) {
  if (options.formatGiven || depth == CV_8U) return options.format;
  return PixelFormat32FBGRA;
}

RenderInfo MakeRenderInfo(const RenderOptions& options, int32_t frameNumber, double frameRate) {
  RenderInfo info{};
  info.time = frameNumber / frameRate;
  info.frameNumber = frameNumber;
  info.frameRate = frameRate;
  info.fieldMode = options.fieldMode;
  info.pixelAspect = options.pixelAspect.value_or(1.0);
  if (options.pixelAspect) info.infoFlags |= kInfoPixelAspectValid;
  return info;
}

std::vector<ParamValue> ChooseValues(IVideoEffect& effect, const std::vector<ParamInfo>& params,
                                     const RenderOptions& options) {
  std::vector<ParamValue> values;
  values.reserve(params.size());
  for (const ParamInfo& info : params)
    values.push_back(info.defaultValue);
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
    const ParamSettingValue resolved = ResolveSetting(params, setting.param, setting.value);
    values[resolved.index] = resolved.value;
  }
  return values;
}

void RunRender(const CommandLine& line) {
  const RenderOptions& options = line.render;
  CheckFiles(options);
  const bool clip = IsClipRender(options);
  // A name no codec can write is refused before any work.
  if (clip) {
    CheckClipWriter(
        {options.output, options.codec, options.crf, options.encoderPreset, options.audio});
  } else {
    CheckPictureWriter(options.output);
  }

  const LibraryLoader loader(line.library.empty() ? DefaultLibraryPath() : line.library);
  ComRef<IEffectLibrary> library = loader.CreateLibrary();
  StartSharedServices(*library);
  FoundEffect found = FindEffect(*library, options.effect);
  std::vector<ParamValue> values =
      options.presetFile ? PresetFileValues(*library, found, options, line.language)
                         : ChooseValues(*found.effect, ReadParams(*found.effect), options);
  // After a crash in the GPU the user may have chosen the CPU: that choice holds here too.
  bool gpu = options.gpu;
  if (gpu) {
    if (const std::optional<std::string> reason = ForcedCpuReason(*library)) {
      std::cerr << ForcedCpuNotice(*reason) << "\n";
      gpu = false;
    }
  }
  if (clip) {
    RenderOptions chosen = options;
    chosen.gpu = gpu;
    const ClipSummary summary = RenderClip(*found.effect, found.name, values, chosen);
    if (!options.quiet) std::cerr << SummaryText(summary) << "\n";
    return;
  }
  EffectHost host(std::move(values), NextInstanceKey());

  const cv::Mat picture = options.input ? ReadPicture(*options.input) : BuiltinPicture();
  const PixelFormat format = FormatFor(options, picture.depth());
  if ((found.effect->GetEffectTraits() & kTraitReadsOtherFrames) != 0) {
    Warn("the effect " + found.name +
         " works on the motion between neighbouring frames, which a single picture does "
         "not have, so the picture comes out unchanged; render a clip instead");
  }
  // Top-down memory goes over with `flipped` set; bottom-up memory with it clear.
  OwnedFrame source = PictureToFrame(
      picture, format, options.bottomUp ? RowOrder::kBottomFirst : RowOrder::kTopFirst);
  OwnedFrame destination = FrameLike(source.record());
  const RenderInfo info = MakeRenderInfo(options, 0, kFrameRate);

  if (gpu) {
    std::string reason;
    const std::unique_ptr<EglServices> services = CreateEglServices(&reason);
    if (services == nullptr) throw HostError("no OpenGL context for --gpu: " + reason);
    RenderOnGpu(*services, *found.effect, host, source.record(), destination.record(), info,
                found.name);
  } else if (!found.effect->Render(&host, &source.record(), 0, &destination.record(), &info)) {
    throw HostError("the effect " + found.name + " did not render the picture (" +
                    std::to_string(picture.cols) + "x" + std::to_string(picture.rows) + ", " +
                    std::string(FormatName(format)) + ")");
  }
  const cv::Mat result = FrameToPicture(destination.record());
  OutputLoss loss(options.output, picture.depth(), IsFloatFormat(format));
  for (const std::string& warning : loss.Check(result))
    Warn(warning);
  WritePicture(options.output, result);
}

}  // namespace vitrella::host
