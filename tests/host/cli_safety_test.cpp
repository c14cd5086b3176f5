// vitrella never harms a user's files: a lone picture is not taken for the output, an
// input is never written over, an existing output is replaced whole or not at all, and
// SIGINT or SIGTERM leaves nothing behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include "host/run_vitrella.h"
#include "host/synthetic_clip.h"

namespace vitrella::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

constexpr int kUsage = 2;
const std::string kPhotograph = std::string(VITRELLA_TESTDATA_DIR) + "/fruits.jpg";
const std::string kVideo = std::string(VITRELLA_TESTDATA_DIR) + "/vtest.avi";

std::string Bytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::set<std::string> Names(const std::string& folder) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    names.insert(entry.path().filename().string());
  return names;
}

void ExpectOneLine(const RunResult& run, const std::string& says) {
  EXPECT_THAT(run.err, StartsWith("vitrella: "));
  EXPECT_THAT(run.err, HasSubstr(says));
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
}

class VitrellaSafety : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::copy_file(kPhotograph, Path("photo.jpg"));
    original_ = Bytes(Path("photo.jpg"));
  }
  std::string Path(const std::string& name) const { return folder_.Path(name); }

  TempFolder folder_;
  std::string original_;
};

TEST_F(VitrellaSafety, ALoneExistingFileIsNotTakenForTheOutput) {
  const RunResult run = RunVitrella({"render", "--effect", "3", Path("photo.jpg")});
  EXPECT_EQ(run.exitCode, kUsage);
  ExpectOneLine(run, "add --builtin");
  EXPECT_EQ(Bytes(Path("photo.jpg")), original_);

  // --builtin says the user means it; a name that does not exist needs no such word.
  EXPECT_EQ(RunVitrella({"render", "--effect", "3", "--builtin", Path("photo.jpg")}).exitCode, 0);
  EXPECT_NE(Bytes(Path("photo.jpg")), original_);
  EXPECT_EQ(RunVitrella({"render", "--effect", "3", Path("new.png")}).exitCode, 0);
}

TEST_F(VitrellaSafety, AnOutputThatIsTheInputIsRefusedHoweverItIsSpelled) {
  std::filesystem::create_directory(Path("sub"));
  std::filesystem::create_symlink(Path("photo.jpg"), Path("link.jpg"));
  std::filesystem::create_hard_link(Path("photo.jpg"), Path("hard.jpg"));
  for (const std::string& output :
       {Path("photo.jpg"), Path("sub/../photo.jpg"), Path("link.jpg"), Path("hard.jpg")}) {
    const RunResult run = RunVitrella({"render", "--effect", "3", Path("photo.jpg"), output});
    EXPECT_EQ(run.exitCode, kUsage) << output;
    ExpectOneLine(run, "is the input");
  }
  // A clip likewise, as a video and as numbered pictures.
  WriteSyntheticClip(Path("f%03d.png"), 3);
  const std::string frame = Bytes(Path("f000.png"));
  for (const std::string& clip : {Path("f%03d.png"), kVideo}) {
    const RunResult run = RunVitrella({"render", "--effect", "3", clip, clip});
    EXPECT_EQ(run.exitCode, kUsage) << clip;
    ExpectOneLine(run, "is the input");
  }
  EXPECT_EQ(Bytes(Path("f000.png")), frame);
  EXPECT_EQ(Bytes(Path("photo.jpg")), original_);
}

