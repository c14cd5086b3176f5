// CPresetSaver through its interface, with the library's own effects, real files and the
// headless dialogs.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "core/effect_table.h"
#include "core/effects_library.h"
#include "platform/ui_script.h"
#include "presets/preset_test_support.h"
#include "support/preset_file_type.h"
#include "vitrella/preset.h"

namespace vitrella {
namespace {

using platform::ShownBox;
using platform::ShownDialog;
using testing::ReadText;
using testing::ScopedVariable;
using testing::ScratchFolder;
using testing::WriteText;

constexpr uint32_t kEdgeSmoother = 3;
constexpr uint32_t kNotBuilt = 12;  // past the effect table
constexpr const char16_t* kLoadError =
    u"Sorry, can't open the preset specified.\nPossible reason: access denied or file is "
    u"corrupted.";
constexpr const char16_t* kSaveError =
    u"Sorry, can't save preset.\nPossible reason: access denied or disk is full.";

std::u16string Wide(const std::string& text) {
  return std::u16string(text.begin(), text.end());
}

// A record of the effect's built-in preset, kinds taken from the effect's parameters.
PresetRecord BuiltInPreset(IVideoEffect& effect, uint32_t preset) {
  PresetRecord record{};
  std::strcpy(record.name, effect.GetPresetName(preset));
  ParamInfo info{};
  for (uint32_t i = 0; effect.GetParamInfo(i, &info); ++i) {
    PresetParam& entry = record.params[record.paramCount++];
    entry.kind = info.kind;
    if (info.kind != ParamGroup) {
      EXPECT_TRUE(effect.GetPresetValue(preset, i, &entry.value));
    }
  }
  return record;
}

// Values as the file keeps them: six decimals for floats, the rest exact.
void ExpectSameValues(const PresetParam& saved, const PresetParam& loaded) {
  ASSERT_EQ(saved.kind, loaded.kind);
  switch (saved.kind) {
    case ParamPoint:
      EXPECT_NEAR(saved.value.point[0], loaded.value.point[0], 5e-7);
      EXPECT_NEAR(saved.value.point[1], loaded.value.point[1], 5e-7);
      break;
    case ParamSlider:
      EXPECT_NEAR(saved.value.slider, loaded.value.slider, 5e-7);
      break;
    case ParamChoice:
      EXPECT_EQ(saved.value.choice, loaded.value.choice);
      break;
    case ParamColor:
      EXPECT_EQ(saved.value.color, loaded.value.color);
      break;
    case ParamCheck:
      EXPECT_EQ(saved.value.check != 0, loaded.value.check != 0);
      break;
    default:
      break;
  }
}

class PresetSaverTest : public ::testing::Test {
 protected:
  void SetUp() override {
    platform::ResetUiScript();
    library_ = new CVitrellaEffects3();
    saver_ = library_->CreatePresetSaver();
    ASSERT_NE(saver_, nullptr);
  }
  void TearDown() override {
    if (saver_ != nullptr) {
      EXPECT_EQ(saver_->Release(), 0u);
    }
    EXPECT_EQ(library_->Release(), 0u) << "the saver gave every reference back";
    platform::ResetUiScript();
  }

  int32_t Save(const std::string& path, PresetRecord& record, uint32_t index = kEdgeSmoother,
               const char* language = nullptr, IEffectLibrary* library = nullptr) {
    platform::ScriptFileAnswer(Wide(path));
    return saver_->SavePreset(parent(), library != nullptr ? library : library_, index, &record,
                              language);
  }
  int32_t Load(const std::string& path, PresetRecord& record, uint32_t index = kEdgeSmoother,
               const char* language = nullptr) {
    platform::ScriptFileAnswer(Wide(path));
    return saver_->LoadPreset(parent(), library_, index, &record, language);
  }
  int32_t LoadWithoutLibrary(const std::string& path, PresetRecord& record) {
    platform::ScriptFileAnswer(Wide(path));
    return saver_->LoadPreset(parent(), nullptr, kEdgeSmoother, &record, nullptr);
  }
  // A file of Edge Smoother's shape with the names and entries given.
  std::string File(const std::string& attributes, const std::string& entries) const {
    const std::string path = folder_.Path("given.fxpzr3d");
    WriteText(path,
              "<?xml version=\"1.0\" ?>\n<Preset" + attributes + ">" + entries + "</Preset>\n");
    return path;
  }
  static std::string SmootherEntries() {
    return "<parameter type=\"2\" value=\"0.5\"/><parameter type=\"4\" value=\"0\"/>"
           "<parameter type=\"4\" value=\"1\"/>";
  }
  static std::string OurNames() {
    return " Name=\"p\" LibraryName=\"Corvane Vitrella III\" EffectName=\"Edge Smoother\"";
  }
  void ExpectOneBox(const char16_t* title, const std::u16string& text) const {
    const std::vector<ShownBox> boxes = platform::ShownBoxes();
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_EQ(boxes[0].title, title);
    EXPECT_EQ(boxes[0].text, text);
    EXPECT_EQ(boxes[0].type, 48u) << "OK with the exclamation mark";
    EXPECT_EQ(boxes[0].owner, platform::ForegroundWindow()) << "not the operation's parent";
  }
  void* parent() { return this; }

