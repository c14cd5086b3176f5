#include "egl_extension_table.h"

#include <EGL/egl.h>
#include <GL/gl.h>

#include <cstring>
#include <string>

#include "vitrella/gl_extensions.h"

namespace vitrella::host {
namespace {

constexpr size_t kFlagsOffset = 1201;

bool Listed(const std::string& extensions, const std::string& name) {
  return (" " + extensions + " ").find(" " + name + " ") != std::string::npos;
}

}  // namespace

bool FillExtensionTable(ExtensionTable& table) {
  table.fill(0);
  const auto* text = reinterpret_cast<const char*>(glGetString(GL_EXTENSIONS));
  if (text == nullptr) return false;
  const std::string extensions = text;
  uint8_t* flags = table.data() + kFlagsOffset;
  for (int i = 0; i < kGLExtensionCount; ++i)
    flags[i] = Listed(extensions, kGLExtensionNames[i]) ? 1 : 0;
  for (int i = 0; i < kGLEntryCount; ++i) {
    void* entry = reinterpret_cast<void*>(eglGetProcAddress(kGLEntryNames[i].name));
    std::memcpy(table.data() + static_cast<size_t>(i) * 8, &entry, sizeof entry);
    // An extension whose entry point is missing counts as absent.
    if (entry == nullptr) flags[kGLEntryNames[i].extension] = 0;
  }
  for (int i = 0; i < kGLRequiredExtensions; ++i) {
    if (flags[i] == 0) return false;
  }
  return true;
}

}  // namespace vitrella::host
