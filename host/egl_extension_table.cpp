#include "egl_extension_table.h"

#include <EGL/egl.h>
#include <GL/gl.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "vitrella/gl_extensions.h"

namespace vitrella::host {
namespace {

constexpr size_t kFlagsOffset = 1201;

bool Listed(const std::string& extensions, const std::string& name) {
  return (" " + extensions + " ").find(" " + name + " ") != std::string::npos;
}

// VITRELLA_GL_HIDE, a comma list of "scatter", "query" or "all", makes the context look as
// if it lacked what each way of the GPU histogram needs, so that one machine can render
// through either way, or through neither. Blanks around a word do not count; other words
// are ignored.
void HideHistogramExtensions(uint8_t* flags) {
  const char* list = std::getenv("VITRELLA_GL_HIDE");
  if (list == nullptr) return;
  std::string rest = list;
  while (!rest.empty()) {
    const size_t comma = rest.find(',');
    std::string word = rest.substr(0, comma);
    word.erase(0, word.find_first_not_of(' '));
    word.erase(word.find_last_not_of(' ') + 1);
    rest = comma == std::string::npos ? "" : rest.substr(comma + 1);
    if (word == "scatter" || word == "all") {
      flags[kGLPixelBufferObject] = 0;
      flags[kGLVertexBufferObject] = 0;
    }
    if (word == "query" || word == "all") flags[kGLOcclusionQuery] = 0;
  }
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
  HideHistogramExtensions(flags);
  for (int i = 0; i < kGLRequiredExtensions; ++i) {
    if (flags[i] == 0) return false;
  }
  return true;
}

}  // namespace vitrella::host
