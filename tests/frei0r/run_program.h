// Runs another program (ffmpeg, melt, vitrella) as a child process, with extra
// environment variables, capturing its output.
#pragma once

#include <string>
#include <vector>

namespace vitrella::testing {

struct ProgramRun {
  int exitCode = -1;  // 128 + signal when the child was killed
  std::string out;
  std::string err;
};

// argv[0] is looked up on PATH. env: "NAME=value" entries set on top of ours.
ProgramRun RunProgram(const std::vector<std::string>& argv,
                      const std::vector<std::string>& env = {});

// Whether `name` is an executable on PATH.
bool HaveProgram(const std::string& name);

}  // namespace vitrella::testing
