// TranslationHelper against a library whose language table the test controls.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>

#include "support/translation_helper.h"

namespace vitrella {
namespace {

// The language side of FakeLibrary: answers `answer` (its length, or `result` when set)
// and remembers how it was asked.
class FakeLanguage final : public IMultiLingual {
 public:
  explicit FakeLanguage(IEffectLibrary& owner) : owner_(owner) {}

  Result VITRELLA_CALL QueryInterface(const Guid& iid, void** out) override {
    return owner_.QueryInterface(iid, out);
  }
  uint32_t VITRELLA_CALL AddRef() override { return owner_.AddRef(); }
  uint32_t VITRELLA_CALL Release() override { return owner_.Release(); }
  uint64_t VITRELLA_CALL LanguageQuery(uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t,
                                       uintptr_t, uintptr_t) override {
    return 0;
  }
  int32_t VITRELLA_CALL GetLanguageText(const char* language, uint32_t category, const char* key,
                                        WideChar* text, int32_t capacity) override {
    ++calls;
    askedLanguage = language;
    askedCategory = category;
    askedKey = key != nullptr ? key : "(null)";
    askedCapacity = capacity;
    std::copy(answer.begin(), answer.end(), text);
    if (answer.size() < static_cast<size_t>(capacity)) text[answer.size()] = u'\0';
    return result.value_or(static_cast<int32_t>(answer.size()));
  }
  const char* VITRELLA_CALL GetCurrentLanguage() override { return current; }
  bool VITRELLA_CALL LanguageCommand(uintptr_t, uintptr_t, uintptr_t, uintptr_t) override {
    return false;
  }

  std::u16string answer;
  std::optional<int32_t> result;
  const char* current = nullptr;
  int calls = 0;
  std::string askedLanguage;
  uint32_t askedCategory = 0;
  std::string askedKey;
  int32_t askedCapacity = 0;

 private:
  IEffectLibrary& owner_;
};

class FakeLibrary final : public IEffectLibrary {
 public:
  Result VITRELLA_CALL QueryInterface(const Guid& iid, void** out) override {
    if (iid == kIID_IMultiLingual && hasTable) {
      *out = static_cast<IMultiLingual*>(&language);
      AddRef();
      return kOk;
    }
    *out = nullptr;
    return kNoInterface;
  }
  uint32_t VITRELLA_CALL AddRef() override { return ++refs; }
  uint32_t VITRELLA_CALL Release() override { return --refs; }
  const char* VITRELLA_CALL GetLibraryName() override { return "Fake"; }
  IVideoEffect* VITRELLA_CALL CreateEffect(uint32_t) override { return nullptr; }
  void VITRELLA_CALL ShowHelp(WindowHandle, int32_t) override {}
  ISharedServices* VITRELLA_CALL GetSharedServices() override { return nullptr; }
  IFrameProcessor* VITRELLA_CALL CreateFrameProcessor() override { return nullptr; }
  IPresetSaver* VITRELLA_CALL CreatePresetSaver() override { return nullptr; }

