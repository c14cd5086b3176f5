#include "core/frame_processor.h"

#include <algorithm>

#include "core/frame_convert.h"
#include "core/frame_geometry.h"
#include "core/frame_math.h"
#include "core/frame_ops.h"
#include "kernels/copy.h"
#include "kernels/yuy2.h"

namespace vitrella {
namespace {

// A view of a host record; false for a null record or null pixels.
bool View(const HostFrame* record, FrameBuffer& frame) {
  if (record == nullptr || record->data == nullptr) return false;
  return frame.AttachHost(record) && frame.data != nullptr;
}

// Rows that hold `bytes` per pixel of the frame's width.
bool RowsHold(const FrameBuffer& frame, int32_t bytes) {
  return frame.width > 0 && frame.height > 0 &&
         int64_t{frame.pitch} >= int64_t{frame.width} * bytes;
}

// The float Y'CbCr conversions work on the three channels after alpha. Their colour
// channels are brought into dst first, so that dst's alpha stays as it was.
bool BringColours(const FrameBuffer& src, FrameBuffer& dst) {
  if (src.data == dst.data) return true;
  for (int32_t c = 1; c <= 3; ++c) {
    if (!vitrella::CopyChannel(src, dst, c, c)) return false;
  }
  return true;
}

bool YCbCrFrames(const HostFrame* src, const HostFrame* dst, FrameBuffer& in, FrameBuffer& out) {
  return View(src, in) && View(dst, out) && in.format == PixelFormat32FARGB &&
         out.format == PixelFormat32FARGB && IsFourChannel(in) && IsFourChannel(out);
}

}  // namespace

Result FrameProcessor::QueryInterface(const Guid& iid, void** out) {
  if (out == nullptr) return kPointerError;
  if (iid == kIID_IUnknown || iid == kIID_IFrameProcessor) {
    *out = static_cast<IFrameProcessor*>(this);
    AddRef();
    return kOk;
  }
  *out = nullptr;
  return kNoInterface;
}

uint32_t FrameProcessor::AddRef() {
  return refs_.fetch_add(1) + 1;
}

uint32_t FrameProcessor::Release() {
  const uint32_t left = refs_.fetch_sub(1) - 1;
  if (left == 0) Destroy(1);
  return left;
}

void FrameProcessor::Destroy(uint32_t deleting) {
  if (deleting & 1u) {
    delete this;
  } else {
    scratch_.Clear();
  }
}

bool FrameProcessor::CopyFrame(const HostFrame* src, HostFrame* dst) {
  if (src == nullptr || dst == nullptr || src->data == nullptr || dst->data == nullptr) {
    return false;
  }
  // Pixels count as four bytes whatever the records say, in memory order.
  if (src->pixelBytes < 4 || dst->pixelBytes < 4) return false;
  FrameBuffer in;
  FrameBuffer out;
  in.Attach(src->data, src->width, src->height, src->pitch, 4, PixelFormat8BGRA, false);
  out.Attach(dst->data, dst->width, dst->height, dst->pitch, 4, PixelFormat8BGRA, false);
  return vitrella::CopyFrame(in, out);
}

bool FrameProcessor::ResizeFrame(const HostFrame* src, HostFrame* dst, int32_t mode) {
  FrameBuffer in;
  FrameBuffer out;
  if (!View(src, in) || !View(dst, out)) return false;
  if (in.pixelBytes != 4 || out.pixelBytes != 4) return false;
  return vitrella::ResizeFrame(in, out, kernels::InterpolationOfMode(mode));
}

bool FrameProcessor::ReverseChannels(const HostFrame* src, HostFrame* dst) {
  FrameBuffer in;
  FrameBuffer out;
  return View(src, in) && View(dst, out) && vitrella::ReverseChannels(in, out);
}

bool FrameProcessor::ConvertYUY2ToBGRA(const HostFrame* src, HostFrame* dst, uint8_t alpha) {
  FrameBuffer in;
  FrameBuffer out;
  if (!View(src, in) || !View(dst, out) || !RowsHold(in, 2) || !RowsHold(out, 4)) return false;
  return kernels::YUY2ToBGRA(in.View(), out.View(), alpha) == kernels::kOk;
}

bool FrameProcessor::ConvertBGRAToYUY2(const HostFrame* src, HostFrame* dst) {
  FrameBuffer in;
  FrameBuffer out;
  if (!View(src, in) || !View(dst, out) || !RowsHold(in, 4) || !RowsHold(out, 2)) return false;
  return kernels::BGRAToYUY2(in.View(), out.View()) == kernels::kOk;
}

bool FrameProcessor::SetChannel(HostFrame* frame, int32_t channel, uint8_t value) {
  FrameBuffer f;
  return View(frame, f) && vitrella::SetChannel(f, channel, value);
}

bool FrameProcessor::CompositeFrames(const HostFrame* foreground, const HostFrame* background,
                                     HostFrame* dst, uint8_t premultiplied) {
  FrameBuffer fg;
  FrameBuffer bg;
  FrameBuffer out;
  return View(foreground, fg) && View(background, bg) && View(dst, out) &&
         vitrella::CompositeFrames(fg, bg, out, premultiplied != 0);
}

bool FrameProcessor::SwapChannelsInPlace(HostFrame* frame, const int32_t* order) {
  FrameBuffer f;
  return order != nullptr && View(frame, f) && vitrella::SwapChannels(f, order);
}

bool FrameProcessor::PremultiplyAlpha(HostFrame* frame) {
  FrameBuffer f;
  return View(frame, f) && vitrella::PremultiplyAlpha(f, f);
}

bool FrameProcessor::ConvertYUVToRGB(const HostFrame* src, HostFrame* dst) {
  FrameBuffer in;
  FrameBuffer out;
  if (!YCbCrFrames(src, dst, in, out)) return false;
  // Chroma loses its 16/255 offset, luma is scaled but keeps its black at 0.
  constexpr float kOffset[3] = {0.0f, -0.062745102f, -0.062745102f};
  constexpr float kScale[3] = {1.1643835f, 1.1383928f, 1.1383928f};
  constexpr float kCentre[3] = {0.0f, -0.5f, -0.5f};
  constexpr float kToRgb[3][4] = {{1, 0, 1.402f, 0}, {1, -0.344f, -0.714f, 0}, {1, 1.772f, 0, 0}};
  // Each step runs in the destination.
  return BringColours(in, out) && AddColourChannels(out, kOffset) &&
         MultiplyColourChannels(out, kScale) && AddColourChannels(out, kCentre) &&
         ColorTwist(out, out, kToRgb);
}

bool FrameProcessor::ConvertRGBToYUV(const HostFrame* src, HostFrame* dst) {
  FrameBuffer in;
  FrameBuffer out;
  if (!YCbCrFrames(src, dst, in, out)) return false;
  constexpr float kToYCbCr[3][4] = {{0.299f, 0.587f, 0.114f, 0.0f},
                                    {-0.168736f, -0.331264f, 0.5f, 0.5f},
                                    {0.5f, -0.418688f, -0.081312f, 0.5f}};
  constexpr float kScale[3] = {0.8588235f, 0.8784314f, 0.8784314f};
  constexpr float kOffset[3] = {0.0f, 0.0627451f, 0.0627451f};
  return BringColours(in, out) && ColorTwist(out, out, kToYCbCr) &&
         MultiplyColourChannels(out, kScale) && AddColourChannels(out, kOffset);
}

bool FrameProcessor::FlipFrameInPlace(HostFrame* frame) {
  FrameBuffer f;
  if (!View(frame, f) || f.pixelBytes < 4 || f.pixelBytes % 4 != 0) return false;
  if (!RowsHold(f, f.pixelBytes)) return false;
  // Whole 32-bit words over the pitch.
  return kernels::FlipRowsInPlace(f.View(), f.pitch / 4 * 4) == kernels::kOk;
}

bool FrameProcessor::FlipFrame(const HostFrame* src, HostFrame* dst) {
  FrameBuffer in;
  FrameBuffer out;
  if (!View(src, in) || !View(dst, out)) return false;
  if (!RowsHold(in, in.pixelBytes) || !RowsHold(out, out.pixelBytes) || in.pixelBytes < 1) {
    return false;
  }
  // The smaller row of the two, so that the padding of a tightly allocated last row is
  // never written.
  const int64_t rowBytes =
      std::min(int64_t{in.width} * in.pixelBytes, int64_t{out.width} * out.pixelBytes);
  return kernels::CopyRowsFlipped(in.View(), out.View(), static_cast<int32_t>(rowBytes)) ==
         kernels::kOk;
}

bool FrameProcessor::CopyChannel(const HostFrame* src, HostFrame* dst, int32_t srcChannel,
                                 int32_t dstChannel) {
  FrameBuffer in;
  FrameBuffer out;
  return View(src, in) && View(dst, out) && vitrella::CopyChannel(in, out, srcChannel, dstChannel);
}

bool FrameProcessor::InvertChannel(HostFrame* frame, int32_t channel) {
  FrameBuffer f;
  return View(frame, f) && vitrella::InvertChannel(f, channel);
}

bool FrameProcessor::SquareFrame(HostFrame* frame) {
  FrameBuffer f;
  return View(frame, f) && vitrella::SquareFrame(f);
}

bool FrameProcessor::SquareRootFrame(HostFrame* frame) {
  FrameBuffer f;
  return View(frame, f) && vitrella::SquareRootFrame(f);
}

bool FrameProcessor::ClampFrameBelow(HostFrame* frame, const float* bounds) {
  FrameBuffer f;
  return bounds != nullptr && View(frame, f) && vitrella::ClampFrameBelow(f, bounds);
}

bool FrameProcessor::CropResizeFrame(const HostFrame* src, const int32_t* rect, HostFrame* dst,
                                     int32_t mode) {
  FrameBuffer in;
  FrameBuffer out;
  if (rect == nullptr || !View(src, in) || !View(dst, out)) return false;
  if (!IsHostFormat(in.format)) return true;  // other formats: nothing to do
  const bool floats = IsFloatFormat(in.format);
  const int32_t left = rect[0];
  const int32_t top = rect[1];
  // Inclusive right and bottom; a crop larger than the destination is clipped, not scaled.
  const int64_t cropWidth = std::min<int64_t>(int64_t{rect[2]} - left + 1, out.width);
  const int64_t cropHeight = std::min<int64_t>(int64_t{rect[3]} - top + 1, out.height);
  // Float frames start the crop four times as far along the row as the pixel size says;
  // hosts rely on that offset.
  const int64_t startX = floats ? int64_t{left} * 4 : left;
  if (left < 0 || top < 0 || cropWidth < 1 || cropHeight < 1) return false;
  // Whatever lies outside the source is cut off: the crop never reads past a frame.
  const int64_t width = std::min<int64_t>(cropWidth, in.width - startX);
  const int64_t height = std::min<int64_t>(cropHeight, in.height - int64_t{top});
  if (width < 1 || height < 1) return false;
  const FrameRect source{static_cast<int32_t>(startX), top, static_cast<int32_t>(width),
                         static_cast<int32_t>(height)};
  return ResizeRect(in, source, out,
                    static_cast<double>(out.width) / static_cast<double>(cropWidth),
                    static_cast<double>(out.height) / static_cast<double>(cropHeight),
                    kernels::InterpolationOfMode(mode));
}

}  // namespace vitrella
