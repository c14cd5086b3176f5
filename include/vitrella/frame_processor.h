// The frame processor: whole-frame operations that the library lends to the host.
#pragma once

#include <cstdint>

#include "vitrella/base.h"
#include "vitrella/records.h"

namespace vitrella {

inline constexpr Guid kIID_IFrameProcessor{
    0xB9D19C11, 0x28CC, 0x4C17, {0x80, 0xC6, 0x23, 0x5D, 0xAD, 0x31, 0x68, 0x4A}};

// Resize modes of ResizeFrame and CropResizeFrame; any other value means bilinear.
inline constexpr int32_t kResizeNearest = 0;
inline constexpr int32_t kResizeBilinear = 1;
inline constexpr int32_t kResizeCubic = 2;

// Every operation returns false for a null record, a null data pointer or a kernel error.
// Sizes are the smaller of the frames involved unless said otherwise.
class IFrameProcessor : public IUnknown {
 public:
  virtual bool VITRELLA_CALL CopyFrame(const HostFrame* src, HostFrame* dst) = 0;  // 3
  virtual bool VITRELLA_CALL ResizeFrame(const HostFrame* src, HostFrame* dst,
                                         int32_t mode) = 0;                              // 4
  virtual bool VITRELLA_CALL ReverseChannels(const HostFrame* src, HostFrame* dst) = 0;  // 5
  virtual bool VITRELLA_CALL ConvertYUY2ToBGRA(const HostFrame* src, HostFrame* dst,
                                               uint8_t alpha) = 0;                         // 6
  virtual bool VITRELLA_CALL ConvertBGRAToYUY2(const HostFrame* src, HostFrame* dst) = 0;  // 7
  virtual bool VITRELLA_CALL SetChannel(HostFrame* frame, int32_t channel,
                                        uint8_t value) = 0;  // 8
  virtual bool VITRELLA_CALL CompositeFrames(const HostFrame* foreground,
                                             const HostFrame* background, HostFrame* dst,
                                             uint8_t premultiplied) = 0;  // 9
  // order[i] names the input channel that output channel i takes, each 0 to 3.
  virtual bool VITRELLA_CALL SwapChannelsInPlace(HostFrame* frame, const int32_t* order) = 0;  // 10
  virtual bool VITRELLA_CALL PremultiplyAlpha(HostFrame* frame) = 0;                    // 11
  virtual bool VITRELLA_CALL ConvertYUVToRGB(const HostFrame* src, HostFrame* dst) = 0;  // 12
  virtual bool VITRELLA_CALL ConvertRGBToYUV(const HostFrame* src, HostFrame* dst) = 0;  // 13
  virtual bool VITRELLA_CALL FlipFrameInPlace(HostFrame* frame) = 0;                     // 14
  virtual bool VITRELLA_CALL FlipFrame(const HostFrame* src, HostFrame* dst) = 0;        // 15
  virtual bool VITRELLA_CALL CopyChannel(const HostFrame* src, HostFrame* dst,
                                         int32_t srcChannel, int32_t dstChannel) = 0;  // 16
  virtual bool VITRELLA_CALL InvertChannel(HostFrame* frame, int32_t channel) = 0;     // 17
  virtual bool VITRELLA_CALL SquareFrame(HostFrame* frame) = 0;                        // 18
  virtual bool VITRELLA_CALL SquareRootFrame(HostFrame* frame) = 0;                    // 19
  virtual bool VITRELLA_CALL ClampFrameBelow(HostFrame* frame, const float* bounds) = 0;  // 20
  // The destructor's slot; Release calls it with the deleting flag set.
  virtual void VITRELLA_CALL Destroy(uint32_t deleting) = 0;  // 21
  // rect holds left, top, right, bottom; right and bottom are inclusive.
  virtual bool VITRELLA_CALL CropResizeFrame(const HostFrame* src, const int32_t* rect,
                                             HostFrame* dst, int32_t mode) = 0;  // 22

 protected:
  ~IFrameProcessor() = default;
};

}  // namespace vitrella
