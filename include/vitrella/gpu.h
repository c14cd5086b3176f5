// The host's GPU services: the context, textures, buffers and programs that a GPU
// effect reaches through IEffectHost. The host owns all of them; positions that the
// library never calls still hold their place in the tables of virtual functions.
#pragma once

#include <cstddef>
#include <cstdint>

#include "vitrella/base.h"
#include "vitrella/records.h"

namespace vitrella {

class IVideoEffect;
class IGPUTexture;

// A picture on the card, known by its texture and the region that holds it.
struct GPUTextureRef {
  IGPUTexture* texture;  // null in an empty record
  int32_t format;        // a PixelFormat code, or 9, a swapped format that only the GPU names
  int32_t allocatedWidth;
  int32_t allocatedHeight;
  int32_t width;  // the picture within the texture
  int32_t height;
  int32_t left;
  int32_t top;
  uint8_t flipped;  // rows run bottom-up
};
static_assert(sizeof(GPUTextureRef) == 40);
static_assert(offsetof(GPUTextureRef, texture) == 0);
static_assert(offsetof(GPUTextureRef, format) == 8);
static_assert(offsetof(GPUTextureRef, allocatedWidth) == 12);
static_assert(offsetof(GPUTextureRef, allocatedHeight) == 16);
static_assert(offsetof(GPUTextureRef, width) == 20);
static_assert(offsetof(GPUTextureRef, height) == 24);
static_assert(offsetof(GPUTextureRef, left) == 28);
static_assert(offsetof(GPUTextureRef, top) == 32);
static_assert(offsetof(GPUTextureRef, flipped) == 36);

inline constexpr int32_t kGPUFormatSwapped = 9;

// The capability record of BeginGPUFrameSetup: three words, the second 1 when the
// effect's GPU path can run on the context.
struct GPUSetupInfo {
  uint32_t reserved0;
  uint32_t gpuUsable;
  uint32_t reserved2;
};
static_assert(sizeof(GPUSetupInfo) == 12);

// One record of IGPUProgram::GetActiveUniforms; only the leading name is read.
struct UniformRecord {
  char name[68];
};
static_assert(sizeof(UniformRecord) == 68);

// Size of the extension table that IGLContext hands over, see the GPU framework.
inline constexpr size_t kExtensionTableBytes = 1264;

// Valid for one GPU call only.
class IGLContext : public IUnknown {
 public:
  virtual void VITRELLA_CALL Reserved3() {}
  virtual void VITRELLA_CALL Reserved4() {}
  virtual const void* VITRELLA_CALL GetExtensionTable() = 0;                           // 5
  virtual void VITRELLA_CALL GetIntegerv(uint32_t name, int32_t* out, int32_t count) = 0;  // 6
  virtual void VITRELLA_CALL GetFloatv(uint32_t name, float* out, int32_t count) = 0;      // 7
  virtual bool VITRELLA_CALL Enable(uint32_t capability) = 0;                              // 8
  virtual bool VITRELLA_CALL Disable(uint32_t capability) = 0;                             // 9
  virtual void VITRELLA_CALL BlendColor(float r, float g, float b, float a) = 0;           // 10
  virtual bool VITRELLA_CALL BlendEquationSeparate(uint32_t colour, uint32_t alpha) = 0;   // 11
  virtual bool VITRELLA_CALL BlendFuncSeparate(uint32_t srcColour, uint32_t dstColour,
                                               uint32_t srcAlpha, uint32_t dstAlpha) = 0;  // 12
  virtual void VITRELLA_CALL UseProgram(uint32_t program) = 0;                             // 13
  virtual void VITRELLA_CALL BindBuffer(uint32_t target, uint32_t buffer) = 0;             // 14

 protected:
  ~IGLContext() = default;
};

class IGPUTexture : public IUnknown {
 public:
  virtual void VITRELLA_CALL Reserved3() {}
  virtual bool VITRELLA_CALL SetFilter(uint32_t filter) = 0;  // 4
  virtual void VITRELLA_CALL Reserved5() {}
  virtual void VITRELLA_CALL Reserved6() {}
  virtual void VITRELLA_CALL Reserved7() {}
  virtual void VITRELLA_CALL Reserved8() {}
  virtual bool VITRELLA_CALL IsValid() = 0;  // 9

 protected:
  ~IGPUTexture() = default;
};

class IGPUBuffer : public IUnknown {
 public:
  virtual void VITRELLA_CALL Bind(uint32_t target) = 0;  // 3
  virtual void VITRELLA_CALL Reserved4() {}
  virtual void VITRELLA_CALL Reserved5() {}
  virtual void VITRELLA_CALL Reserved6() {}
  virtual void VITRELLA_CALL Reserved7() {}
  virtual void VITRELLA_CALL Reserved8() {}
  virtual void VITRELLA_CALL Reserved9() {}
  virtual void VITRELLA_CALL Reserved10() {}
  virtual bool VITRELLA_CALL IsValid() = 0;  // 11

