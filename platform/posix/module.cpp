#include "platform/module.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <climits>

#include "platform/text.h"

namespace vitrella::platform {

ModuleHandle ThisModule() {
  // glibc's link map of the object that holds this function doubles as its dlopen handle.
  Dl_info info{};
  link_map* map = nullptr;
  if (dladdr1(reinterpret_cast<void*>(&ThisModule), &info, reinterpret_cast<void**>(&map),
              RTLD_DL_LINKMAP) == 0) {
    return nullptr;
  }
  return map;
}

ModuleHandle LoadModule(const std::u16string& path) {
  if (path.empty()) return nullptr;
  const std::string narrow = WideToUtf8(path);
  return dlopen(narrow.c_str(), RTLD_NOW | RTLD_LOCAL);
}

void* FindSymbol(ModuleHandle module, const char* name) {
  if (module == nullptr || name == nullptr) return nullptr;
  return dlsym(module, name);
}

void FreeModule(ModuleHandle module) {
  if (module != nullptr) dlclose(module);
}

std::u16string ModuleFileName(ModuleHandle module) {
  const auto* map = static_cast<const link_map*>(module);
  if (map != nullptr && map->l_name != nullptr && map->l_name[0] != '\0') {
    return Utf8ToWide(map->l_name);
  }
  // The executable's link map has an empty name.
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof(path) - 1);
  if (length <= 0) return {};
  return Utf8ToWide(std::string(path, static_cast<size_t>(length)));
}

}  // namespace vitrella::platform