  uint32_t refs = 1;
  bool hasTable = true;
  FakeLanguage language{*this};
};

TEST(TranslationHelper, TakesExactlyTwoLettersAsTheLanguage) {
  TranslationHelper helper;
  EXPECT_STREQ(helper.Language(), "en");
  for (const char* code : {"de", "JA", "x1"}) {
    helper.SetLanguage(code);
    EXPECT_STREQ(helper.Language(), code);
  }
  for (const char* code : {static_cast<const char*>(nullptr), "", "d", "deu", "de_DE"}) {
    helper.SetLanguage("fr");
    helper.SetLanguage(code);
    EXPECT_STREQ(helper.Language(), "en") << (code != nullptr ? code : "null");
  }
}

TEST(TranslationHelper, AsksTheTableWithItsLanguageAndGivesTheReferenceBack) {
  FakeLibrary library;
  library.language.answer = u"Voreinstellung öffnen";
  {
    TranslationHelper helper;
    helper.SetContext(&library, "de");
    EXPECT_EQ(library.refs, 2u);
    EXPECT_EQ(std::u16string(helper.Translate(4, "Open Preset", "ignored")),
              u"Voreinstellung öffnen");
    EXPECT_EQ(library.language.askedLanguage, "de");
    EXPECT_EQ(library.language.askedCategory, 4u);
    EXPECT_EQ(library.language.askedKey, "Open Preset");
    EXPECT_EQ(library.language.askedCapacity, 2048);
    EXPECT_EQ(library.refs, 2u) << "the language interface is released after each look-up";
  }
  EXPECT_EQ(library.refs, 1u) << "the destructor releases the library";
}

TEST(TranslationHelper, FallsBackToTheFallbackThenTheKeyThenNothing) {
  FakeLibrary library;
  library.language.answer = u"";
  TranslationHelper helper;
  helper.SetContext(&library, "de");
  EXPECT_EQ(std::u16string(helper.Translate(text::kKnobsControl)),
            u"Up / Down mouse control of circular knobs");
  EXPECT_EQ(std::u16string(helper.Translate(text::kOpenPreset)), u"Open Preset");
  EXPECT_EQ(std::u16string(helper.Translate(4, nullptr, nullptr)), u"");

  // A library without a table refuses the interface; the texts stay English.
  library.hasTable = false;
  library.language.calls = 0;
  EXPECT_EQ(std::u16string(helper.Translate(text::kCantGetData)),
            u"Can't get data about new updates from the server.");
  EXPECT_EQ(library.language.calls, 0);

  TranslationHelper alone;
  EXPECT_EQ(std::u16string(alone.Translate(text::kSavePresetAs)), u"Save Preset As");
}

TEST(TranslationHelper, NegativeAnswersCountAsNotFound) {
  FakeLibrary library;
  library.language.answer = u"junk";
  library.language.result = -1;
  TranslationHelper helper;
  helper.SetContext(&library, "de");
  EXPECT_EQ(std::u16string(helper.Translate(text::kHelp)), u"Help");
}

TEST(TranslationHelper, TextsEndInsideTheBuffer) {
  FakeLibrary library;  // outlives the helper, which releases it
  TranslationHelper helper;
  const std::string longKey(3000, 'k');
  EXPECT_EQ(std::u16string(helper.Translate(1, longKey.c_str(), nullptr)).size(), 2047u);

  // A parser that fills the whole buffer and claims more still leaves a terminated text.
  library.language.answer = std::u16string(2048, u'x');
  library.language.result = 5000;
  helper.SetContext(&library, "de");
  EXPECT_EQ(std::u16string(helper.Translate(text::kOk)).size(), 2047u);
}

TEST(TranslationHelper, HoldsOneReferenceToTheLibraryOfItsContext) {
  FakeLibrary first;
  FakeLibrary second;
  TranslationHelper helper;
  helper.SetContext(&first, "de");
  helper.SetContext(&first, "fr");
  EXPECT_EQ(first.refs, 2u);
  EXPECT_STREQ(helper.Language(), "fr");
  helper.SetContext(&second, nullptr);
  EXPECT_EQ(first.refs, 1u);
  EXPECT_EQ(second.refs, 2u);
  EXPECT_STREQ(helper.Language(), "en");
  helper.SetContext(nullptr, "it");
  EXPECT_EQ(second.refs, 1u);
  EXPECT_EQ(helper.Library(), nullptr);
}

TEST(TranslationHelper, CurrentLanguageIsTheTablesWhenItHasOne) {
  FakeLibrary library;
  TranslationHelper helper;
  helper.SetContext(&library, "de");
  library.language.current = "ja";
  EXPECT_STREQ(helper.CurrentLanguage(), "ja");
  library.language.current = nullptr;
  EXPECT_STREQ(helper.CurrentLanguage(), "de");
  library.language.current = "ja";
  library.hasTable = false;
  EXPECT_STREQ(helper.CurrentLanguage(), "de");
  EXPECT_EQ(library.refs, 2u);
}

}  // namespace
}  // namespace vitrella