  ScopedVariable headless_{kUiBackendVariable, kUiHeadless};
  ScopedVariable noFile_{kUiFileVariable, nullptr};
  ScratchFolder folder_;
  CVitrellaEffects3* library_ = nullptr;
  IPresetSaver* saver_ = nullptr;
};

TEST_F(PresetSaverTest, AnswersItsOwnInterfacesOnly) {
  void* out = nullptr;
  ASSERT_EQ(saver_->QueryInterface(kIID_IPresetSaver, &out), kOk);
  EXPECT_EQ(out, saver_);
  ASSERT_EQ(saver_->QueryInterface(kIID_IUnknown, &out), kOk);
  EXPECT_EQ(saver_->Release(), 2u);
  EXPECT_EQ(saver_->Release(), 1u);
  out = &out;
  EXPECT_EQ(saver_->QueryInterface(kIID_IEffectLibrary, &out), kNoInterface);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(saver_->QueryInterface(kIID_IPresetSaver, nullptr), kPointerError);
}

// Every built-in preset of every effect this build has, through a file and back.
TEST_F(PresetSaverTest, EveryBuiltInPresetComesBackFromItsFile) {
  int presets = 0;
  for (uint32_t index = 0; index < kEffectCount; ++index) {
    IVideoEffect* effect = library_->CreateEffect(index);
    if (effect == nullptr) continue;
    for (uint32_t preset = 0; effect->GetPresetName(preset) != nullptr; ++preset, ++presets) {
      SCOPED_TRACE(std::string(effect->GetEffectName()) + " / " + effect->GetPresetName(preset));
      PresetRecord saved = BuiltInPreset(*effect, preset);
      const std::string path = folder_.Path("p" + std::to_string(presets));
      ASSERT_EQ(Save(path, saved, index), kPresetDone);
      EXPECT_STREQ(saved.libraryName, "Corvane Vitrella III");
      EXPECT_STREQ(saved.effectName, effect->GetEffectName());

      PresetRecord loaded{};
      WideChar extension[kPresetExtensionCapacity];
      PresetExtension("Corvane Vitrella III", index, extension);
      ASSERT_EQ(Load(path + "." + std::string(extension, extension + 7), loaded, index),
                kPresetDone);
      EXPECT_STREQ(loaded.name, saved.name);
      EXPECT_STREQ(loaded.effectName, saved.effectName);
      ASSERT_EQ(loaded.paramCount, saved.paramCount);
      for (int32_t i = 0; i < saved.paramCount; ++i)
        ExpectSameValues(saved.params[i], loaded.params[i]);
    }
    effect->Release();
  }
  EXPECT_GE(presets, 5) << "Edge Smoother alone has five";
  EXPECT_TRUE(platform::ShownBoxes().empty());
}

TEST_F(PresetSaverTest, PlainDialogsShowFixedEnglishAndTheEffectsFileType) {
  PresetRecord record{};
  platform::ScriptFileAnswer(std::nullopt);
  EXPECT_EQ(saver_->LoadPreset(parent(), library_, kEdgeSmoother, &record, nullptr), kPresetDone);
  platform::ScriptFileAnswer(std::nullopt);
  EXPECT_EQ(saver_->SavePreset(parent(), library_, 0, &record, nullptr), kPresetDone);
  const std::vector<ShownDialog> dialogs = platform::ShownDialogs();
  ASSERT_EQ(dialogs.size(), 2u);
  EXPECT_FALSE(dialogs[0].save);
  EXPECT_EQ(dialogs[0].owner, parent());
  EXPECT_EQ(dialogs[0].title, u"Load Preset");
  EXPECT_EQ(dialogs[0].filter,
            (std::vector<std::u16string>{u"Preset Files (*.fxpzr3d)", u"*.fxpzr3d"}));
  EXPECT_EQ(dialogs[0].defaultExtension, u"fxpzr3d");
  EXPECT_EQ(dialogs[0].flags, 0x81800u);
  EXPECT_EQ(dialogs[0].pathCapacity, 1024u);
  EXPECT_EQ(dialogs[0].filterIndex, 0u);
  EXPECT_TRUE(dialogs[1].save);
  EXPECT_EQ(dialogs[1].title, u"Save Preset");
  EXPECT_EQ(dialogs[1].defaultExtension, u"fxpzr3a");
  EXPECT_EQ(dialogs[1].flags, 2u);
  EXPECT_TRUE(platform::ShownBoxes().empty()) << "cancelling is no failure";
}

TEST_F(PresetSaverTest, TranslatedDialogsAskTheTableAndFallBackToTheirKeys) {
  // This library has no table beside it, so each text is its key in English.
  PresetRecord record{};
  platform::ScriptFileAnswer(std::nullopt);
  saver_->LoadPreset(parent(), library_, kEdgeSmoother, &record, "de");
  platform::ScriptFileAnswer(std::nullopt);
  saver_->SavePreset(parent(), library_, kEdgeSmoother, &record, "deu");
  const std::vector<ShownDialog> dialogs = platform::ShownDialogs();
  ASSERT_EQ(dialogs.size(), 2u);
  EXPECT_EQ(dialogs[0].title, u"Open Preset");
  EXPECT_EQ(dialogs[0].filter[0], u"Preset Files (*.fxpzr3d)");
  EXPECT_EQ(dialogs[1].title, u"Save Preset As");
}

TEST_F(PresetSaverTest, CancellingLeavesTheRecordAsItWas) {
  PresetRecord record{};
  std::strcpy(record.name, "kept");
  record.paramCount = 2;
  PresetRecord before = record;
  platform::ScriptFileAnswer(std::nullopt);
  EXPECT_EQ(saver_->LoadPreset(parent(), library_, kEdgeSmoother, &record, nullptr), kPresetDone);
  EXPECT_EQ(std::memcmp(&record, &before, sizeof(record)), 0);
}

TEST_F(PresetSaverTest, ANullRecordFailsWithTheBoxAndNoDialog) {
  EXPECT_EQ(saver_->LoadPreset(parent(), library_, kEdgeSmoother, nullptr, nullptr), kPresetFailed);
  ExpectOneBox(u"Preset load error", kLoadError);
  platform::ResetUiScript();
  EXPECT_EQ(saver_->SavePreset(parent(), library_, kEdgeSmoother, nullptr, "de"), kPresetFailed);
  ExpectOneBox(u"Preset save error", kSaveError);
  EXPECT_TRUE(platform::ShownDialogs().empty());
}

TEST_F(PresetSaverTest, AnEmptyPathFails) {
  PresetRecord record{};
  EXPECT_EQ(Load("", record), kPresetFailed);
  ExpectOneBox(u"Preset load error", kLoadError);
  platform::ResetUiScript();
  EXPECT_EQ(Save("", record), kPresetFailed);
  ExpectOneBox(u"Preset save error", kSaveError);
}

TEST_F(PresetSaverTest, FilesThatCannotBeWrittenOrReadFailWithTheirBoxes) {
  PresetRecord record{};
  EXPECT_EQ(Save(folder_.Path("no/such/folder/p.fxpzr3d"), record), kPresetFailed);
  ExpectOneBox(u"Preset save error", kSaveError);
  platform::ResetUiScript();
  EXPECT_EQ(Load(folder_.Path("missing.fxpzr3d"), record), kPresetFailed);
  ExpectOneBox(u"Preset load error", kLoadError);
  platform::ResetUiScript();
  EXPECT_EQ(Load(File(OurNames(), ""), record), kPresetFailed) << "no parameter elements";
  ExpectOneBox(u"Preset load error", kLoadError);
}

TEST_F(PresetSaverTest, APathThatNeedsMoreThanOneByteACharacterFails) {
  PresetRecord record{};
  EXPECT_EQ(Save(folder_.Path("Schärfe.fxpzr3d"), record), kPresetFailed);
  ExpectOneBox(u"Preset save error", kSaveError);
}

TEST_F(PresetSaverTest, SavingNamesTheRecordAfterTheLibraryAndTheEffect) {
  PresetRecord record{};
  std::strcpy(record.libraryName, "Somebody else");
  std::strcpy(record.effectName, "Something");
  record.params[0] = {SliderValue(0.5f), ParamSlider};
  record.paramCount = 1;
  ASSERT_EQ(Save(folder_.Path("named.fxpzr3d"), record), kPresetDone);
  EXPECT_STREQ(record.libraryName, "Corvane Vitrella III");
  EXPECT_STREQ(record.effectName, "Edge Smoother");

  // Without an effect at the index the names stand as they are.
  std::strcpy(record.effectName, "Something");
  ASSERT_EQ(Save(folder_.Path("other.fxpzr3m"), record, kNotBuilt), kPresetDone);
  EXPECT_NE(ReadText(folder_.Path("other.fxpzr3m")).find("EffectName=\"Something\""),
            std::string::npos);
  EXPECT_EQ(platform::ShownDialogs()[1].defaultExtension, u"fxpzr3m");
}

TEST_F(PresetSaverTest, APresetOfAnotherCollectionIsRefusedWithTheWarning) {
  PresetRecord record{};
  const std::string path =
      File(" Name=\"p\" LibraryName=\"Corvane Vitrella II\" EffectName=\"Edge Smoother\"",
           SmootherEntries());
  EXPECT_EQ(Load(path, record), kPresetOtherEffect);
  ExpectOneBox(u"Preset open warning",
               u"Error trying to open a Edge Smoother preset. This can only open Edge Smoother "
               u"presets. Please try again.");
  EXPECT_STREQ(record.libraryName, "Corvane Vitrella II") << "the record keeps what was read";
  EXPECT_EQ(record.paramCount, 3);
}

TEST_F(PresetSaverTest, ValidationComparesNamesAndEveryParametersKind) {
  PresetRecord record{};
  EXPECT_EQ(Load(File(OurNames(), SmootherEntries()), record), kPresetDone);
  EXPECT_EQ(Load(File(OurNames(), SmootherEntries() + "<parameter type=\"1\"/>"), record),
            kPresetDone)
      << "surplus entries do not matter";
  EXPECT_TRUE(platform::ShownBoxes().empty());

  const std::string wrongKind =
      "<parameter type=\"2\" value=\"0.5\"/><parameter type=\"1\"/>"
      "<parameter type=\"4\" value=\"1\"/>";
  const std::string tooFew = "<parameter type=\"2\" value=\"0.5\"/>";
  const std::string foreign =
      "<parameter type=\"2\" value=\"0.5\"/><foreign/>"
      "<parameter type=\"4\" value=\"1\"/>";
  const std::string typeFive =
      "<parameter type=\"2\" value=\"0.5\"/><parameter type=\"5\"/>"
      "<parameter type=\"4\" value=\"1\"/>";
  for (const std::string& entries : {wrongKind, tooFew, foreign, typeFive}) {
    platform::ResetUiScript();
    EXPECT_EQ(Load(File(OurNames(), entries), record), kPresetOtherEffect) << entries;
    EXPECT_EQ(platform::ShownBoxes().size(), 1u);
  }
  platform::ResetUiScript();
  EXPECT_EQ(Load(File(" LibraryName=\"Corvane Vitrella III\" EffectName=\"edge smoother\"",
                      SmootherEntries()),
                 record),
            kPresetOtherEffect)
      << "names compare with regard to case";
}

TEST_F(PresetSaverTest, AFileWithoutEffectNameIsWarnedAboutWithAnEmptyName) {
  PresetRecord record{};
  EXPECT_EQ(Load(File(" LibraryName=\"Corvane Vitrella III\"", SmootherEntries()), record),
            kPresetOtherEffect);
  ExpectOneBox(u"Preset open warning",
               u"Error trying to open a  preset. This can only open Edge Smoother presets. "
               u"Please try again.");
}

TEST_F(PresetSaverTest, AnIndexWithoutAnEffectFailsWithTheErrorBox) {
  PresetRecord record{};
  EXPECT_EQ(Load(File(OurNames(), SmootherEntries()), record, kNotBuilt), kPresetFailed);
  ExpectOneBox(u"Preset load error", kLoadError);
}

TEST_F(PresetSaverTest, WithoutALibraryAnyReadableFileWithParametersIsTaken) {
  PresetRecord record{};
  const std::string foreign =
      File(" Name=\"x\" LibraryName=\"Other\" EffectName=\"Other\"", "<parameter type=\"1\"/>");
  EXPECT_EQ(LoadWithoutLibrary(foreign, record), kPresetDone);
  EXPECT_STREQ(record.effectName, "Other") << "names come from the file alone";
  EXPECT_EQ(platform::ShownDialogs()[0].defaultExtension, u"prs");
  EXPECT_EQ(platform::ShownDialogs()[0].filter[1], u"*.prs");
  EXPECT_EQ(LoadWithoutLibrary(File(OurNames(), ""), record), kPresetFailed);

  PresetRecord saved{};
  std::strcpy(saved.effectName, "Mine");
  saved.paramCount = 1;
  platform::ScriptFileAnswer(Wide(folder_.Path("free")));
  EXPECT_EQ(saver_->SavePreset(nullptr, nullptr, 0, &saved, nullptr), kPresetDone);
  EXPECT_NE(ReadText(folder_.Path("free.prs")).find("EffectName=\"Mine\""), std::string::npos);
}

TEST_F(PresetSaverTest, ARecordWithoutParametersSavesButNeverLoads) {
  PresetRecord record{};
  EXPECT_EQ(Save(folder_.Path("empty"), record), kPresetDone);
  EXPECT_EQ(Load(folder_.Path("empty.fxpzr3d"), record), kPresetFailed);
  ExpectOneBox(u"Preset load error", kLoadError);
}

}  // namespace
}  // namespace vitrella
