#include "jpeg_file.h"

#include <csetjmp>
#include <cstdio>  // jpeglib.h uses FILE without including it
#include <vector>

#include <jpeglib.h>
// After jpeglib.h: which messages exist depends on its configuration.
#include <jerror.h>

#include "host_error.h"
#include "picture_limits.h"

namespace vitrella::host {
namespace {

// One decode's libjpeg state. libjpeg reports errors through callbacks that must not
// return, so they longjmp back into ReadHeader or ReadRows; those functions hold nothing
// with a destructor, and no C++ exception crosses libjpeg's C frames.
class Decoder {
 public:
  Decoder() {
    info.err = jpeg_std_error(&errors);
    errors.error_exit = Fail;
    errors.emit_message = OnMessage;
    errors.output_message = [](j_common_ptr) {};
    info.client_data = this;
  }
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;
  ~Decoder() { jpeg_destroy_decompress(&info); }  // safe before jpeg_create_decompress too

  jpeg_decompress_struct info{};
  jpeg_error_mgr errors{};
  std::jmp_buf escape{};
  char reason[JMSG_LENGTH_MAX] = "";

 private:
  [[noreturn]] static void Fail(j_common_ptr common) {
    auto* decoder = static_cast<Decoder*>(common->client_data);
    common->err->format_message(common, decoder->reason);
    std::longjmp(decoder->escape, 1);
  }

  // Level -1 is a warning, higher levels are tracing. libjpeg carries on after warnings
  // that mean lost entropy data, filling the rest of the picture with gray or smeared
  // rows; those fail here. Others, such as stray bytes before a marker, which many
  // cameras write, leave the pixels whole.
  static void OnMessage(j_common_ptr common, int level) {
    if (level >= 0) return;
    switch (common->err->msg_code) {
      case JWRN_JPEG_EOF:
      case JWRN_HIT_MARKER:
      case JWRN_HUFF_BAD_CODE:
#if defined(D_ARITH_CODING_SUPPORTED) || JPEG_LIB_VERSION >= 70
      case JWRN_ARITH_BAD_CODE:
#endif
      case JWRN_MUST_RESYNC:
      case JWRN_NOT_SEQUENTIAL:
        Fail(common);
      default:
        break;
    }
  }
};

// False, with decoder->reason set, when libjpeg gives up.
bool ReadHeader(Decoder* decoder, const uint8_t* data, size_t size) {
  if (setjmp(decoder->escape) != 0) return false;
  jpeg_create_decompress(&decoder->info);
  jpeg_mem_src(&decoder->info, data, size);
  jpeg_read_header(&decoder->info, TRUE);
  return true;
}

// Decodes into `rows`, one pointer per output row, and reads on to the end of the file,
// where a truncation after the last scan shows.
bool ReadRows(Decoder* decoder, JSAMPROW* rows) {
  if (setjmp(decoder->escape) != 0) return false;
  jpeg_start_decompress(&decoder->info);
  while (decoder->info.output_scanline < decoder->info.output_height) {
    const JDIMENSION done = decoder->info.output_scanline;
    if (jpeg_read_scanlines(&decoder->info, rows + done, decoder->info.output_height - done) == 0) {
      // Only a suspending data source stalls, and memory never does; refuse to spin.
      std::snprintf(decoder->reason, sizeof decoder->reason, "decoding stalled at row %u", done);
      return false;
    }
  }
  jpeg_finish_decompress(&decoder->info);
  return true;
}

uint8_t Product(int a, int b) {
  return static_cast<uint8_t>((a * b + 127) / 255);
}

// libjpeg hands CMYK over as stored. Adobe's files, nearly every CMYK JPEG there is,
// store each ink inverted (255 is no ink); YCCK files are Adobe's and come out of libjpeg
// the same way.
void CmykToBgra(cv::Mat* pixels, bool inverted) {
  for (int y = 0; y < pixels->rows; ++y) {
    auto* pixel = pixels->ptr<uint8_t>(y);
    for (int x = 0; x < pixels->cols; ++x, pixel += 4) {
      int paper[4];  // how much of the paper each ink leaves
      for (int i = 0; i < 4; ++i)
        paper[i] = inverted ? pixel[i] : 255 - pixel[i];
      pixel[0] = Product(paper[2], paper[3]);
      pixel[1] = Product(paper[1], paper[3]);
      pixel[2] = Product(paper[0], paper[3]);
      pixel[3] = 255;
    }
  }
}

}  // namespace

bool LooksLikeJpeg(std::span<const uint8_t> bytes) {
  return bytes.size() >= 3 && bytes[0] == 0xFF && bytes[1] == 0xD8 && bytes[2] == 0xFF;
}

cv::Mat DecodeJpeg(std::span<const uint8_t> bytes, const std::string& source) {
  Decoder decoder;
  const auto damaged = [&] {
    return HostError("cannot read " + source + ": damaged or truncated JPEG (" + decoder.reason +
                     ")");
  };
  if (!ReadHeader(&decoder, bytes.data(), bytes.size())) throw damaged();
  jpeg_decompress_struct& info = decoder.info;
  CheckPictureSize(info.image_width, info.image_height, source);

  bool cmyk = false;
  switch (info.jpeg_color_space) {
    case JCS_GRAYSCALE:
    case JCS_YCbCr:
    case JCS_RGB:
      info.out_color_space = JCS_EXT_BGRA;  // alpha comes out as 255
      break;
    case JCS_CMYK:
    case JCS_YCCK:
      info.out_color_space = JCS_CMYK;
      cmyk = true;
      break;
    default:
      throw HostError("cannot read " + source + ": a JPEG of " +
                      std::to_string(info.num_components) +
                      " components in an unknown colour space");
  }

  cv::Mat pixels(static_cast<int>(info.image_height), static_cast<int>(info.image_width), CV_8UC4);
  std::vector<JSAMPROW> rows(info.image_height);
  for (int y = 0; y < pixels.rows; ++y)
    rows[y] = pixels.ptr<JSAMPLE>(y);
  if (!ReadRows(&decoder, rows.data())) throw damaged();
  if (cmyk) CmykToBgra(&pixels, info.saw_Adobe_marker != 0);
  return pixels;
}

}  // namespace vitrella::host
