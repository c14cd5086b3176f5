#include "kernels/channels.h"

namespace vitrella::kernels {
namespace {

bool ValidChannel(int32_t channel) { return channel >= 0 && channel <= 3; }

template <typename T>
Status SetChannelOf(ImageView frame, int32_t channel, T value) {
  if (Status s = CheckView(frame); s != kOk) return s;
  if (!ValidChannel(channel)) return kBadChannel;
  for (int32_t y = 0; y < frame.height; ++y) {
    T* row = frame.Row<T>(y) + channel;
    for (int32_t x = 0; x < frame.width; ++x) row[4 * x] = value;
  }
  return kOk;
}

template <typename T>
Status CopyChannelOf(ConstImageView src, int32_t srcChannels, int32_t srcChannel, ImageView dst,
                     int32_t dstChannels, int32_t dstChannel) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  if ((srcChannels != 1 && srcChannels != 4) || (dstChannels != 1 && dstChannels != 4)) {
    return kBadSize;
  }
  if (srcChannels == 1) srcChannel = 0;
  if (dstChannels == 1) dstChannel = 0;
  if (!ValidChannel(srcChannel) || !ValidChannel(dstChannel)) return kBadChannel;
  const Size size = MinSize(src.Extent(), dst.Extent());
  for (int32_t y = 0; y < size.height; ++y) {
    const T* in = src.Row<const T>(y) + srcChannel;
    T* out = dst.Row<T>(y) + dstChannel;
    for (int32_t x = 0; x < size.width; ++x) out[x * dstChannels] = in[x * srcChannels];
  }
  return kOk;
}

}  // namespace

Status SetChannel8u(ImageView frame, int32_t channel, uint8_t value) {
  return SetChannelOf<uint8_t>(frame, channel, value);
}

Status SetChannel32f(ImageView frame, int32_t channel, float value) {
  return SetChannelOf<float>(frame, channel, value);
}

Status CopyChannel8u(ConstImageView src, int32_t srcChannels, int32_t srcChannel, ImageView dst,
                     int32_t dstChannels, int32_t dstChannel) {
  return CopyChannelOf<uint8_t>(src, srcChannels, srcChannel, dst, dstChannels, dstChannel);
}

Status CopyChannel32f(ConstImageView src, int32_t srcChannels, int32_t srcChannel,
                      ImageView dst, int32_t dstChannels, int32_t dstChannel) {
  return CopyChannelOf<float>(src, srcChannels, srcChannel, dst, dstChannels, dstChannel);
}

}  // namespace vitrella::kernels
