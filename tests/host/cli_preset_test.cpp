// `vitrella preset save`, `vitrella preset load` and `render --preset-file`, run as a
// user runs them, with the library's dialogs answered by the command's file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/command_line.h"
#include "host/host_error.h"
#include "host/json_reader.h"
#include "host/run_vitrella.h"

namespace vitrella::testing {
namespace {

using ::testing::HasSubstr;

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

// The path after "saved: " in a save's output.
std::string SavedPath(const std::string& out) {
  const size_t at = out.find("saved: ");
  if (at == std::string::npos) return {};
  return out.substr(at + 7, out.find('\n', at) - at - 7);
}

// The value that `preset load` prints for entry `index`, or nothing when it prints none.
std::optional<std::string> PrintedValue(const std::string& out, size_t index) {
  std::istringstream lines(out);
  std::string line;
  const std::string start = "  " + std::to_string(index) + " ";
  while (std::getline(lines, line)) {
    if (!line.starts_with(start)) continue;
    const size_t colon = line.find("): ");
    if (colon == std::string::npos) return std::nullopt;
    return line.substr(colon + 3);
  }
  return std::string("(missing)");
}

// The printed value against the one `list --json` gave for the same preset.
void ExpectPrinted(const JsonValue& param, const JsonValue& value,
                   const std::optional<std::string>& printed) {
  const std::string kind = param["kind"].text;
  if (kind == "group") {
    EXPECT_FALSE(printed);
    return;
  }
  ASSERT_TRUE(printed);
  if (kind == "slider") {
    EXPECT_NEAR(std::stod(*printed), value.number, 5e-7);
  } else if (kind == "point") {
    const size_t comma = printed->find(',');
    EXPECT_NEAR(std::stod(printed->substr(0, comma)), value[0].number, 5e-7);
    EXPECT_NEAR(std::stod(printed->substr(comma + 1)), value[1].number, 5e-7);
  } else if (kind == "check") {
    EXPECT_EQ(*printed, value.boolean ? "on" : "off");
  } else if (kind == "choice") {
    EXPECT_EQ(*printed, param["choices"][static_cast<size_t>(value.number)].text);
  } else {
    EXPECT_EQ(*printed, value.text);
  }
}

class VitrellaPreset : public ::testing::Test {
 protected:
  // Saves a built-in preset of Edge Smoother and answers the file's path.
  std::string SaveSmoother(const std::string& preset, const std::string& name) {
    const RunResult run = RunVitrella(
        {"preset", "save", "--effect", "Edge Smoother", "--preset", preset, folder_.Path(name)});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    return SavedPath(run.out);
  }

