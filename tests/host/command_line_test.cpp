// The command line: what each option sets, and the mistakes it refuses.
#include <gtest/gtest.h>

#include "host/command_line.h"
#include "host/host_error.h"

namespace vitrella::host {
namespace {

TEST(CommandLine, ReadsEveryRenderOption) {
  const CommandLine line = ParseCommandLine({"--library",      "first.so",
                                             "render",         "--effect",
                                             "Edge Smoother",  "--preset=Reset to None",
                                             "--set",          "Strength=0.5",
                                             "--set=1=on",     "--format",
                                             "argb32f",        "--bottom-up",
                                             "--field-mode",   "2",
                                             "--pixel-aspect", "1.5",
                                             "in.png",         "out.png",
                                             "--library",      "lib.so"});
  EXPECT_EQ(line.command, Command::kRender);
  EXPECT_EQ(line.library, "lib.so");
  const RenderOptions& render = line.render;
  EXPECT_EQ(render.effect, "Edge Smoother");
  EXPECT_EQ(render.preset, "Reset to None");
  ASSERT_EQ(render.settings.size(), 2u);
  EXPECT_EQ(render.settings[0].param, "Strength");
  EXPECT_EQ(render.settings[0].value, "0.5");
  EXPECT_EQ(render.settings[1].param, "1");
  EXPECT_EQ(render.settings[1].value, "on");
  EXPECT_EQ(render.format, PixelFormat32FARGB);
  EXPECT_TRUE(render.bottomUp);
  EXPECT_EQ(render.fieldMode, 2);
  EXPECT_EQ(render.pixelAspect, 1.5);
  EXPECT_EQ(render.input, "in.png");
  EXPECT_EQ(render.output, "out.png");
}

TEST(CommandLine, RenderDefaultsToTheBuiltInPictureAndAWholeFrame) {
  const CommandLine line = ParseCommandLine({"render", "--effect", "3", "out.png"});
  EXPECT_FALSE(line.render.input);
  EXPECT_EQ(line.render.format, PixelFormat8BGRA);
  EXPECT_FALSE(line.render.bottomUp);
  EXPECT_EQ(line.render.fieldMode, kFieldModeFrame);
  EXPECT_FALSE(line.render.pixelAspect);
  EXPECT_TRUE(line.library.empty());
}

TEST(CommandLine, ReadsTheClipOptions) {
  const CommandLine line =
      ParseCommandLine({"render", "--effect", "3", "--frames", "5-", "--rate=12.5", "--threads",
                        "4", "--no-get-frame", "--quiet", "in.avi", "out.avi"});
  const RenderOptions& render = line.render;
  ASSERT_TRUE(render.frames);
  EXPECT_EQ(render.frames->first, 5);
  EXPECT_FALSE(render.frames->last);
  EXPECT_EQ(render.rate, 12.5);
  EXPECT_EQ(render.threads, 4u);
  EXPECT_FALSE(render.serveFrames);
  EXPECT_TRUE(render.quiet);

  const RenderOptions defaults =
      ParseCommandLine({"render", "--effect", "3", "--frames", "0-0", "in.avi", "out.avi"}).render;
  EXPECT_EQ(defaults.frames->first, 0);
  EXPECT_EQ(defaults.frames->last, 0);
  EXPECT_FALSE(defaults.rate);
  EXPECT_FALSE(defaults.threads);
  EXPECT_TRUE(defaults.serveFrames);
  EXPECT_FALSE(defaults.quiet);
}

TEST(CommandLine, HelpInEveryPlace) {
  for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
           {"help"}, {"--help"}, {"-h"}, {"render", "--help"}, {"list", "-h"}}) {
    EXPECT_EQ(ParseCommandLine(args).command, Command::kHelp) << args[0];
  }
  EXPECT_TRUE(ParseCommandLine({"list", "--json"}).json);
}

