// The opening steps that every CPU render shares: the argument checks, the views of the
// host's two frames with their channel layouts and common size, and the render's
// allocator; then the choice of the byte or the float instance of an effect's template.
#pragma once

#include <cstdint>

#include "core/frame_buffer.h"
#include "vitrella/effect.h"

namespace vitrella {

// Whether source and destination must be of one format, or may each be any host format.
enum class FormatMatch : uint8_t { kSame, kEach };

// Lives on the render's stack: the scratch frames allocated through `memory` and the views
// of the host's frames end with it. Fails (false) on a null host, source, destination or
// info, on a frame that is not a consistent four-channel host frame, on formats that the
// match refuses, and on an empty common extent.
class RenderSetup {
 public:
  RenderSetup(IEffectHost* host, const HostFrame* source, HostFrame* destination,
              const RenderInfo* info, FormatMatch match = FormatMatch::kSame);
  RenderSetup(const RenderSetup&) = delete;
  RenderSetup& operator=(const RenderSetup&) = delete;

  explicit operator bool() const { return ok_; }

  IEffectHost* host() const { return host_; }
  const RenderInfo& info() const { return *info_; }
  // The host's allocator when it lends one, the kernels' memory otherwise.
  MemoryAllocator& memory() { return memory_; }
  const FrameBuffer& src() const { return src_; }
  FrameBuffer& dst() { return dst_; }
  const PixelLayout& srcLayout() const { return srcLayout_; }
  const PixelLayout& dstLayout() const { return dstLayout_; }
  // The smaller of the two widths and of the two heights: effects work on that much.
  int32_t width() const { return width_; }
  int32_t height() const { return height_; }

 private:
  IEffectHost* host_;
  const RenderInfo* info_;
  MemoryAllocator memory_;
  FrameBuffer src_;
  FrameBuffer dst_;
  PixelLayout srcLayout_{};
  PixelLayout dstLayout_{};
  int32_t width_ = 0;
  int32_t height_ = 0;
  bool ok_ = false;
};

// The sample type of a render's instance, as an argument to deduce it from.
template <typename T>
struct Samples {
  using Type = T;
};

// Calls render(Samples<float>{}) for float pictures and render(Samples<uint8_t>{}) for
// byte pictures, and answers what it answers.
template <typename Render>
bool BySampleType(bool isFloat, Render&& render) {
  return isFloat ? render(Samples<float>{}) : render(Samples<uint8_t>{});
}

}  // namespace vitrella