TEST_F(VitrellaSafety, AFailedRenderLeavesTheOldOutputWholeAndNoTemporary) {
  // Frame 2 of the clip is damaged, so the render fails after writing frames.
  WriteSyntheticClip(Path("in%03d.png"), 4);
  std::ofstream(Path("in002.png"), std::ios::trunc) << "not a picture";
  for (const char* output : {"old.avi", "old.png"}) {
    std::ofstream(Path(output)) << "the user's file";
  }
  const RunResult video =
      RunVitrella({"render", "--effect", "3", "--quiet", Path("in%03d.png"), Path("old.avi")});
  EXPECT_EQ(video.exitCode, 1);
  ExpectOneLine(video, "in002.png");
  EXPECT_EQ(Bytes(Path("old.avi")), "the user's file");

  const RunResult picture =
      RunVitrella({"render", "--effect", "3", Path("in002.png"), Path("old.png")});
  EXPECT_EQ(picture.exitCode, 1);
  EXPECT_EQ(Bytes(Path("old.png")), "the user's file");
  EXPECT_EQ(Names(folder_.Path("")),
            (std::set<std::string>{"photo.jpg", "in000.png", "in001.png", "in002.png", "in003.png",
                                   "old.avi", "old.png"}));
}

TEST_F(VitrellaSafety, AReplacedOutputKeepsItsPermissions) {
  std::ofstream(Path("out.png")) << "old";
  chmod(Path("out.png").c_str(), 0640);
  ASSERT_EQ(RunVitrella({"render", "--effect", "3", Path("photo.jpg"), Path("out.png")}).exitCode,
            0);
  struct stat info {};
  ASSERT_EQ(stat(Path("out.png").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0640u);
  EXPECT_NE(Bytes(Path("out.png")), "old");
}

TEST_F(VitrellaSafety, APresetFileIsSavedWholeAndAloneWhereverTheLibraryWritesIt) {
  std::filesystem::create_directory(Path("presets"));
  // Written twice: a replaced preset is replaced whole; the library adds its extension.
  for (const char* preset : {"0", "1"}) {
    const RunResult run =
        RunVitrella({"preset", "save", "--effect", "3", "--preset", preset, Path("presets/mine")});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("saved: " + Path("presets/mine.fxpzr3d") + "\n"));
  }
  EXPECT_EQ(Names(Path("presets")), std::set<std::string>{"mine.fxpzr3d"});
  EXPECT_THAT(Bytes(Path("presets/mine.fxpzr3d")), HasSubstr("Font Smoothing - Strong"));

  // A photograph under the name the library would write is left alone.
  std::filesystem::copy_file(kPhotograph, Path("presets/photo.fxpzr3d"));
  const RunResult over = RunVitrella({"preset", "save", "--effect", "3", Path("presets/photo")});
  EXPECT_EQ(over.exitCode, 1);
  ExpectOneLine(over, "is not a preset file");
  EXPECT_EQ(Bytes(Path("presets/photo.fxpzr3d")), Bytes(kPhotograph));
  EXPECT_EQ(Names(Path("presets")), (std::set<std::string>{"mine.fxpzr3d", "photo.fxpzr3d"}));
}

// A long clip, stopped as soon as its output shows; the program must say so, exit as a
// shell expects after the signal, and leave the folder as it found it.
TEST_F(VitrellaSafety, ASignalMidClipLeavesNothingBehind) {
  struct Case {
    int signal;
    std::string output;
    int exitCode;
  };
  std::filesystem::create_directory(Path("out"));
  for (const Case& c : {Case{SIGINT, "out/%04d.png", 130}, Case{SIGTERM, "out/clip.avi", 143}}) {
    const std::string folder = Path("out");
    const RunResult run = RunVitrellaAndSignal(
        {"render", "--effect", "Edge Smoother", "--preset", "Font Smoothing - Strong", "--quiet",
         "--threads", "2", kVideo, Path(c.output)},
        [&] { return !std::filesystem::is_empty(folder); }, c.signal);
    EXPECT_EQ(run.exitCode, c.exitCode) << run.err;
    EXPECT_THAT(run.err,
                MatchesRegex("vitrella: (interrupted|terminated); partial output removed\n"));
    EXPECT_TRUE(std::filesystem::is_empty(folder)) << *Names(folder).begin();
  }
}

}  // namespace
}  // namespace vitrella::testing
