#include "plugin_instance.h"

#include <frei0r.h>

#include <atomic>
#include <cstring>
#include <new>

#include "param_mapping.h"

namespace vitrella::frei0r {
namespace {

constexpr const char* kHostName = "frei0r";

// Different for every instance in the process, for effects that key a cache on it.
uint32_t NextInstanceKey() {
  static std::atomic<uint32_t> next{1};
  return next.fetch_add(1);
}

// A top-down BGRA frame of frei0r as the contract's record: format 0 is the very byte
// order of frei0r's BGRA8888, and `flipped` set says the top row comes first in memory.
HostFrame FrameRecord(const uint32_t* pixels, int32_t width, int32_t height) {
  HostFrame frame{};
  frame.data = reinterpret_cast<uint8_t*>(const_cast<uint32_t*>(pixels));
  frame.width = width;
  frame.height = height;
  frame.pitch = width * 4;
  frame.pixelBytes = 4;
  frame.format = PixelFormat8BGRA;
  frame.flipped = 1;
  return frame;
}

}  // namespace

PluginInstance* PluginInstance::Create(const EffectDescription& description, IVideoEffect* effect,
                                       uint32_t width, uint32_t height) {
  if (effect == nullptr) return nullptr;
  if (width == 0 || height == 0 || width > kMaxFrameSide || height > kMaxFrameSide) {
    effect->Release();
    return nullptr;
  }
  try {
    return new PluginInstance(description, effect, width, height);
  } catch (...) {
    effect->Release();
    return nullptr;
  }
}

PluginInstance::PluginInstance(const EffectDescription& description, IVideoEffect* effect,
                               uint32_t width, uint32_t height)
    : description_(description),
      effect_(effect),
      width_(static_cast<int32_t>(width)),
      height_(static_cast<int32_t>(height)),
      instanceKey_(NextInstanceKey()),
      values_(description.defaults) {}

PluginInstance::~PluginInstance() {
  effect_->Release();
}

void PluginInstance::SetParam(int index, const void* value) {
  if (value == nullptr || index < 0 || index >= description_.ParamCount()) return;
  if (index == kPresetParam) {
    const char* name = *static_cast<const f0r_param_string*>(value);
    if (name == nullptr) return;
    // An unknown name changes nothing, so a typing mistake keeps the values as they were.
    const int preset = description_.FindPreset(name);
    if (preset < 0) return;
    values_ = description_.presets[static_cast<size_t>(preset)];
    preset_ = description_.presetNames[static_cast<size_t>(preset)];
    return;
  }
  const MappedParam& param = description_.params[static_cast<size_t>(index - 1)];
  SetFromFrei0r(param, value, values_[param.record]);
}

void PluginInstance::GetParam(int index, void* value) const {
  if (value == nullptr || index < 0 || index >= description_.ParamCount()) return;
  if (index == kPresetParam) {
    *static_cast<f0r_param_string*>(value) = const_cast<char*>(preset_.c_str());
    return;
  }
  const MappedParam& param = description_.params[static_cast<size_t>(index - 1)];
  GetAsFrei0r(param, values_[param.record], value);
}

void PluginInstance::Update(double time, const uint32_t* in, uint32_t* out) {
  if (in == nullptr || out == nullptr) return;
  const size_t pixels = static_cast<size_t>(width_) * static_cast<size_t>(height_);
  const uint32_t* source = in;
  if (in == out) {
    try {
      pristine_.assign(in, in + pixels);
    } catch (...) {
      return;  // no memory for the copy: the frame stays as it came
    }
    source = pristine_.data();
  }
  if (description_.clearsDestination) std::memset(out, 0, pixels * sizeof(uint32_t));
  RenderInfo info{};
  info.frameNumber = clock_.Next(time);
  info.frameRate = kNominalFrameRate;
  info.time = info.frameNumber / kNominalFrameRate;
  info.fieldMode = kFieldModeFrame;
  info.pixelAspect = 1.0;
  const HostFrame src = FrameRecord(source, width_, height_);
  HostFrame dst = FrameRecord(out, width_, height_);
  if (!effect_->Render(this, &src, 0, &dst, &info) && source != out) {
    std::memcpy(out, source, pixels * sizeof(uint32_t));
  }
}

Result PluginInstance::QueryInterface(const Guid& iid, void** out) {
  if (out == nullptr) return kPointerError;
  // No allocator of our own: the library's pools scratch frames between renders.
  if (iid == kIID_IUnknown) {
    *out = static_cast<IEffectHost*>(this);
    return kOk;
  }
  *out = nullptr;
  return kNoInterface;
}

int32_t PluginInstance::GetParamValue(uint32_t index, void* value, ParamKind /*kind*/) {
  if (value == nullptr || index >= values_.size()) return 0;
  std::memcpy(value, &values_[index], sizeof(ParamValue));
  return 1;
}

// frei0r hands over one frame at a time: effects that look at neighbours keep their own
// copies (Rolling Shutter's cached path).
void* PluginInstance::GetFrame(const RenderInfo* /*which*/, HostFrame* /*frame*/) {
  return nullptr;
}

int32_t PluginInstance::ReleaseFrame(void* /*handle*/, HostFrame* /*frame*/) {
  return 0;
}

HostInfo* PluginInstance::GetHostInfo(HostInfo* info) {
  if (info == nullptr) return nullptr;
  std::memset(info, 0, sizeof(HostInfo));
  info->hostName = kHostName;
  info->instanceKey = instanceKey_;
  return info;
}

}  // namespace vitrella::frei0r
