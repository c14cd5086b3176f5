// The command line of `vitrella`: commands, options and their checks.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "vitrella/records.h"

namespace vitrella::host {

enum class Command { kHelp, kList, kRender };

struct ParamSetting {
  std::string param;  // index or label, resolved against the effect later
  std::string value;
};

struct RenderOptions {
  std::string effect;
  std::optional<std::string> preset;
  std::vector<ParamSetting> settings;  // in the order given; a later one wins
  PixelFormat format = PixelFormat8BGRA;
  bool bottomUp = false;
  uint16_t fieldMode = kFieldModeFrame;
  std::optional<double> pixelAspect;
  std::optional<std::string> input;  // the built-in picture when absent
  std::string output;
};

struct CommandLine {
  Command command = Command::kHelp;
  std::string library;  // empty: the library beside the executable
  bool json = false;    // list
  RenderOptions render;
};

// args excludes the program name. Throws UsageError with a one-line reason.
CommandLine ParseCommandLine(const std::vector<std::string>& args);

std::string UsageText();

}  // namespace vitrella::host
