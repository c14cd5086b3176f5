#include "gpu/gpu_helper.h"

#include <GL/gl.h>
#include <GL/glu.h>

#include <cstdlib>
#include <cstring>

#include "gpu/gl_names.h"

namespace vitrella {
namespace {

using MultiTexCoord2f = void (*)(GLenum, GLfloat, GLfloat);
using UseProgramObject = void (*)(GLuint);

}  // namespace

GPUHelper::GPUHelper() : ARBHelper{} {}

void GPUHelper::EnterGPU(IGPUServices* services, IGLContext* context) {
  services_ = services;
  context_ = context;
  if (context == nullptr) {
    Restore();
    return;
  }
  // The host's table replaces whatever this record held; it is valid for this call only.
  if (const void* table = context->GetExtensionTable(); table != nullptr) {
    std::memcpy(static_cast<ARBHelper*>(this), table, kExtensionTableBytes);
  }
  Save(context);
  liveTextures_ = 0;
  livePrograms_ = 0;
  liveBuffers_ = 0;
  viewFlag_ = 0;
}

void GPUHelper::LeaveGPU() {
  context_ = nullptr;
  services_ = nullptr;
  current_ = nullptr;
  Restore();
}

void GPUHelper::SetupView(double width, double height) {
  glClearDepth(0.0);
  glDepthFunc(GL_GREATER);
  // Every quad stands a little nearer than the depth buffer's clear value.
  if (context_ != nullptr) {
    context_->Enable(gl::kDepthTest);
    context_->Disable(gl::kAlphaTest);
  }
  if (savedContext() != nullptr) savedContext()->Disable(gl::kBlend);
  if (context_ != nullptr) {
    context_->Disable(gl::kLighting);
    context_->Disable(gl::kTexture2D);
  }
  glColor3f(1.0f, 1.0f, 1.0f);
  SetProjection(width, height);
  glMatrixMode(GL_MODELVIEW);
  glLoadIdentity();
  gluLookAt(0.0, 0.0, 5.0, 0.0, 0.0, 0.0, 0.0, 1.0, 0.0);
  viewFlag_ = 1;
}

void GPUHelper::SetProjection(double width, double height) {
  viewDepth_ = 0.0;
  spare_ = 0.0;
  halfWidth_ = width * 0.5;
  halfHeight_ = height * 0.5;
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  glOrtho(-halfWidth_, halfWidth_, -halfHeight_, halfHeight_, 2.0, 12.0);
}

bool GPUHelper::SetRenderTarget(const GPUTextureRef* target, bool flag) {
  targetFlag_ = 0;
  if (services_ == nullptr) return false;
  // A failed bind keeps the old size: the pass draws on.
  if (!services_->SetRenderTarget(context_, target, 0, 0, flag ? 1 : 0)) return false;
  targetWidth_ = target != nullptr ? target->width : 0;
  targetHeight_ = target != nullptr ? target->height : 0;
  return true;
}

bool GPUHelper::BeginPass(ProgramBundle& bundle) {
  current_ = &bundle;
  return bundle.BeginPass(targetWidth_, targetHeight_);
}

bool GPUHelper::SetMatrix4(ProgramBundle& bundle, const char* name, const float columns[16]) {
  if (context_ == nullptr || bundle.program() == nullptr || bundle.FindUniform(name) < 0 ||
      glGetUniformLocationARB == nullptr || glUniformMatrix4fvARB == nullptr) {
    return false;
  }
  int32_t program = 0;
  context_->GetIntegerv(gl::kCurrentProgram, &program, 1);
  const int32_t at = GLCall<int32_t (*)(uint32_t, const char*)>(glGetUniformLocationARB)(
      static_cast<uint32_t>(program), name);
  if (at < 0) return false;
  GLCall<void (*)(int32_t, int32_t, uint8_t, const float*)>(glUniformMatrix4fvARB)(at, 1, 0,
                                                                                   columns);
  return true;
}

void GPUHelper::DrawTextured(const GPUTextureRef* const* textures, int count, bool flip,
                             const float* rect, bool multitexture) {
  if (current_ != nullptr && count > 0) current_->SetAutomaticStages(textures, count);
  static constexpr float kWhole[4] = {0.0f, 0.0f, 1.0f, 1.0f};
  const float* r = rect != nullptr ? rect : kWhole;
  const double w2 = halfWidth_ * 2.0;
  const double h2 = halfHeight_ * 2.0;
  const auto x0 = static_cast<float>(r[0] * w2 - halfWidth_);
  const auto x1 = static_cast<float>(r[2] * w2 - halfWidth_);
  auto y0 = static_cast<float>(r[1] * h2 - halfHeight_);
  auto y1 = static_cast<float>(r[3] * h2 - halfHeight_);
  if (flip) std::swap(y0, y1);
  const float z = static_cast<float>(viewDepth_) - 0.00001f;
  const auto multiTexCoord = GLCall<MultiTexCoord2f>(glMultiTexCoord2fARB);
  auto coord = [&](float s, float t) {
    if (!multitexture) {
      glTexCoord2f(s, t);
    } else if (multiTexCoord != nullptr) {
      multiTexCoord(GL_TEXTURE0, s, t);
    }
  };
  glBegin(GL_TRIANGLE_STRIP);
  coord(0.0f, 0.0f);
  glVertex3f(x0, y0, z);
  coord(0.0f, 1.0f);
  glVertex3f(x0, y1, z);
  coord(1.0f, 0.0f);
  glVertex3f(x1, y0, z);
  coord(1.0f, 1.0f);
  glVertex3f(x1, y1, z);
  glEnd();
}

void GPUHelper::DrawQuad(const GPUTextureRef* texture, bool flip, const float* rect) {
  const GPUTextureRef* textures[1] = {texture};
  DrawTextured(textures, 1, flip, rect, false);
}

void GPUHelper::DrawQuad2(const GPUTextureRef* first, const GPUTextureRef* second) {
  const GPUTextureRef* textures[2] = {first, second};
  DrawTextured(textures, 2, false, nullptr, true);
}

void GPUHelper::DrawQuad3(const GPUTextureRef* first, const GPUTextureRef* second,
                          const GPUTextureRef* third) {
  const GPUTextureRef* textures[3] = {first, second, third};
  DrawTextured(textures, 3, false, nullptr, true);
}

void GPUHelper::DrawPlainQuad() {
  DrawTextured(nullptr, 0, false, nullptr, false);
}

void GPUHelper::ClearTarget(float r, float g, float b, float a) {
  glClearColor(r, g, b, a);
  glClear(GL_COLOR_BUFFER_BIT);
}

bool GPUHelper::EnableBlend() {
  if (context_ == nullptr || !context_->Enable(gl::kBlend)) return false;
  context_->BlendEquationSeparate(gl::kFuncAdd, gl::kFuncAdd);
  return true;
}

uint32_t GPUHelper::BlendFactor(int code) {
  static constexpr uint32_t kFactors[] = {gl::kZero,          gl::kOne,
                                          gl::kSrcColor,      gl::kOneMinusSrcColor,
                                          gl::kDstColor,      gl::kOneMinusDstColor,
                                          gl::kSrcAlpha,      gl::kOneMinusSrcAlpha,
                                          gl::kDstAlpha,      gl::kOneMinusDstAlpha,
                                          gl::kConstantColor, gl::kOneMinusConstantColor,
                                          gl::kConstantAlpha, gl::kOneMinusConstantAlpha};
  return code >= 1 && code <= 13 ? kFactors[code] : gl::kZero;
}

bool GPUHelper::SetBlendFunc(int source, int destination) {
  if (context_ == nullptr) return false;
  return context_->BlendFuncSeparate(BlendFactor(source), BlendFactor(destination), gl::kOne,
                                     gl::kOne);
}

void GPUHelper::SeparableBlur(int32_t horizontalSize, int32_t verticalSize,
                              const GPUTextureRef* source, const GPUTextureRef* first,
                              const GPUTextureRef* second, ProgramBundle& horizontal,
                              ProgramBundle& vertical) {
  // An odd size tells the program that the kernel's two halves are equal.
  SetRenderTarget(first, false);
  BeginPass(vertical);
  vertical.SetInt("blurSize", verticalSize / 2);
  vertical.SetInt("isOdd", std::abs(verticalSize % 2));
  DrawQuad(source, false, nullptr);

  SetRenderTarget(second, false);
  BeginPass(horizontal);
  horizontal.SetInt("blurSize", horizontalSize / 2);
  horizontal.SetInt("isOdd", std::abs(horizontalSize % 2));
  DrawQuad(first, false, nullptr);
}

bool GPUHelper::OutputStep(const GPUTextureRef* result, const GPUTextureRef* destination) {
  // The library's shared services are not served by this build yet; the helper's own
  // services are what the step needs.
  if (services_ == nullptr || result == nullptr || destination == nullptr) return false;
  ProgramBundle bundle(false);
  const bool created =
      CreateProgram(bundle, kProgramPassThroughVertex, kProgramPassThroughFragment);
  if (created) {
    SetRenderTarget(destination, false);
    BeginPass(bundle);
    bundle.SetInt("SwapChannelsDst", SwapFlag(destination->format));
    bundle.SetTexture("Tex", result->texture);
    const auto allocatedWidth = static_cast<float>(result->allocatedWidth);
    const auto allocatedHeight = static_cast<float>(result->allocatedHeight);
    bundle.SetVec2("texCoordScale0", static_cast<float>(result->width) / allocatedWidth,
                   static_cast<float>(result->height) / allocatedHeight);
    bundle.SetVec2("texCoordShift0", static_cast<float>(result->left) / allocatedWidth,
                   static_cast<float>(result->top) / allocatedHeight);
    DrawQuad(result, result->flipped != destination->flipped, nullptr);
    if (const auto use = GLCall<UseProgramObject>(glUseProgramObjectARB); use != nullptr) use(0);
    targetFlag_ = 0;
    SetRenderTarget(nullptr, false);
  }
  current_ = nullptr;
  ReleaseProgram(bundle);
  return created;
}

bool GPUHelper::CreateTarget(GPUTextureRef* out, int32_t width, int32_t height, int32_t format,
                             const void* pixels, int32_t pitch) {
  *out = GPUTextureRef{};
  if (services_ == nullptr) return false;
  const bool created =
      services_->CreateTexture(context_, out, nullptr, width, height, format, pixels, pitch, 0);
  if (created) ++liveTextures_;
  return created;
}

void GPUHelper::ReleaseTarget(GPUTextureRef* texture) {
  if (services_ == nullptr || texture == nullptr || texture->texture == nullptr) return;
  if (texture->texture->IsValid()) --liveTextures_;
  services_->ReleaseTexture(texture);
  texture->texture = nullptr;
}

IGPUBuffer* GPUHelper::CreateBuffer(uint32_t bytes, uint32_t usage) {
  if (services_ == nullptr) return nullptr;
  IGPUBuffer* buffer = nullptr;
  if (!services_->CreateBuffer(context_, &buffer, nullptr, bytes, usage, 0, 0)) {
    // A host may hand out an object that it then calls a failure; it is still its to free.
    if (buffer != nullptr) services_->ReleaseBuffer(buffer);
    return nullptr;
  }
  if (buffer == nullptr) return nullptr;
  ++liveBuffers_;
  return buffer;
}

void GPUHelper::ReleaseBuffer(IGPUBuffer* buffer) {
  if (services_ == nullptr || buffer == nullptr) return;
  if (buffer->IsValid()) --liveBuffers_;
  services_->ReleaseBuffer(buffer);
}

bool GPUHelper::CreateProgram(ProgramBundle& bundle, int vertexId, int fragmentId) {
  return services_ != nullptr && CreateProgramWith(services_, bundle, {vertexId, fragmentId});
}

bool GPUHelper::CreateProgramWith(IGPUServices* services, ProgramBundle& bundle, ProgramPair pair) {
  const StoredProgram& vertex = StoredProgramAt(pair.vertex);
  const StoredProgram& fragment = StoredProgramAt(pair.fragment);
  IGPUProgram* program = nullptr;
  const bool created = services->CreateProgram(
      context_, &program, vertex.text, fragment.text, nullptr, vertex.storedSize,
      fragment.storedSize, 0, vertex.length, fragment.length, 0, vertex.value, fragment.value, 0);
  bundle.AttachProgram(services, context_, program);
  if (created) ++livePrograms_;
  return created;
}

void GPUHelper::ReleaseProgram(ProgramBundle& bundle) {
  if (bundle.program() != nullptr && bundle.program()->IsValid()) --livePrograms_;
  bundle.DetachProgram();
}

bool GPUHelper::TestPrograms(IGPUServices* services, std::span<const ProgramPair> programs,
                             const GLDriver& driver) {
  if (services == nullptr) return false;
  if (glCreateShaderObjectARB == nullptr && !BindAll(driver)) return false;
  bool created = true;
  for (const ProgramPair& pair : programs) {
    ProgramBundle bundle(true);
    created = CreateProgramWith(services, bundle, pair);
    ReleaseProgram(bundle);
    if (!created) break;
  }
  return created;
}

bool GPUHelper::FinishFrame(GPUTextureRef* result, const GPUTextureRef* source,
                            const GPUTextureRef* destination) {
  if (result == nullptr || source == nullptr) return false;
  result->flipped = source->flipped;
  if (context_ != nullptr) context_->UseProgram(0);
  SetRenderTarget(nullptr, false);
  return OutputStep(result, destination);
}

}  // namespace vitrella
