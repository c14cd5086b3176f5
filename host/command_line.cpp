#include "command_line.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string_view>

#include "host_error.h"
#include "host_frames.h"
#include "message_text.h"
#include "name_match.h"
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
    throw UsageError("unknown format " + Quoted(text) + "; use bgra8, argb8, bgra32f or argb32f");
  }
  return *format;
}

uint16_t ParseFieldMode(const std::string& text) {
  unsigned value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (text.empty() || error != std::errc() || stop != end || value > 0xFFFF) {
    throw UsageError("bad field mode " + Quoted(text) + ": expected a number from 0 to 65535");
  }
  return static_cast<uint16_t>(value);
}

double ParsePixelAspect(const std::string& text) {
  double value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (text.empty() || error != std::errc() || stop != end || !std::isfinite(value) || value <= 0) {
    throw UsageError("bad pixel aspect " + Quoted(text) + ": expected a positive number");
  }
  return value;
}

// "A-B" or "A-": whole numbers, A not above B.
FrameRange ParseFrameRange(const std::string& text) {
  const auto bad = [&](const std::string& why) {
    return UsageError("bad frame range " + Quoted(text) + ": " + why);
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
    throw UsageError("bad frame rate " + Quoted(text) +
                     ": expected frames per second above 0, up to 1000");
  }
  return value;
}

unsigned ParseThreads(const std::string& text) {
  uint32_t value = 0;
  if (!ParseIndex(text, &value) || value < 1 || value > 256) {
    throw UsageError("bad thread count " + Quoted(text) + ": expected a number from 1 to 256");
  }
  return value;
}

int ParseCrf(const std::string& text) {
  uint32_t value = 0;
  if (!ParseIndex(text, &value) || value > 51) {
    throw UsageError("bad --crf " + Quoted(text) + ": expected a number from 0 (lossless) to 51");
  }
  return static_cast<int>(value);
}

std::string ParseEncoderPreset(const std::string& text) {
  if (!IsEncoderPreset(text)) {
    throw UsageError("unknown encoder preset " + Quoted(text) +
                     "; use ultrafast, superfast, veryfast, faster, fast, medium, slow, slower, "
                     "veryslow or placebo");
  }
  return text;
}

ParamSetting ParseSetting(const std::string& text) {
  const size_t equals = text.find('=');
  if (equals == std::string::npos) {
    throw UsageError("bad setting " + Quoted(text) + ": expected PARAM=VALUE");
  }
  return {text.substr(0, equals), text.substr(equals + 1)};
}

