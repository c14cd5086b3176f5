#include "platform/gl_lookup.h"

#include <EGL/egl.h>
#include <GL/gl.h>

namespace vitrella::platform {

void* GLProcAddress(const char* name) {
  if (name == nullptr) return nullptr;
  return reinterpret_cast<void*>(eglGetProcAddress(name));
}

const char* GLExtensionString() {
  return reinterpret_cast<const char*>(glGetString(GL_EXTENSIONS));
}

}  // namespace vitrella::platform
