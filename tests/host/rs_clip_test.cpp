// Rolling Shutter through `vitrella render`: a clip with a known rolling-shutter skew, made
// from a photograph panned at a known speed, comes out straightened by the shear of the
// correction formula, the same whether the effect fetches earlier frames from the host or
// keeps its own.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "effects/rs_correction.h"
#include "host/run_vitrella.h"

namespace vitrella::testing {
namespace {

constexpr int kWidth = 640;
constexpr int kHeight = 360;
constexpr int kFrames = 8;
// The camera pans right by kPan columns a frame, so the picture moves left, and the sensor
// reads its rows top to bottom in kReadout of a frame's time: row y of frame k shows the
// scene at time k + kReadout * y / H, kSkew * y / H columns further on than the top row.
constexpr double kPan = 10.0;
constexpr double kReadout = 0.6;
constexpr double kSkew = kPan * kReadout;
// The slider fraction whose shear for this pan is 6.5 columns before truncation: whole
// kSkew columns, and a motion estimate a few tenths of a pixel off still gives them.
constexpr float kCorrection = 0.1015625f;
// Where the photograph's window starts; it moves right by kPan a frame.
constexpr int kLeft = 20;
constexpr int kTop = 100;
// Clear of the border strips, which are at most kSkew / 2 columns wide.
const cv::Rect kCentre(32, 16, kWidth - 64, kHeight - 32);

const cv::Mat& Photograph() {
  static const cv::Mat photo = cv::imread(VITRELLA_TESTDATA_DIR "/graf1.png", cv::IMREAD_COLOR);
  return photo;
}

// Frame k as the rolling-shutter camera records it.
cv::Mat RollingShutterFrame(int k) {
  const cv::Matx23d fromFrame(1, kSkew / kHeight, kLeft + kPan * k, 0, 1, kTop);
  cv::Mat frame;
  cv::warpAffine(Photograph(), frame, fromFrame, cv::Size(kWidth, kHeight),
                 cv::INTER_LINEAR | cv::WARP_INVERSE_MAP);
  return frame;
}

// Frame k as a global shutter takes it at the moment the middle row is read: the
// correction holds the middle row in place, so this is the picture it restores.
cv::Mat MidReadoutFrame(int k) {
  const int left = kLeft + static_cast<int>(kPan * k + kSkew / 2);
  return Photograph()(cv::Rect(left, kTop, kWidth, kHeight)).clone();
}

std::string Numbered(const TempFolder& folder, const char* stem, int k) {
  char name[32];
  std::snprintf(name, sizeof(name), "%s%04d.png", stem, k);
  return folder.Path(name);
}

// Renders the clip in `folder` on one analysis path into pictures named `stem`NNNN.png.
std::vector<cv::Mat> Render(const TempFolder& folder, bool fetching, const char* stem) {
  char correction[48];
  std::snprintf(correction, sizeof(correction), "Correction=%.9g", kCorrection);
  std::vector<std::string> args = {"render", "--effect", "Rolling Shutter", "--quiet"};
  args.insert(args.end(), {"--set", correction, "--set", "Border Fill=Source"});
  if (!fetching) args.push_back("--no-get-frame");
  args.push_back(folder.Path("in%04d.png"));
  args.push_back(folder.Path(std::string(stem) + "%04d.png"));
  const RunResult run = RunVitrella(args);
  EXPECT_EQ(run.exitCode, 0) << run.err;
  std::vector<cv::Mat> frames;
  for (int k = 0; k < kFrames && run.exitCode == 0; ++k)
    frames.push_back(cv::imread(Numbered(folder, stem, k), cv::IMREAD_COLOR));
  return frames;
}

double MeanDifference(const cv::Mat& a, const cv::Mat& b) {
  cv::Mat difference;
  cv::absdiff(a(kCentre), b(kCentre), difference);
  const cv::Scalar mean = cv::mean(difference);
  return (mean[0] + mean[1] + mean[2]) / 3.0;
}

struct Shear {
  double columns;  // bottom row against top row
  double middle;   // how far the middle row moved
};

// The columns each band of rows of `after` moved against `before`, fitted by a line.
Shear MeasureShear(const cv::Mat& before, const cv::Mat& after) {
  constexpr int kBands = 8;
  constexpr int kBandHeight = 40;
  const auto gray = [](const cv::Mat& picture, const cv::Rect& band) {
    cv::Mat g;
    cv::Mat d;
    cv::cvtColor(picture(band), g, cv::COLOR_BGR2GRAY);
    g.convertTo(d, CV_64F);
    return d;
  };
  cv::Mat window;
  cv::createHanningWindow(window, cv::Size(kCentre.width, kBandHeight), CV_64F);
  double sy = 0, sd = 0, syy = 0, syd = 0;
  for (int b = 0; b < kBands; ++b) {
    const int top = (kHeight - kBands * kBandHeight) / 2 + b * kBandHeight;
    const cv::Rect band(kCentre.x, top, kCentre.width, kBandHeight);
    const double y = top + (kBandHeight - 1) / 2.0;
    const double d = cv::phaseCorrelate(gray(before, band), gray(after, band), window).x;
    sy += y;
    sd += d;
    syy += y * y;
    syd += y * d;
  }
  const double slope = (kBands * syd - sy * sd) / (kBands * syy - sy * sy);
  const double atMiddle = (sd - slope * sy) / kBands + slope * (kHeight - 1) / 2.0;
  return {slope * kHeight, atMiddle};
}

// One test, so that the clip renders once per path also where every test runs alone.
TEST(RollingShutterClip, StraightensTheSkewByTheFormulasShearAlikeOnBothPaths) {
  ASSERT_FALSE(Photograph().empty()) << "run scripts/setup for the test pictures";
  // The picture moves left by kPan, and the bottom rows lag behind the top: the correction
  // moves the bottom to the right of the top.
  const RsShear expected = RsShearOf(kPan, 0, kWidth, kHeight, kCorrection, 3);
  ASSERT_EQ(expected.x, static_cast<int>(kSkew)) << "the correction chosen for this camera";
  ASSERT_EQ(expected.y, 0);

  const TempFolder folder;
  std::vector<cv::Mat> input;
  for (int k = 0; k < kFrames; ++k) {
    input.push_back(RollingShutterFrame(k));
    ASSERT_TRUE(cv::imwrite(Numbered(folder, "in", k), input.back()));
  }
  const std::vector<cv::Mat> fetched = Render(folder, true, "fetched");
  const std::vector<cv::Mat> cached = Render(folder, false, "cached");
  ASSERT_EQ(fetched.size(), size_t{kFrames});
  ASSERT_EQ(cached.size(), size_t{kFrames});

  for (const auto* output : {&fetched, &cached}) {
    SCOPED_TRACE(output == &fetched ? "fetching earlier frames" : "keeping its own frames");
    EXPECT_EQ(cv::norm((*output)[0], input[0], cv::NORM_INF), 0)
        << "the first frame has nothing to measure against";
    for (int k = 1; k < kFrames; ++k) {
      const cv::Mat& frame = (*output)[k];
      const cv::Mat truth = MidReadoutFrame(k);
      const double before = MeanDifference(input[k], truth);
      const double after = MeanDifference(frame, truth);
      EXPECT_LT(after * 4, before) << "frame " << k << ": " << before << " -> " << after;
      const Shear measured = MeasureShear(input[k], frame);
      EXPECT_NEAR(measured.columns, expected.x, 0.5) << "frame " << k;
      EXPECT_NEAR(measured.middle, 0.0, 0.5) << "frame " << k;
    }
  }
  for (int k = 0; k < kFrames; ++k)
    EXPECT_EQ(cv::norm(fetched[k], cached[k], cv::NORM_INF), 0) << "frame " << k;
}

}  // namespace
}  // namespace vitrella::testing
