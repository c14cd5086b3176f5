// Runs the built `vitrella` as a child process, the way a user or a script does.
#pragma once

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
