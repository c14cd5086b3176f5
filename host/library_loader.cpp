#include "library_loader.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

#include "host_error.h"

namespace vitrella::host {
namespace {

constexpr const char* kLibraryFileName = "Vitrella3OpenGL64.so";

std::string LastLoaderError() {
  const char* text = dlerror();
  return text != nullptr ? text : "unknown reason";
}

}  // namespace

std::string DefaultLibraryPath() {
  std::error_code error;
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) return kLibraryFileName;
  return (self.parent_path() / kLibraryFileName).string();
}

LibraryLoader::LibraryLoader(const std::string& path) : path_(path) {
  if (path.empty()) throw HostError("the effect library path is empty");
  // A bare file name would send dlopen through the system's search path; the user
  // means the file in the current directory.
  const std::string target = path.find('/') == std::string::npos ? "./" + path : path;
  dlerror();
  handle_ = dlopen(target.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle_ == nullptr) {
    throw HostError("cannot load the effect library " + path + ": " + LastLoaderError());
  }
  auto find = [&](const char* name) {
    void* symbol = dlsym(handle_, name);
    if (symbol == nullptr) {
      dlclose(handle_);
      throw HostError("the library " + path + " lacks the export " + name +
                      "; it is not a Vitrella effect library");
    }
    return symbol;
  };
  getEffectsLibrary_ = reinterpret_cast<GetEffectsLibraryFn>(find(kGetEffectsLibraryExport));
  canUnloadNow_ = reinterpret_cast<CanUnloadDLLNowFn>(find(kCanUnloadDLLNowExport));
  find(kDisplayPromotionWExport);
}

LibraryLoader::~LibraryLoader() {
  // A module that still has live objects must stay mapped; it says so here.
  if (canUnloadNow_()) dlclose(handle_);
}

ComRef<IEffectLibrary> LibraryLoader::CreateLibrary() const {
  ComRef<IEffectLibrary> library(getEffectsLibrary_());
  if (!library) throw HostError("the effect library " + path_ + " made no library object");
  return library;
}

}  // namespace vitrella::host
