#include "effect_host.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "frame_server.h"

namespace vitrella::host {
namespace {

constexpr int64_t kRowAlignment = 64;
// No scratch frame of a real render comes near this; anything larger is a bad request.
constexpr int64_t kMaxImageBytes = int64_t{1} << 36;

constexpr const char* kHostName = "vitrella";

}  // namespace

uint32_t NextInstanceKey() {
  static std::atomic<uint32_t> next{1};
  return next.fetch_add(1);
}

EffectHost::EffectHost(std::vector<ParamValue> values, uint32_t instanceKey, FrameServer* frames)
    : values_(std::move(values)), instanceKey_(instanceKey), frames_(frames) {}

// Frames that an effect never gave back go with the host object.
EffectHost::~EffectHost() = default;

Result EffectHost::QueryInterface(const Guid& iid, void** out) {
  if (out == nullptr) return kPointerError;
  if (iid == kIID_IUnknown) {
    *out = static_cast<IEffectHost*>(this);
  } else if (iid == kIID_IHostAllocator) {
    *out = static_cast<IHostAllocator*>(this);
  } else {
    // Among others IGPUServices: this host renders on the CPU only.
    *out = nullptr;
    return kNoInterface;
  }
  AddRef();
  return kOk;
}

uint32_t EffectHost::AddRef() {
  return references_.fetch_add(1) + 1;
}

uint32_t EffectHost::Release() {
  return references_.fetch_sub(1) - 1;
}

int32_t EffectHost::GetParamValue(uint32_t index, void* value, ParamKind /*kind*/) {
  if (value == nullptr || index >= values_.size()) return 0;
  std::memcpy(value, &values_[index], sizeof(ParamValue));
  return 1;
}

void* EffectHost::GetFrame(const RenderInfo* which, HostFrame* frame) {
  // A single picture, or a clip rendered without serving frames, has none to offer.
  if (frames_ == nullptr || which == nullptr || frame == nullptr) return nullptr;
  // The effect names the frame by its number; when it trusts only the time it has already
  // worked the number out from the time and the rate.
  std::unique_ptr<OwnedFrame> fetched = frames_->Frame(which->frameNumber);
  if (!fetched) return nullptr;
  OwnedFrame* handle = fetched.get();
  try {
    const std::lock_guard lock(lentMutex_);
    lent_.push_back(std::move(fetched));
  } catch (...) {
    return nullptr;  // no exception crosses into the library
  }
  *frame = handle->record();
  return handle;
}

int32_t EffectHost::ReleaseFrame(void* handle, HostFrame* /*frame*/) {
  const std::lock_guard lock(lentMutex_);
  // A handle that this host did not lend, or lent and got back already, is ignored.
  const auto found = std::find_if(lent_.begin(), lent_.end(),
                                  [&](const auto& lent) { return lent.get() == handle; });
  if (found == lent_.end()) return 0;
  lent_.erase(found);
  return 1;
}

HostInfo* EffectHost::GetHostInfo(HostInfo* info) {
  if (info == nullptr) return nullptr;
  std::memset(info, 0, sizeof(HostInfo));
  info->hostName = kHostName;
  info->hostFlags = frames_ != nullptr ? kHostServesGetFrame : 0;
  info->instanceKey = instanceKey_;
  return info;
}

void EffectHost::AllocateImage(uint8_t** data, int32_t width, int32_t height, int32_t pixelBytes,
                               int32_t* pitch) {
  if (data == nullptr) return;
  *data = nullptr;
  if (pitch != nullptr) *pitch = 0;
  if (pitch == nullptr || width <= 0 || height <= 0 || pixelBytes <= 0) return;
  const int64_t rowBytes = int64_t{width} * pixelBytes;
  const int64_t rowPitch = (rowBytes + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
  if (rowPitch > std::numeric_limits<int32_t>::max()) return;
  if (rowPitch > kMaxImageBytes / height) return;
  void* memory = std::aligned_alloc(kRowAlignment, static_cast<size_t>(rowPitch * height));
  if (memory == nullptr) return;
  *data = static_cast<uint8_t*>(memory);
  *pitch = static_cast<int32_t>(rowPitch);
}

void EffectHost::FreeImage(void* data) {
  std::free(data);
}

}  // namespace vitrella::host
