#include "core/frame_buffer.h"

#include <cstdlib>
#include <limits>

#include "kernels/memory.h"
#include "vitrella/pixel_format.h"

namespace vitrella {

MemoryAllocator::MemoryAllocator(IEffectHost* host) {
  if (host == nullptr) return;
  void* allocator = nullptr;
  if (host->QueryInterface(kIID_IHostAllocator, &allocator) == kOk) {
    hostAllocator_ = static_cast<IHostAllocator*>(allocator);
  }
}

MemoryAllocator::~MemoryAllocator() {
  if (hostAllocator_ != nullptr) hostAllocator_->Release();
}

bool MemoryAllocator::Allocate(uint8_t** data, int32_t width, int32_t height, int32_t pixelBytes,
                               int32_t* pitch) {
  if (data == nullptr || pitch == nullptr || width < 1 || height < 1 || pixelBytes < 1) {
    return false;
  }
  *data = nullptr;
  if (hostAllocator_ == nullptr) {
    *data = kernels::AllocImage(width, height, pixelBytes, pitch);
    return *data != nullptr;
  }
  *pitch = 0;
  hostAllocator_->AllocateImage(data, width, height, pixelBytes, pitch);
  if (*data == nullptr) return false;
  // A pitch shorter than a row would make rows overlap and the last one overrun.
  if (int64_t{*pitch} < int64_t{width} * pixelBytes) {
    hostAllocator_->FreeImage(*data);
    *data = nullptr;
    return false;
  }
  return true;
}

void MemoryAllocator::Free(void* data) {
  if (data == nullptr) return;
  if (hostAllocator_ != nullptr) {
    hostAllocator_->FreeImage(data);
  } else {
    kernels::FreeImage(data);
  }
}

void FrameBuffer::Clear() {
  if (owned && data != nullptr) {
    if (allocator != nullptr) {
      allocator->Free(data);
    } else {
      MemoryAllocator(nullptr).Free(data);
    }
  }
  data = nullptr;
  width = height = pitch = pitchPixels = pixelBytes = 0;
  owned = flipped = 0;
  format = PixelFormat8BGRA;
  allocator = nullptr;
}

void FrameBuffer::Attach(uint8_t* pixels, int32_t w, int32_t h, int32_t rowPitch,
                         int32_t bytesPerPixel, PixelFormat pixelFormat, bool upsideDown) {
  Clear();
  // The lowest pitch has no positive counterpart; such a frame stays empty.
  if (rowPitch == std::numeric_limits<int32_t>::min()) return;
  if (rowPitch < 0) {
    if (pixels != nullptr && h > 1) pixels += static_cast<ptrdiff_t>(h - 1) * rowPitch;
    rowPitch = -rowPitch;
    upsideDown = !upsideDown;
  }
  data = pixels;
  width = w;
  height = h;
  pitch = rowPitch;
  pixelBytes = bytesPerPixel;
  pitchPixels = bytesPerPixel != 0 ? rowPitch / bytesPerPixel : 0;
  format = pixelFormat;
  flipped = upsideDown ? 1 : 0;
}

bool FrameBuffer::AttachHost(const HostFrame* frame) {
  if (frame == nullptr) {
    Clear();
    return false;
  }
  Attach(frame->data, frame->width, frame->height, frame->pitch, frame->pixelBytes, frame->format,
         frame->flipped != 0);
  return true;
}

void FrameBuffer::AttachFrame(const FrameBuffer& other) {
  if (&other == this) return;
  Attach(other.data, other.width, other.height, other.pitch, other.pixelBytes, other.format,
         other.flipped != 0);
}

bool FrameBuffer::Allocate(int32_t w, int32_t h, int32_t bytesPerPixel, MemoryAllocator* memory,
                           PixelFormat pixelFormat, bool upsideDown) {
  Clear();
  owned = 1;
  width = w;
  height = h;
  pixelBytes = bytesPerPixel;
  format = bytesPerPixel == 1 ? PixelFormat8Gray : pixelFormat;
  flipped = upsideDown ? 1 : 0;
  allocator = memory;
  const bool got = memory != nullptr
                       ? memory->Allocate(&data, w, h, bytesPerPixel, &pitch)
                       : MemoryAllocator(nullptr).Allocate(&data, w, h, bytesPerPixel, &pitch);
  if (!got) {
    data = nullptr;
    pitch = 0;
  }
  pitchPixels = bytesPerPixel > 0 ? pitch / bytesPerPixel : 0;
  return data != nullptr;
}

void FrameBuffer::ExportTo(HostFrame* frame) const {
  if (frame == nullptr) return;
  frame->data = data;
  frame->width = width;
  frame->height = height;
  frame->pitch = pitch;
  frame->pixelBytes = pixelBytes;
  frame->reserved[0] = 0;
  frame->reserved[1] = 0;
  frame->format = format;
  frame->flipped = flipped;
}

bool FourChannelLayout(const FrameBuffer& frame, PixelLayout* layout) {
  if (!IsHostFormat(frame.format)) return false;
  const int32_t bytes = FormatPixelBytes(frame.format);
  if (frame.pixelBytes != bytes || frame.data == nullptr || frame.width < 1 || frame.height < 1 ||
      int64_t{frame.pitch} < int64_t{frame.width} * bytes) {
    return false;
  }
  const ChannelPlaces at = ChannelPlacesOf(frame.format);
  if (layout != nullptr)
    *layout = {IsFloatFormat(frame.format), at.alpha, at.red, at.green, at.blue};
  return true;
}

}  // namespace vitrella