std::string ParseLanguage(const std::string& text) {
  std::string code = FoldName(text);
  const std::vector<std::string>& known = KnownLanguages();
  if (std::find(known.begin(), known.end(), code) == known.end()) {
    std::string list;
    for (const std::string& language : known)
      list += (list.empty() ? "" : ", ") + language;
    throw UsageError("unknown language " + Quoted(text) + "; the library's dialogs come in " +
                     list);
  }
  return code;
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
      line.helpTopic = command.substr(0, command.find(' '));
      return false;
    } else if (name == "--language") {
      SetOnce(line.language, ParseLanguage(reader.Value(name, inlineValue)), name);
    } else if (name == "--library") {
      line.library = reader.Value(name, inlineValue);
    } else if (!option(name, inlineValue)) {
      throw UsageError("unknown option " + Quoted(arg) + " for " + command);
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
      render.formatGiven = true;
    } else if (name == "--builtin" && !inlineValue) {
      render.builtin = true;
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
    } else if (name == "--codec") {
      SetOnce(render.codec, ParseClipCodec(reader.Value(name, inlineValue)), name);
    } else if (name == "--crf") {
      SetOnce(render.crf, ParseCrf(reader.Value(name, inlineValue)), name);
    } else if (name == "--encoder-preset") {
      SetOnce(render.encoderPreset, ParseEncoderPreset(reader.Value(name, inlineValue)), name);
    } else if (name == "--no-audio" && !inlineValue) {
      render.audio = false;
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
    throw UsageError("render takes at most an input and an output file, not " +
                     Quoted(positional[2]));
  }
  if (positional.size() == 2 && render.builtin) {
    throw UsageError("--builtin renders the built-in picture: give the output file alone");
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
    throw UsageError("unknown preset action " + Quoted(action) + "; use save or load");
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

// `list [EFFECT [--presets]] [--json]`.
void ParseList(ArgumentReader& reader, CommandLine& line) {
  std::vector<std::string> positional;
  const auto option = [&](const std::string& name, const std::optional<std::string>& inlineValue) {
    if (name == "--json" && !inlineValue) {
      line.json = true;
    } else if (name == "--presets" && !inlineValue) {
      line.listPresets = true;
    } else {
      return false;
    }
    return true;
  };
  if (!ReadArguments(reader, line, "list", positional, option)) return;
  if (line.language) throw UsageError("option --language applies to preset commands and renders");
  if (positional.size() > 1) {
    throw UsageError("list takes at most one effect, not " + Quoted(positional[1]));
  }
  if (!positional.empty()) line.listEffect = positional[0];
  if (line.listPresets && !line.listEffect) {
    throw UsageError(
        "--presets lists one effect's presets: name the effect, as in "
        "vitrella list Spotlight --presets");
  }
}

// `update-check [--server URL]` and `options`, which take no operand.
void ParseServicesCommand(ArgumentReader& reader, CommandLine& line, const std::string& command) {
  std::vector<std::string> positional;
  const auto option = [&](const std::string& name, const std::optional<std::string>& inlineValue) {
    if (name != "--server" || command != "update-check") return false;
    SetOnce(line.server, reader.Value(name, inlineValue), name);
    const std::string scheme = FoldName(line.server->substr(0, line.server->find(':')));
    if ((scheme != "http" && scheme != "https") || line.server->find("://") == std::string::npos) {
      throw UsageError("bad server " + Quoted(*line.server) +
                       ": expected an address such as http://127.0.0.1:8080");
    }
    return true;
  };
  if (!ReadArguments(reader, line, command, positional, option)) return;
  if (!positional.empty()) {
    throw UsageError(command + " takes no operand, not " + Quoted(positional[0]));
  }
}

// `help [COMMAND]`, or `help TOPIC` with the number of a topic of the library's help.
void ParseHelp(ArgumentReader& reader, CommandLine& line) {
  line.command = Command::kHelp;
  if (reader.Done()) return;
  const std::string topic = reader.Take();
  if (!reader.Done()) throw UsageError("help takes one command, not " + Quoted(reader.Peek()));
  for (const char* command : {"list", "render", "preset", "update-check", "options", "help"}) {
    if (topic == command) {
      line.helpTopic = topic == "help" ? "" : topic;
      return;
    }
  }
  uint32_t number = 0;
  if (ParseIndex(topic, &number) && number <= 0x7FFFFFFF) {
    line.command = Command::kLibraryHelp;
    line.libraryHelpTopic = static_cast<int32_t>(number);
    return;
  }
  throw UsageError(
      "no help for " + Quoted(topic) +
      "; the commands are list, render, preset, update-check and options, and a number "
      "opens that topic of the library's help");
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
    if (name == "--version" && !inlineValue) {
      line.command = Command::kVersion;
      continue;
    }
    if (name != "--library") throw UsageError("unknown option " + Quoted(arg));
    line.library = reader.Value(name, inlineValue);
  }
  if (line.command == Command::kVersion) {
    if (!reader.Done()) throw UsageError("--version takes no command");
    return line;
  }
  if (reader.Done()) throw UsageError("no command given");
  const std::string command = reader.Take();
  if (command == "help") {
    ParseHelp(reader, line);
  } else if (command == "list") {
    line.command = Command::kList;
    ParseList(reader, line);
  } else if (command == "render") {
    line.command = Command::kRender;
    ParseRender(reader, line);
  } else if (command == "preset") {
    ParsePreset(reader, line);
  } else if (command == "update-check") {
    line.command = Command::kUpdateCheck;
    ParseServicesCommand(reader, line, command);
  } else if (command == "options") {
    line.command = Command::kOptions;
    ParseServicesCommand(reader, line, command);
  } else {
    const std::vector<std::string> nearest =
        NearestNames(command, {"list", "render", "preset", "update-check", "options", "help"});
    throw UsageError("unknown command " + Quoted(command) + Suggestion(nearest));
  }
  return line;
}

