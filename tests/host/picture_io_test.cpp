// Picture files through libjpeg, libpng and OpenEXR: good files give OpenCV's pixels,
// damaged ones fail with one line naming the file, EXR keeps float pixels exactly.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>
#include <ImfOutputFile.h>
#include <png.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <jpeglib.h>
#include <opencv2/imgcodecs.hpp>

#include "host/host_error.h"
#include "host/picture_io.h"
#include "host/run_vitrella.h"

namespace vitrella::host {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;
using Bytes = std::vector<uint8_t>;

std::string Data(const std::string& name) {
  return std::string(VITRELLA_TESTDATA_DIR) + "/" + name;
}

Bytes Load(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return Bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

void Save(const std::string& path, const Bytes& bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

// Bit for bit, so that float pictures compare exactly.
bool Same(const cv::Mat& a, const cv::Mat& b) {
  if (a.size() != b.size() || a.type() != b.type()) return false;
  for (int y = 0; y < a.rows; ++y) {
    if (std::memcmp(a.ptr(y), b.ptr(y), a.cols * a.elemSize()) != 0) return false;
  }
  return true;
}

cv::Mat AsOpenCvDecodes(const Bytes& bytes) {
  return ToBgra(cv::imdecode(bytes, cv::IMREAD_UNCHANGED), "OpenCV");
}

std::string ReadFailure(const std::string& path) {
  try {
    ReadPicture(path);
  } catch (const HostError& error) {
    return error.what();
  }
  return "no failure";
}

size_t Find(const Bytes& bytes, std::initializer_list<uint8_t> pattern) {
  return std::search(bytes.begin(), bytes.end(), pattern.begin(), pattern.end()) - bytes.begin();
}

// Four-ink pixels as Adobe's files store them, inverted, through libjpeg's encoder.
Bytes EncodeCmykJpeg(const cv::Mat& bgr, J_COLOR_SPACE stored) {
  jpeg_compress_struct info{};
  jpeg_error_mgr errors{};
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  unsigned char* memory = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&info, &memory, &size);
  info.image_width = bgr.cols;
  info.image_height = bgr.rows;
  info.input_components = 4;
  info.in_color_space = JCS_CMYK;
  jpeg_set_defaults(&info);
  jpeg_set_colorspace(&info, stored);
  jpeg_set_quality(&info, 95, TRUE);
  jpeg_start_compress(&info, TRUE);
  std::vector<uint8_t> row(bgr.cols * 4);
  for (int y = 0; y < bgr.rows; ++y) {
    for (int x = 0; x < bgr.cols; ++x) {
      const cv::Vec3b& pixel = bgr.at<cv::Vec3b>(y, x);
      const uint8_t ink[4] = {pixel[2], pixel[1], pixel[0], static_cast<uint8_t>(200 + x % 56)};
      std::copy(ink, ink + 4, row.begin() + x * 4);
    }
    JSAMPROW rows[1] = {row.data()};
    jpeg_write_scanlines(&info, rows, 1);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
  Bytes bytes(memory, memory + size);
  std::free(memory);
  return bytes;
}

// PNG layouts that OpenCV does not write: interlaced, and 2-bit palette with
// transparency. Pixels vary with x and y.
Bytes EncodePng(int colourType, int interlace) {
  const int width = 37, height = 23;
  const bool palette = colourType == PNG_COLOR_TYPE_PALETTE;
  Bytes file;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_set_write_fn(
      png, &file,
      [](png_structp p, png_bytep data, size_t size) {
        auto* out = static_cast<Bytes*>(png_get_io_ptr(p));
        out->insert(out->end(), data, data + size);
      },
      nullptr);
  png_set_IHDR(png, info, width, height, palette ? 2 : 8, colourType, interlace,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (palette) {
    png_color colours[4] = {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {250, 240, 230}};
    png_byte alphas[2] = {0, 128};
    png_set_PLTE(png, info, colours, 4);
    png_set_tRNS(png, info, alphas, 2, nullptr);
  }
  png_write_info(png, info);
  std::vector<Bytes> rows(height, Bytes(width * 3));
  std::vector<png_bytep> pointers;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      if (palette) {
        rows[y][x / 4] |= static_cast<uint8_t>(((x + y) % 4) << (6 - 2 * (x % 4)));
      } else {
        rows[y][x * 3] = static_cast<uint8_t>(x * 7);
        rows[y][x * 3 + 1] = static_cast<uint8_t>(y * 11);
        rows[y][x * 3 + 2] = static_cast<uint8_t>(x * y);
      }
    }
    pointers.push_back(rows[y].data());
  }
  png_write_image(png, pointers.data());
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return file;
}

// Values outside 0..1, negative zero, tiny and huge ones, and a translucent alpha.
cv::Mat UnboundedPicture() {
  cv::Mat picture(37, 61, CV_32FC4);
  cv::randn(picture, 0.5, 4.0);
  picture.at<cv::Vec4f>(0, 0) = cv::Vec4f(-0.0F, 1e-40F, 3e38F, 0.25F);
  for (int y = 0; y < picture.rows; ++y) {
    for (int x = 0; x < picture.cols; ++x)
      picture.at<cv::Vec4f>(y, x)[3] = static_cast<float>(x) / picture.cols;
  }
  return picture;
}

TEST(JpegFile, GoodFilesDecodeAsOpenCvDoes) {
  // Baseline colour, gray, progressive, and gray with EXIF.
  for (const char* name : {"fruits.jpg", "left01.jpg", "Blender_Suzanne1.jpg", "ellipses.jpg"}) {
    EXPECT_TRUE(Same(ReadPicture(Data(name)), AsOpenCvDecodes(Load(Data(name))))) << name;
  }
  const vitrella::testing::TempFolder folder;
  const cv::Mat colours = cv::imread(Data("fruits.jpg"), cv::IMREAD_COLOR)(cv::Rect(0, 0, 90, 70));
  for (const J_COLOR_SPACE stored : {JCS_CMYK, JCS_YCCK}) {
    const Bytes bytes = EncodeCmykJpeg(colours, stored);
    Save(folder.Path("cmyk.jpg"), bytes);
    // OpenCV divides by 256 where 255 is right, which makes up to 2 of difference.
    EXPECT_LE(cv::norm(ReadPicture(folder.Path("cmyk.jpg")), AsOpenCvDecodes(bytes), cv::NORM_INF),
              2)
        << stored;
  }
}

TEST(JpegFile, DamageFailsWithLibjpegsReason) {
  const vitrella::testing::TempFolder folder;
  const Bytes whole = Load(Data("fruits.jpg"));
  const std::string path = folder.Path("damaged.jpg");

  Save(path, Bytes(whole.begin(), whole.begin() + whole.size() / 2));
  EXPECT_EQ(ReadFailure(path),
            "cannot read " + path + ": damaged or truncated JPEG (Premature end of JPEG file)");

  // One bit flipped in the second half of the entropy-coded data. Most flips go unseen,
  // or desync the scan, which libjpeg reports only as stray bytes before the end marker;
  // this one turns a data byte into a marker, which it reports as corruption.
  Bytes flipped = whole;
  size_t byte = whole.size() / 2;
  while (std::popcount(whole[byte]) != 7 || whole[byte + 1] == 0x00 || whole[byte + 1] == 0xFF)
    ++byte;
  flipped[byte] = 0xFF;  // its one clear bit set
  Save(path, flipped);
  EXPECT_EQ(ReadFailure(path), "cannot read " + path +
                                   ": damaged or truncated JPEG (Corrupt JPEG data: premature end "
                                   "of data segment)");

  // Stray bytes before a marker draw a warning from libjpeg but lose no pixels.
  Bytes stray = whole;
  stray.insert(stray.begin() + Find(whole, {0xFF, 0xDA}), {0x12, 0x34, 0x56});
  Save(path, stray);
  EXPECT_TRUE(Same(ReadPicture(path), ReadPicture(Data("fruits.jpg"))));

  // A frame header claiming 60000x60000 is refused before any decoding.
  Bytes huge = whole;
  const size_t frame = Find(whole, {0xFF, 0xC0});
  for (const size_t at : {frame + 5, frame + 7}) {
    huge[at] = 60000 >> 8;
    huge[at + 1] = 60000 & 0xFF;
  }
  Save(path, huge);
  EXPECT_THAT(ReadFailure(path), HasSubstr("is 60000x60000, larger than"));
}

TEST(PngFile, EveryLayoutDecodesAsOpenCvDoes) {
  struct Case {
    std::string what;
    Bytes bytes;
    int depth;
  };
  // Gray, gray with alpha, palette, RGBA, RGB.
  std::vector<Case> cases;
  for (const char* name : {"box.png", "mask.png", "imageTextN.png", "cards.png", "graf1.png"})
    cases.push_back({name, Load(Data(name)), CV_8U});
  cases.push_back({"interlaced", EncodePng(PNG_COLOR_TYPE_RGB, PNG_INTERLACE_ADAM7), CV_8U});
  cases.push_back({"2-bit palette", EncodePng(PNG_COLOR_TYPE_PALETTE, PNG_INTERLACE_NONE), CV_8U});
  cv::Mat wide(41, 29, CV_16UC4), wideGray;
  cv::randu(wide, 0, 65536);
  cv::extractChannel(wide, wideGray, 1);
  for (const cv::Mat& picture : {wide, wideGray}) {
    Bytes bytes;
    ASSERT_TRUE(cv::imencode(".png", picture, bytes));
    cases.push_back({"16-bit, " + std::to_string(picture.channels()) + " channels", bytes, CV_16U});
  }
  Bytes bilevel;
  ASSERT_TRUE(cv::imencode(".png", cv::imread(Data("box.png"), cv::IMREAD_GRAYSCALE) > 128, bilevel,
                           {cv::IMWRITE_PNG_BILEVEL, 1}));
  cases.push_back({"1-bit", bilevel, CV_8U});

  const vitrella::testing::TempFolder folder;
  const std::string path = folder.Path("picture.png");
  for (const Case& file : cases) {
    Save(path, file.bytes);
    const cv::Mat picture = ReadPicture(path);
    EXPECT_TRUE(Same(picture, AsOpenCvDecodes(file.bytes))) << file.what;
    EXPECT_EQ(picture.type(), CV_MAKETYPE(file.depth, 4)) << file.what;
    EXPECT_EQ(PictureDepth(path), file.depth) << file.what;
  }
}

TEST(PngFile, DamageFailsWithLibpngsReason) {
  const vitrella::testing::TempFolder folder;
  const Bytes whole = Load(Data("box.png"));
  const std::string path = folder.Path("damaged.png");
  const std::string failure = "cannot read " + path + ": damaged or truncated PNG (";
  // The last chunk is IEND (12 bytes); before it ends the last IDAT and its CRC.
  const std::pair<const char*, Bytes> damages[] = {
      {"cut in half", Bytes(whole.begin(), whole.begin() + whole.size() / 2)},
      {"cut before IEND", Bytes(whole.begin(), whole.end() - 12)},
      {"bad IDAT CRC", [&] {
         Bytes bytes = whole;
         bytes[bytes.size() - 13] ^= 1;
         return bytes;
       }()}};
  for (const auto& [what, bytes] : damages) {
    Save(path, bytes);
    EXPECT_THAT(ReadFailure(path), StartsWith(failure)) << what;
  }
  Save(path, damages[0].second);
  EXPECT_EQ(ReadFailure(path), failure + "Read Error)");
}

TEST(ExrFile, FloatPicturesRoundTripBitForBit) {
  const vitrella::testing::TempFolder folder;
  const std::string path = folder.Path("float.exr");
  const cv::Mat picture = UnboundedPicture();
  WritePicture(path, picture);
  EXPECT_TRUE(Same(ReadPicture(path), picture));
  EXPECT_EQ(PictureDepth(path), CV_32F);

  Imf::InputFile file(path.c_str());
  EXPECT_EQ(file.header().compression(), Imf::ZIP_COMPRESSION);
  for (const char* name : {"R", "G", "B", "A"}) {
    ASSERT_NE(file.header().channels().findChannel(name), nullptr) << name;
    EXPECT_EQ(file.header().channels().findChannel(name)->type, Imf::FLOAT) << name;
  }

  // Bytes become 0..1.
  cv::Mat bytes = cv::imread(Data("cards.png"), cv::IMREAD_UNCHANGED);
  WritePicture(folder.Path("bytes.exr"), bytes);
  bytes.convertTo(bytes, CV_32F, 1.0 / 255);
  EXPECT_LE(cv::norm(ReadPicture(folder.Path("bytes.exr")), bytes, cv::NORM_INF), 1e-7);
}

TEST(ExrFile, ReadsHalfChannelsLuminanceAndAnyDataWindow) {
  const vitrella::testing::TempFolder folder;
  const std::string path = folder.Path("window.exr");
  // 5x3 pixels from (-2, 10): half R, G and B (B negated) without alpha, then float Y.
  const Imath::Box2i window({-2, 10}, {2, 12});
  float luma[15];
  Imath::half red[15], blue[15];
  for (int i = 0; i < 15; ++i) {
    luma[i] = static_cast<float>(i) - 2.5F;  // exact in half
    red[i] = luma[i];
    blue[i] = -luma[i];
  }
  for (const bool luminance : {false, true}) {
    Imf::Header header(Imath::Box2i({0, 0}, {4, 2}), window);
    Imf::FrameBuffer frame;
    const auto add = [&](const char* name, Imf::PixelType type, const void* values) {
      header.channels().insert(name, Imf::Channel(type));
      frame.insert(name, Imf::Slice::Make(type, values, window));
    };
    if (luminance) {
      add("Y", Imf::FLOAT, luma);
    } else {
      add("R", Imf::HALF, red);
      add("G", Imf::HALF, red);
      add("B", Imf::HALF, blue);
    }
    {
      Imf::OutputFile file(path.c_str(), header);
      file.setFrameBuffer(frame);
      file.writePixels(3);
    }
    const cv::Mat picture = ReadPicture(path);
    ASSERT_EQ(picture.size(), cv::Size(5, 3));
    const float sign = luminance ? 1 : -1;
    EXPECT_EQ(picture.at<cv::Vec4f>(0, 0), cv::Vec4f(-2.5F * sign, -2.5F, -2.5F, 1));
    EXPECT_EQ(picture.at<cv::Vec4f>(2, 4), cv::Vec4f(11.5F * sign, 11.5F, 11.5F, 1));
  }
}

TEST(ExrFile, TruncatedFilesFail) {
  const vitrella::testing::TempFolder folder;
  WritePicture(folder.Path("whole.exr"), UnboundedPicture());
  const Bytes whole = Load(folder.Path("whole.exr"));
  const std::string path = folder.Path("cut.exr");
  for (const size_t size : {whole.size() / 2, size_t{40}}) {
    Save(path, Bytes(whole.begin(), whole.begin() + size));
    const std::string failure = ReadFailure(path);
    EXPECT_THAT(failure, StartsWith("cannot read " + path + ": damaged or truncated EXR ("))
        << size;
    EXPECT_EQ(failure.find('\n'), std::string::npos) << failure;
  }
}

TEST(PictureFile, ChosenByContentNotName) {
  const vitrella::testing::TempFolder folder;
  WritePicture(folder.Path("float.exr"), UnboundedPicture());
  const std::pair<std::string, std::string> misnamed[] = {
      {Data("fruits.jpg"), "fruits.png"},
      {Data("box.png"), "box.jpg"},
      {folder.Path("float.exr"), "float.tif"},
  };
  for (const auto& [right, wrong] : misnamed) {
    Save(folder.Path(wrong), Load(right));
    EXPECT_TRUE(Same(ReadPicture(folder.Path(wrong)), ReadPicture(right))) << wrong;
  }
  // Other formats go through OpenCV still.
  cv::Mat wide(9, 7, CV_16UC3, cv::Scalar(1, 300, 60000));
  ASSERT_TRUE(cv::imwrite(folder.Path("wide.tif"), wide));
  EXPECT_EQ(PictureDepth(folder.Path("wide.tif")), CV_16U);
  EXPECT_EQ(PictureDepth(Data("fruits.jpg")), CV_8U);
  const Bytes png = Load(Data("box.png"));
  Save(folder.Path("stub.png"), Bytes(png.begin(), png.begin() + 20));
  EXPECT_THROW(PictureDepth(folder.Path("stub.png")), HostError);
}

TEST(VitrellaPictureFiles, TruncatedJpegFailsInOneLineAndWritesNothing) {
  const vitrella::testing::TempFolder folder;
  const Bytes whole = Load(Data("fruits.jpg"));
  const std::string input = folder.Path("truncated.jpg");
  Save(input, Bytes(whole.begin(), whole.begin() + whole.size() / 2));
  const vitrella::testing::RunResult run =
      vitrella::testing::RunVitrella({"render", "--effect", "3", input, folder.Path("out.png")});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(run.err, StartsWith("vitrella: cannot read " + input + ": "));
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
  EXPECT_FALSE(std::filesystem::exists(folder.Path("out.png")));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path("")),
                          std::filesystem::directory_iterator()),
            1);
}

TEST(VitrellaPictureFiles, RendersFloatFramesToExr) {
  const vitrella::testing::TempFolder folder;
  const vitrella::testing::RunResult run = vitrella::testing::RunVitrella(
      {"render", "--effect", "3", "--preset", "Reset to None", "--format", "bgra32f",
       Data("cards.png"), folder.Path("out.exr")});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  cv::Mat expected = cv::imread(Data("cards.png"), cv::IMREAD_UNCHANGED);
  expected.convertTo(expected, CV_32F, 1.0 / 255);
  EXPECT_LE(cv::norm(ReadPicture(folder.Path("out.exr")), expected, cv::NORM_INF), 1e-6);
}

}  // namespace
}  // namespace vitrella::host
