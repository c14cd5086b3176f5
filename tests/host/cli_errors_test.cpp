// Every failure of `vitrella` is one line on standard error and a non-zero exit status.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "host/run_vitrella.h"

namespace vitrella::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr int kFailure = 1;
constexpr int kUsage = 2;

const std::string kPhotograph = std::string(VITRELLA_TESTDATA_DIR) + "/fruits.jpg";

struct Mistake {
  const char* what;
  std::vector<std::string> args;  // "OUT": a fresh output path; "DAMAGED": a cut-off PNG
  int exitCode;
  const char* message;
};

void PrintTo(const Mistake& mistake, std::ostream* out) {
  *out << mistake.what;
}

class VitrellaErrors : public ::testing::TestWithParam<Mistake> {};

TEST_P(VitrellaErrors, SayOneLineAndFail) {
  const TempFolder folder;
  const std::string output = folder.Path("out.png");
  const std::string damaged = folder.Path("damaged.png");
  std::ifstream whole(std::string(VITRELLA_TESTDATA_DIR) + "/box.png", std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(whole)), std::istreambuf_iterator<char>());
  std::ofstream(damaged, std::ios::binary) << bytes.substr(0, bytes.size() / 2);

  std::vector<std::string> args = GetParam().args;
  for (std::string& arg : args) {
    if (arg == "OUT") arg = output;
    if (arg == "DAMAGED") arg = damaged;
  }
  const RunResult run = RunVitrella(args);
  EXPECT_EQ(run.exitCode, GetParam().exitCode);
  EXPECT_THAT(run.err, StartsWith("vitrella: "));
  EXPECT_THAT(run.err, HasSubstr(GetParam().message));
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
  EXPECT_EQ(run.err.back(), '\n');
  EXPECT_EQ(run.out, "");
  EXPECT_FALSE(std::filesystem::exists(output));
}

const Mistake kMistakes[] = {
    {"UnknownEffect",
     {"render", "--effect", "Glow", kPhotograph, "OUT"},
     kUsage,
     "unknown effect 'Glow'"},
    {"MissingEffectIndex",
     {"render", "--effect", "99", kPhotograph, "OUT"},
     kUsage,
     "no effect at index 99"},
    {"UnknownPreset",
     {"render", "--effect", "3", "--preset", "Extra Strong", kPhotograph, "OUT"},
     kUsage,
     "unknown preset 'Extra Strong'"},
    {"BadSliderValue",
     {"render", "--effect", "3", "--set", "Strength=60", kPhotograph, "OUT"},
     kUsage,
     "bad value '60' for parameter 0 'Strength'"},
    {"BadCheckValue",
     {"render", "--effect", "3", "--set", "1=maybe", kPhotograph, "OUT"},
     kUsage,
     "expected on or off"},
    {"AmbiguousLabel",
     {"render", "--effect", "3", "--set", "s=on", kPhotograph, "OUT"},
     kUsage,
     "'s' is ambiguous"},
    {"UnknownParameter",
     {"render", "--effect", "3", "--set", "Radius=1", kPhotograph, "OUT"},
     kUsage,
     "unknown parameter 'Radius'"},
    {"MissingInput",
     {"render", "--effect", "3", "/no/such/picture.png", "OUT"},
     kFailure,
     "cannot read /no/such/picture.png"},
    {"InputIsNoPicture",
     {"render", "--effect", "3", std::string(VITRELLA_TESTDATA_DIR) + "/alphabet_36.txt", "OUT"},
     kFailure,
     "not a picture"},
    {"DamagedPicture",
     {"render", "--effect", "3", "DAMAGED", "OUT"},
     kFailure,
     "damaged or truncated PNG"},
    {"OutputFolderMissing",
     {"render", "--effect", "3", kPhotograph, "/no/such/folder/out.png"},
     kFailure,
     "cannot write /no/such/folder/out.png"},
    {"OutputWithoutCodec",
     {"render", "--effect", "3", kPhotograph, "out.unknown"},
     kFailure,
     "no codec"},
    {"MissingLibrary",
     {"--library", "/no/such/library.so", "list"},
     kFailure,
     "cannot load the effect library /no/such/library.so"},
    {"UnknownCommand", {"paint"}, kUsage, "unknown command 'paint'"},
    {"NoCommand", {}, kUsage, "no command given"},
};

INSTANTIATE_TEST_SUITE_P(Mistakes, VitrellaErrors, ::testing::ValuesIn(kMistakes),
                         [](const auto& mistake) { return std::string(mistake.param.what); });

}  // namespace
}  // namespace vitrella::testing