  TempFolder folder_;
};

// The first and last built-in presets of every effect: each run starts the program twice,
// and the preset saver's own tests go through every value kind in the process.
TEST_F(VitrellaPreset, BuiltInPresetsOfEveryEffectLoadBackWithTheirValues) {
  const RunResult list = RunVitrella({"list", "--json"});
  ASSERT_EQ(list.exitCode, 0) << list.err;
  const JsonValue document = ParseJson(list.out);
  size_t presets = 0;
  for (const JsonValue& effect : document["effects"].items) {
    const std::string index = std::to_string(static_cast<int>(effect["index"].number));
    const size_t count = effect["presets"].items.size();
    std::vector<size_t> chosen;
    if (count > 0) chosen.push_back(0);
    if (count > 1) chosen.push_back(count - 1);
    for (size_t p : chosen) {
      ++presets;
      const JsonValue& preset = effect["presets"][p];
      SCOPED_TRACE(effect["name"].text + " / " + preset["name"].text);
      const RunResult save = RunVitrella({"preset", "save", "--effect", index, "--preset",
                                          std::to_string(p), folder_.Path("p" + index)});
      ASSERT_EQ(save.exitCode, 0) << save.out << save.err;
      const RunResult load =
          RunVitrella({"preset", "load", "--effect", index, SavedPath(save.out)});
      ASSERT_EQ(load.exitCode, 0) << load.out << load.err;
      EXPECT_THAT(load.out, HasSubstr("preset: " + preset["name"].text + "\n"));
      EXPECT_THAT(load.out, HasSubstr("effect: " + effect["name"].text + "\n"));
      EXPECT_THAT(load.out, HasSubstr("\nresult: 0\n"));
      for (size_t i = 0; i < effect["params"].items.size(); ++i) {
        SCOPED_TRACE(i);
        ExpectPrinted(effect["params"][i], preset["values"][i], PrintedValue(load.out, i));
      }
    }
  }
  EXPECT_GE(presets, 5u);
}

TEST_F(VitrellaPreset, TheFileIsTheDescribedXml) {
  const RunResult run =
      RunVitrella({"preset", "save", "--effect", "3", "--preset", "Font Smoothing - Medium",
                   "--set", "Show changed pixels=on", folder_.Path("medium")});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out, "dialog: Save Preset [Preset Files (*.fxpzr3d)]\nsaved: " +
                         folder_.Path("medium.fxpzr3d") + "\nresult: 0\n");
  EXPECT_EQ(ReadFile(folder_.Path("medium.fxpzr3d")),
            "<?xml version=\"1.0\" standalone=\"no\" ?>\n"
            "<!-- Effect's Preset File -->\n"
            "<Preset Name=\"Font Smoothing - Medium\" LibraryName=\"Corvane Vitrella III\" "
            "EffectName=\"Edge Smoother\">\n"
            "    <parameter type=\"2\" value=\"0.500100\" />\n"
            "    <parameter type=\"4\" value=\"1\" />\n"
            "    <parameter type=\"4\" value=\"1\" />\n"
            "</Preset>\n");
}

TEST_F(VitrellaPreset, DialogsSpeakTheLanguageAskedForAndEnglishWithoutTheModule) {
  const std::string file = SaveSmoother("0", "de");
  RunResult run = RunVitrella({"preset", "load", "--effect", "3", "--language", "de", file});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_THAT(run.out,
              HasSubstr("dialog: Voreinstellung öffnen [Voreinstellungsdateien (*.fxpzr3d)]\n"));
  run = RunVitrella({"preset", "save", "--effect", "3", "--language=ja", folder_.Path("ja")});
  EXPECT_THAT(
      run.out,
      HasSubstr("dialog: 名前を付けてプリセットを保存 [プリセット ファイル (*.fxpzr3d)]\n"));

  // The library alone, without its language module: it loads and speaks English.
  const std::string alone = folder_.Path("alone");
  std::filesystem::create_directory(alone);
  std::filesystem::copy_file(std::string(VITRELLA_BIN_DIR) + "/Vitrella3OpenGL64.so",
                             alone + "/Vitrella3OpenGL64.so");
  run = RunVitrella({"--library", alone + "/Vitrella3OpenGL64.so", "preset", "load", "--effect",
                     "3", "--language", "de", file});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("dialog: Open Preset [Preset Files (*.fxpzr3d)]\n"));
  EXPECT_THAT(run.out, HasSubstr("result: 0\n"));
}

TEST_F(VitrellaPreset, RefusedAndDamagedFilesExitWithTheLibrarysMessage) {
  const std::string file = SaveSmoother("1", "strong");
  RunResult run = RunVitrella({"preset", "load", "--effect", "Rolling Shutter", file});
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_THAT(run.out, HasSubstr("effect: Edge Smoother\n"));
  EXPECT_THAT(run.out, HasSubstr("box: Preset open warning\n  Error trying to open a Edge "
                                 "Smoother preset. This can only open Rolling Shutter presets. "
                                 "Please try again.\nresult: 2\n"));

  std::ofstream(folder_.Path("junk.fxpzr3d")) << "not a preset";
  run = RunVitrella({"preset", "load", "--effect", "3", folder_.Path("junk.fxpzr3d")});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.out,
            "dialog: Load Preset [Preset Files (*.fxpzr3d)]\n"
            "box: Preset load error\n  Sorry, can't open the preset specified.\n"
            "  Possible reason: access denied or file is corrupted.\nresult: 1\n");

  run = RunVitrella({"preset", "save", "--effect", "3", folder_.Path("no/folder/x")});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(run.out, HasSubstr("box: Preset save error\n  Sorry, can't save preset.\n"));
}

