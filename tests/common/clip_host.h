// A host that renders one clip: parameter values, an instance key of its own or shared
// with other hosts of the same instance, and, when it serves them, the clip's frames
// through GetFrame.
#pragma once

#include <atomic>
#include <cstring>
#include <memory>
#include <vector>

#include "common/test_frame.h"
#include "vitrella/effect.h"

namespace vitrella::testing {

// A key no other effect instance of this process has had.
inline uint32_t NewInstanceKey() {
  static std::atomic<uint32_t> next{5000};
  return next++;
}

using Clip = std::vector<std::unique_ptr<TestFrame>>;

class ClipHost final : public IEffectHost {
 public:
  // The frames are its own `clip`, or `shared` with the other hosts of one instance.
  ClipHost(std::vector<ParamValue> params, bool servesFrames,
           uint32_t instanceKey = NewInstanceKey(), const Clip* shared = nullptr)
      : values_(std::move(params)),
        serves_(servesFrames),
        key_(instanceKey),
        frames_(shared != nullptr ? shared : &clip) {}
  ClipHost(const ClipHost&) = delete;
  ClipHost& operator=(const ClipHost&) = delete;

  Result VITRELLA_CALL QueryInterface(const Guid& /*iid*/, void** out) override {
    *out = nullptr;
    return kNoInterface;
  }
  uint32_t VITRELLA_CALL AddRef() override { return 1; }
  uint32_t VITRELLA_CALL Release() override { return 1; }
  int32_t VITRELLA_CALL GetParamValue(uint32_t index, void* value, ParamKind /*kind*/) override {
    if (index < values_.size()) std::memcpy(value, &values_[index], sizeof(ParamValue));
    return 0;
  }
  void* VITRELLA_CALL GetFrame(const RenderInfo* which, HostFrame* frame) override {
    ++asked;
    const int32_t n = which->frameNumber;
    if (!serves_ || n < 0 || n >= static_cast<int32_t>(frames_->size())) return nullptr;
    TestFrame* found = (*frames_)[static_cast<size_t>(n)].get();
    *frame = *found->Host();
    ++held;
    return found;
  }
  int32_t VITRELLA_CALL ReleaseFrame(void* handle, HostFrame* /*frame*/) override {
    if (handle != nullptr) --held;
    return 0;
  }
  HostInfo* VITRELLA_CALL GetHostInfo(HostInfo* info) override {
    std::memset(info, 0, sizeof(HostInfo));
    info->hostFlags = serves_ ? kHostServesGetFrame : 0;
    info->instanceKey = key_;
    return info;
  }

  Clip clip;
  int asked = 0;
  int held = 0;

 private:
  std::vector<ParamValue> values_;
  bool serves_;
  uint32_t key_;
  const Clip* frames_;
};

}  // namespace vitrella::testing
