// The update check: the file it asks for, what it makes of a version file, and how it
// fares against a local server, well-behaved or hostile.
#include "support/update_check.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <string>

#include "common/http_test_server.h"
#include "platform/text.h"

namespace vitrella {
namespace {

using testing::HttpTestServer;

constexpr uint32_t kBuild = 20260100;
constexpr char16_t kCantConnect[] =
    u"Can't connect to the server. Please check your internet connection.";
constexpr char16_t kCantGetData[] = u"Can't get data about new updates from the server.";
constexpr char16_t kMostCurrent[] = u"You have the most current version.";
constexpr char16_t kNote[] = u"Note that the NLE must be closed for the install to take place.";

std::string VersionFile(const std::string& entries) {
  return "<?xml version=\"1.0\"?>\n<Version>\n"
         "  <Download Path=\"https://www.corvane.com/get/vitrella3\"/>\n"
         "  <Build Version=\"3.1\">\n" +
         entries + "  </Build>\n</Version>\n";
}

std::string Entry(const char* kind, const std::string& date, const char* nle, const char* text) {
  return std::string("    <") + kind + " Date=\"" + date + "\" NLE=\"" + nle + "\" String=\"" +
         text + "\"/>\n";
}

UpdateCheckResult Check(const std::string& file, const char* host = "Vegas Pro") {
  UpdateCheckResult result;
  ComposeUpdateText(ReadVersionFile(file.c_str(), kBuild, host), result);
  return result;
}

std::u16string Text(const UpdateCheckResult& result) {
  return result.text.SafeData();
}

TEST(UpdateCheckTest, TheCollectionsFileAndAddress) {
  EXPECT_STREQ(CollectionFileName("Vitrella3OpenGL64.so").SafeData(), "vitrella3");
  EXPECT_STREQ(CollectionFileName("Vitrella3OpenGL64.dll").SafeData(), "vitrella3");
  EXPECT_STREQ(CollectionFileName("Vitrella3D3D64.dll").SafeData(), "vitrella33d");
  EXPECT_STREQ(CollectionFileName("OtherFx.so").SafeData(), "otherfx");
  EXPECT_STREQ(UpdateAddress("http://127.0.0.1:8080/", "vitrella3").SafeData(),
               "http://127.0.0.1:8080/downloads/Windows/vitrella3.xml");
  EXPECT_STREQ(UpdateAddress(kUpdateServer, "vitrella3").SafeData(),
               "https://www.corvane.com/downloads/Windows/vitrella3.xml");
}

TEST(UpdateCheckTest, NothingReadableGivesTheNoDataText) {
  UpdateCheckResult result;
  ComposeUpdateText(ReadVersionFile(nullptr, kBuild, "Vegas"), result);
  EXPECT_EQ(Text(result), kCantGetData);
  for (const std::string& bad :
       {std::string(), std::string("<Versions/>"), std::string("<html>404</html>"),
        VersionFile(Entry("Fix", "20270101", "All", "x")).substr(0, 150),
        std::string("<Version><Download Path='x'/><Build Version='1'><Fix Date='20270101' NLE='All'"
                    " String='a'/></Bild></Version>")}) {
    EXPECT_EQ(Text(Check(bad)), kCantGetData) << bad;
    EXPECT_FALSE(Check(bad).available);
  }
}

TEST(UpdateCheckTest, EntriesNotNewerThanTheBuildGiveTheMostCurrentText) {
  EXPECT_EQ(Text(Check(VersionFile(Entry("Fix", "20260100", "All", "old") +
                                   Entry("Feature", "20250101", "All", "older")))),
            kMostCurrent);
  // Without Download or Build there is nothing to offer.
  EXPECT_EQ(Text(Check("<Version><Build Version='3'><Fix Date='20270101' NLE='All'/></Build>"
                       "</Version>")),
            kMostCurrent);
  EXPECT_EQ(Text(Check("<Version><Download Path='p'/></Version>")), kMostCurrent);
}

TEST(UpdateCheckTest, AnUpdateListsItsFixesAndFeaturesAndEndsWithTheNote) {
  const UpdateCheckResult result =
      Check(VersionFile(Entry("Fix", "20260201", "All", "Crash on load") +
                        Entry("Fix", "20260301", "vegas pro", "Slow preview") +
                        Entry("Feature", "20260150", "ALL", "New preset")));
  EXPECT_TRUE(result.available);
  EXPECT_STREQ(result.path.SafeData(), "https://www.corvane.com/get/vitrella3");
  EXPECT_EQ(Text(result),
            std::u16string(u"Latest available version 3.1 Build 20260301.\n\n\n"
                           u"List of bugs that are fixed:\n\n \u00EF Crash on load\n \u00EF "
                           u"Slow preview\n\n\nList of features that are added:\n"
                           u"\n -New preset\n\n\n") +
                kNote);
}

TEST(UpdateCheckTest, AnotherHostsEntryMovesTheDateButOffersNothing) {
  const std::string otherHost = Entry("Fix", "20260900", "Premiere", "Their fix");
  EXPECT_EQ(Text(Check(VersionFile(otherHost))), kMostCurrent);
  // With a matching entry as well, the other host's newer date is the one named.
  const UpdateCheckResult result =
      Check(VersionFile(otherHost + Entry("Feature", "20260200", "all", "Ours")));
  EXPECT_TRUE(result.available);
  EXPECT_TRUE(Text(result).starts_with(u"Latest available version 3.1 Build 20260900.\n"));
  // Both entries stand in their lists, whatever host they are for.
  EXPECT_NE(Text(result).find(u"Their fix"), std::u16string::npos);
  // A host without a name matches only "All".
  EXPECT_EQ(Text(Check(VersionFile(otherHost), "")), kMostCurrent);
}

TEST(UpdateCheckTest, ADateWithoutDigitsIsSkippedWithItsHost) {
  EXPECT_EQ(Text(Check(VersionFile(Entry("Fix", "soon", "All", "x") +
                                   "    <Fix NLE=\"All\" String=\"no date\"/>\n"))),
            kMostCurrent);
}

TEST(UpdateCheckTest, FeaturesAloneShowNoBugHeading) {
  const std::u16string text =
      Text(Check(VersionFile(Entry("Feature", "20260101", "All", "Faster"))));
  EXPECT_EQ(text.find(u"List of bugs"), std::u16string::npos);
  EXPECT_NE(text.find(u"List of features that are added:\n\n -Faster"), std::u16string::npos);
  EXPECT_TRUE(text.ends_with(std::u16string(u"\n\n\n") + kNote));
}

// Against a server on this machine, with waits short enough for a test.
class UpdateServerTest : public ::testing::Test {
 protected:
  UpdateServerTest() {
    unsetenv("http_proxy");
    unsetenv("HTTP_PROXY");
    unsetenv("all_proxy");
    unsetenv("ALL_PROXY");
    limits_.connectSeconds = 2;
    limits_.stallSeconds = 2;
    limits_.totalSeconds = 6;
  }

