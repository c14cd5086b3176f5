#include "exr_file.h"

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfIO.h>
#include <ImfInputFile.h>
#include <ImfOutputFile.h>
#include <ImfRgbaFile.h>

#include <algorithm>
#include <cstring>
#include <exception>

#include <Iex.h>

#include "host_error.h"
#include "picture_limits.h"

namespace vitrella::host {
namespace {

constexpr uint8_t kMagic[4] = {0x76, 0x2F, 0x31, 0x01};

// Byte offsets of the channels in a float BGRA pixel.
constexpr size_t kBlue = 0;
constexpr size_t kGreen = sizeof(float);
constexpr size_t kRed = 2 * sizeof(float);
constexpr size_t kAlpha = 3 * sizeof(float);
constexpr size_t kPixel = 4 * sizeof(float);

// OpenEXR sizes its tables by the header's data window before reading any pixels; with
// these limits a damaged header fails there instead of taking gigabytes.
void LimitHeaderSizes() {
  static const bool limited = [] {
    Imf::Header::setMaxImageSize(kMaxPictureSide, kMaxPictureSide);
    Imf::Header::setMaxTileSize(kMaxPictureSide, kMaxPictureSide);
    return true;
  }();
  (void)limited;
}

class MemoryInput final : public Imf::IStream {
 public:
  MemoryInput(std::span<const uint8_t> bytes, const std::string& name)
      : Imf::IStream(name.c_str()), bytes_(bytes) {}

  bool read(char c[], int n) override {
    if (n < 0 || position_ > bytes_.size() || static_cast<size_t>(n) > bytes_.size() - position_) {
      throw Iex::InputExc("Unexpected end of file.");
    }
    std::memcpy(c, bytes_.data() + position_, static_cast<size_t>(n));
    position_ += static_cast<size_t>(n);
    return position_ < bytes_.size();
  }
  uint64_t tellg() override { return position_; }
  void seekg(uint64_t position) override { position_ = position; }  // read checks the end

 private:
  std::span<const uint8_t> bytes_;
  uint64_t position_ = 0;
};

class MemoryOutput final : public Imf::OStream {
 public:
  explicit MemoryOutput(const std::string& name) : Imf::OStream(name.c_str()) {}

  void write(const char c[], int n) override {
    const auto end = static_cast<size_t>(position_) + static_cast<size_t>(n);
    if (end > bytes.size()) bytes.resize(end);
    std::memcpy(bytes.data() + position_, c, static_cast<size_t>(n));
    position_ = end;
  }
  uint64_t tellp() override { return position_; }
  void seekp(uint64_t position) override { position_ = position; }

  std::vector<uint8_t> bytes;

