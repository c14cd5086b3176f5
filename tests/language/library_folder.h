// A folder that holds a copy of the built effect library and whichever companions a test
// puts beside it, loaded from there as a host loads it.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "vitrella/vitrella.h"

namespace vitrella::testing {

class LibraryFolder {
 public:
  LibraryFolder() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "vitrella-lang-XXXXXX").string();
    if (mkdtemp(pattern.data()) != nullptr) folder_ = pattern;
  }
  LibraryFolder(const LibraryFolder&) = delete;
  LibraryFolder& operator=(const LibraryFolder&) = delete;
  ~LibraryFolder() {
    if (module_ != nullptr) dlclose(module_);
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  std::string Path(const std::string& name) const { return folder_ + "/" + name; }

  // Copies a file into the folder, under its own name or the one given.
  void Place(const std::string& from, const std::string& name = {}) const {
    const std::filesystem::path source(from);
    std::filesystem::copy_file(source, Path(name.empty() ? source.filename().string() : name),
                               std::filesystem::copy_options::overwrite_existing);
  }
  // A file of the build's bin folder, where the library and its companions stand.
  void PlaceBuilt(const std::string& name) const {
    Place(std::string(VITRELLA_BIN_DIR) + "/" + name);
  }

  // A new library object from the copy of the library in this folder.
  IEffectLibrary* OpenLibrary() {
    if (module_ == nullptr) {
      PlaceBuilt("Vitrella3OpenGL64.so");
      module_ = dlopen(Path("Vitrella3OpenGL64.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    }
    if (module_ == nullptr) return nullptr;
    const auto get =
        reinterpret_cast<GetEffectsLibraryFn>(dlsym(module_, kGetEffectsLibraryExport));
    return get != nullptr ? get() : nullptr;
  }

  // Whether the module at that path is in memory now.
  static bool IsLoaded(const std::string& path) {
    void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (module == nullptr) return false;
    dlclose(module);
    return true;
  }

  // The calls that the fake language module at that path has seen; empty when it is not
  // loaded.
  static std::string FakeCalls(const std::string& path) {
    void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (module == nullptr) return {};
    using CallsFn = const char* (*)();
    const auto calls = reinterpret_cast<CallsFn>(dlsym(module, "FakeLangCalls"));
    std::string text = calls != nullptr ? calls() : "";
    dlclose(module);
    return text;
  }

 private:
  std::string folder_;
  void* module_ = nullptr;
};

}  // namespace vitrella::testing
