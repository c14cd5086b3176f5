// Modules: this library, the process's executable and modules loaded at run time.
#pragma once

#include <string>

namespace vitrella::platform {

// Opaque; null stands for the process's own executable where a module is asked for.
using ModuleHandle = void*;

// The module that holds this code.
ModuleHandle ThisModule();
// Loads a module by path; null when it cannot be loaded.
ModuleHandle LoadModule(const std::u16string& path);
void* FindSymbol(ModuleHandle module, const char* name);
void FreeModule(ModuleHandle module);
// The module's full path; for null, the executable's. Empty when it cannot be told.
std::u16string ModuleFileName(ModuleHandle module);

// The platform's path separator.
inline constexpr char16_t kPathSeparator = u'/';
// How the file name of a loadable module ends.
inline constexpr char16_t kModuleSuffix[] = u".so";

}  // namespace vitrella::platform
