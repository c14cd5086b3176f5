#include "command_line.h"

#include <charconv>
#include <cmath>
#include <string_view>

#include "host_error.h"
#include "host_frames.h"
#include "param_text.h"

namespace vitrella::host {
namespace {

// Walks the arguments, splitting "--name=value" and taking an option's value from the
// next argument otherwise.
class ArgumentReader {
 public:
  explicit ArgumentReader(const std::vector<std::string>& args) : args_(args) {}

  bool Done() const { return next_ >= args_.size(); }
  const std::string& Peek() const { return args_[next_]; }
  std::string Take() { return args_[next_++]; }

  // Splits an option argument into its name and an inline value, if any.
  static std::pair<std::string, std::optional<std::string>> Split(const std::string& arg) {
    const size_t equals = arg.find('=');
    if (arg.rfind("--", 0) != 0 || equals == std::string::npos) return {arg, std::nullopt};
    return {arg.substr(0, equals), arg.substr(equals + 1)};
  }

  std::string Value(const std::string& name, std::optional<std::string> inlineValue) {
    if (inlineValue) return *inlineValue;
    if (Done()) throw UsageError("option " + name + " needs a value");
    return Take();
  }

 private:
  const std::vector<std::string>& args_;
  size_t next_ = 0;
};

bool IsHelp(std::string_view arg) {
  return arg == "--help" || arg == "-h";
}

PixelFormat ParseFormat(const std::string& text) {
  const std::optional<PixelFormat> format = ParseFormatName(text);
  if (!format) {
    throw UsageError("unknown format '" + text + "'; use bgra8, argb8, bgra32f or argb32f");
  }
  return *format;
}

uint16_t ParseFieldMode(const std::string& text) {
  unsigned value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (text.empty() || error != std::errc() || stop != end || value > 0xFFFF) {
    throw UsageError("bad field mode '" + text + "': expected a number from 0 to 65535");
  }
  return static_cast<uint16_t>(value);
}

double ParsePixelAspect(const std::string& text) {
  double value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (text.empty() || error != std::errc() || stop != end || !std::isfinite(value) || value <= 0) {
    throw UsageError("bad pixel aspect '" + text + "': expected a positive number");
  }
  return value;
}

// "A-B" or "A-": whole numbers, A not above B.
FrameRange ParseFrameRange(const std::string& text) {
  const auto bad = [&](const std::string& why) {
    return UsageError("bad frame range '" + text + "': " + why);
  };
  const size_t dash = text.find('-');
  if (dash == std::string::npos) throw bad("expected A-B or A-, frames counted from 0");
  const auto number = [&](const std::string& part) {
    uint32_t value = 0;
    if (!ParseIndex(part, &value)) {
      throw bad("expected A-B or A-, frames counted from 0");
    }
    return int64_t{value};
  };
  FrameRange range;
  range.first = number(text.substr(0, dash));
  if (dash + 1 < text.size()) {
    range.last = number(text.substr(dash + 1));
    if (*range.last < range.first) throw bad("the last frame comes before the first");
  }
  return range;
}

double ParseRate(const std::string& text) {
  double value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (text.empty() || error != std::errc() || stop != end || !std::isfinite(value) || value <= 0 ||
      value > 1000) {
    throw UsageError("bad frame rate '" + text +
                     "': expected frames per second above 0, up to 1000");
  }
  return value;
}

unsigned ParseThreads(const std::string& text) {
  uint32_t value = 0;
  if (!ParseIndex(text, &value) || value < 1 || value > 256) {
    throw UsageError("bad thread count '" + text + "': expected a number from 1 to 256");
  }
  return value;
}

ParamSetting ParseSetting(const std::string& text) {
  const size_t equals = text.find('=');
  if (equals == std::string::npos) {
    throw UsageError("bad setting '" + text + "': expected PARAM=VALUE");
  }
  return {text.substr(0, equals), text.substr(equals + 1)};
}

template <typename T>
void SetOnce(std::optional<T>& field, T value, const std::string& name) {
  if (field) throw UsageError("option " + name + " is given twice");
  field = std::move(value);
}

// The options and operands of a command, in order. `option` takes an option of the
// command by name (with its value through the reader) and answers whether it knows it; help,
// --library, --language and "--" are taken here. False when help was asked for.
template <typename Option>
bool ReadArguments(ArgumentReader& reader, CommandLine& line, const std::string& command,
                   std::vector<std::string>& positional, const Option& option) {
  bool optionsEnded = false;
  while (!reader.Done()) {
    const std::string arg = reader.Take();
    if (optionsEnded || arg.empty() || arg[0] != '-' || arg == "-") {
      positional.push_back(arg);
      continue;
    }
    auto [name, inlineValue] = ArgumentReader::Split(arg);
    if (name == "--") {
      optionsEnded = true;
    } else if (IsHelp(name)) {
      line.command = Command::kHelp;
      return false;
    } else if (name == "--language") {
      SetOnce(line.language, reader.Value(name, inlineValue), name);
    } else if (name == "--library") {
      line.library = reader.Value(name, inlineValue);
    } else if (!option(name, inlineValue)) {
      throw UsageError("unknown option '" + arg + "' for " + command);
    }
  }
  return true;
}

void ParseRender(ArgumentReader& reader, CommandLine& line) {
  RenderOptions& render = line.render;
  std::optional<std::string> effect, format, fieldMode;
  std::vector<std::string> positional;
  const auto option = [&](const std::string& name, const std::optional<std::string>& inlineValue) {
    if (name == "--effect") {
      SetOnce(effect, reader.Value(name, inlineValue), name);
    } else if (name == "--preset") {
      SetOnce(render.preset, reader.Value(name, inlineValue), name);
    } else if (name == "--set") {
      render.settings.push_back(ParseSetting(reader.Value(name, inlineValue)));
    } else if (name == "--format") {
      SetOnce(format, reader.Value(name, inlineValue), name);
      render.format = ParseFormat(*format);
    } else if (name == "--bottom-up" && !inlineValue) {
      render.bottomUp = true;
    } else if (name == "--gpu" && !inlineValue) {
      render.gpu = true;
    } else if (name == "--field-mode") {
      SetOnce(fieldMode, reader.Value(name, inlineValue), name);
      render.fieldMode = ParseFieldMode(*fieldMode);
    } else if (name == "--pixel-aspect") {
      SetOnce(render.pixelAspect, ParsePixelAspect(reader.Value(name, inlineValue)), name);
    } else if (name == "--frames") {
      SetOnce(render.frames, ParseFrameRange(reader.Value(name, inlineValue)), name);
    } else if (name == "--rate") {
      SetOnce(render.rate, ParseRate(reader.Value(name, inlineValue)), name);
    } else if (name == "--threads") {
      SetOnce(render.threads, ParseThreads(reader.Value(name, inlineValue)), name);
    } else if (name == "--no-get-frame" && !inlineValue) {
      render.serveFrames = false;
    } else if (name == "--quiet" && !inlineValue) {
      render.quiet = true;
    } else if (name == "--preset-file") {
      SetOnce(render.presetFile, reader.Value(name, inlineValue), name);
    } else {
      return false;
    }
    return true;
  };
  if (!ReadArguments(reader, line, "render", positional, option)) return;
  if (!effect) throw UsageError("render needs --effect NAME or --effect INDEX");
  render.effect = *effect;
  if (render.preset && render.presetFile) {
    throw UsageError("--preset and --preset-file both choose the starting values; give one");
  }
  if (line.language && !render.presetFile) {
    throw UsageError("option --language applies to a render with --preset-file only");
  }
  if (positional.empty()) throw UsageError("render needs an output file");
  if (positional.size() > 2) {
    throw UsageError("render takes at most an input and an output file, not '" + positional[2] +
                     "'");
  }
  if (positional.size() == 2) render.input = positional[0];
  render.output = positional.back();
}

// `preset save|load`: the effect and the preset file; a save takes the values as a
// render chooses them.
void ParsePreset(ArgumentReader& reader, CommandLine& line) {
  if (reader.Done()) throw UsageError("preset needs save or load");
  const std::string action = reader.Take();
  if (IsHelp(action)) return;
  if (action != "save" && action != "load") {
    throw UsageError("unknown preset action '" + action + "'; use save or load");
  }
  const bool save = action == "save";
  line.command = save ? Command::kPresetSave : Command::kPresetLoad;
  RenderOptions& options = line.render;
  std::optional<std::string> effect;
  std::vector<std::string> positional;
  const auto option = [&](const std::string& name, const std::optional<std::string>& inlineValue) {
    if (name == "--effect") {
      SetOnce(effect, reader.Value(name, inlineValue), name);
    } else if (save && name == "--preset") {
      SetOnce(options.preset, reader.Value(name, inlineValue), name);
    } else if (save && name == "--set") {
      options.settings.push_back(ParseSetting(reader.Value(name, inlineValue)));
    } else {
      return false;
    }
    return true;
  };
  if (!ReadArguments(reader, line, "preset " + action, positional, option)) return;
  if (!effect) throw UsageError("preset " + action + " needs --effect NAME or --effect INDEX");
  options.effect = *effect;
  if (positional.size() != 1 || positional[0].empty()) {
    throw UsageError("preset " + action + " needs exactly one preset file");
  }
  options.presetFile = positional[0];
}

void ParseList(ArgumentReader& reader, CommandLine& line) {
  while (!reader.Done()) {
    const std::string arg = reader.Take();
    auto [name, inlineValue] = ArgumentReader::Split(arg);
    if (IsHelp(name)) {
      line.command = Command::kHelp;
      return;
    } else if (name == "--json" && !inlineValue) {
      line.json = true;
    } else if (name == "--library") {
      line.library = reader.Value(name, inlineValue);
    } else {
      throw UsageError("unknown argument '" + arg + "' for list");
    }
  }
}

}  // namespace

CommandLine ParseCommandLine(const std::vector<std::string>& args) {
  CommandLine line;
  ArgumentReader reader(args);
  // Options before the command apply to every command.
  while (!reader.Done() && reader.Peek().starts_with('-')) {
    const std::string arg = reader.Take();
    auto [name, inlineValue] = ArgumentReader::Split(arg);
    if (IsHelp(name)) return line;
    if (name != "--library") throw UsageError("unknown option '" + arg + "'");
    line.library = reader.Value(name, inlineValue);
  }
  if (reader.Done()) throw UsageError("no command given");
  const std::string command = reader.Take();
  if (command == "help") {
    line.command = Command::kHelp;
  } else if (command == "list") {
    line.command = Command::kList;
    ParseList(reader, line);
  } else if (command == "render") {
    line.command = Command::kRender;
    ParseRender(reader, line);
  } else if (command == "preset") {
    ParsePreset(reader, line);
  } else {
    throw UsageError("unknown command '" + command + "'");
  }
  return line;
}

std::string UsageText() {
  return R"(Usage:
  vitrella [--library PATH] list [--json]
  vitrella [--library PATH] render --effect NAME|INDEX [options] [INPUT] OUTPUT
  vitrella [--library PATH] preset save --effect NAME|INDEX [--preset NAME|INDEX]
                                        [--set PARAM=VALUE ...] [--language CODE] FILE
  vitrella [--library PATH] preset load --effect NAME|INDEX [--language CODE] FILE
  vitrella help | --help

Commands:
  list        Describe every effect of the library: traits, GPU support, parameters,
              tooltips and built-in presets. --json prints one JSON document instead.
  render      Render one picture through an effect. Without INPUT the built-in test
              picture (1280x720) is used. OUTPUT keeps alpha; PNG is written with 8-bit
              channels for byte formats and 16-bit channels for float formats.
              INPUT may also be a clip, rendered frame by frame on several threads into a
              clip OUTPUT: a video file (.avi, .mp4, .mov, .mkv, ...) or numbered pictures
              given as a pattern such as frames/%04d.png (first number 0 or 1, up to the
              first missing one). Videos are written as .avi or .mkv (Motion JPEG) or .mp4,
              .m4v or .mov (MPEG-4), without alpha; pictures of a pattern OUTPUT carry the
              numbers of their source frames.

  preset save Write a preset file through the library, with the values a render would use
              (defaults, then --preset, then --set). FILE answers the library's save
              dialog; a name without an extension gets the effect's own (.fxpzr3d for
              Edge Smoother).
  preset load Read a preset file through the library and print its values, what the
              library showed (dialog title and filter, message boxes) and its result:
              0 loaded, 1 failed, 2 a preset of another effect.

Options:
  --library PATH        the effect library (default: Vitrella3OpenGL64.so beside vitrella)
  --effect NAME|INDEX   the effect, by name (any case) or index
  --preset NAME|INDEX   start from a built-in preset instead of the defaults
  --set PARAM=VALUE     set one parameter; repeatable, applied after the preset.
                        PARAM is an index or a label (any case, or the start of one label)
  --format FORMAT       frame format handed to the effect: bgra8 (default), argb8,
                        bgra32f, argb32f
  --bottom-up           hand the frame over bottom row first (flipped clear)
  --gpu                 render a picture through the effect's GPU path, on an OpenGL
                        context of EGL (surfaceless Mesa without a GPU)
  --field-mode N        field mode of the render, 0 to 65535 (default 3, a whole frame)
  --pixel-aspect X      pixel aspect ratio, marked valid for the effect
  --preset-file FILE    start from the values of a preset file instead of the defaults
  --language CODE       the library's dialogs in this language (de, fr, es, it, pt, ja,
                        en); preset commands and renders with --preset-file

Options for clips:
  --frames A-B          render frames A to B of the clip, counted from 0; A- to the end
  --rate R              frames per second handed to the effect (default: the clip's own,
                        25 for numbered pictures)
  --threads N           render threads, 1 to 256 (default: one per processor)
  --no-get-frame        do not serve other frames of the clip to the effect; an effect
                        that reads them then renders the frames in order on one thread
  --quiet               no progress bar and no summary line on standard error

Values by parameter kind:
  slider  a fraction from 0 to 1 of the shown range      Strength=0.5
  point   x,y as fractions of the frame, y from the top  Centre=0.5,0.4
  color   #RRGGBB                                        Tint=#FF8000
  check   on or off                                      "Show changed pixels=on"
  choice  the entry's text or its index                  Mode=Screen
  group   takes no value

Exit status: 0 on success, 1 when the work fails, 2 for a wrong command line, 3 when
preset load finds a preset of another effect.
)";
}

}  // namespace vitrella::host
