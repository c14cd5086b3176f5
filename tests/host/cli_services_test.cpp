// `vitrella update-check` and `vitrella help TOPIC` end to end: the built program, the
// built library, a server on 127.0.0.1 and settings in a temporary folder.
#include <gtest/gtest.h>

#include <string>

#include "common/http_test_server.h"
#include "common/temp_config.h"
#include "host/run_vitrella.h"

namespace vitrella {
namespace {

using testing::HttpTestServer;
using testing::RunResult;
using testing::RunVitrella;
using testing::TempConfig;

constexpr const char* kUpdate = R"(<Version>
  <Download Path="https://www.corvane.com/get/vitrella3"/>
  <Build Version="3.1">
    <Fix Date="20270101" NLE="vitrella" String="Preview in the reference host"/>
    <Feature Date="20261231" NLE="All" String="An eleventh effect"/>
    <Feature Date="20200101" NLE="All" String="Long shipped"/>
  </Build>
</Version>)";

class ServicesCliTest : public ::testing::Test {
 protected:
  ServicesCliTest() {
    unsetenv("http_proxy");
    unsetenv("HTTP_PROXY");
    setenv("VITRELLA_UI", "headless", 1);
    // Help is printed, never opened in a browser of the person running the tests.
    unsetenv("DISPLAY");
    unsetenv("WAYLAND_DISPLAY");
  }
  TempConfig config_;
};

TEST_F(ServicesCliTest, AnUpdateForThisHostIsListedWithItsDownload) {
  HttpTestServer server(HttpTestServer::Mode::kServe, kUpdate);
  const RunResult run = RunVitrella({"update-check", "--server", server.Address()});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out,
            "Latest available version 3.1 Build 20270101.\n\n\n"
            "List of bugs that are fixed:\n\n \xC3\xAF Preview in the reference host\n\n\n"
            "List of features that are added:\n\n -An eleventh effect\n\n\n"
            "Note that the NLE must be closed for the install to take place.\n"
            "Download: https://www.corvane.com/get/vitrella3\n");
  ASSERT_EQ(server.Requests().size(), 1u);
  EXPECT_TRUE(server.Requests()[0].starts_with("GET /downloads/Windows/vitrella3.xml "));
  // vitrella introduced itself as the host, a real one, and is remembered so.
  EXPECT_NE(TempConfig::ReadFile(config_.UserFile()).find("LastUsedHostName=vitrella\n"),
            std::string::npos);
}

TEST_F(ServicesCliTest, EachOutcomeHasItsTextAndStatus) {
  HttpTestServer current(HttpTestServer::Mode::kServe,
                         "<Version><Download Path='x'/><Build Version='3.0'/></Version>");
  RunResult run = RunVitrella({"update-check", "--server=" + current.Address()});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, "You have the most current version.\n");

  HttpTestServer garbled(HttpTestServer::Mode::kServe, "<Version><Download Path='x'>");
  run = RunVitrella({"update-check", "--server", garbled.Address()});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.out, "Can't get data about new updates from the server.\n");

  run = RunVitrella({"update-check", "--server",
                     "http://127.0.0.1:" + std::to_string(HttpTestServer::RefusingPort())});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.out, "Can't connect to the server. Please check your internet connection.\n");
}

TEST_F(ServicesCliTest, TheTextsComeInTheLanguageAsked) {
  HttpTestServer current(HttpTestServer::Mode::kServe,
                         "<Version><Download Path='x'/><Build Version='3.0'/></Version>");
  RunResult run = RunVitrella({"update-check", "--language", "de", "--server", current.Address()});
  EXPECT_EQ(run.out, "Sie verwenden bereits die neueste Version.\n");
  run = RunVitrella({"update-check", "--language=fr", "--server",
                     "http://127.0.0.1:" + std::to_string(HttpTestServer::RefusingPort())});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.out,
            "Impossible de se connecter au serveur. Veuillez v\xC3\xA9rifier votre connexion "
            "Internet.\n");
}

TEST_F(ServicesCliTest, WrongCommandLinesAreRefused) {
  for (const std::vector<std::string>& args :
       {std::vector<std::string>{"update-check", "--server", "ftp://127.0.0.1"},
        {"update-check", "--server", "127.0.0.1:80"},
        {"update-check", "--server"},
        {"update-check", "now"},
        {"help", "12x"},
        {"help", "99999999999"}}) {
    const RunResult run = RunVitrella(args);
    EXPECT_EQ(run.exitCode, 2) << args.back();
    EXPECT_TRUE(run.err.starts_with("vitrella: ")) << run.err;
  }
}

TEST_F(ServicesCliTest, OptionsStoredByOneProcessAreReadByTheNext) {
  setenv("VITRELLA_UI_FORM", "230=on 231=on 1036=on 1", 1);
  RunResult run = RunVitrella({"options"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out, "Options: closed with OK\nKnobs Drag Vertical: yes\nCrop Overscan: yes\n");
  // Cancel stores nothing, and the next process starts from what the first stored.
  setenv("VITRELLA_UI_FORM", "230=off 2", 1);
  run = RunVitrella({"options"});
  EXPECT_EQ(run.out, "Options: cancelled\nKnobs Drag Vertical: yes\nCrop Overscan: yes\n");
  unsetenv("VITRELLA_UI_FORM");
  const std::string file = TempConfig::ReadFile(config_.UserFile());
  EXPECT_NE(file.find("[Common]\n"), std::string::npos) << file;
  EXPECT_NE(file.find("Forced CPU=yes\n"), std::string::npos) << file;
  EXPECT_EQ(RunVitrella({"options", "extra"}).exitCode, 2);
  EXPECT_EQ(RunVitrella({"options", "--server", "http://127.0.0.1:1"}).exitCode, 2);
}

TEST_F(ServicesCliTest, HelpOfATopicOpensThePageBesideTheLibrary) {
  const RunResult run = RunVitrella({"help", "300"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  const std::string page = VITRELLA_BIN_DIR "/Vitrella3Help.html";
  EXPECT_EQ(run.out, "Help for topic 300: file://" + page + "#topic-300\n");
  EXPECT_NE(TempConfig::ReadFile(page).find("id=\"topic-300\""), std::string::npos);
  EXPECT_NE(RunVitrella({"help", "update-check"}).out.find("--server URL"), std::string::npos);
}

}  // namespace
}  // namespace vitrella
