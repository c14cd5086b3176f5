// The host object that an effect calls back while it renders: parameter values, host
// facts and pixel memory for the effect's scratch frames.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "vitrella/effect.h"

namespace vitrella::host {

class FrameServer;
class OwnedFrame;

// A number for a new effect instance, different for every instance in this process.
uint32_t NextInstanceKey();

// Lives on the host's stack for the length of a render; Release never deletes, so an
// effect that keeps a reference too long cannot free the host's object. A clip renders
// with one of these per thread, all with the same instance key.
class EffectHost final : public IEffectHost, public IHostAllocator {
 public:
  // values: one per parameter record, in index order. frames: the clip whose frames
  // GetFrame serves, which then says so in hostFlags; null serves nothing.
  EffectHost(std::vector<ParamValue> values, uint32_t instanceKey, FrameServer* frames = nullptr);
  EffectHost(const EffectHost&) = delete;
  EffectHost& operator=(const EffectHost&) = delete;
  ~EffectHost();

  Result VITRELLA_CALL QueryInterface(const Guid& iid, void** out) override;
  uint32_t VITRELLA_CALL AddRef() override;
  uint32_t VITRELLA_CALL Release() override;

  int32_t VITRELLA_CALL GetParamValue(uint32_t index, void* value, ParamKind kind) override;
  void* VITRELLA_CALL GetFrame(const RenderInfo* which, HostFrame* frame) override;
  int32_t VITRELLA_CALL ReleaseFrame(void* handle, HostFrame* frame) override;
  HostInfo* VITRELLA_CALL GetHostInfo(HostInfo* info) override;

  void VITRELLA_CALL AllocateImage(uint8_t** data, int32_t width, int32_t height,
                                   int32_t pixelBytes, int32_t* pitch) override;
  void VITRELLA_CALL FreeImage(void* data) override;

 private:
  std::vector<ParamValue> values_;
  uint32_t instanceKey_;
  FrameServer* frames_;
  std::atomic<uint32_t> references_{1};
  std::mutex lentMutex_;
  std::vector<std::unique_ptr<OwnedFrame>> lent_;  // handed out by GetFrame, not yet back
};

}  // namespace vitrella::host
