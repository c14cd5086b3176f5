#include "kernels/channels.h"

#include <type_traits>

#include "kernels/channels_hwy.h"
#include "kernels/dispatch.h"

namespace vitrella::kernels {
namespace {

bool ValidChannel(int32_t channel) {
  return channel >= 0 && channel <= 3;
}

template <typename T>
Status SetChannelOf(ImageView frame, int32_t channel, T value) {
  if (Status s = CheckView(frame); s != kOk) return s;
  if (!ValidChannel(channel)) return kBadChannel;
  for (int32_t y = 0; y < frame.height; ++y) {
    T* row = frame.Row<T>(y) + channel;
    for (int32_t x = 0; x < frame.width; ++x)
      row[4 * x] = value;
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
    if constexpr (std::is_same_v<T, uint8_t>) {
      // Into four-byte pixels, whole pixels at a time; in place only the same pixels meet.
      if (dstChannels == 4 && !UseReferenceKernels()) {
        vector::CopyChannelRow8u(src.Row(y), srcChannels, srcChannel, dst.Row(y), dstChannel,
                                 size.width);
        continue;
      }
    }
    const T* in = src.Row<const T>(y) + srcChannel;
    T* out = dst.Row<T>(y) + dstChannel;
    for (int32_t x = 0; x < size.width; ++x)
      out[x * dstChannels] = in[x * srcChannels];
  }
  return kOk;
}

template <typename T>
Status ReverseChannelsOf(ConstImageView src, ImageView dst) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  const Size size = MinSize(src.Extent(), dst.Extent());
  for (int32_t y = 0; y < size.height; ++y) {
    const T* in = src.Row<const T>(y);
    T* out = dst.Row<T>(y);
    for (int32_t x = 0; x < size.width; ++x) {
      // Read the whole pixel first: in place, in and out are one.
      const T a = in[4 * x], b = in[4 * x + 1], c = in[4 * x + 2], d = in[4 * x + 3];
      out[4 * x] = d;
      out[4 * x + 1] = c;
      out[4 * x + 2] = b;
      out[4 * x + 3] = a;
    }
  }
  return kOk;
}

template <typename T>
Status InvertChannelOf(ImageView frame, int32_t channels, int32_t channel, T full) {
  if (Status s = CheckView(frame); s != kOk) return s;
  if (channels != 1 && channels != 4) return kBadSize;
  if (channels == 1) channel = 0;
  if (!ValidChannel(channel)) return kBadChannel;
  for (int32_t y = 0; y < frame.height; ++y) {
    T* row = frame.Row<T>(y) + channel;
    for (int32_t x = 0; x < frame.width; ++x)
      row[x * channels] = full - row[x * channels];
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

Status CopyChannel32f(ConstImageView src, int32_t srcChannels, int32_t srcChannel, ImageView dst,
                      int32_t dstChannels, int32_t dstChannel) {
  return CopyChannelOf<float>(src, srcChannels, srcChannel, dst, dstChannels, dstChannel);
}

Status ReverseChannels8u_C4(ConstImageView src, ImageView dst) {
  return ReverseChannelsOf<uint8_t>(src, dst);
}

Status ReverseChannels32f_C4(ConstImageView src, ImageView dst) {
  return ReverseChannelsOf<float>(src, dst);
}

Status SwapChannels8u_C4(ImageView frame, const int32_t order[4]) {
  if (Status s = CheckView(frame); s != kOk) return s;
  if (order == nullptr) return kNullPointer;
  for (int i = 0; i < 4; ++i) {
    if (!ValidChannel(order[i])) return kBadChannel;
  }
  for (int32_t y = 0; y < frame.height; ++y) {
    uint8_t* row = frame.Row(y);
    for (int32_t x = 0; x < frame.width; ++x) {
      uint8_t* px = row + 4 * x;
      const uint8_t in[4] = {px[0], px[1], px[2], px[3]};
      for (int i = 0; i < 4; ++i)
        px[i] = in[order[i]];
    }
  }
  return kOk;
}

Status InvertChannel8u(ImageView frame, int32_t channels, int32_t channel) {
  return InvertChannelOf<uint8_t>(frame, channels, channel, 255);
}

Status InvertChannel32f(ImageView frame, int32_t channels, int32_t channel) {
  return InvertChannelOf<float>(frame, channels, channel, 1.0f);
}

}  // namespace vitrella::kernels
