// FrameProcessor: the library's whole-frame operations lent to the host through
// IFrameProcessor. Each operation views the host's records as FrameBuffers, runs one
// frame operation and answers whether it worked; nothing is kept between calls.
#pragma once

#include <atomic>

#include "core/frame_buffer.h"
#include "vitrella/frame_processor.h"

namespace vitrella {

class FrameProcessor final : public IFrameProcessor {
 public:
  FrameProcessor() = default;

  Result VITRELLA_CALL QueryInterface(const Guid& iid, void** out) override;
  uint32_t VITRELLA_CALL AddRef() override;
  uint32_t VITRELLA_CALL Release() override;

  bool VITRELLA_CALL CopyFrame(const HostFrame* src, HostFrame* dst) override;
  bool VITRELLA_CALL ResizeFrame(const HostFrame* src, HostFrame* dst, int32_t mode) override;
  bool VITRELLA_CALL ReverseChannels(const HostFrame* src, HostFrame* dst) override;
  bool VITRELLA_CALL ConvertYUY2ToBGRA(const HostFrame* src, HostFrame* dst,
                                       uint8_t alpha) override;
  bool VITRELLA_CALL ConvertBGRAToYUY2(const HostFrame* src, HostFrame* dst) override;
  bool VITRELLA_CALL SetChannel(HostFrame* frame, int32_t channel, uint8_t value) override;
  bool VITRELLA_CALL CompositeFrames(const HostFrame* foreground, const HostFrame* background,
                                     HostFrame* dst, uint8_t premultiplied) override;
  bool VITRELLA_CALL SwapChannelsInPlace(HostFrame* frame, const int32_t* order) override;
  bool VITRELLA_CALL PremultiplyAlpha(HostFrame* frame) override;
  bool VITRELLA_CALL ConvertYUVToRGB(const HostFrame* src, HostFrame* dst) override;
  bool VITRELLA_CALL ConvertRGBToYUV(const HostFrame* src, HostFrame* dst) override;
  bool VITRELLA_CALL FlipFrameInPlace(HostFrame* frame) override;
  bool VITRELLA_CALL FlipFrame(const HostFrame* src, HostFrame* dst) override;
  bool VITRELLA_CALL CopyChannel(const HostFrame* src, HostFrame* dst, int32_t srcChannel,
                                 int32_t dstChannel) override;
  bool VITRELLA_CALL InvertChannel(HostFrame* frame, int32_t channel) override;
  bool VITRELLA_CALL SquareFrame(HostFrame* frame) override;
  bool VITRELLA_CALL SquareRootFrame(HostFrame* frame) override;
  bool VITRELLA_CALL ClampFrameBelow(HostFrame* frame, const float* bounds) override;
  void VITRELLA_CALL Destroy(uint32_t deleting) override;
  bool VITRELLA_CALL CropResizeFrame(const HostFrame* src, const int32_t* rect, HostFrame* dst,
                                     int32_t mode) override;

 private:
  ~FrameProcessor() = default;

  std::atomic<uint32_t> refs_{1};
  // Kept from the processor's first design: set up empty and cleared at the end.
  FrameBuffer scratch_;
};

}  // namespace vitrella
