// What a GPU effect's render uses between the host's services and its passes: the view,
// render targets, quads, blend set-up, the two-stage blur and the output step, with
// counters of the live textures, programs and buffers of the call.
#pragma once

#include <cstdint>
#include <span>

#include "gpu/arb_helper.h"
#include "gpu/gl_guard.h"
#include "gpu/program_bundle.h"
#include "gpu/program_store.h"
#include "vitrella/gpu.h"
#include "vitrella/pixel_format.h"

namespace vitrella {

// 1 when a picture of this format is read and written through the .grab swizzle: the
// alpha-first formats 1 and 4, and the GPU's own 9.
constexpr int32_t SwapFlag(int32_t format) {
  return IsAlphaFirst(format) || format == kGPUFormatSwapped ? 1 : 0;
}

class GPUHelper : public ARBHelper, private GLGuard {
 public:
  GPUHelper();

  // Brackets every GPU call: takes the host's extension table and saves the blend state;
  // Leave restores it with blending off.
  void EnterGPU(IGPUServices* services, IGLContext* context);
  void LeaveGPU();

  // The common fixed-function state, the projection and the camera.
  void SetupView(double width, double height);
  void SetProjection(double width, double height);

  // Binds a target (null: the default); on success its size becomes the target size.
  // Answers whether the host bound it; a pass may draw on regardless.
  bool SetRenderTarget(const GPUTextureRef* target, bool flag);
  // BeginPass on the bundle with the target size; the bundle becomes the current one.
  bool BeginPass(ProgramBundle& bundle);
  // A 4x4 matrix uniform of the bundle's program, which must be current (after BeginPass),
  // given column after column. The host's program interface sets no matrices, so this goes
  // through the extension table; false when the program declares no such uniform.
  bool SetMatrix4(ProgramBundle& bundle, const char* name, const float columns[16]);
  // No bundle is current any more: for a pass whose bundle goes before the next BeginPass.
  void EndPass() { current_ = nullptr; }

  // rect: (x0, y0, x1, y1) as fractions of the target, the whole target when null.
  void DrawQuad(const GPUTextureRef* texture, bool flip, const float* rect);
  void DrawQuad2(const GPUTextureRef* first, const GPUTextureRef* second);
  void DrawQuad3(const GPUTextureRef* first, const GPUTextureRef* second,
                 const GPUTextureRef* third);
  void DrawPlainQuad();
  void ClearTarget(float r, float g, float b, float a);

  bool EnableBlend();
  // Factors by the numbers 1 to 13 of the blend table; anything else is GL_ZERO. Alpha
  // always adds.
  bool SetBlendFunc(int source, int destination);
  static uint32_t BlendFactor(int code);

  // The vertical stage from source into first, then the horizontal one into second.
  void SeparableBlur(int32_t horizontalSize, int32_t verticalSize, const GPUTextureRef* source,
                     const GPUTextureRef* first, const GPUTextureRef* second,
                     ProgramBundle& horizontal, ProgramBundle& vertical);

  // Copies result into destination, in the destination's channel order, turned over when
  // their row orders differ. False without services.
  bool OutputStep(const GPUTextureRef* result, const GPUTextureRef* destination);

  // Creation and release through the services, with the live counters kept. A target
  // made from pixels (rows `pitch` bytes apart) holds them; else it is empty.
  bool CreateTarget(GPUTextureRef* out, int32_t width, int32_t height, int32_t format,
                    const void* pixels = nullptr, int32_t pitch = 0);
  void ReleaseTarget(GPUTextureRef* texture);
  bool CreateProgram(ProgramBundle& bundle, int vertexId, int fragmentId);
  void ReleaseProgram(ProgramBundle& bundle);
  // A buffer of `bytes` without contents; null on failure.
  IGPUBuffer* CreateBuffer(uint32_t bytes, uint32_t usage);
  void ReleaseBuffer(IGPUBuffer* buffer);

  // Whether this context can create each program of the list, tried in turn until one
  // fails. Binds the table itself when nobody has filled it; an empty list only binds.
  bool TestPrograms(IGPUServices* services, std::span<const ProgramPair> programs,
                    const GLDriver& driver = CurrentGLDriver());

  // The end of every RenderGPUFrame: marks the result with the source's row order, leaves
  // the last program and target, and copies the result into the destination.
  bool FinishFrame(GPUTextureRef* result, const GPUTextureRef* source,
                   const GPUTextureRef* destination);

  IGLContext* context() const { return context_; }
  IGPUServices* services() const { return services_; }
  int32_t targetWidth() const { return targetWidth_; }
  int32_t targetHeight() const { return targetHeight_; }
  int32_t liveTextures() const { return liveTextures_; }
  int32_t livePrograms() const { return livePrograms_; }
  int32_t liveBuffers() const { return liveBuffers_; }
  void MarkViewSet() { viewFlag_ = 1; }

 private:
  // CreateProgram through the given services, which the capability test holds itself.
  bool CreateProgramWith(IGPUServices* services, ProgramBundle& bundle, ProgramPair pair);
  void DrawTextured(const GPUTextureRef* const* textures, int count, bool flip, const float* rect,
                    bool multitexture);

  uint8_t targetFlag_ = 0;
  uint8_t viewFlag_ = 0;
  IGLContext* context_ = nullptr;
  IGPUServices* services_ = nullptr;
  double halfWidth_ = 0.0;
  double halfHeight_ = 0.0;
  double viewDepth_ = 0.0;
  double spare_ = 0.0;
  int32_t targetWidth_ = 0;
  int32_t targetHeight_ = 0;
  ProgramBundle* current_ = nullptr;
  int32_t liveTextures_ = 0;
  int32_t livePrograms_ = 0;
  int32_t liveBuffers_ = 0;
};

}  // namespace vitrella
