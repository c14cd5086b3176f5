// The shared services: start-up, the settings rules, the host-name rules and help.
#include "support/shared_services.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "common/temp_config.h"
#include "platform/module.h"
#include "platform/settings_store.h"
#include "platform/shell.h"
#include "platform/ui_script.h"
#include "support/common_settings.h"
#include "support/help_address.h"

namespace vitrella {
namespace {

using testing::TempConfig;

constexpr const char* kOwnSection = "Corvane Vitrella III for Windows";

TEST(CommonSettingsTest, TheCollectionsSectionIsCutBehindItsPlatform) {
  EXPECT_STREQ(
      settings::CollectionSection("Corvane Vitrella III for Windows 3.0", "Windows").SafeData(),
      "Corvane Vitrella III for Windows");
  // Searched from the end.
  EXPECT_STREQ(settings::CollectionSection("Tools for Windows for Windows 3", "Windows").SafeData(),
               "Tools for Windows for Windows");
  // Without the blank behind the platform, or without the platform, the name stays whole.
  EXPECT_STREQ(settings::CollectionSection("Corvane Vitrella for Windows", "Windows").SafeData(),
               "Corvane Vitrella for Windows");
  EXPECT_STREQ(settings::CollectionSection("Corvane Vitrella III", "Windows").SafeData(),
               "Corvane Vitrella III");
  EXPECT_STREQ(settings::CollectionSection("", "Windows").SafeData(), "");
  EXPECT_STREQ(CSharedServices::CollectionSection().SafeData(), kOwnSection);
}

TEST(CommonSettingsTest, YesAtStartAndInARefresh) {
  using platform::SettingStatus;
  for (const char* yes : {"yes", "YES", "Yes", "yEs"})
    EXPECT_TRUE(settings::ReadsYes(yes)) << yes;
  for (const char* no : {"", "no", "y", "yes ", "yess", "1"})
    EXPECT_FALSE(settings::ReadsYes(no)) << no;
  // A refresh looks at a lower-case y alone.
  EXPECT_EQ(settings::RefreshReadsYes({SettingStatus::kFound, "YES"}), false);
  EXPECT_EQ(settings::RefreshReadsYes({SettingStatus::kFound, "y"}), true);
  EXPECT_EQ(settings::RefreshReadsYes({SettingStatus::kFound, "yonder"}), true);
  EXPECT_EQ(settings::RefreshReadsYes({SettingStatus::kFound, ""}), false);
  EXPECT_EQ(settings::RefreshReadsYes({SettingStatus::kMissing, ""}), std::nullopt);
  EXPECT_EQ(settings::RefreshReadsYes({SettingStatus::kUnreadable, ""}), std::nullopt);
}

class SharedServicesTest : public ::testing::Test {
 protected:
  SharedServicesTest() {
    setenv(kUiBackendVariable, kUiHeadless, 1);
    platform::ResetUiScript();
  }
  ~SharedServicesTest() override { platform::SetAddressOpener(nullptr); }

  static std::string HostName(CSharedServices& services) {
    char name[256];
    services.GetHostName(name, sizeof(name));
    return name;
  }
  static std::string LastUsed() {
    return platform::ReadSetting(settings::kCommonSection, settings::kLastUsedHostName).text;
  }

