// `vitrella render` on real photographs and on the built-in picture, in every frame
// format and both row orders.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "host/builtin_picture.h"
#include "host/run_vitrella.h"

namespace vitrella::testing {
namespace {

const std::string kPhotograph = std::string(VITRELLA_TESTDATA_DIR) + "/baboon.jpg";

bool Same(const cv::Mat& a, const cv::Mat& b) {
  return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0;
}

cv::Mat Channel(const cv::Mat& picture, int channel) {
  cv::Mat plane;
  cv::extractChannel(picture, plane, channel);
  return plane;
}

class VitrellaRender : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = new TempFolder();
    // The photograph with an alpha ramp, so that keeping alpha is a real test.
    const cv::Mat photo = cv::imread(kPhotograph, cv::IMREAD_COLOR);
    ASSERT_FALSE(photo.empty()) << kPhotograph;
    input_ = new cv::Mat();
    cv::cvtColor(photo, *input_, cv::COLOR_BGR2BGRA);
    for (int y = 0; y < input_->rows; ++y) {
      for (int x = 0; x < input_->cols; ++x)
        input_->at<cv::Vec4b>(y, x)[3] = static_cast<uint8_t>(x + y);
    }
    ASSERT_TRUE(cv::imwrite(InputPath(), *input_));
  }
  static void TearDownTestSuite() {
    delete input_;
    delete folder_;
  }

  static std::string InputPath() { return folder_->Path("photo_alpha.png"); }
  static std::string OutputPath(const std::string& name) { return folder_->Path(name); }

  // Renders and reads the result back as it lies in the file.
  static cv::Mat Render(std::vector<std::string> args, const std::string& output) {
    args.push_back(OutputPath(output));
    const RunResult run = RunVitrella(args);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.err, "");
    return cv::imread(OutputPath(output), cv::IMREAD_UNCHANGED);
  }

  // The input as the output file holds it: 16-bit channels for float formats.
  static cv::Mat InputAsWritten(bool floatFormat) {
    if (!floatFormat) return *input_;
    cv::Mat wide;
    input_->convertTo(wide, CV_16U, 257.0);
    return wide;
  }

  static TempFolder* folder_;
  static cv::Mat* input_;
};

TempFolder* VitrellaRender::folder_ = nullptr;
cv::Mat* VitrellaRender::input_ = nullptr;

struct Layout {
  const char* format;
  bool bottomUp;
};

void PrintTo(const Layout& layout, std::ostream* out) {
  *out << layout.format << (layout.bottomUp ? " bottom-up" : " top-down");
}

class VitrellaRenderLayouts : public VitrellaRender, public ::testing::WithParamInterface<Layout> {
 protected:
  std::vector<std::string> Args(const char* preset) const {
    std::vector<std::string> args = {"render", "--effect", "Edge Smoother",  "--preset",
                                     preset,   "--format", GetParam().format};
    if (GetParam().bottomUp) args.push_back("--bottom-up");
    args.push_back(InputPath());
    return args;
  }
  std::string Name(const char* what) const {
    return std::string(what) + "_" + GetParam().format +
           (GetParam().bottomUp ? "_up.png" : "_down.png");
  }
  bool FloatFormat() const {
    return std::string(GetParam().format).find("32f") != std::string::npos;
  }
};

TEST_P(VitrellaRenderLayouts, StrongSmoothingKeepsSizeAndAlpha) {
  const cv::Mat output = Render(Args("Font Smoothing - Strong"), Name("strong"));
  const cv::Mat expected = InputAsWritten(FloatFormat());
  ASSERT_EQ(output.size(), expected.size());
  ASSERT_EQ(output.type(), expected.type());
  EXPECT_TRUE(Same(Channel(output, 3), Channel(expected, 3)));
  EXPECT_FALSE(Same(output, expected)) << "the preset changed nothing";
}

TEST_P(VitrellaRenderLayouts, ResetToNoneReturnsTheInput) {
  const cv::Mat output = Render(Args("Reset to None"), Name("none"));
  EXPECT_TRUE(Same(output, InputAsWritten(FloatFormat())));
}

