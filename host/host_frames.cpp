#include "host_frames.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include "host_error.h"
#include "vitrella/pixel_format.h"

namespace vitrella::host {
namespace {

constexpr int64_t kAlignment = 64;

struct NamedFormat {
  PixelFormat format;
  std::string_view name;
};
constexpr NamedFormat kFormatNames[] = {
    {PixelFormat8BGRA, "bgra8"},
    {PixelFormat8ARGB, "argb8"},
    {PixelFormat32FBGRA, "bgra32f"},
    {PixelFormat32FARGB, "argb32f"},
};

// Copies `from` into `to` of the same size, reversing the four channels when asked: formats
// 1 and 4 are the exact reversal of 0 and 3.
void CopyPixels(const cv::Mat& from, cv::Mat& to, bool reversed) {
  if (!reversed) {
    from.copyTo(to);
    return;
  }
  constexpr int kReversal[] = {0, 3, 1, 2, 2, 1, 3, 0};
  cv::mixChannels(&from, 1, &to, 1, kReversal, 4);
}

// The scale that takes the picture's channels to 0..255 or 0..1.
double ScaleTo(int depth, bool toFloat) {
  const double full = depth == CV_8U ? 255.0 : depth == CV_16U ? 65535.0 : 1.0;
  return (toFloat ? 1.0 : 255.0) / full;
}

}  // namespace

std::optional<PixelFormat> ParseFormatName(std::string_view name) {
  for (const NamedFormat& entry : kFormatNames) {
    if (entry.name == name) return entry.format;
  }
  return std::nullopt;
}

std::string_view FormatName(PixelFormat format) {
  for (const NamedFormat& entry : kFormatNames) {
    if (entry.format == format) return entry.name;
  }
  return "unknown";
}

int32_t PixelBytesOf(PixelFormat format) {
  return IsHostFormat(format) ? FormatPixelBytes(format) : 0;
}

int64_t PaddedPitch(int32_t width, int32_t pixelBytes) {
  return (int64_t{width} * pixelBytes + kAlignment - 1) / kAlignment * kAlignment;
}

void OwnedFrame::Free::operator()(uint8_t* memory) const {
  std::free(memory);
}

OwnedFrame::OwnedFrame(int32_t width, int32_t height, PixelFormat format, bool flipped) {
  const int32_t pixelBytes = PixelBytesOf(format);
  if (width <= 0 || height <= 0 || pixelBytes == 0) {
    throw HostError("cannot make a frame of " + std::to_string(width) + "x" +
                    std::to_string(height) + " pixels");
  }
  const int64_t pitch = PaddedPitch(width, pixelBytes);
  if (pitch > std::numeric_limits<int32_t>::max()) {
    throw HostError("the picture is too large for a frame");
  }
  const size_t bytes = static_cast<size_t>(pitch * height);
  memory_.reset(static_cast<uint8_t*>(std::aligned_alloc(kAlignment, bytes)));
  if (!memory_) throw HostError("out of memory for a frame of " + std::to_string(bytes) + " bytes");
  std::memset(memory_.get(), 0, bytes);
  record_.data = memory_.get();
  record_.width = width;
  record_.height = height;
  record_.pitch = static_cast<int32_t>(pitch);
  record_.pixelBytes = pixelBytes;
  record_.format = format;
  record_.flipped = flipped ? 1 : 0;
}

uint8_t* OwnedFrame::Row(int32_t memoryRow) const {
  return memory_.get() + static_cast<ptrdiff_t>(memoryRow) * record_.pitch;
}

void OwnedFrame::Clear() {
  const bool flipped = record_.flipped != 0;
  const PixelFormat format = record_.format;
  const int32_t width = record_.width;
  const int32_t height = record_.height;
  const int32_t pitch = record_.pitch;
  const int32_t pixelBytes = record_.pixelBytes;
  std::memset(memory_.get(), 0, static_cast<size_t>(pitch) * static_cast<size_t>(height));
  record_ = HostFrame{};
  record_.data = memory_.get();
  record_.width = width;
  record_.height = height;
  record_.pitch = pitch;
  record_.pixelBytes = pixelBytes;
  record_.format = format;
  record_.flipped = flipped ? 1 : 0;
}

bool FillFrame(const cv::Mat& picture, OwnedFrame& frame) {
  const int depth = picture.depth();
  if (picture.channels() != 4 || (depth != CV_8U && depth != CV_16U && depth != CV_32F)) {
    throw HostError("a picture must have four channels of 8-bit, 16-bit or float");
  }
  const HostFrame& record = frame.record();
  if (picture.cols != record.width || picture.rows != record.height) return false;
  const bool toFloat = IsFloatFormat(record.format);
  const int type = toFloat ? CV_32FC4 : CV_8UC4;
  const double scale = ScaleTo(depth, toFloat);
  cv::Mat channels = picture;
  if (picture.type() != type || scale != 1.0) picture.convertTo(channels, type, scale);
  // The frame's memory as a picture, turned over when its rows go bottom first.
  cv::Mat memory(picture.rows, picture.cols, type, frame.Row(0), record.pitch);
  CopyPixels(channels, memory, IsAlphaFirst(record.format));
  if (record.flipped == 0) cv::flip(memory, memory, 0);
  return true;
}

OwnedFrame PictureToFrame(const cv::Mat& picture, PixelFormat format, RowOrder order) {
  const int depth = picture.depth();
  if (picture.channels() != 4 || (depth != CV_8U && depth != CV_16U && depth != CV_32F)) {
    throw HostError("a picture must have four channels of 8-bit, 16-bit or float");
  }
  OwnedFrame frame(picture.cols, picture.rows, format, order == RowOrder::kTopFirst);
  FillFrame(picture, frame);
  return frame;
}

std::optional<HostFrame> PictureAsFrame(const cv::Mat& picture, PixelFormat format) {
  const int32_t pixelBytes = PixelBytesOf(format);
  const int type = IsFloatFormat(format) ? CV_32FC4 : CV_8UC4;
  if (pixelBytes == 0 || IsAlphaFirst(format) || picture.type() != type || picture.empty() ||
      picture.step[0] > static_cast<size_t>(std::numeric_limits<int32_t>::max())) {
    return std::nullopt;
  }
  HostFrame frame{};
  frame.data = picture.data;
  frame.width = picture.cols;
  frame.height = picture.rows;
  frame.pitch = static_cast<int32_t>(picture.step[0]);
  frame.pixelBytes = pixelBytes;
  frame.format = format;
  frame.flipped = 1;
  return frame;
}

OwnedFrame FrameLike(const HostFrame& frame) {
  return OwnedFrame(frame.width, frame.height, frame.format, frame.flipped != 0);
}

cv::Mat FrameToPicture(const HostFrame& frame) {
  cv::Mat picture;
  FrameToPicture(frame, picture);
  return picture;
}

void FrameToPicture(const HostFrame& frame, cv::Mat& picture) {
  const int32_t pixelBytes = PixelBytesOf(frame.format);
  if (frame.data == nullptr || frame.width <= 0 || frame.height <= 0 || pixelBytes == 0 ||
      frame.pixelBytes != pixelBytes ||
      std::abs(int64_t{frame.pitch}) < int64_t{frame.width} * pixelBytes) {
    throw HostError("the effect left a destination frame that does not describe a picture");
  }
  const int type = IsFloatFormat(frame.format) ? CV_32FC4 : CV_8UC4;
  // Row by row, since the pitch may be negative or no multiple of a channel's size; record row
  // i is the picture's row i when the frame is flipped, and is turned over below otherwise.
  if (picture.rows != frame.height || picture.cols != frame.width || picture.type() != type) {
    picture = cv::Mat(frame.height, frame.width, type);
  }
  for (int32_t i = 0; i < frame.height; ++i) {
    const cv::Mat row(1, frame.width, type, frame.data + static_cast<ptrdiff_t>(i) * frame.pitch);
    cv::Mat out = picture.row(i);
    CopyPixels(row, out, IsAlphaFirst(frame.format));
  }
  if (frame.flipped == 0) cv::flip(picture, picture, 0);
}

}  // namespace vitrella::host
