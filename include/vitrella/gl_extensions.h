// The names behind the extension table that a host's context hands to an effect: the
// 65 entry points in the order of their 8-byte slots, each with the extension that brings
// it, and the 18 extensions in the order of their bytes from offset 1201.
#pragma once

namespace vitrella {

// The extensions by the place of their byte in the table.
enum GLExtension : int {
  kGLShaderObjects = 0,           // GL_ARB_shader_objects
  kGLFramebufferObject = 1,       // GL_EXT_framebuffer_object
  kGLMultitexture = 2,            // GL_ARB_multitexture
  kGLBlendColor = 3,              // GL_EXT_blend_color
  kGLBlendMinmax = 4,             // GL_EXT_blend_minmax
  kGLBlendFuncSeparate = 5,       // GL_EXT_blend_func_separate
  kGLBlendEquationSeparate = 6,   // GL_EXT_blend_equation_separate
  kGLFramebufferBlit = 7,         // GL_EXT_framebuffer_blit
  kGLFramebufferMultisample = 8,  // GL_EXT_framebuffer_multisample
  kGLOcclusionQuery = 9,          // GL_ARB_occlusion_query
  kGLTimerQuery = 10,             // GL_EXT_timer_query
  kGLPixelBufferObject = 11,      // GL_ARB_pixel_buffer_object
  kGLVertexBufferObject = 12,     // GL_ARB_vertex_buffer_object
  kGLVertexProgram = 13,          // GL_ARB_vertex_program
  kGLATIMeminfo = 14,             // GL_ATI_meminfo
  kGLNVXMemoryInfo = 15,          // GL_NVX_gpu_memory_info
  kGLDrawInstanced = 16,          // GL_EXT_draw_instanced
  kGLGeometryShader4 = 17,        // GL_EXT_geometry_shader4
  kGLExtensionCount = 18,
};

inline constexpr const char* kGLExtensionNames[kGLExtensionCount] = {
    "GL_ARB_shader_objects",
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
    "GL_EXT_geometry_shader4",
};

// The extensions that an effect cannot do without; the table is no use without all seven.
inline constexpr int kGLRequiredExtensions = 7;

struct GLEntryName {
  const char* name;
  GLExtension extension;
};

inline constexpr int kGLEntryCount = 65;

inline constexpr GLEntryName kGLEntryNames[kGLEntryCount] = {
    {"glCreateShaderObjectARB", kGLShaderObjects},
    {"glCreateProgramObjectARB", kGLShaderObjects},
    {"glShaderSourceARB", kGLShaderObjects},
    {"glCompileShaderARB", kGLShaderObjects},
    {"glGetObjectParameterivARB", kGLShaderObjects},
    {"glAttachObjectARB", kGLShaderObjects},
    {"glDeleteObjectARB", kGLShaderObjects},
    {"glLinkProgramARB", kGLShaderObjects},
    {"glDeleteProgramsARB", kGLShaderObjects},
    {"glGetActiveUniformARB", kGLShaderObjects},
    {"glGetInfoLogARB", kGLShaderObjects},
    {"glUseProgramObjectARB", kGLShaderObjects},
    {"glGetUniformLocationARB", kGLShaderObjects},
    {"glUniform1fARB", kGLShaderObjects},
    {"glUniform2fARB", kGLShaderObjects},
    {"glUniform3fARB", kGLShaderObjects},
    {"glUniform4fARB", kGLShaderObjects},
    {"glUniform1iARB", kGLShaderObjects},
    {"glUniform2iARB", kGLShaderObjects},
    {"glUniform3iARB", kGLShaderObjects},
    {"glUniform4iARB", kGLShaderObjects},
    {"glUniformMatrix2fvARB", kGLShaderObjects},
    {"glUniformMatrix3fvARB", kGLShaderObjects},
    {"glUniformMatrix4fvARB", kGLShaderObjects},
    {"glGetAttribLocationARB", kGLShaderObjects},
    {"glGenFramebuffersEXT", kGLFramebufferObject},
    {"glBindFramebufferEXT", kGLFramebufferObject},
    {"glFramebufferTexture2DEXT", kGLFramebufferObject},
    {"glCheckFramebufferStatusEXT", kGLFramebufferObject},
    {"glDeleteFramebuffersEXT", kGLFramebufferObject},
    {"glGenRenderbuffersEXT", kGLFramebufferObject},
    {"glBindRenderbufferEXT", kGLFramebufferObject},
    {"glRenderbufferStorageEXT", kGLFramebufferObject},
    {"glFramebufferRenderbufferEXT", kGLFramebufferObject},
    {"glDeleteRenderbuffersEXT", kGLFramebufferObject},
    {"glBlitFramebufferEXT", kGLFramebufferBlit},
    {"glRenderbufferStorageMultisampleEXT", kGLFramebufferMultisample},
    {"glActiveTextureARB", kGLMultitexture},
    {"glMultiTexCoord2fARB", kGLMultitexture},
    {"glBlendColorEXT", kGLBlendColor},
    {"glBlendEquationEXT", kGLBlendMinmax},
    {"glBlendFuncSeparateEXT", kGLBlendFuncSeparate},
    {"glBlendEquationSeparateEXT", kGLBlendEquationSeparate},
    {"glGenQueriesARB", kGLOcclusionQuery},
    {"glDeleteQueriesARB", kGLOcclusionQuery},
    {"glBeginQueryARB", kGLOcclusionQuery},
    {"glEndQueryARB", kGLOcclusionQuery},
    {"glGetQueryObjectivARB", kGLOcclusionQuery},
    {"glGetQueryObjecti64vEXT", kGLTimerQuery},
    {"glGenBuffersARB", kGLVertexBufferObject},
    {"glBindBufferARB", kGLVertexBufferObject},
    {"glBufferDataARB", kGLVertexBufferObject},
    {"glBufferSubDataARB", kGLVertexBufferObject},
    {"glGetBufferSubDataARB", kGLVertexBufferObject},
    {"glMapBufferARB", kGLVertexBufferObject},
    {"glUnmapBufferARB", kGLVertexBufferObject},
    {"glDeleteBuffersARB", kGLVertexBufferObject},
    {"glVertexAttribPointerARB", kGLVertexProgram},
    {"glEnableVertexAttribArrayARB", kGLVertexProgram},
    {"glDisableVertexAttribArrayARB", kGLVertexProgram},
    {"glBindAttribLocationARB", kGLVertexProgram},
    {"glGetProgramivARB", kGLVertexProgram},
    {"glDrawArraysInstancedEXT", kGLDrawInstanced},
    {"glDrawElementsInstancedEXT", kGLDrawInstanced},
    {"glProgramParameteriEXT", kGLGeometryShader4},
};

}  // namespace vitrella