  TempConfig config_;
};

TEST_F(SharedServicesTest, InitialiseTellsOnceOfMissingResourcesAndGoesOn) {
  CSharedServices services;
  EXPECT_FALSE(services.Initialise(nullptr, nullptr, nullptr));
  // The test program stands for the library; no resource module stands beside it.
  ASSERT_TRUE(services.Initialise(platform::ThisModule(), nullptr, "de"));
  EXPECT_FALSE(services.HasResources());
  EXPECT_EQ(services.Logo(), nullptr);
  ASSERT_TRUE(services.Initialise(platform::ThisModule(), nullptr, nullptr));
  const std::vector<platform::ShownBox> boxes = platform::ShownBoxes();
  ASSERT_EQ(boxes.size(), 1u);
  EXPECT_EQ(boxes[0].title, u"Corvane internal error: Can't find resources");
  EXPECT_EQ(boxes[0].text, services.FileBesideModule(u"Resources64.so").SafeData());
  EXPECT_TRUE(boxes[0].text.ends_with(u"/Resources64.so"));
  EXPECT_STREQ(reinterpret_cast<const char*>(services.GetResourceFileName()),
               reinterpret_cast<const char*>(u"Resources64.so"));
}

TEST_F(SharedServicesTest, TheLibrarysResourceModuleIsFound) {
  const platform::ModuleHandle library =
      platform::LoadModule(u"" VITRELLA_BIN_DIR "/Vitrella3OpenGL64.so");
  ASSERT_NE(library, nullptr);
  CSharedServices services;
  ASSERT_TRUE(services.Initialise(library, nullptr, nullptr));
  EXPECT_TRUE(services.HasResources());
  EXPECT_TRUE(platform::ShownBoxes().empty());
  // Bitmap 237, the options dialog's logo, copied out of the module.
  ASSERT_NE(services.Logo(), nullptr);
  EXPECT_EQ(services.Logo()->width, 96);
  EXPECT_EQ(services.Logo()->height, 96);
  EXPECT_EQ(services.Logo()->pixels.size(), 96u * 96u);
  WideChar name[64];
  EXPECT_EQ(services.GetModuleFileName(name, 64), 20u);
  EXPECT_EQ(std::u16string(name), u"Vitrella3OpenGL64.so");
  // Too small a buffer, with no room for the NUL, is left empty.
  EXPECT_EQ(services.GetModuleFileName(name, 20), 0u);
  EXPECT_EQ(name[0], 0);
  WideChar path[4096];
  ASSERT_GT(services.GetFileBesideModule(u"KZLang.so", path, 4096), 0u);
  EXPECT_EQ(std::u16string(path), u"" VITRELLA_BIN_DIR "/KZLang.so");
  EXPECT_EQ(services.GetFileBesideModule(nullptr, path, 4096), 0u);
  platform::FreeModule(library);
}

TEST_F(SharedServicesTest, SettingsAreReadStrictlyAtStartAndLooselyInARefresh) {
  platform::WriteSetting("Common", "Knobs Drag Vertical", "YES");
  platform::WriteSetting("Common", "Crop Overscan", "yes");
  platform::WriteSetting("Common", "Forced CPU", "no");
  platform::WriteSetting(kOwnSection, "Key Frames vs Presets", "Yes");
  TempConfig::WriteFile(config_.MachineFile(),
                        "[Corvane Vitrella III for Windows]\nForced CPU=yes\n");
  CSharedServices services;
  ASSERT_TRUE(services.Initialise(platform::ThisModule(), nullptr, nullptr));
  EXPECT_TRUE(services.GetKnobsDragVertical());
  EXPECT_TRUE(services.GetCropOverscan());
  EXPECT_FALSE(services.ForcedCpuAll());
  EXPECT_TRUE(services.ForcedCpuCollection());  // from the machine's file
  EXPECT_TRUE(services.KeyFramesInsteadOfPresets());

  platform::WriteSetting("Common", "Crop Overscan", "nope");
  services.RefreshSettings();
  EXPECT_FALSE(services.GetKnobsDragVertical());  // "YES" has no lower-case y
  EXPECT_FALSE(services.GetCropOverscan());
  EXPECT_FALSE(services.KeyFramesInsteadOfPresets());
  EXPECT_TRUE(services.ForcedCpuCollection());
  // A value that cannot be read leaves its setting alone.
  platform::WriteSetting("Common", "Knobs Drag Vertical", "yes");
  services.RefreshSettings();
  EXPECT_TRUE(services.GetKnobsDragVertical());
  platform::WriteSetting("Common", "Knobs Drag Vertical", std::string(102400, 'n'));
  services.RefreshSettings();
  EXPECT_TRUE(services.GetKnobsDragVertical());
}

TEST_F(SharedServicesTest, VersionAndDialogOptions) {
  CSharedServices services;
  const SharedVersion version{3, 1, 20260101, "Copyright"};
  services.SetVersion(&version);
  services.SetVersion(nullptr);
  EXPECT_EQ(services.Build(), 20260101u);
  const uint32_t all = services.DialogOptions();
  services.SetDialogOptions(kOptionForcedCpu | kOptionKnobs, true);
  EXPECT_EQ(services.DialogOptions(), all & ~(kOptionForcedCpu | kOptionKnobs));
  services.SetDialogOptions(kOptionKnobs, false);
  EXPECT_EQ(services.DialogOptions(), all & ~kOptionForcedCpu);
}

TEST_F(SharedServicesTest, ARealHostIsRememberedAndATitlerIsNot) {
  CSharedServices services;
  // No host yet, none remembered: the stored name, empty.
  EXPECT_EQ(HostName(services), "");
  SharedHostInfo host{"Vegas Pro", nullptr};
  services.SetHostInfo(&host);
  EXPECT_EQ(LastUsed(), "Vegas Pro");
  EXPECT_EQ(HostName(services), "Vegas Pro");

  // A titler, in any case, leaves the remembered host as it is and answers with it.
  for (const char* titler : {"ProTitler 3", "TITLER", "the titler"}) {
    host.hostName = titler;
    services.SetHostInfo(&host);
    EXPECT_EQ(LastUsed(), "Vegas Pro") << titler;
    EXPECT_EQ(HostName(services), "Vegas Pro") << titler;
  }
  host.hostName = nullptr;
  services.SetHostInfo(&host);
  EXPECT_EQ(HostName(services), "Vegas Pro");
  services.SetHostInfo(nullptr);  // changes nothing
  EXPECT_EQ(HostName(services), "Vegas Pro");

  host.hostName = "Movie Studio";
  services.SetHostInfo(&host);
  EXPECT_EQ(LastUsed(), "Movie Studio");
}

TEST_F(SharedServicesTest, ATitlerWithNoHostRememberedKeepsItsOwnName) {
  CSharedServices services;
  const SharedHostInfo host{"Titler Pro", nullptr};
  services.SetHostInfo(&host);
  EXPECT_EQ(LastUsed(), "");
  EXPECT_EQ(HostName(services), "Titler Pro");
  // A name too long for the buffer comes back empty.
  char small[4] = "xyz";
  EXPECT_EQ(services.GetHostName(small, sizeof(small)), 0u);
  EXPECT_STREQ(small, "");
}

TEST_F(SharedServicesTest, TheHostLockKeepsNameAndHelpTogether) {
  CSharedServices services;
  ASSERT_TRUE(services.Initialise(platform::ThisModule(), nullptr, nullptr));
  const SharedHostInfo first{"Vegas Pro", u"http://one/"};
  const SharedHostInfo second{"Movie Studio", u"http://two/"};
  std::thread writer([&] {
    for (int i = 0; i < 40; ++i)
      services.SetHostInfo(i % 2 == 0 ? &first : &second);
  });
  for (int i = 0; i < 200; ++i) {
    const std::string name = HostName(services);
    EXPECT_TRUE(name.empty() || name == "Vegas Pro" || name == "Movie Studio") << name;
    const std::u16string address = services.HelpAddress(1).SafeData();
    EXPECT_TRUE(address.starts_with(u"file://") || address.starts_with(u"http://one/") ||
                address.starts_with(u"http://two/"));
  }
  writer.join();
  EXPECT_EQ(HostName(services), "Movie Studio");
}

TEST(HelpAddressTest, EachRuleAddsItsPartOnce) {
  const auto complete = [](const char16_t* address, const char* key, const char* language) {
    return std::u16string(CompleteHelpAddress(address, key, language, 300).SafeData());
  };
  EXPECT_EQ(complete(u"http://help.corvane.com/page", "VitrellaIII", "de"),
            u"http://help.corvane.com/page?dummy=0&collection=VitrellaIII&platform=Win"
            u"&nle=Vegas&language=De&id=300");
  // A query of its own keeps its parameters, each in any case, and adds the rest.
  EXPECT_EQ(complete(u"HTTPS://x/?COLLECTION=Other&nle=Edius", "VitrellaIII", "fr"),
            u"HTTPS://x/?COLLECTION=Other&nle=Edius&platform=Win&language=Fr&id=300");
  EXPECT_EQ(complete(u"http://x/?a=1&platform=Win", "", ""),
            u"http://x/?a=1&platform=Win&nle=Vegas&id=300");
  EXPECT_EQ(complete(u"http://x", nullptr, nullptr),
            u"http://x?dummy=0&platform=Win&nle=Vegas&id=300");
  EXPECT_EQ(std::u16string(CompleteHelpAddress(u"http://x?", "", "pt", -5).SafeData()),
            u"http://x?&platform=Win&nle=Vegas&language=Pt&id=-5");

  EXPECT_TRUE(IsWebHelp(u"http://x"));
  EXPECT_TRUE(IsWebHelp(u"HtTpS://x"));
  EXPECT_FALSE(IsWebHelp(u"Vitrella3Help.html"));
  EXPECT_FALSE(IsWebHelp(u"htt"));
  EXPECT_EQ(std::u16string(HelpFileAddress(u"/opt/my help/#1/Help.html", 300).SafeData()),
            u"file:///opt/my%20help/%231/Help.html#topic-300");
}

std::vector<std::u16string>& Opened() {
  static std::vector<std::u16string> opened;
  return opened;
}

TEST_F(SharedServicesTest, HelpOpensTheHostsAddressOrTheFileBesideTheLibrary) {
  Opened().clear();
  platform::SetAddressOpener([](const std::u16string& address) {
    Opened().push_back(address);
    return true;
  });
  CSharedServices services;
  ASSERT_TRUE(services.Initialise(platform::ThisModule(), nullptr, nullptr));
  services.ShowHelp(nullptr, 300, false);
  ASSERT_EQ(Opened().size(), 1u);
  const std::u16string file = Opened()[0];
  EXPECT_TRUE(file.starts_with(u"file:///")) << std::string(file.begin(), file.end());
  EXPECT_TRUE(file.ends_with(u"/Vitrella3Help.html#topic-300"));

  services.SetLanguage("de");
  const SharedHostInfo host{"Vegas Pro", u"HTTP://help.host.com/?collection=HostOwn"};
  services.SetHostInfo(&host);
  services.ShowHelp(nullptr, 12, true);
  ASSERT_EQ(Opened().size(), 2u);
  EXPECT_EQ(Opened()[1],
            u"HTTP://help.host.com/?collection=HostOwn&platform=Win&nle=Vegas&language=De&id=12");
  WideChar target[512];
  ASSERT_GT(services.GetHelpTarget(12, target, 512), 0u);
  EXPECT_EQ(std::u16string(target), Opened()[1]);
}

}  // namespace
}  // namespace vitrella
