#include "library_access.h"

#include <dlfcn.h>

#include <filesystem>
#include <mutex>
#include <utility>

namespace vitrella::frei0r {
namespace {

constexpr const char* kLibraryFileName = "Vitrella3OpenGL64.so";
// Relative to the plugin's folder: beside it, the build's bin folder above the plugins,
// and an installation's lib/vitrella beside lib/frei0r-1.
constexpr const char* kLibraryFolders[] = {".", "..", "../vitrella"};

// The module is mapped once and stays for the life of the process: effect instances may
// outlive the last f0r_deinit in hosts that unload lazily, and its code must stay.
GetEffectsLibraryFn LoadedFactory() {
  static const GetEffectsLibraryFn factory = [] {
    const std::string path = FindLibraryPath();
    if (path.empty()) return GetEffectsLibraryFn{nullptr};
    void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) return GetEffectsLibraryFn{nullptr};
    return reinterpret_cast<GetEffectsLibraryFn>(dlsym(module, kGetEffectsLibraryExport));
  }();
  return factory;
}

// The only state the plugin shares between its instances.
struct SharedLibrary {
  std::mutex mutex;
  uint32_t users = 0;
  IEffectLibrary* library = nullptr;
};

SharedLibrary& Shared() {
  static SharedLibrary shared;
  return shared;
}

}  // namespace

std::string FindLibraryPath() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&FindLibraryPath), &info) == 0 || info.dli_fname == nullptr) {
    return {};
  }
  std::error_code error;
  const std::filesystem::path self = std::filesystem::canonical(info.dli_fname, error);
  if (error) return {};
  for (const char* folder : kLibraryFolders) {
    const std::filesystem::path candidate = self.parent_path() / folder / kLibraryFileName;
    if (std::filesystem::is_regular_file(candidate, error)) {
      return candidate.lexically_normal().string();
    }
  }
  return {};
}

bool AcquireLibrary() {
  try {
    SharedLibrary& shared = Shared();
    const std::lock_guard lock(shared.mutex);
    if (shared.users == 0) {
      const GetEffectsLibraryFn factory = LoadedFactory();
      shared.library = factory != nullptr ? factory() : nullptr;
      if (shared.library == nullptr) return false;
    }
    ++shared.users;
    return true;
  } catch (...) {
    return false;
  }
}

void ReleaseLibrary() {
  SharedLibrary& shared = Shared();
  const std::lock_guard lock(shared.mutex);
  if (shared.users == 0) return;  // a deinit without its init
  if (--shared.users == 0) {
    shared.library->Release();
    shared.library = nullptr;
  }
}

namespace {

// Asks the shared library object, or one made for the moment when no host holds it.
template <typename Ask>
auto AskLibrary(Ask ask) -> decltype(ask(std::declval<IEffectLibrary&>())) {
  try {
    SharedLibrary& shared = Shared();
    {
      const std::lock_guard lock(shared.mutex);
      if (shared.library != nullptr) return ask(*shared.library);
    }
    const GetEffectsLibraryFn factory = LoadedFactory();
    IEffectLibrary* library = factory != nullptr ? factory() : nullptr;
    if (library == nullptr) return nullptr;
    auto answer = ask(*library);
    library->Release();
    return answer;
  } catch (...) {
    return nullptr;
  }
}

}  // namespace

// Effects may outlive the library object that made them.
IVideoEffect* CreateEffect(uint32_t index) {
  return AskLibrary([&](IEffectLibrary& library) { return library.CreateEffect(index); });
}

// Constant text of the module, which stays mapped.
const char* LibraryName() {
  return AskLibrary([](IEffectLibrary& library) { return library.GetLibraryName(); });
}

}  // namespace vitrella::frei0r
