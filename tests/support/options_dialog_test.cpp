// The options dialog: its layout for every combination of the option bits, and what OK,
// Cancel and its other buttons do, played headless.
#include "support/options_dialog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "common/http_test_server.h"
#include "common/temp_config.h"
#include "platform/settings_store.h"
#include "platform/shell.h"
#include "platform/ui_script.h"
#include "support/shared_services.h"

namespace vitrella {
namespace {

using namespace options;
using platform::Form;
using platform::FormControl;

constexpr uint32_t kAllOptions =
    kOptionKnobs | kOptionCropOverscan | kOptionUpdateCheck | kOptionForcedCpu | kOptionKeyFrames;

bool Overlap(const FormControl& a, const FormControl& b) {
  return a.x < b.x + b.width && b.x < a.x + a.width && a.y < b.y + b.height && b.y < a.y + a.height;
}

TEST(OptionsLayoutTest, EveryRowShownIsTheTemplateItself) {
  const Form form = LayOutOptions(kAllOptions);
  EXPECT_EQ(form.templateId, 115);
  EXPECT_EQ(form.height, 344);
  EXPECT_EQ(form.Find(kKnobs)->y, 136);
  EXPECT_EQ(form.Find(kKeyFrames)->y, 160);
  EXPECT_EQ(form.Find(kCropOverscan)->y, 184);
  EXPECT_EQ(form.Find(kForcedCpuCollection)->y, 208);
  EXPECT_EQ(form.Find(kForcedCpuAll)->y, 232);
  EXPECT_EQ(form.Find(kGpuReport)->y, 216);
  EXPECT_EQ(form.Find(kOkButton)->y, 311);
  // Bits outside the five change nothing.
  const Form extra = LayOutOptions(0xFFFFFFFF);
  EXPECT_EQ(extra.height, form.height);
}

TEST(OptionsLayoutTest, EveryCombinationOfTheFiveBits) {
  const Form full = LayOutOptions(kAllOptions);
  struct Row {
    uint32_t bit;
    std::vector<int32_t> ids;
  };
  const std::vector<Row> rows = {{kOptionKnobs, {kKnobs}},
                                 {kOptionKeyFrames, {kKeyFrames}},
                                 {kOptionCropOverscan, {kCropOverscan}},
                                 {kOptionForcedCpu, {kForcedCpuCollection, kForcedCpuAll}}};
  for (uint32_t combination = 0; combination < 32; ++combination) {
    // The five bits in order, one per bit of the combination.
    uint32_t mask = 0;
    const uint32_t bits[] = {kOptionKnobs, kOptionCropOverscan, kOptionUpdateCheck,
                             kOptionForcedCpu, kOptionKeyFrames};
    for (int i = 0; i < 5; ++i) {
      if ((combination >> i) & 1u) mask |= bits[i];
    }
    SCOPED_TRACE("dialogOptions " + std::to_string(mask));
    const Form form = LayOutOptions(mask);

    // Each row shows exactly when its bit is set; visible rows stack at a pitch of 24
    // from the top of the first row, the forced CPU pair taking two.
    int32_t top = full.Find(kKnobs)->y;
    int hidden = 0;
    for (const Row& row : rows) {
      const bool shown = (mask & row.bit) != 0;
      for (const int32_t id : row.ids) {
        EXPECT_EQ(form.Find(id)->visible, shown) << id;
        if (shown) {
          EXPECT_EQ(form.Find(id)->y, top) << id;
          top += 24;
        }
      }
      hidden += shown ? 0 : 1;
    }
    const bool gpu = (mask & kOptionForcedCpu) != 0;
    EXPECT_EQ(form.Find(kGpuReport)->visible, gpu);
    if (gpu) {
      const FormControl& button = *form.Find(kGpuReport);
      EXPECT_EQ(button.x, 158);
      const int32_t upper = form.Find(kForcedCpuCollection)->y + 8;
      const int32_t lower = form.Find(kForcedCpuAll)->y + 8;
      EXPECT_EQ(button.y + button.height / 2, (upper + lower) / 2);
    }
    const bool update = (mask & kOptionUpdateCheck) != 0;
    EXPECT_EQ(form.Find(kCheckForUpdate)->visible, update);
    EXPECT_EQ(form.Find(kCheckForUpdateLabel)->visible, update);
    EXPECT_EQ(form.Find(kOptionsGroup)->visible, hidden < 4);

    // What is given up: 16 a hidden row, 60 more with the group, 35 for the update row.
    const int32_t saved = 16 * hidden + (hidden == 4 ? 60 : 0) + (update ? 0 : 35);
    EXPECT_EQ(form.height, full.height - saved);
    EXPECT_EQ(form.Find(kOkButton)->y, full.Find(kOkButton)->y - saved);
    if (update) {
      EXPECT_EQ(form.Find(kCheckForUpdate)->y, full.Find(kCheckForUpdate)->y - saved);
    }

    // Nothing visible overlaps another or leaves the dialog; the rows stay in their group.
    std::vector<const FormControl*> visible;
    for (const FormControl& control : form.controls) {
      if (!control.visible) continue;
      EXPECT_GE(control.y, 0) << control.id;
      EXPECT_LE(control.y + control.height, form.height) << control.id;
      EXPECT_LE(control.x + control.width, form.width) << control.id;
      if (control.id != kOptionsGroup) visible.push_back(&control);
    }
    for (size_t a = 0; a < visible.size(); ++a) {
      for (size_t b = a + 1; b < visible.size(); ++b)
        EXPECT_FALSE(Overlap(*visible[a], *visible[b])) << visible[a]->id << " " << visible[b]->id;
    }
    if (hidden < 4) {
      const FormControl& group = *form.Find(kOptionsGroup);
      for (const Row& row : rows) {
        for (const int32_t id : row.ids) {
          const FormControl& control = *form.Find(id);
          if (control.visible) {
            EXPECT_LE(control.y + control.height, group.y + group.height);
          }
        }
      }
      EXPECT_LE(group.y + group.height, form.Find(kOkButton)->y);
    }
  }
}

TEST(OptionsLayoutTest, TheUpdateDialogWithAndWithoutADownload) {
  const Form offer = LayOutUpdate(true);
  EXPECT_EQ(offer.templateId, 259);
  EXPECT_EQ(offer.focus, kDownload);
  EXPECT_TRUE(offer.Find(kDownload)->visible);
  const Form none = LayOutUpdate(false);
  EXPECT_EQ(none.focus, kCancelButton);
  EXPECT_FALSE(none.Find(kDownload)->visible);
  EXPECT_EQ(none.Find(kCancelButton)->y, offer.Find(kCancelButton)->y - 200);
  EXPECT_EQ(none.height, offer.height - 200);
  EXPECT_LE(none.Find(kUpdateText)->y + none.Find(kUpdateText)->height,
            none.Find(kCancelButton)->y);
}

std::vector<std::u16string>& Opened() {
  static std::vector<std::u16string> opened;
  return opened;
}

class OptionsDialogTest : public ::testing::Test {
 protected:
  OptionsDialogTest() {
    setenv(kUiBackendVariable, kUiHeadless, 1);
    unsetenv(platform::kUiFormVariable);
    platform::ResetUiScript();
    platform::ResetFormScript();
    Opened().clear();
    platform::SetAddressOpener([](const std::u16string& address) {
      Opened().push_back(address);
      return true;
    });
    services_.Initialise(platform::ThisModule(), nullptr, nullptr);
    platform::ResetUiScript();  // the box about the resource module
    const SharedHostInfo host{"Vegas Pro", nullptr};
    services_.SetHostInfo(&host);
  }
  ~OptionsDialogTest() override { platform::SetAddressOpener(nullptr); }

