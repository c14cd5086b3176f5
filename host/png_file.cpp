#include "png_file.h"

#include <png.h>

#include <bit>
#include <cstdio>
#include <cstring>
#include <vector>

#include "host_error.h"
#include "picture_limits.h"

namespace vitrella::host {
namespace {

constexpr uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

// One decode's libpng state. libpng reports errors through a callback that must not
// return, so it longjmps back into ReadHeader or ReadPixels; those functions hold
// nothing with a destructor, and no C++ exception crosses libpng's C frames.
class Decoder {
 public:
  explicit Decoder(std::span<const uint8_t> bytes) : bytes_(bytes) {
    png = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, Fail, Ignore);
    if (png != nullptr) info = png_create_info_struct(png);
    if (png != nullptr) png_set_read_fn(png, this, Read);
  }
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;
  ~Decoder() { png_destroy_read_struct(&png, &info, nullptr); }

  png_structp png = nullptr;
  png_infop info = nullptr;
  char reason[200] = "";

 private:
  [[noreturn]] static void Fail(png_structp png, png_const_charp message) {
    auto* decoder = static_cast<Decoder*>(png_get_error_ptr(png));
    std::snprintf(decoder->reason, sizeof decoder->reason, "%s", message);
    png_longjmp(png, 1);
  }

  // Warnings concern ancillary data (colour profiles, text) that the pixels do not need.
  static void Ignore(png_structp, png_const_charp) {}

  static void Read(png_structp png, png_bytep data, size_t size) {
    auto* decoder = static_cast<Decoder*>(png_get_io_ptr(png));
    if (size > decoder->bytes_.size() - decoder->offset_) png_error(png, "Read Error");
    std::memcpy(data, decoder->bytes_.data() + decoder->offset_, size);
    decoder->offset_ += size;
  }

  std::span<const uint8_t> bytes_;
  size_t offset_ = 0;
};

// False, with decoder->reason set, when libpng gives up.
bool ReadHeader(Decoder* decoder) {
  if (setjmp(png_jmpbuf(decoder->png)) != 0) return false;
  png_read_info(decoder->png, decoder->info);
  return true;
}

// Asks libpng for four channels in BGRA order at 8 or 16 bits, as the file has them.
void RequestBgra(png_structp png, png_infop info) {
  const int type = png_get_color_type(png, info);
  const bool keyed = png_get_valid(png, info, PNG_INFO_tRNS) != 0;
  if (type == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
  if (type == PNG_COLOR_TYPE_GRAY && png_get_bit_depth(png, info) < 8) {
    png_set_expand_gray_1_2_4_to_8(png);
  }
  if (keyed) png_set_tRNS_to_alpha(png);
  if ((type & PNG_COLOR_MASK_COLOR) == 0) png_set_gray_to_rgb(png);
  if ((type & PNG_COLOR_MASK_ALPHA) == 0 && !keyed) {
    png_set_add_alpha(png, 0xFFFF, PNG_FILLER_AFTER);  // the low byte serves 8-bit files
  }
  png_set_bgr(png);
  if (png_get_bit_depth(png, info) == 16 && std::endian::native == std::endian::little) {
    png_set_swap(png);
  }
  png_set_interlace_handling(png);
  png_read_update_info(png, info);
}

// Decodes into `rows`, one pointer per row of `rowBytes`, then reads the chunks after the
// image up to IEND, checking each one's CRC.
bool ReadPixels(Decoder* decoder, png_bytep* rows, size_t rowBytes) {
  if (setjmp(png_jmpbuf(decoder->png)) != 0) return false;
  RequestBgra(decoder->png, decoder->info);
  if (png_get_channels(decoder->png, decoder->info) != 4 ||
      png_get_rowbytes(decoder->png, decoder->info) != rowBytes) {
    png_error(decoder->png, "rows not in the layout asked for");
  }
  png_read_image(decoder->png, rows);
  png_read_end(decoder->png, nullptr);
  return true;
}

}  // namespace

bool LooksLikePng(std::span<const uint8_t> bytes) {
  return bytes.size() >= sizeof kSignature &&
         std::memcmp(bytes.data(), kSignature, sizeof kSignature) == 0;
}

cv::Mat DecodePng(std::span<const uint8_t> bytes, const std::string& source) {
  Decoder decoder(bytes);
  if (decoder.info == nullptr) throw HostError("cannot read " + source + ": out of memory");
  const auto damaged = [&] {
    return HostError("cannot read " + source + ": damaged or truncated PNG (" + decoder.reason +
                     ")");
  };
  if (!ReadHeader(&decoder)) throw damaged();
  const png_uint_32 width = png_get_image_width(decoder.png, decoder.info);
  const png_uint_32 height = png_get_image_height(decoder.png, decoder.info);
  CheckPictureSize(width, height, source);

  const bool wide = png_get_bit_depth(decoder.png, decoder.info) == 16;
  cv::Mat pixels(static_cast<int>(height), static_cast<int>(width), wide ? CV_16UC4 : CV_8UC4);
  std::vector<png_bytep> rows(height);
  for (int y = 0; y < pixels.rows; ++y)
    rows[y] = pixels.ptr<png_byte>(y);
  if (!ReadPixels(&decoder, rows.data(), pixels.cols * pixels.elemSize())) throw damaged();
  return pixels;
}

int PngDepth(std::span<const uint8_t> leading, const std::string& source) {
  // The signature, then IHDR's length (13) and type; its bit depth follows width and height.
  constexpr uint8_t kHeader[8] = {0, 0, 0, 13, 'I', 'H', 'D', 'R'};
  if (leading.size() < 33 || !LooksLikePng(leading) ||
      std::memcmp(leading.data() + 8, kHeader, sizeof kHeader) != 0) {
    throw HostError("cannot read " + source + ": damaged or truncated PNG (no header chunk)");
  }
  return leading[24] == 16 ? CV_16U : CV_8U;
}

}  // namespace vitrella::host
