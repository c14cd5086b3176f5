// The command line of `vitrella`: commands, options and their checks.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "clip_codecs.h"
#include "vitrella/records.h"

namespace vitrella::host {

enum class Command {
  kHelp,
  kVersion,
  kList,
  kRender,
  kPresetSave,
  kPresetLoad,
  kUpdateCheck,
  kLibraryHelp,
  kOptions,
};

struct ParamSetting {
  std::string param;  // index or label, resolved against the effect later
  std::string value;
};

// Frames `first` to `last` of a clip, counted from 0; without `last`, to the clip's end.
struct FrameRange {
  int64_t first = 0;
  std::optional<int64_t> last;
};

struct RenderOptions {
  std::string effect;
  std::optional<std::string> preset;
  std::vector<ParamSetting> settings;  // in the order given; a later one wins
  PixelFormat format = PixelFormat8BGRA;
  // --format was given; otherwise a picture or clip of deeper channels renders in float.
  bool formatGiven = false;
  bool bottomUp = false;
  bool gpu = false;  // through the effect's GPU path on an EGL context
  uint16_t fieldMode = kFieldModeFrame;
  std::optional<double> pixelAspect;
  std::optional<std::string> input;  // the built-in picture when absent
  bool builtin = false;              // --builtin: the one file named is the output
  std::string output;
  // For clips only.
  std::optional<FrameRange> frames;          // the whole clip when absent
  std::optional<double> rate;                // over the clip's own frame rate
  std::optional<unsigned> threads;           // the processor's when absent
  bool serveFrames = true;                   // GetFrame serves the clip's frames
  bool quiet = false;                        // no progress bar, no summary
  std::optional<ClipCodec> codec;            // the output's extension chooses when absent
  std::optional<int> crf;                    // H.264's quality
  std::optional<std::string> encoderPreset;  // x264's speed against size
  bool audio = true;                         // the input's audio streams are copied
  // A render starts from this preset file's values; `preset save` and `preset load`,
  // which take the effect, preset and settings as a render does, write or read it.
  std::optional<std::string> presetFile;
};

struct CommandLine {
  Command command = Command::kHelp;
  std::string library;  // empty: the library beside the executable
  // help: the command asked about ("render", "list", "preset"); empty for all of them.
  std::string helpTopic;
  // list: one effect instead of all, and its presets with their values.
  std::optional<std::string> listEffect;
  bool listPresets = false;
  bool json = false;
  // The library's dialogs in this language.
  std::optional<std::string> language;
  // update-check: the download server instead of the maker's.
  std::optional<std::string> server;
  // help TOPIC: the library's help page of this topic number.
  int32_t libraryHelpTopic = 0;
  RenderOptions render;
};

// args excludes the program name. Throws UsageError with a one-line reason.
CommandLine ParseCommandLine(const std::vector<std::string>& args);

// The language codes of the library's dialogs.
const std::vector<std::string>& KnownLanguages();

// The overview of every command, or one command's help ("list", "render", "preset").
std::string UsageText(const std::string& topic = "");

// The command that args name, if any, for the hint after a usage error.
std::string CommandOf(const std::vector<std::string>& args);

}  // namespace vitrella::host
