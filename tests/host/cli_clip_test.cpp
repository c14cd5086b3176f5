// `vitrella render` on clips: numbered pictures and videos in and out, ranges, a real
// video, and the mistakes a user makes with them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/videoio.hpp>

#include "host/run_vitrella.h"
#include "host/synthetic_clip.h"

namespace vitrella::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

constexpr int kFailure = 1;
constexpr int kUsage = 2;
constexpr int kFrames = 6;

const std::string kVideo = std::string(VITRELLA_TESTDATA_DIR) + "/vtest.avi";

bool Same(const cv::Mat& a, const cv::Mat& b) {
  return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0;
}

std::vector<std::string> Render(const std::vector<std::string>& options, const std::string& input,
                                const std::string& output) {
  std::vector<std::string> args = {"render", "--effect", "Edge Smoother", "--preset",
                                   "Font Smoothing - Strong"};
  args.insert(args.end(), options.begin(), options.end());
  args.push_back(input);
  args.push_back(output);
  return args;
}

class VitrellaClip : public ::testing::Test {
 protected:
  void SetUp() override { WriteSyntheticClip(In(), kFrames); }

  std::string In() const { return folder_.Path("in%04d.png"); }
  std::string Path(const std::string& name) const { return folder_.Path(name); }

  static void ExpectSuccess(const RunResult& run, int frames) {
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, MatchesRegex("rendered " + std::to_string(frames) +
                                      " frames in [0-9.]+ s \\([0-9.]+ frames per second\\)\n"));
  }

  TempFolder folder_;
};

TEST_F(VitrellaClip, FramesComeOutAsEachPictureRenderedAlone) {
  ExpectSuccess(RunVitrella(Render({"--threads", "3"}, In(), Path("out%04d.png"))), kFrames);
  for (int k = 0; k < kFrames; ++k) {
    const std::string alone = Path("alone" + std::to_string(k) + ".png");
    char name[32];
    std::snprintf(name, sizeof(name), "in%04d.png", k);
    ASSERT_EQ(RunVitrella(Render({}, Path(name), alone)).exitCode, 0);
    std::snprintf(name, sizeof(name), "out%04d.png", k);
    const cv::Mat fromClip = cv::imread(Path(name), cv::IMREAD_UNCHANGED);
    const cv::Mat expected = cv::imread(alone, cv::IMREAD_UNCHANGED);
    EXPECT_TRUE(Same(fromClip, expected)) << "frame " << k;
    EXPECT_FALSE(Same(fromClip, SyntheticFrame(k))) << "frame " << k << " is unchanged";
  }
}

TEST_F(VitrellaClip, WritesAVideoOfTheRangeAtTheRateAsked) {
  ExpectSuccess(RunVitrella(Render({"--frames", "1-4", "--rate", "12.5"}, In(), Path("out.avi"))),
                4);
  cv::VideoCapture video(Path("out.avi"));
  ASSERT_TRUE(video.isOpened());
  EXPECT_EQ(video.get(cv::CAP_PROP_FRAME_WIDTH), kClipWidth);
  EXPECT_EQ(video.get(cv::CAP_PROP_FRAME_HEIGHT), kClipHeight);
  EXPECT_DOUBLE_EQ(video.get(cv::CAP_PROP_FPS), 12.5);
  int frames = 0;
  for (cv::Mat frame; video.read(frame);)
    ++frames;
  EXPECT_EQ(frames, 4);
}

TEST_F(VitrellaClip, ARangeToTheEndKeepsTheSourceNumbers) {
  ExpectSuccess(RunVitrella(Render({"--frames", "4-"}, In(), Path("out%02d.png"))), 2);
  EXPECT_FALSE(std::filesystem::exists(Path("out03.png")));
  EXPECT_TRUE(std::filesystem::exists(Path("out04.png")));
  EXPECT_TRUE(std::filesystem::exists(Path("out05.png")));
  EXPECT_FALSE(std::filesystem::exists(Path("out06.png")));
}

