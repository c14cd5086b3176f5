// The host the effect benchmarks render through: the row's values and no allocator, as
// many hosts offer none; for an effect that reads the frame before, it serves that one
// frame.
#pragma once

#include <cstring>
#include <utility>
#include <vector>

#include "vitrella/effect.h"

namespace vitrella::bench {

class BenchHost final : public IEffectHost {
 public:
  explicit BenchHost(std::vector<ParamValue> values, const HostFrame* earlier = nullptr)
      : values_(std::move(values)), earlier_(earlier) {}

  void SetValues(std::vector<ParamValue> values) { values_ = std::move(values); }

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
    if (earlier_ == nullptr || which->frameNumber != 0) return nullptr;
    *frame = *earlier_;
    return const_cast<HostFrame*>(earlier_);
  }
  int32_t VITRELLA_CALL ReleaseFrame(void* /*handle*/, HostFrame* /*frame*/) override { return 0; }
  HostInfo* VITRELLA_CALL GetHostInfo(HostInfo* info) override {
    std::memset(info, 0, sizeof(HostInfo));
    info->hostFlags = earlier_ != nullptr ? kHostServesGetFrame : 0;
    info->instanceKey = 77;
    return info;
  }

 private:
  std::vector<ParamValue> values_;
  const HostFrame* earlier_;
};

}  // namespace vitrella::bench