 protected:
  ~IGPUBuffer() = default;
};

class IGPUProgram : public IUnknown {
 public:
  virtual void VITRELLA_CALL Use() = 0;                                   // 3
  virtual bool VITRELLA_CALL SetInt(const char* name, int32_t value) = 0;  // 4
  virtual void VITRELLA_CALL Reserved5() {}
  virtual void VITRELLA_CALL Reserved6() {}
  virtual void VITRELLA_CALL Reserved7() {}
  virtual bool VITRELLA_CALL SetFloat(const char* name, float value) = 0;           // 8
  virtual bool VITRELLA_CALL SetVec2(const char* name, float x, float y) = 0;       // 9
  virtual bool VITRELLA_CALL SetVec3(const char* name, float x, float y, float z) = 0;  // 10
  virtual bool VITRELLA_CALL SetVec4(const char* name, float x, float y, float z,
                                     float w) = 0;  // 11
  virtual void VITRELLA_CALL Reserved12() {}
  virtual void VITRELLA_CALL Reserved13() {}
  virtual void VITRELLA_CALL Reserved14() {}
  virtual bool VITRELLA_CALL SetTexture(const char* name, IGPUTexture* texture) = 0;  // 15
  // With null only counts; otherwise fills one record per active uniform.
  virtual uint32_t VITRELLA_CALL GetActiveUniforms(UniformRecord* records) = 0;     // 16
  virtual bool VITRELLA_CALL GetAttribLocation(const char* name, int32_t* out) = 0;  // 17
  virtual void VITRELLA_CALL Reserved18() {}
  virtual bool VITRELLA_CALL IsValid() = 0;  // 19

 protected:
  ~IGPUProgram() = default;
};

inline constexpr Guid kIID_IGPUServices{
    0x3C31DE30, 0x7F89, 0x4A56, {0xAB, 0x76, 0xB0, 0x50, 0xB2, 0x9F, 0x29, 0xCB}};

class IGPUServices : public IUnknown {
 public:
  virtual void VITRELLA_CALL Reserved3() {}
  virtual void VITRELLA_CALL Reserved4() {}
  virtual void VITRELLA_CALL Reserved5() {}
  virtual void VITRELLA_CALL Reserved6() {}
  virtual void VITRELLA_CALL Reserved7() {}
  virtual void VITRELLA_CALL Reserved8() {}
  virtual bool VITRELLA_CALL CreateTexture(IGLContext* context, GPUTextureRef* out,
                                           const char* name, int32_t width, int32_t height,
                                           int32_t format, const void* pixels, int32_t pitch,
                                           uintptr_t reserved) = 0;  // 9
  virtual bool VITRELLA_CALL CreateBuffer(IGLContext* context, IGPUBuffer** out,
                                          const void* data, uint32_t bytes, uint32_t usage,
                                          uintptr_t reserved1, uintptr_t reserved2) = 0;  // 10
  virtual void VITRELLA_CALL Reserved11() {}
  virtual bool VITRELLA_CALL CreateProgram(IGLContext* context, IGPUProgram** out,
                                           const char* vertexText, const char* fragmentText,
                                           const char* geometryText, uint32_t vertexStored,
                                           uint32_t fragmentStored, uint32_t geometryStored,
                                           uint32_t vertexLength, uint32_t fragmentLength,
                                           uint32_t geometryLength, uint64_t vertexValue,
                                           uint64_t fragmentValue,
                                           uint64_t geometryValue) = 0;     // 12
  virtual void VITRELLA_CALL ReleaseBuffer(IGPUBuffer* buffer) = 0;         // 13
  virtual void VITRELLA_CALL ReleaseTexture(GPUTextureRef* texture) = 0;    // 14
  virtual void VITRELLA_CALL Reserved15() {}
  virtual void VITRELLA_CALL ReleaseProgram(IGPUProgram* program) = 0;  // 16
  virtual bool VITRELLA_CALL SetRenderTarget(IGLContext* context, const GPUTextureRef* target,
                                             uint32_t reserved1, uint32_t reserved2,
                                             uint8_t flag) = 0;  // 17
  virtual void VITRELLA_CALL Reserved18() {}
  virtual void VITRELLA_CALL Reserved19() {}
  virtual bool VITRELLA_CALL QueryEffectGPU(IVideoEffect* effect, GPUSetupInfo* out) = 0;  // 20
  virtual void VITRELLA_CALL Reserved21() {}
  virtual void VITRELLA_CALL Reserved22() {}
  virtual void VITRELLA_CALL Reserved23() {}
  // Length of the text, 0 when there is none; with a null buffer only measures.
  virtual int32_t VITRELLA_CALL GetDiagnosticText(int32_t which, WideChar* buffer,
                                                  int32_t capacity) = 0;  // 24

 protected:
  ~IGPUServices() = default;
};

}  // namespace vitrella
