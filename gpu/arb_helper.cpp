#include "gpu/arb_helper.h"

#include <cstring>

#include "platform/gl_lookup.h"

namespace vitrella {
namespace {

constexpr const char* kEntryNames[ARBHelper::kEntryCount] = {
    "glCreateShaderObjectARB", "glCreateProgramObjectARB", "glShaderSourceARB",
    "glCompileShaderARB", "glGetObjectParameterivARB", "glAttachObjectARB", "glDeleteObjectARB",
    "glLinkProgramARB", "glDeleteProgramsARB", "glGetActiveUniformARB", "glGetInfoLogARB",
    "glUseProgramObjectARB", "glGetUniformLocationARB", "glUniform1fARB", "glUniform2fARB",
    "glUniform3fARB", "glUniform4fARB", "glUniform1iARB", "glUniform2iARB", "glUniform3iARB",
    "glUniform4iARB", "glUniformMatrix2fvARB", "glUniformMatrix3fvARB", "glUniformMatrix4fvARB",
    "glGetAttribLocationARB",
    // framebuffer objects
    "glGenFramebuffersEXT", "glBindFramebufferEXT", "glFramebufferTexture2DEXT",
    "glCheckFramebufferStatusEXT", "glDeleteFramebuffersEXT", "glGenRenderbuffersEXT",
    "glBindRenderbufferEXT", "glRenderbufferStorageEXT", "glFramebufferRenderbufferEXT",
    "glDeleteRenderbuffersEXT",
    // blit and multisample
    "glBlitFramebufferEXT", "glRenderbufferStorageMultisampleEXT",
    // multitexture
    "glActiveTextureARB", "glMultiTexCoord2fARB",
    // blending
    "glBlendColorEXT", "glBlendEquationEXT", "glBlendFuncSeparateEXT", "glBlendEquationSeparateEXT",
    // occlusion queries
    "glGenQueriesARB", "glDeleteQueriesARB", "glBeginQueryARB", "glEndQueryARB",
    "glGetQueryObjectivARB",
    // timer query
    "glGetQueryObjecti64vEXT",
    // buffer objects
    "glGenBuffersARB", "glBindBufferARB", "glBufferDataARB", "glBufferSubDataARB",
    "glGetBufferSubDataARB", "glMapBufferARB", "glUnmapBufferARB", "glDeleteBuffersARB",
    // vertex attributes
    "glVertexAttribPointerARB", "glEnableVertexAttribArrayARB", "glDisableVertexAttribArrayARB",
    "glBindAttribLocationARB", "glGetProgramivARB",
    // instancing
    "glDrawArraysInstancedEXT", "glDrawElementsInstancedEXT",
    // geometry programs
    "glProgramParameteriEXT"};

// Index of the first entry of each group in block order.
enum Entry : int {
  kShaderObjects = 0,
  kFramebufferObjects = 25,
  kBlit = 35,
  kMultisample = 36,
  kMultitexture = 37,
  kBlending = 39,
  kOcclusion = 43,
  kTimer = 48,
  kBufferObjects = 49,
  kVertexAttributes = 57,
  kInstancing = 62,
  kGeometry = 64,
};

GLProc* Slots(ARBHelper* table) {
  return reinterpret_cast<GLProc*>(table);
}

// Fetches `count` entries from `first` on; a null ends the group unfound.
bool FetchGroup(ARBHelper* table, const GLDriver& driver, int first, int count) {
  if (driver.lookup == nullptr) return false;
  for (int i = first; i < first + count; ++i) {
    void* found = driver.lookup(kEntryNames[i], driver.user);
    if (found == nullptr) return false;
    GLProc entry = nullptr;
    std::memcpy(&entry, &found, sizeof entry);
    Slots(table)[i] = entry;
  }
  return true;
}

}  // namespace

GLDriver CurrentGLDriver() {
  GLDriver driver;
  driver.lookup = [](const char* name, void* /*user*/) { return platform::GLProcAddress(name); };
  driver.extensions = [](void* /*user*/) { return platform::GLExtensionString(); };
  return driver;
}

bool ExtensionListed(const char* extensions, const char* name) {
  if (extensions == nullptr || name == nullptr || name[0] == '\0') return false;
  const size_t length = std::strlen(name);
  for (const char* at = std::strstr(extensions, name); at != nullptr;
       at = std::strstr(at + 1, name)) {
    const bool startsWord = at == extensions || at[-1] == ' ';
    const bool endsWord = at[length] == '\0' || at[length] == ' ';
    if (startsWord && endsWord) return true;
  }
  return false;
}

bool ARBHelper::HasExtension(const GLDriver& driver, const char* name) const {
  if (driver.extensions == nullptr) return false;
  return ExtensionListed(driver.extensions(driver.user), name);
}

const char* ARBHelper::EntryName(int index) {
  return index >= 0 && index < kEntryCount ? kEntryNames[index] : nullptr;
}

GLProc ARBHelper::Entry(int index) const {
  return index >= 0 && index < kEntryCount ? reinterpret_cast<const GLProc*>(this)[index] : nullptr;
}

bool ARBHelper::BindAll(const GLDriver& driver) {
  // A group counts only when every entry resolved and the string names it.
  auto group = [&](int first, int count, const char* extension) -> uint8_t {
    return FetchGroup(this, driver, first, count) && HasExtension(driver, extension) ? 1 : 0;
  };

  hasShaderObjects = group(kShaderObjects, 25, "GL_ARB_shader_objects");
  if (!hasShaderObjects) return false;
  hasFramebufferObject = group(kFramebufferObjects, 10, "GL_EXT_framebuffer_object");
  if (!hasFramebufferObject) return false;
  hasMultitexture = group(kMultitexture, 2, "GL_ARB_multitexture");
  if (!hasMultitexture) return false;
  // All four blend extensions are tested whatever the others gave.
  hasBlendColor = group(kBlending, 1, "GL_EXT_blend_color");
  hasBlendMinmax = group(kBlending + 1, 1, "GL_EXT_blend_minmax");
  hasBlendFuncSeparate = group(kBlending + 2, 1, "GL_EXT_blend_func_separate");
  hasBlendEquationSeparate = group(kBlending + 3, 1, "GL_EXT_blend_equation_separate");
  if (!(hasBlendColor && hasBlendMinmax && hasBlendFuncSeparate && hasBlendEquationSeparate)) {
    return false;
  }

  // Optional groups only record what is there.
  hasFramebufferBlit = group(kBlit, 1, "GL_EXT_framebuffer_blit");
  hasFramebufferMultisample = group(kMultisample, 1, "GL_EXT_framebuffer_multisample");
  hasOcclusionQuery = group(kOcclusion, 5, "GL_ARB_occlusion_query");
  hasTimerQuery = group(kTimer, 1, "GL_EXT_timer_query");
  hasPixelBufferObject = HasExtension(driver, "GL_ARB_pixel_buffer_object") ? 1 : 0;
  hasVertexBufferObject = group(kBufferObjects, 8, "GL_ARB_vertex_buffer_object");
  hasVertexProgram = group(kVertexAttributes, 5, "GL_ARB_vertex_program");
  hasATIMeminfo = HasExtension(driver, "GL_ATI_meminfo") ? 1 : 0;
  hasNVXMemoryInfo = HasExtension(driver, "GL_NVX_gpu_memory_info") ? 1 : 0;
  hasDrawInstanced = group(kInstancing, 2, "GL_EXT_draw_instanced");
  hasGeometryShader4 = group(kGeometry, 1, "GL_EXT_geometry_shader4");
  return true;
}

}  // namespace vitrella