const std::vector<std::string>& KnownLanguages() {
  static const std::vector<std::string> languages = {"de", "en", "es", "fr", "it", "ja", "pt"};
  return languages;
}

std::string CommandOf(const std::vector<std::string>& args) {
  for (size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--library") {
      ++i;  // its value
    } else if (args[i] == "list" || args[i] == "render" || args[i] == "preset" ||
               args[i] == "update-check" || args[i] == "options") {
      return args[i];
    } else if (!args[i].starts_with('-')) {
      return "";
    }
  }
  return "";
}

namespace {

constexpr const char* kOverview =
    R"(vitrella renders pictures and clips through the effects of the Vitrella library,
describes the effects, and writes and reads their preset files.

Usage:
  vitrella [--library PATH] list [EFFECT [--presets]] [--json]
  vitrella [--library PATH] render --effect EFFECT [options] [INPUT] OUTPUT
  vitrella [--library PATH] preset save --effect EFFECT [--preset NAME] [--set PARAM=VALUE ...] FILE
  vitrella [--library PATH] preset load --effect EFFECT FILE
  vitrella [--library PATH] update-check [--server URL]
  vitrella [--library PATH] options
  vitrella help [COMMAND | TOPIC]
  vitrella --version

Commands:
  list        Describe every effect, or one effect as its panel shows it, or its presets.
  render      Render a picture or a clip through an effect.
  preset      Write or read a preset file through the library.
  update-check
              Ask the download server whether a newer build of the library exists.
  options     Show the library's options dialog and keep what it stores.
  help        This text, or one command's: vitrella help render; with a number, open
              that topic of the library's help page: vitrella help 300.

Options of every command:
  --library PATH        the effect library (default: Vitrella3OpenGL64.so beside vitrella)
  --version             the version of vitrella and of the library it loads
  --help, -h            help, for the command it follows

Exit status: 0 on success, 1 when the work fails, 2 for a wrong command line, 3 when
preset load finds a preset of another effect, 130 and 143 when SIGINT or SIGTERM stopped
the work. Every failure is one line on standard error that starts with "vitrella:".
)";

constexpr const char* kListHelp =
    R"(Usage: vitrella [--library PATH] list [EFFECT [--presets]] [--json]

Without EFFECT, describes every effect of the library: traits, GPU support, parameters with
their defaults, panel places and tooltips, and built-in presets, then which effects take
the GPU path on this machine.

With EFFECT (a name in any case and spacing, or an index), shows that effect's parameters
grouped as on its panel, each with its kind, default and range. With --presets, shows its
presets instead, each with its values by parameter name, in the forms that --set takes.

Options:
  --presets             one effect's presets and their values
  --json                one JSON document instead of text; each parameter carries its group
)";

constexpr const char* kRenderHelp =
    R"(Usage: vitrella [--library PATH] render --effect EFFECT [options] [INPUT] OUTPUT

Renders one picture through an effect. Without INPUT the built-in test picture (1280x720)
is rendered; a single file that exists is refused as OUTPUT unless --builtin is given, so
that a picture meant as the input is never overwritten. INPUT is never overwritten: an
OUTPUT that names it is refused. OUTPUT is written beside its final name and renamed when
complete, so an existing file is replaced whole or not at all.

