#include "egl_services.h"

#define GL_GLEXT_PROTOTYPES 1
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GL/gl.h>
#include <GL/glext.h>

#include <cstring>
#include <vector>

#include "egl_extension_table.h"
#include "vitrella/pixel_format.h"

namespace vitrella::host {
namespace {

// Textures hold the host's four-channel formats and the GPU's own 9 (bytes).
bool IsFourChannel(int32_t format) {
  return IsHostFormat(format) || format == kGPUFormatSwapped;
}

class EglTexture final : public IGPUTexture {
 public:
  explicit EglTexture(GLuint id) : id_(id) {}
  ~EglTexture() { glDeleteTextures(1, &id_); }
  EglTexture(const EglTexture&) = delete;
  EglTexture& operator=(const EglTexture&) = delete;
  Result VITRELLA_CALL QueryInterface(const Guid& /*iid*/, void** out) override {
    *out = nullptr;
    return kNoInterface;
  }
  uint32_t VITRELLA_CALL AddRef() override { return 1; }
  uint32_t VITRELLA_CALL Release() override { return 1; }
  bool VITRELLA_CALL SetFilter(uint32_t filter) override {
    glBindTexture(GL_TEXTURE_2D, id_);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, static_cast<GLint>(filter));
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, static_cast<GLint>(filter));
    return glGetError() == GL_NO_ERROR;
  }
  bool VITRELLA_CALL IsValid() override { return id_ != 0; }
  GLuint id() const { return id_; }

 private:
  GLuint id_;
};

class EglBuffer final : public IGPUBuffer {
 public:
  explicit EglBuffer(GLuint id) : id_(id) {}
  ~EglBuffer() { glDeleteBuffers(1, &id_); }
  EglBuffer(const EglBuffer&) = delete;
  EglBuffer& operator=(const EglBuffer&) = delete;
  Result VITRELLA_CALL QueryInterface(const Guid& /*iid*/, void** out) override {
    *out = nullptr;
    return kNoInterface;
  }
  uint32_t VITRELLA_CALL AddRef() override { return 1; }
  uint32_t VITRELLA_CALL Release() override { return 1; }
  void VITRELLA_CALL Bind(uint32_t target) override { glBindBuffer(target, id_); }
  bool VITRELLA_CALL IsValid() override { return id_ != 0; }

 private:
  GLuint id_;
};

class EglProgram final : public IGPUProgram {
 public:
  explicit EglProgram(GLuint id) : id_(id) {}
  ~EglProgram() { glDeleteProgram(id_); }
  EglProgram(const EglProgram&) = delete;
  EglProgram& operator=(const EglProgram&) = delete;
  Result VITRELLA_CALL QueryInterface(const Guid& /*iid*/, void** out) override {
    *out = nullptr;
    return kNoInterface;
  }
  uint32_t VITRELLA_CALL AddRef() override { return 1; }
  uint32_t VITRELLA_CALL Release() override { return 1; }
  void VITRELLA_CALL Use() override {
    glUseProgram(id_);
    nextUnit_ = 0;
  }
  bool VITRELLA_CALL SetInt(const char* name, int32_t value) override {
    const GLint at = Location(name);
    if (at >= 0) glUniform1i(at, value);
    return at >= 0;
  }
  bool VITRELLA_CALL SetFloat(const char* name, float value) override {
    const GLint at = Location(name);
    if (at >= 0) glUniform1f(at, value);
    return at >= 0;
  }
  bool VITRELLA_CALL SetVec2(const char* name, float x, float y) override {
    const GLint at = Location(name);
    if (at >= 0) glUniform2f(at, x, y);
    return at >= 0;
  }
  bool VITRELLA_CALL SetVec3(const char* name, float x, float y, float z) override {
    const GLint at = Location(name);
    if (at >= 0) glUniform3f(at, x, y, z);
    return at >= 0;
  }
  bool VITRELLA_CALL SetVec4(const char* name, float x, float y, float z, float w) override {
    const GLint at = Location(name);
    if (at >= 0) glUniform4f(at, x, y, z, w);
    return at >= 0;
  }
  // Each sampler set since Use takes the next texture unit.
  bool VITRELLA_CALL SetTexture(const char* name, IGPUTexture* texture) override {
    const GLint at = Location(name);
    if (at < 0 || texture == nullptr || nextUnit_ >= 8) return false;
    glActiveTexture(GL_TEXTURE0 + static_cast<GLenum>(nextUnit_));
    glBindTexture(GL_TEXTURE_2D, static_cast<EglTexture*>(texture)->id());
    glUniform1i(at, nextUnit_);
    ++nextUnit_;
    glActiveTexture(GL_TEXTURE0);
    return true;
  }
  uint32_t VITRELLA_CALL GetActiveUniforms(UniformRecord* records) override {
    GLint count = 0;
    glGetProgramiv(id_, GL_ACTIVE_UNIFORMS, &count);
    if (records != nullptr) {
      for (GLint i = 0; i < count; ++i) {
        GLint size = 0;
        GLenum type = 0;
        std::memset(records[i].name, 0, sizeof records[i].name);
        glGetActiveUniform(id_, static_cast<GLuint>(i), sizeof records[i].name, nullptr, &size,
                           &type, records[i].name);
      }
    }
    return static_cast<uint32_t>(count);
  }
  bool VITRELLA_CALL GetAttribLocation(const char* name, int32_t* out) override {
    *out = glGetAttribLocation(id_, name);
    return *out >= 0;
  }
  bool VITRELLA_CALL IsValid() override { return id_ != 0; }