INSTANTIATE_TEST_SUITE_P(AllFormats, VitrellaRenderLayouts,
                         ::testing::Values(Layout{"bgra8", false}, Layout{"bgra8", true},
                                           Layout{"argb8", false}, Layout{"argb8", true},
                                           Layout{"bgra32f", false}, Layout{"bgra32f", true},
                                           Layout{"argb32f", false}, Layout{"argb32f", true}),
                         [](const auto& layout) {
                           return std::string(layout.param.format) +
                                  (layout.param.bottomUp ? "_BottomUp" : "_TopDown");
                         });

TEST_F(VitrellaRender, ChannelOrderDoesNotChangeTheResult) {
  // Formats 1 and 4 are 0 and 3 reversed; the effect must see the same picture.
  for (const bool bottomUp : {false, true}) {
    std::vector<cv::Mat> outputs;
    for (const char* format : {"bgra8", "argb8", "bgra32f", "argb32f"}) {
      std::vector<std::string> args = {"render", "--effect", "3",   "--preset",
                                       "1",      "--format", format};
      if (bottomUp) args.push_back("--bottom-up");
      args.push_back(InputPath());
      outputs.push_back(Render(args, std::string("order_") + format + ".png"));
    }
    EXPECT_TRUE(Same(outputs[0], outputs[1])) << "bottom-up " << bottomUp;
    EXPECT_TRUE(Same(outputs[2], outputs[3])) << "bottom-up " << bottomUp;
  }
}

TEST_F(VitrellaRender, OtherPictureFormatsGoThroughOpenCvsCodecsLoadedWhenNeeded) {
  // The program loads those codecs on first use; a TIFF in and out must pass unchanged.
  const std::string tiff = OutputPath("photo_alpha.tif");
  ASSERT_TRUE(cv::imwrite(tiff, *input_));
  EXPECT_TRUE(
      Same(Render({"render", "--effect", "3", "--preset", "Reset to None", tiff}, "none_out.tif"),
           *input_));
  const RunResult unknown = RunVitrella({"render", "--effect", "3", tiff, OutputPath("out.xyz")});
  EXPECT_NE(unknown.exitCode, 0);
  EXPECT_NE(unknown.err.find("no codec for .xyz"), std::string::npos) << unknown.err;
}

TEST_F(VitrellaRender, SettingsOverrideThePreset) {
  // A JPEG photograph as it comes, without alpha of its own.
  const cv::Mat photo = cv::imread(kPhotograph, cv::IMREAD_COLOR);
  const cv::Mat output = Render({"render", "--effect", "edge smoother", "--preset", "Reset to None",
                                 "--set", "show=on", "--set", "0=1", kPhotograph},
                                "marked.png");
  ASSERT_EQ(output.size(), photo.size());
  ASSERT_EQ(output.type(), CV_8UC4);
  cv::Mat magenta;
  cv::inRange(output, cv::Scalar(255, 0, 255, 255), cv::Scalar(255, 0, 255, 255), magenta);
  EXPECT_GT(cv::countNonZero(magenta), 0);
  EXPECT_EQ(cv::countNonZero(Channel(output, 3) != 255), 0);
}

TEST_F(VitrellaRender, BuiltInPictureWhenNoInputIsGiven) {
  const cv::Mat untouched = Render({"render", "--effect", "3", "--preset", "Reset to None",
                                    "--field-mode", "2", "--pixel-aspect", "0.9"},
                                   "builtin_none.png");
  EXPECT_TRUE(Same(untouched, host::BuiltinPicture()));
  EXPECT_EQ(untouched.cols, host::kBuiltinWidth);
  EXPECT_EQ(untouched.rows, host::kBuiltinHeight);

  const cv::Mat smoothed = Render(
      {"render", "--effect", "3", "--preset", "Font Smoothing - Strong"}, "builtin_strong.png");
  EXPECT_FALSE(Same(smoothed, untouched));
}