Pictures: PNG, JPEG, TIFF, WebP, BMP, EXR and the other formats OpenCV reads. A damaged or
truncated picture fails. Pictures with 16-bit or float channels render in float unless
--format is given. PNG and TIFF keep 16 bits of float results, EXR keeps floats whole;
other formats keep 8 bits. PNG, TIFF, WebP and EXR keep alpha. When OUTPUT cannot hold
what the effect made (alpha, deep channels, values beyond 0..1), a warning says so.

Clips: INPUT may be a video file (.avi, .mp4, .mov, .mkv, ...) or numbered pictures given
as a pattern such as frames/%04d.png (first number 0 or 1, up to the first missing one).
It renders frame by frame on several threads into a clip OUTPUT: a video, or a pattern,
whose pictures carry the numbers of their source frames. A video keeps the input's
timestamps, rate, pixel shape and colour tags, and its audio streams, copied unchanged.
Its codec follows the extension unless --codec is given: .mp4 and .m4v H.264, .mov ProRes
422 HQ, .mkv FFV1, .avi Motion JPEG. Clips deeper than 8 bits render in float and are
written in 10 bits (H.264, ProRes) or 16 (FFV1); ProRes 4444 and FFV1 keep alpha. SIGINT
or SIGTERM stops the render and removes what it wrote.

Options:
  --effect EFFECT       the effect, by name (any case and spacing) or index
  --preset NAME         start from a built-in preset (by name or index)
  --preset-file FILE    start from the values of a preset file
  --set PARAM=VALUE     set one parameter; repeatable, applied after the preset
  --builtin             render the built-in picture; the one file given is the output
  --format FORMAT       frame format handed to the effect: bgra8, argb8, bgra32f, argb32f
                        (default: bgra8, or bgra32f for inputs deeper than 8 bits)
  --bottom-up           hand the frame over bottom row first (flipped clear)
  --gpu                 render through the effect's GPU path, on an OpenGL context of
                        EGL (surfaceless Mesa without a GPU); a clip on one GPU thread.
                        "Forced CPU" in the settings sends it to the CPU, with a notice
  --field-mode N        field mode of the render, 0 to 65535 (default 3, a whole frame)
  --pixel-aspect X      pixel aspect ratio, marked valid for the effect
  --language CODE       the library's dialogs in this language, for --preset-file: de, en,
                        es, fr, it, ja or pt (message boxes stay in English)

Options for clips:
  --frames A-B          render frames A to B of the clip, counted from 0; A- to the end
  --rate R              frames per second handed to the effect (default: the clip's own,
                        25 for numbered pictures)
  --threads N           render threads, 1 to 256 (default: one per processor)
  --no-get-frame        do not serve other frames of the clip to the effect; an effect
                        that reads them then renders the frames in order on one thread
  --quiet               no progress bar and no summary line on standard error
  --codec CODEC         h264, prores, prores4444, ffv1, mjpeg, or png and exr for numbered
                        pictures (default: by the output's extension)
  --crf N               H.264 quality, 0 (lossless) to 51 (default 18)
  --encoder-preset P    H.264 speed against size, ultrafast to placebo (default medium)
  --no-audio            leave the input's audio streams out

Parameters: PARAM is an index, a label, or a label under its group, as the panel shows
them: Strength, "Show changed pixels", Background/Tint, Spotlight/Blur. Names match in any
case and spacing, and a label may be shortened to its start where that is unambiguous.
Where two parameters share a name, the value's form tells them apart (Background/Tint is
a colour with #RRGGBB and a slider with a number). vitrella list EFFECT shows the names.

Values by parameter kind:
  slider  a fraction from 0 to 1 of the shown range         Strength=0.5
          or the value the panel shows, marked with % or a  Size=50%  Brightness=+20
          sign (+ or -)
  point   x,y as fractions of the frame, y from the top     Center=0.5,0.4
  color   #RRGGBB                                           Tint=#FF8000
  check   on or off                                         "Show changed pixels=on"
  choice  the entry's text (any case) or its index          "Border Fill=Zoom"
  group   takes no value
)";