  UpdateCheckResult Run(const std::string& server) {
    UpdateCheckResult result;
    const auto start = std::chrono::steady_clock::now();
    RunUpdateCheck(result, server.c_str(), "Vitrella3OpenGL64.so", "Vegas Pro", kBuild, limits_);
    seconds_ = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return result;
  }

  platform::FetchLimits limits_;
  double seconds_ = 0;
};

TEST_F(UpdateServerTest, AskingTheServerForTheCollectionsFile) {
  HttpTestServer server(HttpTestServer::Mode::kServe,
                        VersionFile(Entry("Fix", "20260501", "All", "A fix")));
  const UpdateCheckResult result = Run(server.Address() + "/");
  EXPECT_TRUE(result.available);
  EXPECT_TRUE(Text(result).starts_with(u"Latest available version 3.1 Build 20260501."));
  const std::vector<std::string> requests = server.Requests();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_TRUE(requests[0].starts_with("GET /downloads/Windows/vitrella3.xml HTTP/1.1\r\n"));
  EXPECT_NE(requests[0].find("\r\nUser-Agent: Corvane Check Update 1.0\r\n"), std::string::npos);
  EXPECT_NE(requests[0].find("\r\nCache-Control: no-cache\r\n"), std::string::npos);
  EXPECT_EQ(requests[0].find("Cookie"), std::string::npos);

  HttpTestServer current(HttpTestServer::Mode::kServe, VersionFile(""));
  EXPECT_EQ(Text(Run(current.Address())), kMostCurrent);
}

TEST_F(UpdateServerTest, NoServerMeansNoConnection) {
  const UpdateCheckResult refused =
      Run("http://127.0.0.1:" + std::to_string(HttpTestServer::RefusingPort()));
  EXPECT_EQ(Text(refused), kCantConnect);
  EXPECT_FALSE(refused.available);
  EXPECT_EQ(Text(Run("ftp://127.0.0.1")), kCantConnect);
  EXPECT_EQ(Text(Run("not an address")), kCantConnect);
}

TEST_F(UpdateServerTest, HostileServersEndInAFailureTextWithinTheirLimits) {
  struct Case {
    HttpTestServer::Mode mode;
    const char16_t* text;
  };
  for (const Case& each : {Case{HttpTestServer::Mode::kStall, kCantConnect},
                           Case{HttpTestServer::Mode::kStallAfterHeader, kCantGetData},
                           Case{HttpTestServer::Mode::kRedirectLoop, kCantConnect},
                           Case{HttpTestServer::Mode::kEndless, kCantGetData},
                           Case{HttpTestServer::Mode::kTenMegabytes, kCantGetData}}) {
    HttpTestServer server(each.mode);
    const UpdateCheckResult result = Run(server.Address());
    EXPECT_EQ(Text(result), each.text) << static_cast<int>(each.mode);
    EXPECT_FALSE(result.available);
    EXPECT_LT(seconds_, 10.0) << static_cast<int>(each.mode);
  }
  HttpTestServer notFound(HttpTestServer::Mode::kServe, "<html>Not here</html>");
  EXPECT_EQ(Text(Run(notFound.Address())), kCantGetData);
}

TEST_F(UpdateServerTest, AnAnswerPastTheLimitIsCutAndMemoryStaysAtIt) {
  for (const auto mode : {HttpTestServer::Mode::kTenMegabytes, HttpTestServer::Mode::kEndless}) {
    HttpTestServer server(mode);
    const platform::FetchResult fetched =
        platform::FetchAddress(server.Address() + "/big.xml", kUpdateAgent, limits_);
    EXPECT_TRUE(fetched.answered);
    EXPECT_EQ(fetched.body.size(), limits_.maxBytes - 1);
    EXPECT_LE(fetched.body.capacity(), limits_.maxBytes);
  }
  // Below the point of growth the first buffer is all there is.
  HttpTestServer small(HttpTestServer::Mode::kServe, std::string(1000, 'z'));
  const platform::FetchResult fetched =
      platform::FetchAddress(small.Address(), kUpdateAgent, limits_);
  EXPECT_EQ(fetched.body, std::string(1000, 'z'));
  EXPECT_LE(fetched.body.capacity(), limits_.firstBytes);
}

}  // namespace
}  // namespace vitrella
