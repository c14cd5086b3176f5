// The reference host's GPU services on an EGL context: surfaceless Mesa where there is
// no GPU (llvmpipe, as in CI), an EGL device elsewhere. Textures, render targets through
// framebuffer objects, programs compiled from the library's texts, buffers, and the
// extension table of the context.
#pragma once

#include <memory>
#include <string>

#include "vitrella/effect.h"
#include "vitrella/gpu.h"

namespace vitrella::host {

class EglServices;

// Makes a context current on this thread and serves it. Null, with the reason in
// *error, when no context can be made or it lacks what the library needs.
std::unique_ptr<EglServices> CreateEglServices(std::string* error);

class EglServices final : public IGPUServices {
 public:
  ~EglServices();
  EglServices(const EglServices&) = delete;
  EglServices& operator=(const EglServices&) = delete;

  Result VITRELLA_CALL QueryInterface(const Guid& iid, void** out) override;
  uint32_t VITRELLA_CALL AddRef() override;
  uint32_t VITRELLA_CALL Release() override;  // never deletes: the owner does

  bool VITRELLA_CALL CreateTexture(IGLContext* context, GPUTextureRef* out, const char* name,
                                   int32_t width, int32_t height, int32_t format,
                                   const void* pixels, int32_t pitch, uintptr_t reserved) override;
  bool VITRELLA_CALL CreateBuffer(IGLContext* context, IGPUBuffer** out, const void* data,
                                  uint32_t bytes, uint32_t usage, uintptr_t reserved1,
                                  uintptr_t reserved2) override;
  bool VITRELLA_CALL CreateProgram(IGLContext* context, IGPUProgram** out, const char* vertexText,
                                   const char* fragmentText, const char* geometryText,
                                   uint32_t vertexStored, uint32_t fragmentStored,
                                   uint32_t geometryStored, uint32_t vertexLength,
                                   uint32_t fragmentLength, uint32_t geometryLength,
                                   uint64_t vertexValue, uint64_t fragmentValue,
                                   uint64_t geometryValue) override;
  void VITRELLA_CALL ReleaseBuffer(IGPUBuffer* buffer) override;
  void VITRELLA_CALL ReleaseTexture(GPUTextureRef* texture) override;
  void VITRELLA_CALL ReleaseProgram(IGPUProgram* program) override;
  bool VITRELLA_CALL SetRenderTarget(IGLContext* context, const GPUTextureRef* target,
                                     uint32_t reserved1, uint32_t reserved2, uint8_t flag) override;
  bool VITRELLA_CALL QueryEffectGPU(IVideoEffect* effect, GPUSetupInfo* out) override;
  int32_t VITRELLA_CALL GetDiagnosticText(int32_t which, WideChar* buffer,
                                          int32_t capacity) override;

  // The context that every GPU call of an effect is given.
  IGLContext* context();
  // Uploads rows of a host frame (pitch positive, `flipped` as the frame has it).
  bool Upload(const HostFrame& frame, GPUTextureRef* out);
  // Reads the texture's picture back into a frame of its size and format.
  bool Download(const GPUTextureRef& texture, HostFrame& frame);
  // The last compile or link log, for messages.
  const std::string& lastLog() const;

  struct State;

 private:
  explicit EglServices(std::unique_ptr<State> state);
  friend std::unique_ptr<EglServices> CreateEglServices(std::string* error);
  std::unique_ptr<State> state_;
};

}  // namespace vitrella::host