TEST_F(VitrellaClip, DecodesARealVideo) {
  const RunResult run =
      RunVitrella(Render({"--frames", "0-4", "--quiet"}, kVideo, Path("out.mp4")));
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.err, "");
  cv::VideoCapture video(Path("out.mp4"));
  ASSERT_TRUE(video.isOpened());
  EXPECT_EQ(video.get(cv::CAP_PROP_FRAME_WIDTH), 768);
  EXPECT_EQ(video.get(cv::CAP_PROP_FRAME_HEIGHT), 576);
  EXPECT_DOUBLE_EQ(video.get(cv::CAP_PROP_FPS), 10);
  int frames = 0;
  for (cv::Mat frame; video.read(frame);)
    ++frames;
  EXPECT_EQ(frames, 5);
}

struct ClipMistake {
  const char* what;
  std::vector<std::string> args;  // IN: the synthetic clip; OUT: out.avi in the folder
  int exitCode;
  const char* message;
};

void PrintTo(const ClipMistake& mistake, std::ostream* out) {
  *out << mistake.what;
}

class VitrellaClipErrors : public VitrellaClip,
                           public ::testing::WithParamInterface<ClipMistake> {};

TEST_P(VitrellaClipErrors, SayOneLineAndLeaveNoOutput) {
  std::vector<std::string> args = GetParam().args;
  for (std::string& arg : args) {
    if (arg == "IN") arg = In();
    if (arg == "OUT") arg = Path("out.avi");
    if (arg == "TEXT") {
      arg = Path("text.avi");
      std::ofstream(arg) << "not a video";
    }
  }
  const RunResult run = RunVitrella(args);
  EXPECT_EQ(run.exitCode, GetParam().exitCode);
  EXPECT_THAT(run.err, StartsWith("vitrella: "));
  EXPECT_THAT(run.err, HasSubstr(GetParam().message));
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
  EXPECT_FALSE(std::filesystem::exists(Path("out.avi")));
  EXPECT_FALSE(std::filesystem::exists(Path("out0000.png")));
}

const ClipMistake kClipMistakes[] = {
    {"MissingVideo",
     {"render", "--effect", "3", "/no/such/clip.avi", "OUT"},
     kFailure,
     "cannot read /no/such/clip.avi"},
    {"NoPicturesForThePattern",
     {"render", "--effect", "3", "/no/such/%04d.png", "OUT"},
     kFailure,
     "neither /no/such/0000.png nor /no/such/0001.png exists"},
    {"NotAVideo", {"render", "--effect", "3", "TEXT", "OUT"}, kFailure, "not a video"},
    {"RangeBackwards",
     {"render", "--effect", "3", "--frames", "4-2", "IN", "OUT"},
     kUsage,
     "bad frame range '4-2'"},
    {"RangeNotNumbers",
     {"render", "--effect", "3", "--frames", "two", "IN", "OUT"},
     kUsage,
     "bad frame range 'two'"},
    {"RangeBeyondTheClip",
     {"render", "--effect", "3", "--frames", "2-9", "IN", "OUT"},
     kUsage,
     "lies beyond"},
    {"ClipIntoAPicture",
     {"render", "--effect", "3", "IN", "/tmp/never-written.png"},
     kUsage,
     "renders into a clip"},
    {"ClipOptionForAPicture",
     {"render", "--effect", "3", "--threads", "2", std::string(VITRELLA_TESTDATA_DIR) + "/box.png",
      "/tmp/never-written.png"},
     kUsage,
     "--threads applies to clips only"},
    {"BadThreadCount",
     {"render", "--effect", "3", "--threads", "0", "IN", "OUT"},
     kUsage,
     "bad thread count '0'"},
    {"NoVideoEncoder",
     {"render", "--effect", "3", "IN", "/tmp/never-written.webm"},
     kUsage,
     "no codec goes with its extension"},
    {"OutputFolderMissing",
     {"render", "--effect", "3", "IN", "/no/such/folder/out.avi"},
     kFailure,
     "the folder /no/such/folder does not exist"},
};

INSTANTIATE_TEST_SUITE_P(Mistakes, VitrellaClipErrors, ::testing::ValuesIn(kClipMistakes),
                         [](const auto& mistake) { return std::string(mistake.param.what); });

}  // namespace
}  // namespace vitrella::testing
