// The headless side of the UI seam: scripted answers, the record and the log that a host
// in another process reads.
#include <gtest/gtest.h>

#include <string>

#include "platform/ui.h"
#include "platform/ui_script.h"
#include "presets/preset_test_support.h"

namespace vitrella::platform {
namespace {

using testing::ReadText;
using testing::ScopedVariable;
using testing::ScratchFolder;

class HeadlessUi : public ::testing::Test {
 protected:
  void SetUp() override { ResetUiScript(); }
  void TearDown() override { ResetUiScript(); }

  // An open dialog over a buffer of `capacity` characters that starts with `start`.
  bool Open(std::u16string& path, size_t capacity = 64, const char16_t* extension = u"fxp") {
    std::u16string buffer = path;
    buffer.resize(capacity, u'\0');
    FileDialog dialog;
    dialog.owner = this;
    dialog.title = u"Pick";
    dialog.filter = u"Presets (*.fxp)\0*.fxp\0All\0*.*\0";
    dialog.defaultExtension = extension;
    dialog.flags = kDialogFileMustExist;
    dialog.path = buffer.data();
    dialog.pathCapacity = capacity;
    const bool chosen = ShowOpenDialog(dialog);
    path = buffer.c_str();
    return chosen;
  }

  ScopedVariable headless_{kUiBackendVariable, kUiHeadless};
  ScopedVariable noFile_{kUiFileVariable, nullptr};
  ScopedVariable noAnswer_{kUiAnswerVariable, nullptr};
  ScopedVariable noLog_{kUiLogVariable, nullptr};
};

TEST_F(HeadlessUi, FileDialogsAnswerFromTheScriptThenTheEnvironmentThenCancel) {
  ScriptFileAnswer(u"/a/first");
  ScriptFileAnswer(std::nullopt);
  ScriptFileAnswer(u"/a/dotted.name/file.txt");
  std::u16string path;
  EXPECT_TRUE(Open(path));
  EXPECT_EQ(path, u"/a/first.fxp") << "a name without extension gets the default one";
  path = u"unchanged";
  EXPECT_FALSE(Open(path));
  EXPECT_EQ(path, u"unchanged");
  EXPECT_TRUE(Open(path));
  EXPECT_EQ(path, u"/a/dotted.name/file.txt");

  EXPECT_FALSE(Open(path)) << "nothing scripted: cancelled";
  {
    const ScopedVariable file(kUiFileVariable, "/from/env/ü.x");
    EXPECT_TRUE(Open(path));
    EXPECT_EQ(path, u"/from/env/ü.x");
    path.clear();
    EXPECT_FALSE(Open(path, 13)) << "a path that does not fit is refused";
    EXPECT_EQ(path, u"");
    EXPECT_TRUE(Open(path, 14));
  }
  ScriptFileAnswer(u"/a/dir.d/name");
  EXPECT_TRUE(Open(path, 64, nullptr));
  EXPECT_EQ(path, u"/a/dir.d/name");

  const std::vector<ShownDialog> shown = ShownDialogs();
  ASSERT_EQ(shown.size(), 8u);
  EXPECT_FALSE(shown[0].save);
  EXPECT_EQ(shown[0].owner, this);
  EXPECT_EQ(shown[0].title, u"Pick");
  EXPECT_EQ(shown[0].filter,
            (std::vector<std::u16string>{u"Presets (*.fxp)", u"*.fxp", u"All", u"*.*"}));
  EXPECT_EQ(shown[0].defaultExtension, u"fxp");
  EXPECT_EQ(shown[0].flags, kDialogFileMustExist);
  EXPECT_EQ(shown[0].pathCapacity, 64u);
  EXPECT_FALSE(shown[1].answer);
  EXPECT_FALSE(shown[5].answer);
}

TEST_F(HeadlessUi, BoxesAnswerTheirFirstButtonUnlessScripted) {
  EXPECT_EQ(ShowMessageBox(nullptr, u"t", u"T", kBoxOk | kBoxIconWarning), kAnswerOk);
  EXPECT_EQ(ShowMessageBox(nullptr, u"t", u"T", kBoxYesNo), kAnswerYes);
  ScriptBoxAnswer(kAnswerNo);
  EXPECT_EQ(ShowMessageBox(nullptr, u"t", u"T", kBoxYesNo), kAnswerNo);
  {
    const ScopedVariable answer(kUiAnswerVariable, "cancel");
    EXPECT_EQ(ShowMessageBox(nullptr, u"t", u"T", kBoxOkCancel), kAnswerCancel);
  }
  {
    const ScopedVariable answer(kUiAnswerVariable, "maybe");
    EXPECT_EQ(ShowMessageBox(nullptr, u"t", u"T", kBoxOkCancel), kAnswerOk);
  }
  EXPECT_EQ(ShowMessageBox(this, nullptr, nullptr, kBoxOk), kAnswerOk);
  const std::vector<ShownBox> shown = ShownBoxes();
  ASSERT_EQ(shown.size(), 6u);
  EXPECT_EQ(shown[0].type, 0x30u);
  EXPECT_EQ(shown[2].answer, kAnswerNo);
  EXPECT_EQ(shown[5].owner, this);
  EXPECT_EQ(shown[5].title, u"");
}

TEST_F(HeadlessUi, TheLogHoldsOneEscapedLinePerBoxAndDialog) {
  ScratchFolder folder;
  const ScopedVariable log(kUiLogVariable, folder.Path("ui.log").c_str());
  ShowMessageBox(nullptr, u"line one\nline\ttwo \\ end", u"Größe", kBoxOk | kBoxIconWarning);
  ScriptFileAnswer(u"/x/y.fxp");
  std::u16string path;
  Open(path);
  Open(path);
  EXPECT_EQ(ReadText(folder.Path("ui.log")),
            "box\t48\tGröße\tline one\\nline\\ttwo \\\\ end\n"
            "open\tPick\t/x/y.fxp\tPresets (*.fxp)\t*.fxp\tAll\t*.*\n"
            "open\tPick\t\tPresets (*.fxp)\t*.fxp\tAll\t*.*\n");
}

}  // namespace
}  // namespace vitrella::platform
