// The settings store: user over machine, the read limits, damaged files, and two
// processes writing at once.
#include "platform/settings_store.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "common/temp_config.h"

namespace vitrella {
namespace {

using platform::ReadSetting;
using platform::SettingStatus;
using platform::WriteSetting;
using testing::TempConfig;

TEST(SettingsStoreTest, PathsFollowTheEnvironment) {
  const TempConfig config;
  EXPECT_EQ(platform::UserSettingsPath(), config.UserFile());
  EXPECT_EQ(platform::MachineSettingsPath(), config.MachineFile());
  // A relative XDG_CONFIG_HOME is ignored, as the desktop's own lookups ignore it.
  const char* home = std::getenv("HOME");
  const std::string oldHome = home != nullptr ? home : "";
  setenv("XDG_CONFIG_HOME", "relative/dir", 1);
  setenv("HOME", "/home/someone", 1);
  EXPECT_EQ(platform::UserSettingsPath(), "/home/someone/.config/corvane/settings.ini");
  setenv("HOME", oldHome.c_str(), 1);
  setenv("XDG_CONFIG_DIRS", ":relative:/opt/xdg:/etc/xdg", 1);
  EXPECT_EQ(platform::MachineSettingsPath(), "/opt/xdg/corvane/settings.ini");
}

TEST(SettingsStoreTest, ValuesRoundTripWithoutRegardToTheCaseOfNames) {
  const TempConfig config;
  EXPECT_EQ(ReadSetting("Common", "Forced CPU").status, SettingStatus::kMissing);
  ASSERT_TRUE(WriteSetting("Common", "Forced CPU", "yes"));
  ASSERT_TRUE(WriteSetting("Corvane Vitrella III for Windows", "Forced CPU", "no"));
  const std::string awkward = "line one\nline two\r\\ = [x] # not a comment";
  ASSERT_TRUE(WriteSetting("Common\\Monitoring\\Reports", "Last", awkward));
  ASSERT_TRUE(WriteSetting("COMMON", "forced cpu", "YES"));  // the same value again

  EXPECT_EQ(ReadSetting("common", "FORCED CPU").text, "YES");
  EXPECT_EQ(ReadSetting("Corvane Vitrella III for Windows", "Forced CPU").text, "no");
  EXPECT_EQ(ReadSetting("Common\\Monitoring\\Reports", "Last").text, awkward);
  const std::string file = TempConfig::ReadFile(config.UserFile());
  EXPECT_EQ(file.find("YES"), file.rfind("YES")) << "one line per value:\n" << file;
}

TEST(SettingsStoreTest, NamesThatCannotBeStoredAreRefused) {
  const TempConfig config;
  EXPECT_FALSE(WriteSetting("", "a", "b"));
  EXPECT_FALSE(WriteSetting("Common", "", "b"));
  EXPECT_FALSE(WriteSetting("Com]mon", "a", "b"));
  EXPECT_FALSE(WriteSetting("Common", "a=b", "c"));
  EXPECT_FALSE(WriteSetting("Common", "a\nb", "c"));
  EXPECT_FALSE(WriteSetting("Common", "[a", "c"));
  EXPECT_FALSE(WriteSetting("Common", "a", std::string("b\0c", 3)));
  EXPECT_FALSE(std::filesystem::exists(config.UserFile()));
}

TEST(SettingsStoreTest, TheUsersValueComesBeforeTheMachines) {
  const TempConfig config;
  TempConfig::WriteFile(config.MachineFile(),
                        "[Common]\nKnobs Drag Vertical=yes\nCrop Overscan=yes\n");
  EXPECT_EQ(ReadSetting("Common", "Knobs Drag Vertical").text, "yes");
  ASSERT_TRUE(WriteSetting("Common", "Knobs Drag Vertical", "no"));
  EXPECT_EQ(ReadSetting("Common", "Knobs Drag Vertical").text, "no");
  EXPECT_EQ(ReadSetting("Common", "Crop Overscan").text, "yes");
  // A file an administrator saved with Windows line ends reads the same.
  TempConfig::WriteFile(config.MachineFile(),
                        "[Common]\r\nKnobs Drag Vertical=yes\r\nCrop Overscan=yes\r\n");
  EXPECT_EQ(ReadSetting("Common", "Crop Overscan").text, "yes");
  TempConfig::WriteFile(config.MachineFile(),
                        "[Common]\nKnobs Drag Vertical=yes\nCrop Overscan=yes\n");
  // The machine's file is only read.
  EXPECT_EQ(TempConfig::ReadFile(config.MachineFile()),
            "[Common]\nKnobs Drag Vertical=yes\nCrop Overscan=yes\n");
}

TEST(SettingsStoreTest, LongValuesReadUpToTheLimitOfTheirFile) {
  const TempConfig config;
  // Lengths with the NUL: 10240 for either file, 102400 for the user's alone.
  const std::string first(10239, 'a');
  const std::string second(102399, 'b');
  const std::string beyond(102400, 'c');
  TempConfig::WriteFile(config.MachineFile(), "[M]\nfits=" + first + "\nlong=" + first + "a\n");
  EXPECT_EQ(ReadSetting("M", "fits").text, first);
  EXPECT_EQ(ReadSetting("M", "long").status, SettingStatus::kUnreadable);
  EXPECT_EQ(ReadSetting("M", "long").text, "");

  ASSERT_TRUE(WriteSetting("U", "second", second));
  ASSERT_TRUE(WriteSetting("U", "beyond", beyond));
  EXPECT_EQ(ReadSetting("U", "second").text, second);
  EXPECT_EQ(ReadSetting("U", "beyond").status, SettingStatus::kUnreadable);
}

TEST(SettingsStoreTest, DamagedFilesReadAsEmptyAndAreNeverOverwritten) {
  const TempConfig config;
  const std::string damaged = "[Common]\nForced CPU=yes\nthis line has no equals sign\n";
  TempConfig::WriteFile(config.UserFile(), damaged);
  TempConfig::WriteFile(config.MachineFile(), std::string("[Common]\nCrop Overscan=y\0es\n", 28));
  EXPECT_EQ(ReadSetting("Common", "Forced CPU").status, SettingStatus::kMissing);
  EXPECT_EQ(ReadSetting("Common", "Crop Overscan").status, SettingStatus::kMissing);

  // The write keeps the damaged file aside instead of replacing it with less.
  ASSERT_TRUE(WriteSetting("Common", "Knobs Drag Vertical", "yes"));
  EXPECT_EQ(TempConfig::ReadFile(config.UserFile() + ".damaged"), damaged);
  EXPECT_EQ(ReadSetting("Common", "Knobs Drag Vertical").text, "yes");

  // A second damaged file is kept beside the first.
  TempConfig::WriteFile(config.UserFile(), "[Common]\nsecond damage\n");
  ASSERT_TRUE(WriteSetting("Common", "Knobs Drag Vertical", "no"));
  EXPECT_EQ(TempConfig::ReadFile(config.UserFile() + ".damaged"), damaged);
  EXPECT_EQ(TempConfig::ReadFile(config.UserFile() + ".damaged.1"), "[Common]\nsecond damage\n");

  for (const char* bad : {"name=value before any section\n", "[]\n", "[Common\n",
                          "[Common]\nbad escape=\\t\n", "[Common]\n=no name\n"}) {
    TempConfig::WriteFile(config.UserFile(), bad);
    EXPECT_EQ(ReadSetting("Common", "Knobs Drag Vertical").status, SettingStatus::kMissing) << bad;
  }
}

TEST(SettingsStoreTest, AFailedWriteLeavesTheFileAsItWas) {
  const TempConfig config;
  ASSERT_TRUE(WriteSetting("Common", "Forced CPU", "yes"));
  const std::string before = TempConfig::ReadFile(config.UserFile());
  // A lock that cannot be taken stops the write before anything is touched.
  std::filesystem::remove(config.UserFile() + ".lock");
  std::filesystem::create_directory(config.UserFile() + ".lock");
  EXPECT_FALSE(WriteSetting("Common", "Forced CPU", "no"));
  EXPECT_EQ(TempConfig::ReadFile(config.UserFile()), before);
  // No folder can be made where a file stands.
  setenv("XDG_CONFIG_HOME", config.UserFile().c_str(), 1);
  EXPECT_FALSE(WriteSetting("Common", "Forced CPU", "no"));
  EXPECT_EQ(TempConfig::ReadFile(config.UserFile()), before);
}

TEST(SettingsStoreTest, AWriterThatDiedLeavesNoTemporaryForLong) {
  const TempConfig config;
  ASSERT_TRUE(WriteSetting("Common", "Forced CPU", "yes"));
  TempConfig::WriteFile(config.UserFile() + ".Ab3xYz", "[Common]\nForced CPU=n");
  TempConfig::WriteFile(config.UserFile() + ".keep", "not ours");
  ASSERT_TRUE(WriteSetting("Common", "Crop Overscan", "no"));
  EXPECT_FALSE(std::filesystem::exists(config.UserFile() + ".Ab3xYz"));
  EXPECT_TRUE(std::filesystem::exists(config.UserFile() + ".keep"));
  EXPECT_EQ(ReadSetting("Common", "Forced CPU").text, "yes");
}

TEST(SettingsStoreTest, TwoProcessesWritingAtOnceLoseNothing) {
  const TempConfig config;
  constexpr int kValues = 60;
  pid_t children[2] = {};
  for (int child = 0; child < 2; ++child) {
    children[child] = fork();
    ASSERT_GE(children[child], 0);
    if (children[child] == 0) {
      bool ok = true;
      for (int i = 0; i < kValues; ++i) {
        ok &= WriteSetting(child == 0 ? "First" : "Second", "Value " + std::to_string(i),
                           std::to_string(child * 1000 + i));
      }
      _exit(ok ? 0 : 1);
    }
  }
  for (const pid_t child : children) {
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  for (int i = 0; i < kValues; ++i) {
    EXPECT_EQ(ReadSetting("First", "Value " + std::to_string(i)).text, std::to_string(i));
    EXPECT_EQ(ReadSetting("Second", "Value " + std::to_string(i)).text, std::to_string(1000 + i));
  }
  // No temporary file is left behind.
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(
           std::filesystem::path(config.UserFile()).parent_path())) {
    files += entry.path().filename().string().starts_with("settings.ini.") ? 1 : 0;
  }
  EXPECT_EQ(files, 1) << "the lock file alone";
}

}  // namespace
}  // namespace vitrella