TEST(CommandLine, HelpForOneCommandAndVersion) {
  EXPECT_EQ(ParseCommandLine({"help", "render"}).helpTopic, "render");
  EXPECT_EQ(ParseCommandLine({"preset", "save", "--help"}).helpTopic, "preset");
  EXPECT_EQ(ParseCommandLine({"list", "-h"}).helpTopic, "list");
  EXPECT_EQ(ParseCommandLine({"--help"}).helpTopic, "");
  EXPECT_EQ(ParseCommandLine({"--library", "x.so", "--version"}).command, Command::kVersion);
  for (const char* topic : {"list", "render", "preset"}) {
    EXPECT_NE(UsageText(topic), UsageText()) << topic;
  }
  EXPECT_EQ(CommandOf({"--library", "render", "list", "--json"}), "list");
  EXPECT_EQ(CommandOf({"--version"}), "");
}

TEST(CommandLine, ListTakesOneEffectAndItsPresets) {
  const CommandLine line = ParseCommandLine({"list", "Spotlight", "--presets"});
  EXPECT_EQ(line.listEffect, "Spotlight");
  EXPECT_TRUE(line.listPresets);
  EXPECT_FALSE(ParseCommandLine({"list", "--json"}).listEffect);
}

TEST(CommandLine, LanguagesAreTheLibrarysOwn) {
  EXPECT_EQ(
      ParseCommandLine({"preset", "load", "--effect", "3", "--language", "DE", "a.x"}).language,
      "de");
  try {
    ParseCommandLine({"preset", "load", "--effect", "3", "--language", "xx", "a.x"});
    FAIL() << "no error";
  } catch (const UsageError& error) {
    EXPECT_STREQ(error.what(),
                 "unknown language 'xx'; the library's dialogs come in de, en, es, fr, it, ja, pt");
  }
}

TEST(CommandLine, BuiltinAndFormatAreRemembered) {
  const RenderOptions builtin =
      ParseCommandLine({"render", "--effect", "3", "--builtin", "o.png"}).render;
  EXPECT_TRUE(builtin.builtin);
  EXPECT_FALSE(builtin.input);
  EXPECT_FALSE(builtin.formatGiven);
  EXPECT_TRUE(ParseCommandLine({"render", "--effect", "3", "--format", "bgra8", "o.png"})
                  .render.formatGiven);
}

TEST(CommandLine, RefusesMistakes) {
  const std::vector<std::vector<std::string>> mistakes = {
      {},
      {"draw"},
      {"--verbose", "list"},
      {"list", "Spotlight", "extra"},
      {"list", "--presets"},
      {"list", "--language", "de"},
      {"help", "paint"},
      {"help", "render", "list"},
      {"--version", "list"},
      {"render", "--effect", "3", "--builtin", "a.png", "b.png"},
      {"preset", "load", "--effect", "3", "--language", "xx", "a.fxpzr3d"},
      {"render", "out.png"},
      {"render", "--effect", "3"},
      {"render", "--effect", "3", "a.png", "b.png", "c.png"},
      {"render", "--effect", "3", "--format", "rgb8", "out.png"},
      {"render", "--effect", "3", "--field-mode", "70000", "out.png"},
      {"render", "--effect", "3", "--field-mode", "-1", "out.png"},
      {"render", "--effect", "3", "--pixel-aspect", "0", "out.png"},
      {"render", "--effect", "3", "--set", "Strength", "out.png"},
      {"render", "--effect", "3", "--effect", "4", "out.png"},
      {"render", "--effect", "3", "--brightness", "out.png"},
      {"render", "out.png", "--effect"},
      {"render", "--effect", "3", "--frames", "7-3", "in.avi", "out.avi"},
      {"render", "--effect", "3", "--frames", "-3", "in.avi", "out.avi"},
      {"render", "--effect", "3", "--frames", "3", "in.avi", "out.avi"},
      {"render", "--effect", "3", "--frames", "1-2-3", "in.avi", "out.avi"},
      {"render", "--effect", "3", "--frames", "0-1", "--frames", "2-3", "in.avi", "out.avi"},
      {"render", "--effect", "3", "--rate", "0", "in.avi", "out.avi"},
      {"render", "--effect", "3", "--threads", "300", "in.avi", "out.avi"},
      {"render", "--effect", "3", "--no-get-frame=yes", "in.avi", "out.avi"},
  };
  for (const std::vector<std::string>& args : mistakes) {
    std::string joined;
    for (const std::string& arg : args)
      joined += arg + " ";
    EXPECT_THROW(ParseCommandLine(args), UsageError) << joined;
  }
}

}  // namespace
}  // namespace vitrella::host