TEST_F(VitrellaRender, TheGpuPathGivesTheCpuPictureAndRefusesEffectsWithoutOne) {
  // Top first and bottom up, 8-bit and float: each within the parity tolerance of the CPU.
  for (const std::vector<std::string>& layout :
       {std::vector<std::string>{}, {"--bottom-up", "--format", "argb32f"}}) {
    std::vector<std::string> args = {"render",   "--effect",         "Spotlight",
                                     "--preset", "Classic Portrait", kPhotograph};
    args.insert(args.end(), layout.begin(), layout.end());
    const cv::Mat cpu = Render(args, "spot_cpu.png");
    args.insert(args.begin() + 1, "--gpu");
    const cv::Mat gpu = Render(args, "spot_gpu.png");
    ASSERT_EQ(gpu.size(), cpu.size());
    ASSERT_EQ(gpu.type(), cpu.type());
    const double levels = cpu.depth() == CV_16U ? 257.0 : 1.0;
    cv::Mat difference;
    cv::absdiff(cpu, gpu, difference);
    double largest = 0;
    cv::minMaxLoc(difference.reshape(1), nullptr, &largest);
    EXPECT_LE(largest / levels, 20.0);
    const cv::Scalar mean = cv::mean(difference);
    for (int c = 0; c < 4; ++c)
      EXPECT_LE(mean[c] / levels, 3.5) << "channel " << c;
  }

  const std::string refused = OutputPath("smoothed_gpu.png");
  const RunResult run =
      RunVitrella({"render", "--gpu", "--effect", "Edge Smoother", kPhotograph, refused});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
  EXPECT_NE(run.err.find("GPU"), std::string::npos) << run.err;
  EXPECT_FALSE(std::filesystem::exists(refused));
}

// Auto Contrast by name and by every preset on the CPU, and on the GPU through each way of
// counting its histogram, which VITRELLA_GL_HIDE picks; with neither, --gpu is refused.
TEST_F(VitrellaRender, AutoContrastRendersEveryPresetAndOnEachHistogramWay) {
  for (const char* preset :
       {"Big Boost", "Bold", "Flat", "Medium", "Mild", "Reset to None", "Stark Gray", "Subtle"}) {
    const cv::Mat out = Render(
        {"render", "--effect", "Auto Contrast", "--preset", preset, kPhotograph}, "contrast.png");
    ASSERT_FALSE(out.empty()) << preset;
  }
  // Small, for the query way draws the picture 768 times in software.
  cv::Mat small;
  cv::resize(*input_, small, cv::Size(64, 48), 0, 0, cv::INTER_AREA);
  const std::string input = OutputPath("small.png");
  ASSERT_TRUE(cv::imwrite(input, small));
  const auto hiding = [](const char* ways) { setenv("VITRELLA_GL_HIDE", ways, 1); };
  const cv::Mat cpu = Render({"render", "--effect", "Auto Contrast", "--preset", "Mild", input},
                             "contrast_cpu.png");
  for (const char* hidden : {"query", "scatter"}) {
    hiding(hidden);
    const cv::Mat gpu =
        Render({"render", "--gpu", "--effect", "Auto Contrast", "--preset", "Mild", input},
               "contrast_gpu.png");
    ASSERT_EQ(gpu.size(), cpu.size()) << hidden;
    // The GPU measures the whole picture unblurred, so its levels are its own (the parity
    // test bounds how far); alpha goes through as it was.
    EXPECT_TRUE(Same(Channel(gpu, 3), Channel(cpu, 3))) << hidden;
  }
  hiding("all");
  const std::string refused = OutputPath("contrast_refused.png");
  const RunResult run =
      RunVitrella({"render", "--gpu", "--effect", "Auto Contrast", input, refused});
  unsetenv("VITRELLA_GL_HIDE");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_NE(run.err.find("refuses the GPU"), std::string::npos) << run.err;
  EXPECT_FALSE(std::filesystem::exists(refused));
}

}  // namespace
}  // namespace vitrella::testing
