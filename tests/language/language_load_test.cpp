// The language load of the library object, with the real language module and table and
// with stand-ins that refuse in each possible way, each in a folder of its own.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "language/library_folder.h"
#include "support/multilingual_base.h"
#include "support/translation_helper.h"

namespace vitrella {
namespace {

using testing::LibraryFolder;

constexpr const char* kTable = "KZVitrella3Lang.xml";

std::u16string Text(IMultiLingual& language, const char* code, uint32_t category, const char* key) {
  WideChar text[2048] = {};
  if (language.GetLanguageText(code, category, key, text, 2048) <= 0) return u"";
  return text;
}

class LanguageLoad : public ::testing::Test {
 protected:
  void SetUp() override { ClearFakeSettings(); }
  void TearDown() override { ClearFakeSettings(); }

  static void ClearFakeSettings() {
    for (const char* name : {"FAKE_LANG_PARSER", "FAKE_LANG_TABLE", "FAKE_LANG_UNLOAD"})
      unsetenv(name);
  }

  // QueryInterface for IMultiLingual; null when refused, with the out pointer checked.
  static IMultiLingual* LanguageOf(IEffectLibrary* library) {
    void* out = &out;
    const Result result = library->QueryInterface(kIID_IMultiLingual, &out);
    if (result != kOk) {
      EXPECT_EQ(result, kNoInterface);
      EXPECT_EQ(out, nullptr);
      return nullptr;
    }
    return static_cast<IMultiLingual*>(out);
  }

