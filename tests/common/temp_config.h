// Points the settings store at a fresh temporary folder for one test, so that no test
// reads or writes the real ~/.config or /etc/xdg, and puts the environment back after.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include "common/scoped_env.h"

namespace vitrella::testing {

class TempConfig {
 public:
  TempConfig() = default;
  TempConfig(const TempConfig&) = delete;
  TempConfig& operator=(const TempConfig&) = delete;

  std::string UserFile() const { return root_.path() + "/user/corvane/settings.ini"; }
  std::string MachineFile() const { return root_.path() + "/machine/corvane/settings.ini"; }

  // Writes a settings file by hand, as an administrator or a damaged disk would.
  static void WriteFile(const std::string& path, const std::string& bytes) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
  }
  static std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

 private:
  // Declared in this order: the folder is made before the variables point into it, and
  // the variables are put back before it is removed.
  TempRoot root_{"vitrella-config-"};
  ScopedEnv home_{"XDG_CONFIG_HOME", root_.path() + "/user"};
  ScopedEnv dirs_{"XDG_CONFIG_DIRS", root_.path() + "/machine"};
};

}  // namespace vitrella::testing
