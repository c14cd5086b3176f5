// OpenGL entry points by name and the extension string, for the context current on this
// thread. On Linux the lookup goes through EGL; as with every such lookup, a null answer
// means the entry point is not there.
#pragma once

namespace vitrella::platform {

void* GLProcAddress(const char* name);
// glGetString(GL_EXTENSIONS), or null without a context.
const char* GLExtensionString();

}  // namespace vitrella::platform