 private:
  GLint Location(const char* name) const {
    return name == nullptr ? -1 : glGetUniformLocation(id_, name);
  }
  GLuint id_;
  GLint nextUnit_ = 0;
};

}  // namespace

struct EglServices::State final : public IGLContext, public IEffectHost {
  EGLDisplay display = EGL_NO_DISPLAY;
  EGLContext glContext = EGL_NO_CONTEXT;
  std::string platform;
  ExtensionTable table{};
  GLuint framebuffer = 0;
  std::string log;
  EglServices* owner = nullptr;

  // IGLContext: the context of every call.
  Result VITRELLA_CALL QueryInterface(const Guid& iid, void** out) override {
    if (iid == kIID_IGPUServices) {
      *out = static_cast<IGPUServices*>(owner);
      return kOk;
    }
    *out = nullptr;
    return kNoInterface;
  }
  uint32_t VITRELLA_CALL AddRef() override { return 1; }
  uint32_t VITRELLA_CALL Release() override { return 1; }
  const void* VITRELLA_CALL GetExtensionTable() override { return table.data(); }
  void VITRELLA_CALL GetIntegerv(uint32_t name, int32_t* out, int32_t count) override {
    std::vector<GLint> values(static_cast<size_t>(count > 0 ? count : 1) + 16);
    glGetIntegerv(name, values.data());
    for (int32_t i = 0; i < count; ++i)
      out[i] = values[static_cast<size_t>(i)];
  }
  void VITRELLA_CALL GetFloatv(uint32_t name, float* out, int32_t count) override {
    std::vector<GLfloat> values(static_cast<size_t>(count > 0 ? count : 1) + 16);
    glGetFloatv(name, values.data());
    for (int32_t i = 0; i < count; ++i)
      out[i] = values[static_cast<size_t>(i)];
  }
  bool VITRELLA_CALL Enable(uint32_t capability) override {
    glEnable(capability);
    return glGetError() == GL_NO_ERROR;
  }
  bool VITRELLA_CALL Disable(uint32_t capability) override {
    glDisable(capability);
    return glGetError() == GL_NO_ERROR;
  }
  void VITRELLA_CALL BlendColor(float r, float g, float b, float a) override {
    glBlendColor(r, g, b, a);
  }
  bool VITRELLA_CALL BlendEquationSeparate(uint32_t colour, uint32_t alpha) override {
    glBlendEquationSeparate(colour, alpha);
    return glGetError() == GL_NO_ERROR;
  }
  bool VITRELLA_CALL BlendFuncSeparate(uint32_t srcColour, uint32_t dstColour, uint32_t srcAlpha,
                                       uint32_t dstAlpha) override {
    glBlendFuncSeparate(srcColour, dstColour, srcAlpha, dstAlpha);
    return glGetError() == GL_NO_ERROR;
  }
  void VITRELLA_CALL UseProgram(uint32_t program) override { glUseProgram(program); }
  void VITRELLA_CALL BindBuffer(uint32_t target, uint32_t buffer) override {
    glBindBuffer(target, buffer);
  }

  // IEffectHost for QueryEffectGPU: it serves the services and no parameters.
  int32_t VITRELLA_CALL GetParamValue(uint32_t /*index*/, void* /*value*/,
                                      ParamKind /*kind*/) override {
    return 0;
  }
  void* VITRELLA_CALL GetFrame(const RenderInfo* /*which*/, HostFrame* /*frame*/) override {
    return nullptr;
  }
  int32_t VITRELLA_CALL ReleaseFrame(void* /*handle*/, HostFrame* /*frame*/) override { return 0; }
  HostInfo* VITRELLA_CALL GetHostInfo(HostInfo* info) override {
    std::memset(info, 0, sizeof *info);
    info->hostName = "vitrella";
    return info;
  }
};

