// One frei0r instance: an effect instance with its parameter values, and the host object
// the effect calls back while it renders. frei0r enters an instance on one thread at a
// time, so nothing here locks; instances share only the constant description.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "effect_description.h"
#include "frame_clock.h"
#include "vitrella/effect.h"

namespace vitrella::frei0r {

// Frames larger than this on a side are refused at construction.
inline constexpr uint32_t kMaxFrameSide = 1 << 15;

class PluginInstance final : public IEffectHost {
 public:
  // Takes over the caller's reference to `effect`. Null for a size of 0 or above the
  // limit, a null effect, or no memory.
  static PluginInstance* Create(const EffectDescription& description, IVideoEffect* effect,
                                uint32_t width, uint32_t height);
  PluginInstance(const PluginInstance&) = delete;
  PluginInstance& operator=(const PluginInstance&) = delete;
  ~PluginInstance();

  // frei0r parameter indices: 0 the preset, then the mapped records.
  void SetParam(int index, const void* value);
  void GetParam(int index, void* value) const;

  // Renders `in` into `out`, both width x height BGRA bytes, top row first. A failed render
  // passes the picture through unchanged rather than leave the host garbage.
  void Update(double time, const uint32_t* in, uint32_t* out);

  // The IEffectHost slots the effect calls.
  Result VITRELLA_CALL QueryInterface(const Guid& iid, void** out) override;
  uint32_t VITRELLA_CALL AddRef() override { return 1; }
  uint32_t VITRELLA_CALL Release() override { return 1; }
  int32_t VITRELLA_CALL GetParamValue(uint32_t index, void* value, ParamKind kind) override;
  void* VITRELLA_CALL GetFrame(const RenderInfo* which, HostFrame* frame) override;
  int32_t VITRELLA_CALL ReleaseFrame(void* handle, HostFrame* frame) override;
  HostInfo* VITRELLA_CALL GetHostInfo(HostInfo* info) override;

  const std::vector<ParamValue>& values() const { return values_; }

 private:
  PluginInstance(const EffectDescription& description, IVideoEffect* effect, uint32_t width,
                 uint32_t height);

  const EffectDescription& description_;
  IVideoEffect* effect_;
  int32_t width_;
  int32_t height_;
  uint32_t instanceKey_;
  std::vector<ParamValue> values_;
  std::string preset_;
  FrameClock clock_;
  std::vector<uint32_t> pristine_;  // the source of a host that renders in place
};

// The frame rate an instance reports to the effect, for the times it derives from frame
// numbers; frei0r does not tell the real one.
inline constexpr double kNominalFrameRate = 25.0;

}  // namespace vitrella::frei0r