  static std::string Setting(const char* section, const char* name) {
    return platform::ReadSetting(section, name).text;
  }

  testing::TempConfig config_;
  CSharedServices services_;
};

TEST_F(OptionsDialogTest, OkStoresEverySettingAndTellsWhatNeedsARestart) {
  platform::ScriptFormSteps("230=on 233=on 231=on 1015=on 1036=on 1");
  EXPECT_EQ(services_.ShowOptions("text", nullptr), 1);
  EXPECT_TRUE(services_.GetKnobsDragVertical());
  EXPECT_TRUE(services_.GetCropOverscan());
  EXPECT_TRUE(services_.ForcedCpuAll());
  EXPECT_EQ(Setting("Common", "Knobs Drag Vertical"), "yes");
  EXPECT_EQ(Setting("Common", "Crop Overscan"), "yes");
  EXPECT_EQ(Setting("Common", "Forced CPU"), "yes");
  EXPECT_EQ(Setting("Corvane Vitrella III for Windows", "Key Frames vs Presets"), "yes");
  EXPECT_EQ(Setting("Corvane Vitrella III for Windows", "Forced CPU"), "yes");
  const std::vector<platform::ShownBox> boxes = platform::ShownBoxes();
  ASSERT_EQ(boxes.size(), 2u);
  EXPECT_EQ(boxes[0].title, u"Information");
  EXPECT_EQ(boxes[0].type, platform::kBoxIconInformation);
  EXPECT_EQ(boxes[0].text, u"To apply some changes you need to restart program");
  EXPECT_EQ(boxes[1].text,
            u"GPU changes will not take effect for other CorvaneFX collections until you close "
            u"and restart Vegas Pro.");

  // Unchanged settings stored again tell nothing.
  platform::ResetUiScript();
  platform::ScriptFormSteps("1");
  EXPECT_EQ(services_.ShowOptions(nullptr, nullptr), 1);
  EXPECT_TRUE(platform::ShownBoxes().empty());
}

TEST_F(OptionsDialogTest, CancelAndAnEndedScriptStoreNothing) {
  platform::WriteSetting("Common", "Knobs Drag Vertical", "no");
  const std::string before = testing::TempConfig::ReadFile(config_.UserFile());
  platform::ScriptFormSteps("230=on 1036=on 2");
  EXPECT_EQ(services_.ShowOptions(nullptr, nullptr), 0);
  platform::ScriptFormSteps("230=on 1036=on");
  EXPECT_EQ(services_.ShowOptions(nullptr, nullptr), 0);
  EXPECT_FALSE(services_.GetKnobsDragVertical());
  EXPECT_EQ(testing::TempConfig::ReadFile(config_.UserFile()), before);
  EXPECT_TRUE(platform::ShownBoxes().empty());
}

TEST_F(OptionsDialogTest, TheDialogOpensOnTheSettingsStoredNowByTheLooserRule) {
  // Written by another process after the start; OK stores what the boxes showed.
  platform::WriteSetting("Common", "Knobs Drag Vertical", "yes");
  platform::WriteSetting("Common", "Crop Overscan", "yes");
  platform::ScriptFormSteps("1");
  EXPECT_EQ(services_.ShowOptions(nullptr, nullptr), 1);
  EXPECT_TRUE(services_.GetKnobsDragVertical());
  EXPECT_EQ(Setting("Common", "Knobs Drag Vertical"), "yes");
  // "YES" has no lower-case y: the refresh reads it as no, and OK stores that.
  platform::WriteSetting("Common", "Crop Overscan", "YES");
  platform::ScriptFormSteps("1");
  EXPECT_EQ(services_.ShowOptions(nullptr, nullptr), 1);
  EXPECT_EQ(Setting("Common", "Crop Overscan"), "no");
  EXPECT_TRUE(platform::ShownBoxes().empty());
}

TEST_F(OptionsDialogTest, AHiddenRowTakesNoStepAndKeepsItsSetting) {
  platform::WriteSetting("Common", "Knobs Drag Vertical", "yes");
  services_.RefreshSettings();
  services_.SetDialogOptions(kOptionKnobs | kOptionForcedCpu, true);
  platform::ScriptFormSteps("230=off 1016 1036=on 1");
  EXPECT_EQ(services_.ShowOptions(nullptr, nullptr), 1);
  EXPECT_EQ(Setting("Common", "Knobs Drag Vertical"), "yes");
  EXPECT_EQ(Setting("Common", "Forced CPU"), "no");
  const std::vector<platform::ShownForm> forms = platform::ShownForms();
  ASSERT_EQ(forms.size(), 1u);  // no GPU report: its button is hidden
  EXPECT_EQ(std::count(forms[0].visible.begin(), forms[0].visible.end(), kKnobs), 0);
}

CSharedServices* g_nested = nullptr;

TEST_F(OptionsDialogTest, HelpTheLogoAndTheGpuReportLeaveTheDialogOpen) {
  g_nested = &services_;
  platform::SetAddressOpener([](const std::u16string& address) {
    Opened().push_back(address);
    // A second dialog while the first is open does nothing.
    EXPECT_EQ(g_nested->ShowOptions(nullptr, nullptr), 0);
    return true;
  });
  platform::ScriptFormSteps("9 232 1016 1018 2");
  EXPECT_EQ(services_.ShowOptions(nullptr, nullptr), 0);
  ASSERT_EQ(Opened().size(), 2u);
  EXPECT_TRUE(Opened()[0].ends_with(u"/Vitrella3Help.html#topic-300"));
  EXPECT_EQ(Opened()[1], u"https://www.corvane.com");
  const std::vector<platform::ShownForm> forms = platform::ShownForms();
  ASSERT_EQ(forms.size(), 2u);
  EXPECT_EQ(forms[0].templateId, 260);
  EXPECT_EQ(forms[0].result, kReportClose);
  EXPECT_EQ(forms[1].result, kCancelButton);
}

TEST_F(OptionsDialogTest, ADownloadFromTheUpdateDialogClosesTheOptionsToo) {
  unsetenv("http_proxy");
  testing::HttpTestServer server(
      testing::HttpTestServer::Mode::kServe,
      "<Version><Download Path='https://www.corvane.com/get'/><Build Version='3.1'>"
      "<Fix Date='20990101' NLE='All' String='x'/></Build></Version>");
  services_.CheckForUpdate(server.Address().c_str());
  platform::ScriptFormSteps("1011 260");
  EXPECT_EQ(services_.ShowOptions(nullptr, nullptr), 1);
  ASSERT_EQ(Opened().size(), 1u);
  EXPECT_EQ(Opened()[0], u"https://www.corvane.com/get");
  std::vector<platform::ShownForm> forms = platform::ShownForms();
  ASSERT_EQ(forms.size(), 2u);
  EXPECT_EQ(forms[0].templateId, 259);
  EXPECT_EQ(forms[0].title, u"Update Corvane Vitrella III for Windows 3.0");

  // Without an update, the download button is not there to press.
  testing::HttpTestServer current(testing::HttpTestServer::Mode::kServe,
                                  "<Version><Download Path='x'/></Version>");
  services_.CheckForUpdate(current.Address().c_str());
  platform::ResetFormScript();
  platform::ScriptFormSteps("1011 260 2 2");
  EXPECT_EQ(services_.ShowOptions(nullptr, nullptr), 0);
  forms = platform::ShownForms();
  ASSERT_EQ(forms.size(), 2u);
  EXPECT_EQ(std::count(forms[0].visible.begin(), forms[0].visible.end(), kDownload), 0);
  EXPECT_EQ(Opened().size(), 1u);
}

}  // namespace
}  // namespace vitrella
