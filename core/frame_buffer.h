// FrameBuffer, the holder of one image in all CPU code, and MemoryAllocator, which
// gets pixel memory from the host when it can and from the kernels otherwise.
#pragma once

#include <cstdint>

#include "kernels/image.h"
#include "vitrella/effect.h"
#include "vitrella/records.h"

namespace vitrella {

class MemoryAllocator {
 public:
  // Asks the host for its IHostAllocator; without one, the kernels' memory is used.
  explicit MemoryAllocator(IEffectHost* host);
  virtual ~MemoryAllocator();
  MemoryAllocator(const MemoryAllocator&) = delete;
  MemoryAllocator& operator=(const MemoryAllocator&) = delete;

  // Writes the image's address and pitch; false for sizes below 1, a null out pointer,
  // or when no memory came back.
  [[nodiscard]] bool Allocate(uint8_t** data, int32_t width, int32_t height, int32_t pixelBytes,
                              int32_t* pitch);
  void Free(void* data);
  bool UsesHost() const { return hostAllocator_ != nullptr; }

 private:
  IHostAllocator* hostAllocator_ = nullptr;
};

// A view of a host's frame, or the owner of scratch pixels. Row 0 is always the lowest
// address; `flipped` tells whether the picture is upside down relative to the host's
// order, in which row 0 is the bottom of the picture.
struct FrameBuffer {
  uint8_t* data = nullptr;
  int32_t width = 0;
  int32_t height = 0;
  int32_t pitch = 0;  // bytes, always positive
  int32_t pitchPixels = 0;
  int32_t pixelBytes = 0;
  uint8_t owned = 0;
  uint8_t flipped = 0;
  PixelFormat format = PixelFormat8BGRA;
  MemoryAllocator* allocator = nullptr;

  FrameBuffer() = default;
  ~FrameBuffer() { Clear(); }
  FrameBuffer(const FrameBuffer&) = delete;
  FrameBuffer& operator=(const FrameBuffer&) = delete;

  // Frees owned memory and sets every field to zero.
  void Clear();
  // A view of memory that stays the caller's. A negative pitch is stored as its absolute
  // value, data moves to the lowest row and flipped is inverted.
  void Attach(uint8_t* pixels, int32_t w, int32_t h, int32_t rowPitch, int32_t bytesPerPixel,
              PixelFormat pixelFormat, bool upsideDown);
  [[nodiscard]] bool AttachHost(const HostFrame* frame);
  void AttachFrame(const FrameBuffer& other);
  // Owned memory from the allocator (a temporary one without host when null). One byte
  // per pixel always gives PixelFormat8Gray.
  [[nodiscard]] bool Allocate(int32_t w, int32_t h, int32_t bytesPerPixel, MemoryAllocator* memory,
                              PixelFormat pixelFormat, bool upsideDown);
  void ExportTo(HostFrame* frame) const;

  kernels::ImageView View() const { return {data, pitch, width, height}; }
  template <typename T = uint8_t>
  T* Row(int32_t y) const {
    return reinterpret_cast<T*>(data + static_cast<ptrdiff_t>(y) * pitch);
  }
};

// The four-channel formats that the host hands to effects, and where their channels lie.
struct PixelLayout {
  bool isFloat;
  int32_t alpha;  // channel index of alpha
  int32_t red, green, blue;
};

// The layout of a four-channel frame whose format and pixel size agree, or false.
[[nodiscard]] bool FourChannelLayout(const FrameBuffer& frame, PixelLayout* layout);

}  // namespace vitrella
