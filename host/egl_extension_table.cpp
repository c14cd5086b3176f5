#include "egl_extension_table.h"

#include <EGL/egl.h>
#include <GL/gl.h>

#include <cstring>
#include <string>

namespace vitrella::host {
namespace {

// The entry points in table order, each with the extension that brings it.
struct Entry {
  const char* name;
  int flag;  // index of the extension's byte
};

constexpr Entry kEntries[] = {{"glCreateShaderObjectARB", 0},
                              {"glCreateProgramObjectARB", 0},
                              {"glShaderSourceARB", 0},
                              {"glCompileShaderARB", 0},
                              {"glGetObjectParameterivARB", 0},
                              {"glAttachObjectARB", 0},
                              {"glDeleteObjectARB", 0},
                              {"glLinkProgramARB", 0},
                              {"glDeleteProgramsARB", 0},
                              {"glGetActiveUniformARB", 0},
                              {"glGetInfoLogARB", 0},
                              {"glUseProgramObjectARB", 0},
                              {"glGetUniformLocationARB", 0},
                              {"glUniform1fARB", 0},
                              {"glUniform2fARB", 0},
                              {"glUniform3fARB", 0},
                              {"glUniform4fARB", 0},
                              {"glUniform1iARB", 0},
                              {"glUniform2iARB", 0},
                              {"glUniform3iARB", 0},
                              {"glUniform4iARB", 0},
                              {"glUniformMatrix2fvARB", 0},
                              {"glUniformMatrix3fvARB", 0},
                              {"glUniformMatrix4fvARB", 0},
                              {"glGetAttribLocationARB", 0},
                              {"glGenFramebuffersEXT", 1},
                              {"glBindFramebufferEXT", 1},
                              {"glFramebufferTexture2DEXT", 1},
                              {"glCheckFramebufferStatusEXT", 1},
                              {"glDeleteFramebuffersEXT", 1},
                              {"glGenRenderbuffersEXT", 1},
                              {"glBindRenderbufferEXT", 1},
                              {"glRenderbufferStorageEXT", 1},
                              {"glFramebufferRenderbufferEXT", 1},
                              {"glDeleteRenderbuffersEXT", 1},
                              {"glBlitFramebufferEXT", 7},
                              {"glRenderbufferStorageMultisampleEXT", 8},
                              {"glActiveTextureARB", 2},
                              {"glMultiTexCoord2fARB", 2},
                              {"glBlendColorEXT", 3},
                              {"glBlendEquationEXT", 4},
                              {"glBlendFuncSeparateEXT", 5},
                              {"glBlendEquationSeparateEXT", 6},
                              {"glGenQueriesARB", 9},
                              {"glDeleteQueriesARB", 9},
                              {"glBeginQueryARB", 9},
                              {"glEndQueryARB", 9},
                              {"glGetQueryObjectivARB", 9},
                              {"glGetQueryObjecti64vEXT", 10},
                              {"glGenBuffersARB", 12},
                              {"glBindBufferARB", 12},
                              {"glBufferDataARB", 12},
                              {"glBufferSubDataARB", 12},
                              {"glGetBufferSubDataARB", 12},
                              {"glMapBufferARB", 12},
                              {"glUnmapBufferARB", 12},
                              {"glDeleteBuffersARB", 12},
                              {"glVertexAttribPointerARB", 13},
                              {"glEnableVertexAttribArrayARB", 13},
                              {"glDisableVertexAttribArrayARB", 13},
                              {"glBindAttribLocationARB", 13},
                              {"glGetProgramivARB", 13},
                              {"glDrawArraysInstancedEXT", 16},
                              {"glDrawElementsInstancedEXT", 16},
                              {"glProgramParameteriEXT", 17}};
static_assert(std::size(kEntries) == 65);

constexpr const char* kExtensions[18] = {"GL_ARB_shader_objects",
                                         "GL_EXT_framebuffer_object",
                                         "GL_ARB_multitexture",
                                         "GL_EXT_blend_color",
                                         "GL_EXT_blend_minmax",
                                         "GL_EXT_blend_func_separate",
                                         "GL_EXT_blend_equation_separate",
                                         "GL_EXT_framebuffer_blit",
                                         "GL_EXT_framebuffer_multisample",
                                         "GL_ARB_occlusion_query",
                                         "GL_EXT_timer_query",
                                         "GL_ARB_pixel_buffer_object",
                                         "GL_ARB_vertex_buffer_object",
                                         "GL_ARB_vertex_program",
                                         "GL_ATI_meminfo",
                                         "GL_NVX_gpu_memory_info",
                                         "GL_EXT_draw_instanced",
                                         "GL_EXT_geometry_shader4"};

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
  for (int i = 0; i < 18; ++i)
    flags[i] = Listed(extensions, kExtensions[i]) ? 1 : 0;
  for (size_t i = 0; i < std::size(kEntries); ++i) {
    void* entry = reinterpret_cast<void*>(eglGetProcAddress(kEntries[i].name));
    std::memcpy(table.data() + i * 8, &entry, sizeof entry);
    // An extension whose entry point is missing counts as absent.
    if (entry == nullptr) flags[kEntries[i].flag] = 0;
  }
  for (int i = 0; i < 7; ++i) {
    if (flags[i] == 0) return false;
  }
  return true;
}

}  // namespace vitrella::host
