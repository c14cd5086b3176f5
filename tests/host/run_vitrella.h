// Runs the built `vitrella`, or another program (ffmpeg, melt), as a child process, the way
// a user or a script does.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace vitrella::testing {

struct RunResult {
  int exitCode = -1;  // 128 + signal when the child was killed
  std::string out;
  std::string err;
};

// args exclude the program name. The child's standard output and error are captured.
RunResult RunVitrella(const std::vector<std::string>& args);

// Runs vitrella and sends it `signal` as soon as `ready` answers true (polled every few
// milliseconds), then waits for it to end.
RunResult RunVitrellaAndSignal(const std::vector<std::string>& args,
                               const std::function<bool()>& ready, int signal);

// Runs argv[0], looked up on PATH, with `env` ("NAME=value" entries) set on top of our
// environment and no standard input. When `ready` is given, sends the child `signal` as
// soon as it answers true (polled every few milliseconds), then waits for it to end.
RunResult RunProgram(const std::vector<std::string>& argv, const std::vector<std::string>& env = {},
                     const std::function<bool()>& ready = nullptr, int signal = 0);

// Whether `name` is an executable on PATH.
bool HaveProgram(const std::string& name);

// A fresh folder under the system's temporary folder, removed with the object.
class TempFolder {
 public:
  TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  ~TempFolder();

  std::string Path(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

}  // namespace vitrella::testing
