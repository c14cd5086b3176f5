// Points the settings store at a fresh temporary folder for one test, so that no test
// reads or writes the real ~/.config or /etc/xdg, and puts the environment back after.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

namespace vitrella::testing {

class TempConfig {
 public:
  TempConfig() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vitrella-config-XXXXXX");
    root_ = mkdtemp(pattern.data()) != nullptr ? pattern : std::string();
    Keep("XDG_CONFIG_HOME", root_ + "/user");
    Keep("XDG_CONFIG_DIRS", root_ + "/machine");
  }
  TempConfig(const TempConfig&) = delete;
  TempConfig& operator=(const TempConfig&) = delete;
  ~TempConfig() {
    Restore("XDG_CONFIG_HOME", home_);
    Restore("XDG_CONFIG_DIRS", dirs_);
    std::error_code ignored;
    if (!root_.empty()) std::filesystem::remove_all(root_, ignored);
  }

  std::string UserFile() const { return root_ + "/user/corvane/settings.ini"; }
  std::string MachineFile() const { return root_ + "/machine/corvane/settings.ini"; }

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
  void Keep(const char* name, const std::string& value) {
    const char* old = std::getenv(name);
    (std::string(name) == "XDG_CONFIG_HOME" ? home_ : dirs_) =
        old != nullptr ? std::optional<std::string>(old) : std::nullopt;
    setenv(name, value.c_str(), 1);
  }
  static void Restore(const char* name, const std::optional<std::string>& value) {
    if (value) {
      setenv(name, value->c_str(), 1);
    } else {
      unsetenv(name);
    }
  }

  std::string root_;
  std::optional<std::string> home_;
  std::optional<std::string> dirs_;
};

}  // namespace vitrella::testing