constexpr const char* kPresetHelp =
    R"(Usage: vitrella [--library PATH] preset save --effect EFFECT [--preset NAME]
                                      [--set PARAM=VALUE ...] [--language CODE] FILE
       vitrella [--library PATH] preset load --effect EFFECT [--language CODE] FILE

preset save writes a preset file through the library, with the values a render would use
(defaults, then --preset, then --set; see vitrella help render for the forms). FILE answers
the library's save dialog; a name without an extension gets the effect's own (.fxpzr3d for
Edge Smoother). An existing file that is not a preset file is never replaced.

preset load reads a preset file through the library and prints its values, what the
library showed (dialog title and filter, message boxes) and its result: 0 loaded, 1 failed,
2 a preset of another effect. A failure also gives one line on standard error with the
reason.

Options:
  --effect EFFECT       the effect, by name (any case and spacing) or index
  --preset NAME         save: start from a built-in preset
  --set PARAM=VALUE     save: set one parameter; repeatable
  --language CODE       the library's dialogs in this language: de, en, es, fr, it, ja or
                        pt (message boxes stay in English)
)";

constexpr const char* kUpdateCheckHelp =
    R"(Usage: vitrella [--library PATH] update-check [--server URL] [--language CODE]

Asks the download server whether a newer build of the library exists for this host, and
prints what the library's update dialog would show: that this is the most current
version, or the newest build with its fixed faults and added features, followed by the
download address. The exit status is 0 when the server answered and 1 when it could not
be reached or its answer could not be read.

Options:
  --server URL          the download server (default: the maker's), as
                        http://127.0.0.1:8080; the file asked for is
                        URL/downloads/Windows/vitrella3.xml
  --language CODE       the texts in this language: de, en, es, fr, it, ja or pt
)";

constexpr const char* kOptionsHelp =
    R"(Usage: vitrella [--library PATH] options [--language CODE]

Shows the library's options dialog: the settings shared by its effects (up and down
knob control, key frames instead of presets, crop overscan, forced CPU for this
collection and for all), help, the GPU report and the update check. OK stores each
setting at once in ~/.config/corvane/settings.ini ($XDG_CONFIG_HOME when set), where every
later process reads it; Cancel stores nothing. It prints how the dialog closed and the
settings the library holds afterwards.

On a desktop ($DISPLAY set) the dialog shows in a window of its own, drawn by
VitrellaFormHelper beside the library ($VITRELLA_FORM_HELPER names another); Return
presses OK and Escape Cancel. With VITRELLA_UI=headless, without a display, or when the
helper cannot show it, the dialog runs headless: its steps come from
VITRELLA_UI_FORM, separated by blanks or commas, "ID=on" or "ID=off" for a check box
and "ID" for a button, as in VITRELLA_UI_FORM="230=on 1036=off 1". Without steps it
closes as Cancel. Check boxes: 230 knobs, 233 key frames, 231 crop overscan, 1015 forced
CPU for this collection, 1036 for all; buttons: 1 OK, 2 Cancel, 9 Help, 232 the maker's
page, 1011 Check for Update, 1016 GPU report (closed by 1018). In the update dialog, 260
opens the download and 2 cancels.

Options:
  --language CODE       the dialog in this language: de, en, es, fr, it, ja or pt
)";

}  // namespace

std::string UsageText(const std::string& topic) {
  if (topic == "options") return kOptionsHelp;
  if (topic == "update-check") return kUpdateCheckHelp;
  if (topic == "list") return kListHelp;
  if (topic == "render") return kRenderHelp;
  if (topic == "preset") return kPresetHelp;
  return kOverview;
}

}  // namespace vitrella::host