  LibraryFolder folder_;
};

TEST_F(LanguageLoad, WithoutTheModuleTheLibraryWorksInEnglish) {
  IEffectLibrary* library = folder_.OpenLibrary();
  ASSERT_NE(library, nullptr);
  EXPECT_EQ(LanguageOf(library), nullptr);
  IVideoEffect* effect = library->CreateEffect(3);
  ASSERT_NE(effect, nullptr);
  effect->Release();
  {
    TranslationHelper helper;
    helper.SetContext(library, "de");
    EXPECT_EQ(std::u16string(helper.Translate(text::kOpenPreset)), u"Open Preset");
  }
  EXPECT_EQ(library->Release(), 0u);
}

TEST_F(LanguageLoad, ModuleAndTableTranslateAndTheModuleGoesWithTheLibrary) {
  folder_.PlaceBuilt("KZLang.so");
  folder_.PlaceBuilt(kTable);
  IEffectLibrary* library = folder_.OpenLibrary();
  ASSERT_NE(library, nullptr);
  IMultiLingual* language = LanguageOf(library);
  ASSERT_NE(language, nullptr);
  EXPECT_EQ(Text(*language, "de", 4, "Open Preset"), u"Voreinstellung öffnen");
  EXPECT_EQ(Text(*language, "ja", 10, "Cancel"), u"キャンセル");
  EXPECT_EQ(Text(*language, "xx", 10, "Cancel"), u"");
  EXPECT_EQ(Text(*language, "de", 4, "No such key"), u"");
  EXPECT_NE(language->GetCurrentLanguage(), nullptr);
  EXPECT_EQ(language->LanguageQuery(1, 0, 0, 0, 0, 0, 0), 7u) << "the table's languages";
  {
    TranslationHelper helper;
    helper.SetContext(library, "fr");
    EXPECT_EQ(std::u16string(helper.Translate(text::kSavePresetAs)),
              u"Enregistrer le préréglage sous");
    helper.SetLanguage("ru");  // not in the table: "en"
    EXPECT_EQ(std::u16string(helper.Translate(text::kSavePresetAs)), u"Save Preset As");
  }
  EXPECT_EQ(language->Release(), 1u);
  EXPECT_TRUE(LibraryFolder::IsLoaded(folder_.Path("KZLang.so")));
  EXPECT_EQ(library->Release(), 0u);
  EXPECT_FALSE(LibraryFolder::IsLoaded(folder_.Path("KZLang.so")))
      << "with its parser released the module agrees to go";
}

TEST_F(LanguageLoad, TheModuleSearchesABareTableNameBesideItself) {
  folder_.PlaceBuilt("KZLang.so");
  folder_.PlaceBuilt(kTable);
  void* module = dlopen(folder_.Path("KZLang.so").c_str(), RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(module, nullptr);
  const auto get = reinterpret_cast<GetLangXMLParserFn>(dlsym(module, kGetLangXMLParserExport));
  const auto canUnload = reinterpret_cast<LanguageCanUnloadFn>(dlsym(module, "CanUnloadDLLNow"));
  ASSERT_NE(get, nullptr);
  ASSERT_NE(canUnload, nullptr);
  ILangXMLParser* parser = get();
  ASSERT_NE(parser, nullptr);
  EXPECT_FALSE(canUnload()) << "a live parser keeps the module";
  EXPECT_FALSE(parser->LoadLanguageFile(u"Elsewhere.xml"));
  EXPECT_EQ(parser->GetCurrentLanguage(), nullptr);
  EXPECT_TRUE(parser->LoadLanguageFile(u"KZVitrella3Lang.xml"));
  EXPECT_NE(parser->GetCurrentLanguage(), nullptr);
  EXPECT_EQ(parser->Release(), 0u);
  EXPECT_TRUE(canUnload());
  dlclose(module);
}

TEST_F(LanguageLoad, WithoutTheTableTheParserIsHeldButNoTextsAreOffered) {
  folder_.PlaceBuilt("KZLang.so");
  IEffectLibrary* library = folder_.OpenLibrary();
  ASSERT_NE(library, nullptr);
  EXPECT_EQ(LanguageOf(library), nullptr);
  EXPECT_TRUE(LibraryFolder::IsLoaded(folder_.Path("KZLang.so")));
  EXPECT_EQ(library->Release(), 0u);
  EXPECT_FALSE(LibraryFolder::IsLoaded(folder_.Path("KZLang.so")));
}

TEST_F(LanguageLoad, TheTableIsAskedForBesideTheLibraryThenByItsBareName) {
  folder_.Place(FAKE_LANG_PATH, "KZLang.so");
  setenv("FAKE_LANG_TABLE", "bare", 1);
  IEffectLibrary* library = folder_.OpenLibrary();
  ASSERT_NE(library, nullptr);
  IMultiLingual* language = LanguageOf(library);
  ASSERT_NE(language, nullptr);
  EXPECT_EQ(LibraryFolder::FakeCalls(folder_.Path("KZLang.so")),
            "parser;load " + folder_.Path(kTable) + ";load " + kTable + ";");
  language->Release();
  EXPECT_EQ(library->Release(), 0u);
}

TEST_F(LanguageLoad, TheFourTextOperationsPassEveryArgumentInOrder) {
  folder_.Place(FAKE_LANG_PATH, "KZLang.so");
  IEffectLibrary* library = folder_.OpenLibrary();
  ASSERT_NE(library, nullptr);
  IMultiLingual* language = LanguageOf(library);
  ASSERT_NE(language, nullptr);
  EXPECT_EQ(language->LanguageQuery(1, 2, 3, 4, 5, 6, 7), 7654321u);
  EXPECT_EQ(Text(*language, "de", 4, "Open Preset"), u"de/4/Open Preset");
  WideChar small[5];
  EXPECT_EQ(language->GetLanguageText("de", 4, "Open Preset", small, 5), 4);
  EXPECT_EQ(std::u16string(small), u"de/4");
  EXPECT_STREQ(language->GetCurrentLanguage(), "fk");
  EXPECT_TRUE(language->LanguageCommand(1, 2, 3, 4));
  EXPECT_FALSE(language->LanguageCommand(4, 3, 2, 1));
  language->Release();
  EXPECT_EQ(library->Release(), 0u);
}

TEST_F(LanguageLoad, NoTableAndNoParserLeaveTheLibraryInEnglish) {
  folder_.Place(FAKE_LANG_PATH, "KZLang.so");
  const std::string module = folder_.Path("KZLang.so");
  setenv("FAKE_LANG_TABLE", "none", 1);
  IEffectLibrary* library = folder_.OpenLibrary();
  ASSERT_NE(library, nullptr);
  EXPECT_EQ(LanguageOf(library), nullptr);
  EXPECT_EQ(LibraryFolder::FakeCalls(module),
            "parser;load " + folder_.Path(kTable) + ";load " + kTable + ";");
  EXPECT_EQ(library->Release(), 0u);
  EXPECT_FALSE(LibraryFolder::IsLoaded(module));

  setenv("FAKE_LANG_PARSER", "none", 1);
  library = folder_.OpenLibrary();
  ASSERT_NE(library, nullptr);
  EXPECT_EQ(LanguageOf(library), nullptr);
  EXPECT_EQ(LibraryFolder::FakeCalls(module), "parser;");
  EXPECT_EQ(library->Release(), 0u);
  EXPECT_FALSE(LibraryFolder::IsLoaded(module));
}

TEST_F(LanguageLoad, AModuleThatRefusesUnloadingStaysLoaded) {
  folder_.Place(FAKE_LANG_PATH, "KZLang.so");
  const std::string module = folder_.Path("KZLang.so");
  setenv("FAKE_LANG_UNLOAD", "no", 1);
  IEffectLibrary* library = folder_.OpenLibrary();
  ASSERT_NE(library, nullptr);
  EXPECT_EQ(library->Release(), 0u);
  EXPECT_TRUE(LibraryFolder::IsLoaded(module));
  const std::string calls = LibraryFolder::FakeCalls(module);
  EXPECT_TRUE(calls.ends_with(";release;can-unload;")) << calls;
}

TEST_F(LanguageLoad, AModuleWithoutTheUnloadQuestionIsFreed) {
  folder_.Place(FAKE_LANG_PLAIN_PATH, "KZLang.so");
  IEffectLibrary* library = folder_.OpenLibrary();
  ASSERT_NE(library, nullptr);
  EXPECT_TRUE(LibraryFolder::IsLoaded(folder_.Path("KZLang.so")));
  EXPECT_EQ(library->Release(), 0u);
  EXPECT_FALSE(LibraryFolder::IsLoaded(folder_.Path("KZLang.so")));
}

// The language side alone, loaded beside an anchor module that stands for the library.
class LanguageSide final : public CMultiLingualBase {
 public:
  Result VITRELLA_CALL QueryInterface(const Guid&, void** out) override {
    *out = nullptr;
    return kNoInterface;
  }
  uint32_t VITRELLA_CALL AddRef() override { return 1; }
  uint32_t VITRELLA_CALL Release() override { return 1; }

  platform::ModuleHandle Module() const { return module_; }
  bool HoldsParser() const { return parser_ != nullptr; }
};

class LanguageReload : public LanguageLoad {
 protected:
  void SetUp() override {
    LanguageLoad::SetUp();
    folder_.Place(FAKE_LANG_PLAIN_PATH, "anchor.so");
    folder_.Place(FAKE_LANG_PATH, "KZLang.so");
    anchor_ = dlopen(folder_.Path("anchor.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(anchor_, nullptr);
  }
  void TearDown() override {
    if (anchor_ != nullptr) dlclose(anchor_);
    LanguageLoad::TearDown();
  }

  void* anchor_ = nullptr;
};

TEST_F(LanguageReload, WithoutATableTheFourOperationsAnswerNothing) {
  setenv("FAKE_LANG_TABLE", "none", 1);
  LanguageSide side;
  EXPECT_FALSE(side.LoadLanguageTable(anchor_, kTable));
  EXPECT_TRUE(side.HoldsParser());
  EXPECT_FALSE(side.LanguageReady());
  WideChar text[16] = {};
  EXPECT_EQ(side.LanguageQuery(1, 2, 3, 4, 5, 6, 7), 0u);
  EXPECT_EQ(side.GetLanguageText("de", 4, "Open Preset", text, 16), 0);
  EXPECT_EQ(side.GetCurrentLanguage(), nullptr);
  EXPECT_FALSE(side.LanguageCommand(1, 2, 3, 4));
  EXPECT_FALSE(side.LoadLanguageTable(anchor_, kTable)) << "a held parser stops a second load";
}

// A second load asks the module it holds whether it may go. The record of calls shows
// which way it went: a freed module comes back fresh and has seen only the new load.
TEST_F(LanguageReload, AReloadFreesTheModuleItHeld) {
  setenv("FAKE_LANG_PARSER", "none", 1);
  LanguageSide side;
  EXPECT_FALSE(side.LoadLanguageTable(anchor_, kTable));
  ASSERT_NE(side.Module(), nullptr);
  EXPECT_FALSE(side.LoadLanguageTable(anchor_, kTable));
  EXPECT_NE(side.Module(), nullptr);
  EXPECT_EQ(LibraryFolder::FakeCalls(folder_.Path("KZLang.so")), "parser;");
}

TEST_F(LanguageReload, AReloadForgetsAModuleThatRefusesUnloadingWithoutFreeingIt) {
  setenv("FAKE_LANG_PARSER", "none", 1);
  setenv("FAKE_LANG_UNLOAD", "no", 1);
  LanguageSide side;
  EXPECT_FALSE(side.LoadLanguageTable(anchor_, kTable));
  EXPECT_FALSE(side.LoadLanguageTable(anchor_, kTable));
  EXPECT_EQ(LibraryFolder::FakeCalls(folder_.Path("KZLang.so")), "parser;can-unload;parser;");
}

}  // namespace
}  // namespace vitrella
