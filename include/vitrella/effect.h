// Effects and the host object that they call back while rendering.
#pragma once

#include <cstdint>

#include "vitrella/base.h"
#include "vitrella/gpu.h"
#include "vitrella/records.h"

namespace vitrella {

inline constexpr Guid kIID_IVideoEffect{
    0x0BCF7FCD, 0x6BE5, 0x4A40, {0x9A, 0x49, 0xA6, 0x8D, 0x6B, 0xF6, 0x60, 0x26}};
inline constexpr Guid kIID_IVideoGPUEffect{
    0x418A60D9, 0xFCA6, 0x434F, {0x9F, 0xE8, 0xEB, 0x6B, 0xC1, 0x1C, 0x5C, 0x13}};
inline constexpr Guid kIID_IParamToolTip{
    0xC40A4523, 0xECE1, 0x493B, {0xA7, 0x3D, 0xEC, 0xF1, 0x15, 0x38, 0xF6, 0x00}};
inline constexpr Guid kIID_IHostAllocator{
    0x9F635B81, 0x506A, 0x4DEE, {0x9D, 0xC7, 0x9E, 0x0B, 0xAB, 0xA2, 0xD5, 0xA2}};

// Traits masks of GetEffectTraits; only the host reads them.
inline constexpr uint32_t kTraitsPlain = 0x3C1;
inline constexpr uint32_t kTraitsPositional = 0x3C5;
inline constexpr uint32_t kTraitsReadsFrames = 0x3E1;

// Implemented by the host. The library calls slots 3, 5, 6 and 8; slots 4 and 7 belong
// to the host's interface and are never called by a render.
class IEffectHost : public IUnknown {
 public:
  // The value at the frame being rendered; kind is the parameter's ParamKind, not a size.
  virtual int32_t VITRELLA_CALL GetParamValue(uint32_t index, void* value, ParamKind kind) = 0;
  virtual int32_t VITRELLA_CALL HostSlot4() { return 0; }
  // Another frame of the source clip, or null. Each non-null handle is given back once.
  virtual void* VITRELLA_CALL GetFrame(const RenderInfo* which, HostFrame* frame) = 0;
  virtual int32_t VITRELLA_CALL ReleaseFrame(void* handle, HostFrame* frame) = 0;
  virtual int32_t VITRELLA_CALL HostSlot7() { return 0; }
  // Fills the record and returns the same pointer.
  virtual HostInfo* VITRELLA_CALL GetHostInfo(HostInfo* info) = 0;

 protected:
  ~IEffectHost() = default;
};

// Optional allocator of pixel memory, reached through IEffectHost::QueryInterface.
class IHostAllocator : public IUnknown {
 public:
  virtual void VITRELLA_CALL Reserved3() {}
  virtual void VITRELLA_CALL Reserved4() {}
  // Stores the image's address in *data (null on failure) and its row pitch in *pitch.
  virtual void VITRELLA_CALL AllocateImage(uint8_t** data, int32_t width, int32_t height,
                                           int32_t pixelBytes, int32_t* pitch) = 0;  // 5
  virtual void VITRELLA_CALL FreeImage(void* data) = 0;                               // 6

 protected:
  ~IHostAllocator() = default;
};

class IVideoEffect : public IUnknown {
 public:
  virtual const char* VITRELLA_CALL GetEffectName() = 0;                       // 3
  virtual uint32_t VITRELLA_CALL GetEffectTraits() = 0;                        // 4
  virtual bool VITRELLA_CALL GetParamInfo(uint32_t index, ParamInfo* info) = 0;  // 5
  // CPU render of one frame. `unused` is a word of the host that no effect reads.
  virtual bool VITRELLA_CALL Render(IEffectHost* host, const HostFrame* source,
                                    uintptr_t unused, HostFrame* destination,
                                    const RenderInfo* info) = 0;          // 6
  virtual const char* VITRELLA_CALL GetPresetName(uint32_t preset) = 0;  // 7
  virtual bool VITRELLA_CALL GetPresetValue(uint32_t preset, uint32_t param,
                                            ParamValue* value) = 0;  // 8

 protected:
  ~IVideoEffect() = default;
};

class IVideoGPUEffect : public IVideoEffect {
 public:
  // The capability call: fills the record and answers whether the setup ran.
  virtual bool VITRELLA_CALL BeginGPUFrameSetup(IEffectHost* host, IGLContext* context,
                                                GPUSetupInfo* info, uintptr_t word) = 0;  // 9
  virtual bool VITRELLA_CALL RenderGPU(uintptr_t unused, IEffectHost* host,
                                       IGLContext* context, const GPUTextureRef* source,
                                       const GPUTextureRef* secondSource,
                                       GPUTextureRef* destination,
                                       const RenderInfo* info) = 0;  // 10
  virtual bool VITRELLA_CALL SetupGPUFrame(IEffectHost* host, GPUSetupInfo* info,
                                           uintptr_t word) = 0;  // 11
  virtual bool VITRELLA_CALL RenderGPUFrame(IEffectHost* host, const GPUTextureRef* source,
                                            const GPUTextureRef* secondSource,
                                            GPUTextureRef* destination,
                                            const RenderInfo* info) = 0;  // 12

 protected:
  ~IVideoGPUEffect() = default;
};

class IParamToolTip : public IUnknown {
 public:
  // Constant text, or null past the end of the table.
  virtual const char* VITRELLA_CALL GetParamToolTip(uint32_t index) = 0;  // 3

 protected:
  ~IParamToolTip() = default;
};

}  // namespace vitrella
