// Frames for tests: owned pixel memory with a chosen layout (padding, bottom-up rows,
// sentinel bytes around it) and access by picture position and channel name.
#pragma once

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "vitrella/pixel_format.h"

namespace vitrella::testing {

inline constexpr uint8_t kSentinel = 0xA5;

class TestFrame {
 public:
  // rowPadding extra bytes per row; bottomUp stores the rows in reverse and hands the
  // frame over with a negative pitch.
  TestFrame(int32_t width, int32_t height, PixelFormat format, int32_t rowPadding = 0,
            bool bottomUp = false)
      : width_(width), height_(height), format_(format) {
    pixelBytes_ = FormatPixelBytes(format);
    pitch_ = width * pixelBytes_ + rowPadding;
    storage_.assign(static_cast<size_t>(pitch_) * height + 2 * kGuard, kSentinel);
    frame_.width = width;
    frame_.height = height;
    frame_.pixelBytes = pixelBytes_;
    frame_.format = format;
    frame_.flipped = 0;
    if (bottomUp) {
      frame_.data = Memory() + static_cast<ptrdiff_t>(height - 1) * pitch_;
      frame_.pitch = -pitch_;
    } else {
      frame_.data = Memory();
      frame_.pitch = pitch_;
    }
  }

  HostFrame* Host() { return &frame_; }
  int32_t Width() const { return width_; }
  int32_t Height() const { return height_; }
  PixelFormat Format() const { return format_; }

  // Row y as the host counts it: y = 0 is frame_.data's row.
  uint8_t* HostRow(int32_t y) { return frame_.data + static_cast<ptrdiff_t>(y) * frame_.pitch; }

  // Channel c of pixel (x, y) in host rows, as a float: bytes as 0..255, floats as stored.
  float Get(int32_t x, int32_t y, int c) {
    uint8_t* p = HostRow(y) + static_cast<ptrdiff_t>(x) * pixelBytes_;
    if (IsFloatFormat(format_)) {
      float v;
      std::memcpy(&v, p + 4 * c, 4);
      return v;
    }
    return p[c];
  }
  void Set(int32_t x, int32_t y, int c, float v) {
    uint8_t* p = HostRow(y) + static_cast<ptrdiff_t>(x) * pixelBytes_;
    if (IsFloatFormat(format_)) {
      std::memcpy(p + 4 * c, &v, 4);
    } else {
      p[c] = static_cast<uint8_t>(v);
    }
  }
  // Sets all four channels from 8-bit values (floats get value / 255), in r, g, b, a.
  void SetRgba(int32_t x, int32_t y, int r, int g, int b, int a) {
    const ChannelPlaces ch = ChannelPlacesOf(format_);
    const float scale = IsFloatFormat(format_) ? 1.0f / 255.0f : 1.0f;
    Set(x, y, ch.red, r * scale);
    Set(x, y, ch.green, g * scale);
    Set(x, y, ch.blue, b * scale);
    Set(x, y, ch.alpha, a * scale);
  }

  // The picture of a frame of the same size and format, row by row as the host counts
  // them.
  void CopyFrom(TestFrame& other) {
    for (int32_t y = 0; y < height_; ++y) {
      std::memcpy(HostRow(y), other.HostRow(y), static_cast<size_t>(width_) * pixelBytes_);
    }
  }

  void FillRandom(uint32_t seed) {
    std::mt19937 random(seed);
    for (int32_t y = 0; y < height_; ++y) {
      for (int32_t x = 0; x < width_; ++x) {
        std::uniform_int_distribution<int> byte(0, 255);
        SetRgba(x, y, byte(random), byte(random), byte(random), byte(random));
      }
    }
  }

  // The pixel bytes of the picture, row by row in host order, without padding.
  std::vector<uint8_t> Pixels() {
    std::vector<uint8_t> out;
    for (int32_t y = 0; y < height_; ++y) {
      const uint8_t* row = HostRow(y);
      out.insert(out.end(), row, row + static_cast<ptrdiff_t>(width_) * pixelBytes_);
    }
    return out;
  }

  // Whether every byte outside the pixels (padding and guards) still holds the sentinel.
  bool OutsideUntouched() const {
    for (size_t i = 0; i < storage_.size(); ++i) {
      const ptrdiff_t offset = static_cast<ptrdiff_t>(i) - kGuard;
      const bool inPixels = offset >= 0 && offset < static_cast<ptrdiff_t>(pitch_) * height_ &&
                            offset % pitch_ < static_cast<ptrdiff_t>(width_) * pixelBytes_;
      if (!inPixels && storage_[i] != kSentinel) return false;
    }
    return true;
  }

 private:
  static constexpr ptrdiff_t kGuard = 64;
  uint8_t* Memory() { return storage_.data() + kGuard; }

  int32_t width_, height_;
  PixelFormat format_;
  int32_t pixelBytes_ = 0;
  int32_t pitch_ = 0;
  std::vector<uint8_t> storage_;
  HostFrame frame_{};
};

inline constexpr PixelFormat kHostFormats[] = {PixelFormat8BGRA, PixelFormat8ARGB,
                                               PixelFormat32FBGRA, PixelFormat32FARGB};

}  // namespace vitrella::testing
