// Pieces of a test's private surroundings: a fresh temporary folder removed with its
// object, and a variable of the environment set for the test and put back afterwards.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

namespace vitrella::testing {

class TempRoot {
 public:
  // The folder is named `prefix` plus six random characters; empty if it cannot be made.
  explicit TempRoot(const char* prefix) {
    std::string pattern = std::filesystem::temp_directory_path() / (std::string(prefix) + "XXXXXX");
    path_ = mkdtemp(pattern.data()) != nullptr ? pattern : std::string();
  }
  TempRoot(const TempRoot&) = delete;
  TempRoot& operator=(const TempRoot&) = delete;
  ~TempRoot() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

class ScopedEnv {
 public:
  ScopedEnv(const char* name, const std::string& value) : name_(name) {
    const char* was = std::getenv(name);
    if (was != nullptr) old_ = was;
    setenv(name, value.c_str(), 1);
  }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;
  ~ScopedEnv() {
    if (old_) {
      setenv(name_.c_str(), old_->c_str(), 1);
    } else {
      unsetenv(name_.c_str());
    }
  }

 private:
  std::string name_;
  std::optional<std::string> old_;
};

}  // namespace vitrella::testing