TEST_F(VitrellaPreset, ARenderFromAPresetFileMatchesTheBuiltInPreset) {
  const std::string file = SaveSmoother("Font Smoothing - Strong", "strong");
  ASSERT_EQ(
      RunVitrella({"render", "--effect", "3", "--preset", "1", folder_.Path("a.png")}).exitCode, 0);
  const RunResult run = RunVitrella({"render", "--effect", "3", "--preset-file", file, "--language",
                                     "fr", folder_.Path("b.png")});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(ReadFile(folder_.Path("a.png")), ReadFile(folder_.Path("b.png")));

  // Settings still apply after the file.
  ASSERT_EQ(RunVitrella({"render", "--effect", "3", "--preset-file", file, "--set",
                         "Show changed pixels=on", folder_.Path("c.png")})
                .exitCode,
            0);
  EXPECT_NE(ReadFile(folder_.Path("a.png")), ReadFile(folder_.Path("c.png")));

  const RunResult refused =
      RunVitrella({"render", "--effect", "7", "--preset-file", file, folder_.Path("d.png")});
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_THAT(refused.err, HasSubstr("Preset open warning"));
}

TEST(PresetCommandLine, TakesTheEffectTheFileAndTheLanguage) {
  using host::Command;
  host::CommandLine line =
      host::ParseCommandLine({"preset", "save", "--effect", "3", "--preset", "1", "--set",
                              "Strength=0.5", "--language", "de", "out"});
  EXPECT_EQ(line.command, Command::kPresetSave);
  EXPECT_EQ(line.render.effect, "3");
  EXPECT_EQ(line.render.preset, "1");
  ASSERT_EQ(line.render.settings.size(), 1u);
  EXPECT_EQ(line.render.presetFile, "out");
  EXPECT_EQ(line.language, "de");

  line = host::ParseCommandLine({"--library", "x.so", "preset", "load", "--effect=7", "in"});
  EXPECT_EQ(line.command, Command::kPresetLoad);
  EXPECT_EQ(line.library, "x.so");
  EXPECT_EQ(line.render.presetFile, "in");
  EXPECT_FALSE(line.language);

  line = host::ParseCommandLine({"render", "--effect", "3", "--preset-file", "p", "out.png"});
  EXPECT_EQ(line.render.presetFile, "p");
}

TEST(PresetCommandLine, RefusesWhatItCannotDo) {
  const std::vector<std::vector<std::string>> wrong = {
      {"preset"},
      {"preset", "copy"},
      {"preset", "load", "file"},
      {"preset", "load", "--effect", "3"},
      {"preset", "load", "--effect", "3", "a", "b"},
      {"preset", "load", "--effect", "3", ""},
      {"preset", "load", "--effect", "3", "--preset", "1", "in"},
      {"preset", "save", "--effect", "3", "--language", "de", "--language", "fr", "out"},
      {"render", "--effect", "3", "--preset", "1", "--preset-file", "p", "out.png"},
      {"render", "--effect", "3", "--language", "de", "out.png"},
  };
  for (const auto& args : wrong) {
    EXPECT_THROW(host::ParseCommandLine(args), host::UsageError) << ::testing::PrintToString(args);
  }
  const RunResult run = RunVitrella({"preset", "load", "--effect", "3"});
  EXPECT_EQ(run.exitCode, 2);
}

}  // namespace
}  // namespace vitrella::testing
