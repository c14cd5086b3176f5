// What vitrella tells the user, run as a user runs it: warnings where the output loses
// what the effect made, one line for every failure, and parameters and names as people
// read them on the panel.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "host/picture_io.h"
#include "host/run_vitrella.h"
#include "host/synthetic_clip.h"

namespace vitrella::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

constexpr int kUsage = 2;
const std::string kPhotograph = std::string(VITRELLA_TESTDATA_DIR) + "/fruits.jpg";

std::string Bytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

size_t Lines(const std::string& text) {
  return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

class VitrellaMessages : public ::testing::Test {
 protected:
  std::string Path(const std::string& name) const { return folder_.Path(name); }

  // A render that succeeds; its standard error.
  std::string Warnings(std::vector<std::string> args) {
    args.insert(args.begin(), "render");
    const RunResult run = RunVitrella(args);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    return run.err;
  }

  TempFolder folder_;
};

TEST_F(VitrellaMessages, AnOutputWithoutAlphaWarnsWhenTheEffectWorkedInAlpha) {
  const std::vector<std::string> transparent = {"--effect", "Spotlight", "--set",
                                                "Transparent Background=on", kPhotograph};
  auto args = transparent;
  args.push_back(Path("out.jpg"));
  EXPECT_THAT(Warnings(args), MatchesRegex("vitrella: warning: the result is partly transparent, "
                                           "but .*out.jpg keeps no alpha.*\n"));
  args.back() = Path("out.png");
  EXPECT_EQ(Warnings(args), "");
  // Nothing translucent, nothing to say.
  EXPECT_EQ(Warnings({"--effect", "Spotlight", kPhotograph, Path("plain.jpg")}), "");

  // A clip says it once, however many frames lose alpha.
  WriteSyntheticClip(Path("in%03d.png"), 5);
  const std::string clipWarnings =
      Warnings({"--effect", "Spotlight", "--set", "Transparent Background=on", "--quiet",
                Path("in%03d.png"), Path("out.avi")});
  EXPECT_THAT(clipWarnings,
              AllOf(HasSubstr("the video's codec keeps no alpha"), HasSubstr("%04d.png")));
  EXPECT_EQ(Lines(clipWarnings), 1u);
}

TEST_F(VitrellaMessages, DeepInputsRenderInFloatAndWarnWhereBytesLoseThem) {
  // A 16-bit picture whose low bits matter: a ramp finer than 8 bits can tell.
  cv::Mat deep(64, 256, CV_16UC4);
  for (int y = 0; y < deep.rows; ++y) {
    for (int x = 0; x < deep.cols; ++x)
      deep.at<cv::Vec4w>(y, x) = {static_cast<uint16_t>(x * 256 + y), 30000, 1000, 65535};
  }
  ASSERT_TRUE(cv::imwrite(Path("deep.png"), deep));
  const std::vector<std::string> reset = {"--effect", "Edge Smoother", "--preset", "Reset to None",
                                          Path("deep.png")};

  auto args = reset;
  args.push_back(Path("kept.png"));
  EXPECT_EQ(Warnings(args), "");
  const cv::Mat kept = cv::imread(Path("kept.png"), cv::IMREAD_UNCHANGED);
  ASSERT_EQ(kept.depth(), CV_16U);
  EXPECT_EQ(cv::norm(kept, deep, cv::NORM_INF), 0) << "float frames keep 16 bits exactly";

  args.back() = Path("bytes.jpg");
  EXPECT_THAT(Warnings(args), MatchesRegex("vitrella: warning: the input has 16-bit channels, "
                                           "but .*bytes.jpg keeps 8 bits per channel.*\n"));
  args.insert(args.begin(), {"--format", "bgra8"});
  args.back() = Path("bytes.png");
  EXPECT_THAT(Warnings(args), MatchesRegex(".*--format renders it in 8 bits per channel.*\n"));
}

TEST_F(VitrellaMessages, FloatPicturesGoThroughExrWholeAndWarnWhereTheyAreClipped) {
  // Values beyond 0..1 and a translucent alpha: EXR keeps them, PNG cannot.
  cv::Mat hdr(48, 64, CV_32FC4);
  for (int y = 0; y < hdr.rows; ++y) {
    for (int x = 0; x < hdr.cols; ++x)
      hdr.at<cv::Vec4f>(y, x) = {x / 16.0f, -0.25f + y / 100.0f, 0.123456789f, 0.5f + x / 200.0f};
  }
  host::WritePicture(Path("hdr.exr"), hdr);
  const std::vector<std::string> reset = {"--effect", "Edge Smoother", "--preset", "Reset to None",
                                          Path("hdr.exr")};
  auto args = reset;
  args.push_back(Path("same.exr"));
  EXPECT_EQ(Warnings(args), "");
  const cv::Mat back = host::ReadPicture(Path("same.exr"));
  ASSERT_EQ(back.type(), CV_32FC4);
  EXPECT_EQ(std::memcmp(back.data, hdr.data, hdr.total() * hdr.elemSize()), 0);

  args.back() = Path("clipped.png");
  EXPECT_THAT(Warnings(args), MatchesRegex("vitrella: warning: the result has values outside "
                                           "0..1, which .*clipped.png clips; write .exr.*\n"));
}

TEST_F(VitrellaMessages, AnEffectOfNeighbouringFramesSaysSoForOnePicture) {
  const std::string said =
      Warnings({"--effect", "Rolling Shutter", kPhotograph, Path("still.png")});
  EXPECT_THAT(said, AllOf(StartsWith("vitrella: warning: "), HasSubstr("neighbouring frames"),
                          HasSubstr("render a clip")));
  EXPECT_EQ(Lines(said), 1u);
}

TEST_F(VitrellaMessages, NamesAndValuesAsThePanelShowsThem) {
  // Each pair gives one picture: the group-qualified label and the shown value against the
  // record's index and its fraction.
  const std::vector<std::pair<std::vector<std::string>, std::vector<std::string>>> same = {
      {{"--set", "Background/Blur=40%"}, {"--set", "22=0.4"}},
      {{"--set", "spotlight / brightness=+20"}, {"--set", "12=0.6"}},
      {{"--set", "Background/Tint=#FF8000", "--set", "background/tint=-50"},
       {"--set", "17=#FF8000", "--set", "18=0.25"}},
      {{"--preset", "home movies"}, {"--preset", "Home  Movies"}},
  };
  int n = 0;
  for (const auto& [named, indexed] : same) {
    std::vector<std::string> a = {"--effect", "  SPOTLIGHT "};
    std::vector<std::string> b = {"--effect", "9"};
    a.insert(a.end(), named.begin(), named.end());
    b.insert(b.end(), indexed.begin(), indexed.end());
    const std::string outA = Path("a" + std::to_string(n) + ".png");
    const std::string outB = Path("b" + std::to_string(n++) + ".png");
    a.insert(a.end(), {kPhotograph, outA});
    b.insert(b.end(), {kPhotograph, outB});
    EXPECT_EQ(Warnings(a), "");
    EXPECT_EQ(Warnings(b), "");
    EXPECT_TRUE(Bytes(outA) == Bytes(outB)) << named[1];
  }
}

TEST_F(VitrellaMessages, ANearMissSuggestsTheRightName) {
  const struct {
    std::vector<std::string> args;
    std::string says;
  } misses[] = {
      {{"render", "--effect", "Spotlite", "OUT"},
       "unknown effect 'Spotlite'; did you mean 'Spotlight'?"},
      {{"render", "--effect", "9", "--preset", "Home Movis", "OUT"},
       "did you mean 'Home  Movies'?"},
      {{"render", "--effect", "9", "--set", "Backgrund/Blur=1", "OUT"},
       "did you mean 'Background/Blur'?"},
      {{"render", "--effect", "9", "--set", "Blur=40%", "OUT"},
       "ambiguous: it matches 14 'Spotlight/Blur' (slider), 22 'Background/Blur' (slider)"},
      {{"rendr"}, "did you mean 'render'?"},
      {{"list", "edge smother"}, "did you mean 'Edge Smoother'?"},
  };
  for (const auto& miss : misses) {
    std::vector<std::string> args = miss.args;
    if (args.back() == "OUT") args.back() = Path("out.png");
    const RunResult run = RunVitrella(args);
    EXPECT_EQ(run.exitCode, kUsage) << miss.says;
    EXPECT_THAT(run.err, AllOf(StartsWith("vitrella: "), HasSubstr(miss.says)));
    EXPECT_EQ(Lines(run.err), 1u) << run.err;
    EXPECT_FALSE(std::filesystem::exists(Path("out.png")));
  }
}

TEST_F(VitrellaMessages, EveryFailureIsOneShortLine) {
  const RunResult huge = RunVitrella(
      {"render", "--effect", "9", "--set", "Size=" + std::string(120000, '7'), Path("out.png")});
  EXPECT_EQ(huge.exitCode, kUsage);
  EXPECT_EQ(Lines(huge.err), 1u);
  EXPECT_LT(huge.err.size(), 400u) << huge.err;

  const RunResult language =
      RunVitrella({"preset", "load", "--effect", "3", "--language", "xx", Path("p.fxpzr3d")});
  EXPECT_EQ(language.exitCode, kUsage);
  EXPECT_THAT(language.err, HasSubstr("unknown language 'xx'; the library's dialogs come in de, "
                                      "en, es, fr, it, ja, pt"));

  // The library shows its box; the user also gets the reason, on standard error.
  const RunResult missing = RunVitrella({"preset", "load", "--effect", "3", Path("none.fxpzr3d")});
  EXPECT_EQ(missing.exitCode, 1);
  EXPECT_THAT(missing.out, HasSubstr("result: 1"));
  EXPECT_THAT(missing.err, MatchesRegex("vitrella: cannot load the preset file .*none.fxpzr3d: no "
                                        "such file; the library said \"Preset load error: .*\"\n"));
  const RunResult start = RunVitrella({"render", "--effect", "3", "--preset-file",
                                       Path("none.fxpzr3d"), kPhotograph, Path("out.png")});
  EXPECT_EQ(start.exitCode, 1);
  EXPECT_THAT(start.err, HasSubstr("no such file; the library said"));
  EXPECT_EQ(Lines(start.err), 1u);

  // A preset saved over a photograph would destroy it.
  std::filesystem::copy_file(kPhotograph, Path("photo.jpg"));
  const RunResult over = RunVitrella({"preset", "save", "--effect", "3", Path("photo.jpg")});
  EXPECT_EQ(over.exitCode, 1);
  EXPECT_THAT(over.err, HasSubstr("it exists and is not a preset file"));
  EXPECT_EQ(Bytes(Path("photo.jpg")), Bytes(kPhotograph));
}

TEST(VitrellaListOne, ShowsThePanelAndThePresetsInTheFormsSetTakes) {
  const RunResult panel = RunVitrella({"list", "SPOTLIGHT"});
  ASSERT_EQ(panel.exitCode, 0) << panel.err;
  EXPECT_THAT(panel.out,
              AllOf(StartsWith("[9] Spotlight"), HasSubstr("\nBackground\n"),
                    MatchesRegex("(.|\n)*\n  Blur +slider +0% +0%\\.\\.100%\n(.|\n)*"),
                    MatchesRegex("(.|\n)*\n  Tint +slider +\\+0 +-100\\.\\.\\+100\n(.|\n)*")));

  const RunResult presets = RunVitrella({"list", "spotlight", "--presets"});
  ASSERT_EQ(presets.exitCode, 0) << presets.err;
  EXPECT_THAT(presets.out,
              AllOf(StartsWith("[9] Spotlight: 34 presets\n"),
                    HasSubstr("\nHome  Movies\n  Shape\n    Center "), Not(HasSubstr("group"))));

  const RunResult version = RunVitrella({"--version"});
  EXPECT_EQ(version.exitCode, 0);
  EXPECT_THAT(version.out, MatchesRegex("vitrella [0-9]+\\.[0-9]+\\.[0-9]+\nlibrary .*: .+\n"));
  const RunResult help = RunVitrella({"help", "render"});
  EXPECT_THAT(help.out, AllOf(StartsWith("Usage: vitrella [--library PATH] render"),
                              HasSubstr("Background/Tint"), HasSubstr("--builtin")));
}

}  // namespace
}  // namespace vitrella::testing
