// A host for effect tests: it serves parameter values from a table, optionally lends an
// allocator that counts what it hands out, and answers nothing else.
#pragma once

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "vitrella/effect.h"

namespace vitrella::testing {

class CountingAllocator final : public IHostAllocator {
 public:
  Result VITRELLA_CALL QueryInterface(const Guid& iid, void** out) override {
    *out = (iid == kIID_IHostAllocator || iid == kIID_IUnknown) ? this : nullptr;
    if (*out == nullptr) return kNoInterface;
    AddRef();
    return kOk;
  }
  uint32_t VITRELLA_CALL AddRef() override { return ++refs; }
  uint32_t VITRELLA_CALL Release() override { return --refs; }
  void VITRELLA_CALL AllocateImage(uint8_t** data, int32_t width, int32_t height,
                                   int32_t pixelBytes, int32_t* pitch) override {
    *data = nullptr;
    if (failAll || width < 1 || height < 1 || pixelBytes < 1) return;
    *pitch = width * pixelBytes + pitchPadding;
    *data = static_cast<uint8_t*>(std::malloc(static_cast<size_t>(*pitch) * height));
    if (*data != nullptr) ++allocations;
  }
  void VITRELLA_CALL FreeImage(void* data) override {
    if (data != nullptr) ++frees;
    std::free(data);
  }

  std::atomic<int> refs{0};
  int allocations = 0;
  int frees = 0;
  int32_t pitchPadding = 12;  // an odd pitch shows who assumed pitch == row length
  bool failAll = false;
};

class FakeHost final : public IEffectHost {
 public:
  explicit FakeHost(std::vector<ParamValue> params = {}) : values(std::move(params)) {}

  Result VITRELLA_CALL QueryInterface(const Guid& iid, void** out) override {
    if (iid == kIID_IHostAllocator && lendAllocator) return allocator.QueryInterface(iid, out);
    if (iid == kIID_IUnknown) {
      *out = this;
      return kOk;
    }
    *out = nullptr;
    return kNoInterface;
  }
  uint32_t VITRELLA_CALL AddRef() override { return 1; }
  uint32_t VITRELLA_CALL Release() override { return 1; }
  int32_t VITRELLA_CALL GetParamValue(uint32_t index, void* value, ParamKind /*kind*/) override {
    if (index < values.size()) std::memcpy(value, &values[index], sizeof(ParamValue));
    return 0;
  }
  void* VITRELLA_CALL GetFrame(const RenderInfo* /*which*/, HostFrame* /*frame*/) override {
    return nullptr;
  }
  int32_t VITRELLA_CALL ReleaseFrame(void* /*handle*/, HostFrame* /*frame*/) override { return 0; }
  HostInfo* VITRELLA_CALL GetHostInfo(HostInfo* info) override {
    std::memset(info, 0, sizeof(HostInfo));
    info->hostName = "test host";
    info->instanceKey = instanceKey;
    return info;
  }

  std::vector<ParamValue> values;
  bool lendAllocator = false;
  CountingAllocator allocator;
  uint32_t instanceKey = 1;
};

// The values of a built-in preset, or of the defaults when preset is -1.
inline std::vector<ParamValue> EffectValues(IVideoEffect* effect, int preset = -1) {
  std::vector<ParamValue> values;
  ParamInfo info{};
  for (uint32_t i = 0; effect->GetParamInfo(i, &info); ++i) {
    ParamValue v = info.defaultValue;
    if (preset >= 0) effect->GetPresetValue(static_cast<uint32_t>(preset), i, &v);
    values.push_back(v);
  }
  return values;
}

inline RenderInfo WholeFrameInfo() {
  RenderInfo info{};
  info.frameRate = 25.0;
  info.fieldMode = kFieldModeFrame;
  return info;
}

}  // namespace vitrella::testing
