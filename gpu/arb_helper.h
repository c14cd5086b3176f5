// The table of OpenGL entry points beyond version 1.1 and the extensions that the
// current context offers. The host hands it over as one 1264-byte block, so its layout
// is fixed: 65 entry points 8 bytes apart, a reserved gap, then one byte per extension.
#pragma once

#include <cstddef>
#include <cstdint>

#include "vitrella/gpu.h"

namespace vitrella {

// How the table reaches a driver: entry points by name (null ends a group) and the
// context's extension string (null when there is none). Tests hand in fake drivers.
struct GLDriver {
  void* (*lookup)(const char* name, void* user) = nullptr;
  const char* (*extensions)(void* user) = nullptr;
  void* user = nullptr;
};

// The driver of the context current on this thread.
GLDriver CurrentGLDriver();

// Whether `name` stands in `extensions` as a whole blank-separated word.
bool ExtensionListed(const char* extensions, const char* name);

using GLProc = void (*)();

struct ARBHelper {
  // Shader objects, GL_ARB_shader_objects.
  GLProc glCreateShaderObjectARB, glCreateProgramObjectARB, glShaderSourceARB, glCompileShaderARB,
      glGetObjectParameterivARB, glAttachObjectARB, glDeleteObjectARB, glLinkProgramARB,
      glDeleteProgramsARB, glGetActiveUniformARB, glGetInfoLogARB, glUseProgramObjectARB,
      glGetUniformLocationARB, glUniform1fARB, glUniform2fARB, glUniform3fARB, glUniform4fARB,
      glUniform1iARB, glUniform2iARB, glUniform3iARB, glUniform4iARB, glUniformMatrix2fvARB,
      glUniformMatrix3fvARB, glUniformMatrix4fvARB, glGetAttribLocationARB;
  // Framebuffer objects, GL_EXT_framebuffer_object.
  GLProc glGenFramebuffersEXT, glBindFramebufferEXT, glFramebufferTexture2DEXT,
      glCheckFramebufferStatusEXT, glDeleteFramebuffersEXT, glGenRenderbuffersEXT,
      glBindRenderbufferEXT, glRenderbufferStorageEXT, glFramebufferRenderbufferEXT,
      glDeleteRenderbuffersEXT;
  GLProc glBlitFramebufferEXT, glRenderbufferStorageMultisampleEXT;
  GLProc glActiveTextureARB, glMultiTexCoord2fARB;
  GLProc glBlendColorEXT, glBlendEquationEXT, glBlendFuncSeparateEXT, glBlendEquationSeparateEXT;
  GLProc glGenQueriesARB, glDeleteQueriesARB, glBeginQueryARB, glEndQueryARB, glGetQueryObjectivARB;
  GLProc glGetQueryObjecti64vEXT;
  GLProc glGenBuffersARB, glBindBufferARB, glBufferDataARB, glBufferSubDataARB,
      glGetBufferSubDataARB, glMapBufferARB, glUnmapBufferARB, glDeleteBuffersARB;
  GLProc glVertexAttribPointerARB, glEnableVertexAttribArrayARB, glDisableVertexAttribArrayARB,
      glBindAttribLocationARB, glGetProgramivARB;
  GLProc glDrawArraysInstancedEXT, glDrawElementsInstancedEXT;
  GLProc glProgramParameteriEXT;

  uint8_t reserved[681];

  // What the context offers, in the order of the block.
  uint8_t hasShaderObjects;
  uint8_t hasFramebufferObject;
  uint8_t hasMultitexture;
  uint8_t hasBlendColor, hasBlendMinmax, hasBlendFuncSeparate, hasBlendEquationSeparate;
  uint8_t hasFramebufferBlit, hasFramebufferMultisample;
  uint8_t hasOcclusionQuery;
  uint8_t hasTimerQuery;
  uint8_t hasPixelBufferObject;
  uint8_t hasVertexBufferObject;
  uint8_t hasVertexProgram;
  uint8_t hasATIMeminfo, hasNVXMemoryInfo;
  uint8_t hasDrawInstanced;
  uint8_t hasGeometryShader4;
  uint8_t reservedTail[45];

  // Fetches every entry point and tests every extension, required groups first; true
  // when the minimum set is there. A failed required group ends the binding at once.
  bool BindAll(const GLDriver& driver);
  bool HasExtension(const GLDriver& driver, const char* name) const;

  // The number of entry points, and the name of the one at `index` in block order.
  static constexpr int kEntryCount = 65;
  static const char* EntryName(int index);
  GLProc Entry(int index) const;
};

static_assert(sizeof(ARBHelper) == kExtensionTableBytes);
static_assert(offsetof(ARBHelper, glCreateShaderObjectARB) == 0);
static_assert(offsetof(ARBHelper, glGenFramebuffersEXT) == 200);
static_assert(offsetof(ARBHelper, glActiveTextureARB) == 296);
static_assert(offsetof(ARBHelper, glBlendColorEXT) == 312);
static_assert(offsetof(ARBHelper, glGenBuffersARB) == 392);
static_assert(offsetof(ARBHelper, glProgramParameteriEXT) == 512);
static_assert(offsetof(ARBHelper, hasShaderObjects) == 1201);
static_assert(offsetof(ARBHelper, hasGeometryShader4) == 1218);

// Calls through an entry of the table with its real signature.
template <typename Signature>
Signature GLCall(GLProc entry) {
  return reinterpret_cast<Signature>(entry);
}

}  // namespace vitrella
