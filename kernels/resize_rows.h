// The rows of a separable resize, written plainly. The reference path runs them, and the
// vector rows finish their tails with them, so that both give the same values.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vitrella::kernels {

// Where the columns of a destination row read a source row, and with what weights:
// `taps` source pixels per column (2 bilinear, 4 cubic), stored tap by tap so that vector
// code loads consecutive columns at once. offset[k * count + x] is the byte offset of tap
// k of column x from the row's first pixel; weight[(k * count + x) * channels + c] is its
// weight, repeated for each channel.
// Columns [runFirst, runEnd) read `taps` neighbouring pixels from offset[x] on, and the 16
// bytes from there lie within the row, which lets vector code load them in one piece.
struct ResizeTaps {
  int32_t taps = 0;
  int32_t count = 0;
  const int32_t* offset = nullptr;
  const float* weight = nullptr;
  int32_t runFirst = 0;
  int32_t runEnd = 0;
};

// The tap that the others are taken relative to: value = p[centre] + sum of
// (p[k] - p[centre]) * weight[k], so that a constant picture stays exactly constant and
// the centre's own weight is never needed.
inline int32_t CentreTap(int32_t taps) {
  return taps == 2 ? 0 : 1;
}

// Rounds to nearest, ties to even (the processor's rounding mode, as vector code uses),
// and saturates to a byte; NaN, which no finite input gives, becomes 0.
inline uint8_t RoundToByte(float value) {
  const float rounded = std::nearbyint(value);
  return static_cast<uint8_t>(!(rounded > 0.0f) ? 0.0f : rounded >= 255.0f ? 255.0f : rounded);
}

// Pixel rows need not be aligned to their values' size: values move through memcpy.
inline void StoreResult(float value, uint8_t* out) {
  *out = RoundToByte(value);
}
inline void StoreResult(float value, float* out) {
  std::memcpy(out, &value, sizeof(value));
}

template <typename T>
inline float LoadValue(const uint8_t* at) {
  T value;
  std::memcpy(&value, at, sizeof(T));
  return static_cast<float>(value);
}

// Interpolates columns [begin, end) of a destination row from one source row into
// `channels` floats per column.
template <typename T, int kChannels, int kTaps>
void ResampleRowWith(const uint8_t* row, const ResizeTaps& taps, float* out, int32_t begin,
                     int32_t end) {
  constexpr int kCentre = kTaps == 2 ? 0 : 1;
  const int32_t* offset[kTaps];
  const float* weight[kTaps];
  for (int k = 0; k < kTaps; ++k) {
    offset[k] = taps.offset + static_cast<ptrdiff_t>(k) * taps.count;
    weight[k] = taps.weight + static_cast<ptrdiff_t>(k) * taps.count * kChannels;
  }
  for (int32_t x = begin; x < end; ++x) {
    for (int c = 0; c < kChannels; ++c) {
      const float middle = LoadValue<T>(row + offset[kCentre][x] + c * sizeof(T));
      float value = middle;
      for (int k = 0; k < kTaps; ++k) {
        if (k == kCentre) continue;
        const float tap = LoadValue<T>(row + offset[k][x] + c * sizeof(T));
        value = value + (tap - middle) * weight[k][x * kChannels + c];
      }
      out[x * kChannels + c] = value;
    }
  }
}

template <typename T, int kChannels>
void ResampleRow(const uint8_t* row, const ResizeTaps& taps, float* out, int32_t begin,
                 int32_t end) {
  if (taps.taps == 2) {
    ResampleRowWith<T, kChannels, 2>(row, taps, out, begin, end);
  } else {
    ResampleRowWith<T, kChannels, 4>(row, taps, out, begin, end);
  }
}

// Combines `taps` resampled rows with their weights into values [begin, end) of a
// destination row.
template <typename Out>
void BlendRows(const float* const* rows, const float* weights, int32_t taps, Out* out,
               int32_t begin, int32_t end) {
  const int32_t centre = CentreTap(taps);
  for (int32_t i = begin; i < end; ++i) {
    const float middle = rows[centre][i];
    float value = middle;
    for (int32_t k = 0; k < taps; ++k) {
      if (k != centre) value = value + (rows[k][i] - middle) * weights[k];
    }
    StoreResult(value, out + i);
  }
}

}  // namespace vitrella::kernels
