// The parts that every effect class shares: reference counting, QueryInterface with the
// tooltip sub-object, and the slots that read the effect's constant tables.
#pragma once

#include <atomic>
#include <type_traits>
#include <utility>

#include "core/effect_table.h"
#include "vitrella/effect.h"

namespace vitrella {

// Derived is the final effect class; Interface is IVideoEffect for a CPU effect and the
// GPU helper for one that also renders on the GPU.
template <typename Derived, typename Interface = IVideoEffect>
class EffectBase : public Interface, public IParamToolTip {
 public:
  // Any further arguments go to the interface's base: a GPU effect's capability programs.
  template <typename... InterfaceArgs>
  explicit EffectBase(const EffectTable& table, InterfaceArgs&&... args)
      : Interface(std::forward<InterfaceArgs>(args)...), table_(table) {}

  Result VITRELLA_CALL QueryInterface(const Guid& iid, void** out) override {
    void* found = nullptr;
    if (iid == kIID_IUnknown || iid == kIID_IVideoEffect) {
      found = static_cast<IVideoEffect*>(this);
    } else if (iid == kIID_IParamToolTip) {
      found = static_cast<IParamToolTip*>(this);
    } else if (iid == kIID_IVideoGPUEffect) {
      if constexpr (std::is_base_of_v<IVideoGPUEffect, Interface>) {
        found = static_cast<IVideoGPUEffect*>(this);
      }
    }
    *out = found;
    if (found == nullptr) return kNoInterface;
    AddRef();
    return kOk;
  }
  uint32_t VITRELLA_CALL AddRef() override { return refs_.fetch_add(1) + 1; }
  uint32_t VITRELLA_CALL Release() override {
    const uint32_t left = refs_.fetch_sub(1) - 1;
    if (left == 0) delete static_cast<Derived*>(this);
    return left;
  }

  const char* VITRELLA_CALL GetEffectName() override { return table_.name; }
  uint32_t VITRELLA_CALL GetEffectTraits() override { return table_.traits; }
  bool VITRELLA_CALL GetParamInfo(uint32_t index, ParamInfo* info) override {
    return FillParamInfo(table_, index, info);
  }
  const char* VITRELLA_CALL GetPresetName(uint32_t preset) override {
    return PresetName(table_, preset);
  }
  bool VITRELLA_CALL GetPresetValue(uint32_t preset, uint32_t param, ParamValue* value) override {
    return PresetValue(table_, preset, param, value);
  }
  const char* VITRELLA_CALL GetParamToolTip(uint32_t index) override {
    return ParamToolTip(table_, index);
  }

 protected:
  ~EffectBase() = default;

 private:
  std::atomic<uint32_t> refs_{1};
  const EffectTable& table_;
};

// Reads parameter values from the host at the frame being rendered, by the names an
// effect declares beside its table. The host fills the buffer only as far as the kind
// needs, so it starts cleared.
class ParamReader {
 public:
  struct Point {
    float x, y;
  };

  explicit ParamReader(IEffectHost* host) : host_(host) {}

  float Read(SliderId id) const { return Value(id.index, ParamSlider).slider; }
  bool Read(CheckId id) const { return Value(id.index, ParamCheck).check != 0; }
  int32_t Read(ChoiceId id) const { return Value(id.index, ParamChoice).choice; }
  uint32_t Read(ColorId id) const { return Value(id.index, ParamColor).color; }
  Point Read(PointId id) const {
    const ParamValue v = Value(id.index, ParamPoint);
    return {v.point[0], v.point[1]};
  }

 private:
  ParamValue Value(uint32_t index, ParamKind kind) const {
    ParamValue value{};
    host_->GetParamValue(index, &value, kind);
    return value;
  }

  IEffectHost* host_;
};

}  // namespace vitrella
