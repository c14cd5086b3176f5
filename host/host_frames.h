// Pictures in and out of the frames that the host hands to an effect.
//
// A picture here is an upright cv::Mat with four channels blue, green, red, alpha. A
// frame is a HostFrame in one of the four formats that a host passes (0, 1, 3, 4). In
// the contract a frame whose `flipped` is clear holds the picture's bottom row first in
// memory, so the row order in memory and the flag always travel together.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include <opencv2/core.hpp>

#include "vitrella/records.h"

namespace vitrella::host {

// Command-line names: "bgra8", "argb8", "bgra32f", "argb32f".
std::optional<PixelFormat> ParseFormatName(std::string_view name);
std::string_view FormatName(PixelFormat format);
// 4 or 16 for the host's formats, 0 for the others.
int32_t PixelBytesOf(PixelFormat format);

enum class RowOrder {
  kTopFirst,     // data is the top row, pitch positive, `flipped` set
  kBottomFirst,  // data is the bottom row, pitch positive, `flipped` clear
};

// The pitch of a frame the host makes: the row's bytes rounded up to a multiple of 64.
int64_t PaddedPitch(int32_t width, int32_t pixelBytes);

// A frame whose memory the host owns: rows aligned to 64 bytes, the pitch rounded up to
// a multiple of 64 so that effects meet a pitch wider than the row, contents zero.
class OwnedFrame {
 public:
  OwnedFrame(int32_t width, int32_t height, PixelFormat format, bool flipped);

  HostFrame& record() { return record_; }
  const HostFrame& record() const { return record_; }
  uint8_t* Row(int32_t memoryRow) const;
  // Back to zero, as made; the record's fields are set again.
  void Clear();

 private:
  struct Free {
    void operator()(uint8_t* memory) const;
  };
  std::unique_ptr<uint8_t, Free> memory_;
  HostFrame record_{};
};

// Lays the picture (8-bit, 16-bit or float channels, float nominally 0 to 1) out in the
// format. Byte formats round to nearest; float formats hold channels from 0 to 1.
OwnedFrame PictureToFrame(const cv::Mat& picture, PixelFormat format, RowOrder order);
// The same into a frame made for a picture of this size, which keeps its format and row
// order: a clip's render reuses its frames, since fresh memory costs a page fault every
// 4 KB. False, and nothing written, when the sizes differ.
bool FillFrame(const cv::Mat& picture, OwnedFrame& frame);

// The picture itself as a top-first frame of `format`, without a copy, when its type is the
// format's and the format's channels run blue first; nullopt otherwise. The picture keeps
// the memory.
std::optional<HostFrame> PictureAsFrame(const cv::Mat& picture, PixelFormat format);

// A zeroed frame with the same size, format and `flipped` as `frame`.
OwnedFrame FrameLike(const HostFrame& frame);

// The frame as an upright picture: CV_8UC4 for byte formats, CV_32FC4 for float formats.
// The record is read as it stands: rows from `data` stepping by `pitch`, whatever its sign,
// with the picture's top first when `flipped` is set. Throws HostError for a record that
// cannot describe a frame of the host's formats.
cv::Mat FrameToPicture(const HostFrame& frame);
// The same into `picture`, which must be a picture of the frame's size and type that
// nobody else holds (as a PicturePool hands out); it is made anew otherwise.
void FrameToPicture(const HostFrame& frame, cv::Mat& picture);

}  // namespace vitrella::host