namespace {

// Surfaceless Mesa first, which needs no window and serves llvmpipe without a GPU; then
// the first EGL device.
EGLDisplay OpenDisplay(std::string* platform) {
  const char* clientExtensions = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
  const std::string client = clientExtensions != nullptr ? clientExtensions : "";
  auto getPlatformDisplay = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(
      eglGetProcAddress("eglGetPlatformDisplayEXT"));
  if (getPlatformDisplay == nullptr) return EGL_NO_DISPLAY;
  if (client.find("EGL_MESA_platform_surfaceless") != std::string::npos) {
    EGLDisplay display =
        getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    if (display != EGL_NO_DISPLAY && eglInitialize(display, nullptr, nullptr)) {
      *platform = "surfaceless";
      return display;
    }
  }
  auto queryDevices =
      reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(eglGetProcAddress("eglQueryDevicesEXT"));
  if (queryDevices != nullptr && client.find("EGL_EXT_platform_device") != std::string::npos) {
    EGLDeviceEXT devices[8];
    EGLint count = 0;
    if (queryDevices(8, devices, &count) && count > 0) {
      EGLDisplay display = getPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, devices[0], nullptr);
      if (display != EGL_NO_DISPLAY && eglInitialize(display, nullptr, nullptr)) {
        *platform = "device";
        return display;
      }
    }
  }
  return EGL_NO_DISPLAY;
}

}  // namespace