 private:
  uint64_t position_ = 0;
};

// OpenEXR's messages may span lines; the host reports one.
std::string OneLine(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  while (!text.empty() && text.back() == ' ')
    text.pop_back();
  return text;
}

bool FullResolution(const Imf::ChannelList& channels) {
  for (auto channel = channels.begin(); channel != channels.end(); ++channel) {
    if (channel.channel().xSampling != 1 || channel.channel().ySampling != 1) return false;
  }
  return true;
}

// Luminance with subsampled chroma: OpenEXR's RGBA interface turns it into colour, at
// the half precision such files store.
cv::Mat ReadLuminanceChroma(std::span<const uint8_t> bytes, const std::string& source,
                            const Imath::Box2i& window, cv::Mat pixels) {
  MemoryInput stream(bytes, source);
  Imf::RgbaInputFile file(stream);
  std::vector<Imf::Rgba> halves(pixels.total());
  file.setFrameBuffer(Imf::ComputeBasePointer(halves.data(), window), 1, pixels.cols);
  file.readPixels(window.min.y, window.max.y);
  const Imf::Rgba* half = halves.data();
  for (int y = 0; y < pixels.rows; ++y) {
    auto* pixel = pixels.ptr<cv::Vec4f>(y);
    for (int x = 0; x < pixels.cols; ++x, ++half)
      pixel[x] = cv::Vec4f(half->b, half->g, half->r, half->a);
  }
  return pixels;
}

cv::Mat Decode(std::span<const uint8_t> bytes, const std::string& source) {
  MemoryInput stream(bytes, source);
  Imf::InputFile file(stream);
  const Imath::Box2i window = file.header().dataWindow();
  CheckPictureSize(int64_t{window.max.x} - window.min.x + 1,
                   int64_t{window.max.y} - window.min.y + 1, source);
  cv::Mat pixels(window.max.y - window.min.y + 1, window.max.x - window.min.x + 1, CV_32FC4);

  const Imf::ChannelList& channels = file.header().channels();
  const auto has = [&](const char* name) { return channels.findChannel(name) != nullptr; };
  const bool colour = has("R") || has("G") || has("B");
  if (!colour && (has("RY") || has("BY"))) {
    return ReadLuminanceChroma(bytes, source, window, pixels);
  }
  if (!colour && !has("Y")) {
    throw HostError("cannot read " + source + ": the EXR file has no R, G, B or Y channel");
  }
  if (!FullResolution(channels)) {
    throw HostError("cannot read " + source + ": EXR channels below full resolution");
  }

  char* origin = pixels.ptr<char>();
  const auto slice = [&](size_t offset, double fill) {
    return Imf::Slice::Make(Imf::FLOAT, origin + offset, window, kPixel, pixels.step, 1, 1, fill);
  };
  Imf::FrameBuffer frame;
  if (colour) {
    frame.insert("B", slice(kBlue, 0.0));
    frame.insert("G", slice(kGreen, 0.0));
    frame.insert("R", slice(kRed, 0.0));
  } else {
    frame.insert("Y", slice(kBlue, 0.0));
  }
  frame.insert("A", slice(kAlpha, 1.0));
  file.setFrameBuffer(frame);
  file.readPixels(window.min.y, window.max.y);

  if (!colour) {
    for (int y = 0; y < pixels.rows; ++y) {
      auto* pixel = pixels.ptr<cv::Vec4f>(y);
      for (int x = 0; x < pixels.cols; ++x)
        pixel[x][1] = pixel[x][2] = pixel[x][0];
    }
  }
  return pixels;
}

}  // namespace

bool LooksLikeExr(std::span<const uint8_t> bytes) {
  return bytes.size() >= sizeof kMagic && std::memcmp(bytes.data(), kMagic, sizeof kMagic) == 0;
}

cv::Mat DecodeExr(std::span<const uint8_t> bytes, const std::string& source) {
  LimitHeaderSizes();
  try {
    return Decode(bytes, source);
  } catch (const HostError&) {
    throw;
  } catch (const std::exception& error) {
    throw HostError("cannot read " + source + ": damaged or truncated EXR (" +
                    OneLine(error.what()) + ")");
  }
}

std::vector<uint8_t> EncodeExr(const cv::Mat& bgra, const std::string& destination) {
  cv::Mat pixels = bgra;
  if (bgra.depth() == CV_8U) bgra.convertTo(pixels, CV_32F, 1.0 / 255.0);
  if (bgra.depth() == CV_16U) bgra.convertTo(pixels, CV_32F, 1.0 / 65535.0);
  if (pixels.type() != CV_32FC4) {
    throw HostError("cannot write " + destination + ": EXR takes BGRA pictures only");
  }
  try {
    Imf::Header header(pixels.cols, pixels.rows);
    header.compression() = Imf::ZIP_COMPRESSION;
    Imf::FrameBuffer frame;
    auto* origin = reinterpret_cast<char*>(pixels.data);
    for (const auto& [name, offset] : {std::pair{"R", kRed}, std::pair{"G", kGreen},
                                       std::pair{"B", kBlue}, std::pair{"A", kAlpha}}) {
      header.channels().insert(name, Imf::Channel(Imf::FLOAT));
      frame.insert(name, Imf::Slice(Imf::FLOAT, origin + offset, kPixel, pixels.step));
    }
    MemoryOutput stream(destination);
    {
      // The file is complete once OutputFile has gone and written its offset table.
      Imf::OutputFile file(stream, header);
      file.setFrameBuffer(frame);
      file.writePixels(pixels.rows);
    }
    return std::move(stream.bytes);
  } catch (const std::exception& error) {
    throw HostError("cannot write " + destination + ": " + OneLine(error.what()));
  }
}

}  // namespace vitrella::host