std::unique_ptr<EglServices> CreateEglServices(std::string* error) {
  auto state = std::make_unique<EglServices::State>();
  auto fail = [&](const std::string& reason) -> std::unique_ptr<EglServices> {
    if (state->glContext != EGL_NO_CONTEXT) {
      eglMakeCurrent(state->display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
      eglDestroyContext(state->display, state->glContext);
    }
    eglReleaseThread();
    if (error != nullptr) *error = reason;
    return nullptr;
  };
  state->display = OpenDisplay(&state->platform);
  if (state->display == EGL_NO_DISPLAY) return fail("no EGL display (surfaceless or device)");
  if (!eglBindAPI(EGL_OPENGL_API)) return fail("EGL offers no desktop OpenGL");
  const EGLint attributes[] = {EGL_CONTEXT_OPENGL_PROFILE_MASK,
                               EGL_CONTEXT_OPENGL_COMPATIBILITY_PROFILE_BIT, EGL_NONE};
  state->glContext =
      eglCreateContext(state->display, EGL_NO_CONFIG_KHR, EGL_NO_CONTEXT, attributes);
  if (state->glContext == EGL_NO_CONTEXT) return fail("cannot create an OpenGL context");
  if (!eglMakeCurrent(state->display, EGL_NO_SURFACE, EGL_NO_SURFACE, state->glContext)) {
    return fail("cannot make the OpenGL context current");
  }
  if (!FillExtensionTable(state->table)) {
    return fail("the OpenGL context lacks extensions that the effects need");
  }
  glGenFramebuffers(1, &state->framebuffer);
  auto* services = new EglServices(std::move(state));
  return std::unique_ptr<EglServices>(services);
}

EglServices::EglServices(std::unique_ptr<State> state) : state_(std::move(state)) {
  state_->owner = this;
}

EglServices::~EglServices() {
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
  glDeleteFramebuffers(1, &state_->framebuffer);
  eglMakeCurrent(state_->display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
  eglDestroyContext(state_->display, state_->glContext);
  // The display is never terminated: EGL hands every caller in the process the same one, so
  // terminating it would pull the contexts of other services from under them, and would
  // unload the driver for the next services to load again.
  eglReleaseThread();
}

Result EglServices::QueryInterface(const Guid& iid, void** out) {
  if (iid == kIID_IGPUServices || iid == kIID_IUnknown) {
    *out = static_cast<IGPUServices*>(this);
    return kOk;
  }
  *out = nullptr;
  return kNoInterface;
}
uint32_t EglServices::AddRef() {
  return 1;
}
uint32_t EglServices::Release() {
  return 1;
}

IGLContext* EglServices::context() {
  return state_.get();
}

const std::string& EglServices::lastLog() const {
  return state_->log;
}

bool EglServices::CreateTexture(IGLContext* /*context*/, GPUTextureRef* out, const char* /*name*/,
                                int32_t width, int32_t height, int32_t format, const void* pixels,
                                int32_t pitch, uintptr_t /*reserved*/) {
  if (out == nullptr) return false;
  *out = GPUTextureRef{};
  const int32_t pixelBytes = IsFloatFormat(format) ? 16 : 4;
  if (width < 1 || height < 1 || width > 16384 || height > 16384 || !IsFourChannel(format) ||
      (pixels != nullptr && (pitch < width * pixelBytes || pitch % pixelBytes != 0))) {
    return false;
  }
  while (glGetError() != GL_NO_ERROR) {
  }
  GLuint id = 0;
  glGenTextures(1, &id);
  glBindTexture(GL_TEXTURE_2D, id);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
  glPixelStorei(GL_UNPACK_ROW_LENGTH, pixels != nullptr ? pitch / pixelBytes : 0);
  // Every four-channel picture goes up as BGRA: ARGB memory arrives swapped, and programs
  // read it back through .grab.
  glTexImage2D(GL_TEXTURE_2D, 0, IsFloatFormat(format) ? GL_RGBA32F : GL_RGBA8, width, height, 0,
               GL_BGRA, IsFloatFormat(format) ? GL_FLOAT : GL_UNSIGNED_BYTE, pixels);
  glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
  glBindTexture(GL_TEXTURE_2D, 0);
  if (glGetError() != GL_NO_ERROR) {
    glDeleteTextures(1, &id);
    return false;
  }
  *out = GPUTextureRef{new EglTexture(id), format, width, height, width, height, 0, 0, 0};
  return true;
}

bool EglServices::CreateBuffer(IGLContext* /*context*/, IGPUBuffer** out, const void* data,
                               uint32_t bytes, uint32_t usage, uintptr_t /*reserved1*/,
                               uintptr_t /*reserved2*/) {
  if (out == nullptr) return false;
  *out = nullptr;
  while (glGetError() != GL_NO_ERROR) {
  }
  GLuint id = 0;
  glGenBuffers(1, &id);
  glBindBuffer(GL_ARRAY_BUFFER, id);
  glBufferData(GL_ARRAY_BUFFER, bytes, data, usage);
  glBindBuffer(GL_ARRAY_BUFFER, 0);
  if (glGetError() != GL_NO_ERROR) {
    glDeleteBuffers(1, &id);
    return false;
  }
  *out = new EglBuffer(id);
  return true;
}

namespace {

GLuint CompileShader(GLenum kind, const char* text, uint32_t stored, std::string* log) {
  const GLuint shader = glCreateShader(kind);
  const auto length = static_cast<GLint>(stored != 0 ? stored : std::strlen(text));
  glShaderSource(shader, 1, &text, &length);
  glCompileShader(shader);
  GLint ok = 0;
  glGetShaderiv(shader, GL_COMPILE_STATUS, &ok);
  if (!ok) {
    char buffer[2048] = {};
    glGetShaderInfoLog(shader, sizeof buffer, nullptr, buffer);
    *log = buffer;
    glDeleteShader(shader);
    return 0;
  }
  return shader;
}

}  // namespace

bool EglServices::CreateProgram(IGLContext* /*context*/, IGPUProgram** out, const char* vertexText,
                                const char* fragmentText, const char* /*geometryText*/,
                                uint32_t vertexStored, uint32_t fragmentStored,
                                uint32_t /*geometryStored*/, uint32_t /*vertexLength*/,
                                uint32_t /*fragmentLength*/, uint32_t /*geometryLength*/,
                                uint64_t /*vertexValue*/, uint64_t /*fragmentValue*/,
                                uint64_t /*geometryValue*/) {
  if (out == nullptr) return false;
  *out = nullptr;
  if (vertexText == nullptr || fragmentText == nullptr) return false;
  const GLuint vertex = CompileShader(GL_VERTEX_SHADER, vertexText, vertexStored, &state_->log);
  if (vertex == 0) return false;
  const GLuint fragment =
      CompileShader(GL_FRAGMENT_SHADER, fragmentText, fragmentStored, &state_->log);
  if (fragment == 0) {
    glDeleteShader(vertex);
    return false;
  }
  const GLuint program = glCreateProgram();
  glAttachShader(program, vertex);
  glAttachShader(program, fragment);
  glLinkProgram(program);
  glDeleteShader(vertex);
  glDeleteShader(fragment);
  GLint ok = 0;
  glGetProgramiv(program, GL_LINK_STATUS, &ok);
  if (!ok) {
    char buffer[2048] = {};
    glGetProgramInfoLog(program, sizeof buffer, nullptr, buffer);
    state_->log = buffer;
    glDeleteProgram(program);
    return false;
  }
  *out = new EglProgram(program);
  return true;
}

void EglServices::ReleaseBuffer(IGPUBuffer* buffer) {
  delete static_cast<EglBuffer*>(buffer);
}

void EglServices::ReleaseTexture(GPUTextureRef* texture) {
  if (texture == nullptr) return;
  delete static_cast<EglTexture*>(texture->texture);
  texture->texture = nullptr;
}

void EglServices::ReleaseProgram(IGPUProgram* program) {
  glUseProgram(0);
  delete static_cast<EglProgram*>(program);
}

bool EglServices::SetRenderTarget(IGLContext* /*context*/, const GPUTextureRef* target,
                                  uint32_t /*reserved1*/, uint32_t /*reserved2*/,
                                  uint8_t /*flag*/) {
  if (target == nullptr || target->texture == nullptr) {
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    return true;
  }
  glBindFramebuffer(GL_FRAMEBUFFER, state_->framebuffer);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D,
                         static_cast<EglTexture*>(target->texture)->id(), 0);
  if (glCheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) {
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    return false;
  }
  glViewport(0, 0, target->allocatedWidth, target->allocatedHeight);
  return true;
}

bool EglServices::QueryEffectGPU(IVideoEffect* effect, GPUSetupInfo* out) {
  if (effect == nullptr || out == nullptr) return false;
  *out = GPUSetupInfo{};
  void* found = nullptr;
  if (effect->QueryInterface(kIID_IVideoGPUEffect, &found) != kOk || found == nullptr) {
    return false;
  }
  auto* gpuEffect = static_cast<IVideoGPUEffect*>(found);
  const bool answered = gpuEffect->BeginGPUFrameSetup(state_.get(), state_.get(), out, 0);
  gpuEffect->Release();
  return answered;
}

int32_t EglServices::GetDiagnosticText(int32_t /*which*/, WideChar* buffer, int32_t capacity) {
  const auto* renderer = reinterpret_cast<const char*>(glGetString(GL_RENDERER));
  const auto* version = reinterpret_cast<const char*>(glGetString(GL_VERSION));
  if (renderer == nullptr || version == nullptr) return 0;
  const std::string text =
      std::string(renderer) + "; OpenGL " + version + "; EGL " + state_->platform;
  const auto length = static_cast<int32_t>(text.size());
  if (buffer != nullptr && capacity > 0) {
    const int32_t n = length < capacity - 1 ? length : capacity - 1;
    for (int32_t i = 0; i < n; ++i)
      buffer[i] = static_cast<WideChar>(static_cast<unsigned char>(text[static_cast<size_t>(i)]));
    buffer[n] = 0;
  }
  return length;
}

bool EglServices::Upload(const HostFrame& frame, GPUTextureRef* out) {
  if (frame.data == nullptr || frame.pitch <= 0) return false;
  if (!CreateTexture(state_.get(), out, nullptr, frame.width, frame.height, frame.format,
                     frame.data, frame.pitch, 0)) {
    return false;
  }
  out->flipped = frame.flipped;
  return true;
}

bool EglServices::Download(const GPUTextureRef& texture, HostFrame& frame) {
  if (texture.texture == nullptr || frame.data == nullptr || frame.pitch <= 0) return false;
  const int32_t pixelBytes = IsFloatFormat(frame.format) ? 16 : 4;
  if (frame.pitch % pixelBytes != 0 || frame.width > texture.width ||
      frame.height > texture.height) {
    return false;
  }
  glBindFramebuffer(GL_FRAMEBUFFER, state_->framebuffer);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D,
                         static_cast<EglTexture*>(texture.texture)->id(), 0);
  glPixelStorei(GL_PACK_ALIGNMENT, 4);
  glPixelStorei(GL_PACK_ROW_LENGTH, frame.pitch / pixelBytes);
  glReadPixels(texture.left, texture.top, frame.width, frame.height, GL_BGRA,
               IsFloatFormat(frame.format) ? GL_FLOAT : GL_UNSIGNED_BYTE, frame.data);
  glPixelStorei(GL_PACK_ROW_LENGTH, 0);
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
  return glGetError() == GL_NO_ERROR;
}

}  // namespace vitrella::host
