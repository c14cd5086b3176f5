// The language table we ship and the parser of our language module, in process.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "support/text_keys.h"
#include "tools/lang/lang_parser.h"
#include "tools/lang/language_table.h"

namespace vitrella::lang {
namespace {

std::string ReadTableText() {
  std::ifstream file(VITRELLA_LANG_TABLE, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

size_t Count(const std::u16string& text, const std::u16string& what) {
  size_t count = 0;
  for (size_t at = text.find(what); at != std::u16string::npos; at = text.find(what, at + 1))
    ++count;
  return count;
}

TEST(LanguageTable, HoldsEveryKeyTheLibraryAsksForInEveryLanguage) {
  const std::optional<LanguageTable> table = LanguageTable::Load(VITRELLA_LANG_TABLE);
  ASSERT_TRUE(table);
  EXPECT_EQ(table->BaseLanguage(), "en");
  for (const char* code : {"en", "de", "fr", "es", "it", "pt", "ja"}) {
    EXPECT_TRUE(table->HasLanguage(code)) << code;
  }
  for (const TextKey& key : text::kAllKeys) {
    SCOPED_TRACE(key.key);
    const std::u16string* english = table->Find("en", key.category, key.key);
    ASSERT_NE(english, nullptr);
    // Where the library has English of its own, the table's base says the same.
    if (key.category != kTextCommonWords && std::string(key.key) != "Copyright") {
      const std::string own = key.fallback != nullptr ? key.fallback : key.key;
      EXPECT_EQ(*english, std::u16string(own.begin(), own.end()));
    }
    for (const std::string& language : table->Languages()) {
      const std::u16string* text = table->Find(language, key.category, key.key);
      ASSERT_NE(text, nullptr) << language;
      EXPECT_FALSE(text->empty()) << language;
      EXPECT_EQ(Count(*text, u"%s"), Count(*english, u"%s")) << language;
    }
  }
}

TEST(LanguageTable, RefusesATableThatIsNotWhole) {
  const std::string text = ReadTableText();
  ASSERT_FALSE(text.empty());
  EXPECT_TRUE(LanguageTable::Parse(text));
  EXPECT_FALSE(LanguageTable::Parse(text.substr(0, text.size() / 2)));
  EXPECT_FALSE(LanguageTable::Parse("<LanguageTable base=\"en\"></LanguageTable>"))
      << "a table without languages";
  EXPECT_FALSE(LanguageTable::Parse("<Other/>"));
  EXPECT_FALSE(LanguageTable::Parse(""));

  // Entries it does not understand are passed over.
  const std::optional<LanguageTable> odd = LanguageTable::Parse(
      "<LanguageTable><Language code=\"de\"/><Language code=\"deu\"/>"
      "<Category id=\"x\"><Text key=\"A\"><de>a</de></Text></Category>"
      "<Category id=\"4\"><Text><de>b</de></Text><Text key=\"C\"><de>c</de><fr/></Text>"
      "</Category></LanguageTable>");
  ASSERT_TRUE(odd);
  EXPECT_EQ(odd->Languages(), std::vector<std::string>{"de"});
  EXPECT_EQ(odd->BaseLanguage(), "de");
  ASSERT_NE(odd->Find("de", 4, "C"), nullptr);
  EXPECT_EQ(*odd->Find("de", 4, "C"), u"c");
  EXPECT_EQ(odd->Find("fr", 4, "C"), nullptr);
}

// The environment of the current language, restored afterwards.
class ParserTest : public ::testing::Test {
 protected:
  static constexpr const char* kVariables[] = {kLanguageVariable, "LC_ALL", "LC_MESSAGES", "LANG"};

  void SetUp() override {
    for (const char* name : kVariables) {
      const char* value = std::getenv(name);
      saved_.emplace_back(name,
                          value != nullptr ? std::optional<std::string>(value) : std::nullopt);
      unsetenv(name);
    }
  }
  void TearDown() override {
    for (const auto& [name, value] : saved_) {
      if (value) {
        setenv(name, value->c_str(), 1);
      } else {
        unsetenv(name);
      }
    }
    if (parser_ != nullptr) parser_->Release();
  }

  // A new parser with the shipped table; its current language follows the environment.
  CLangXMLParser& Load() {
    if (parser_ != nullptr) parser_->Release();
    parser_ = new CLangXMLParser();
    const std::string path = VITRELLA_LANG_TABLE;
    EXPECT_TRUE(parser_->LoadLanguageFile(std::u16string(path.begin(), path.end()).c_str()));
    return *parser_;
  }

  std::vector<std::pair<const char*, std::optional<std::string>>> saved_;
  CLangXMLParser* parser_ = nullptr;
};

TEST_F(ParserTest, WritesWithinTheCapacityAndAnswersNothingForWhatItLacks) {
  CLangXMLParser& parser = Load();
  WideChar text[2048];
  EXPECT_EQ(parser.GetLanguageText("de", 4, "Open Preset", text, 2048), 21);
  EXPECT_EQ(std::u16string(text), u"Voreinstellung öffnen");
  EXPECT_EQ(parser.GetLanguageText("de", 4, "Open Preset", text, 5), 4);
  EXPECT_EQ(std::u16string(text), u"Vore");
  EXPECT_EQ(parser.GetLanguageText("de", 4, "Open Preset", text, 0), 0);
  EXPECT_EQ(parser.GetLanguageText("de", 4, "Open Preset", nullptr, 5), 0);
  EXPECT_EQ(parser.GetLanguageText("de", 5, "Open Preset", text, 2048), 0) << "other category";
  EXPECT_EQ(parser.GetLanguageText("xx", 4, "Open Preset", text, 2048), 0);
  EXPECT_EQ(parser.GetLanguageText("de", 4, nullptr, text, 2048), 0);
  EXPECT_EQ(parser.GetLanguageText(nullptr, 10, "Help", text, 2048), 4) << "current: en";
  EXPECT_EQ(std::u16string(text), u"Help");
}

TEST_F(ParserTest, CurrentLanguageFollowsTheEnvironmentAndTheCommand) {
  EXPECT_STREQ(Load().GetCurrentLanguage(), "en");
  setenv("LANG", "ja_JP.UTF-8", 1);
  EXPECT_STREQ(Load().GetCurrentLanguage(), "ja");
  setenv("LC_ALL", "C", 1);  // set, so it decides, and names no language
  EXPECT_STREQ(Load().GetCurrentLanguage(), "en");
  setenv("LC_ALL", "ru_RU", 1);
  EXPECT_STREQ(Load().GetCurrentLanguage(), "en") << "not in the table";
  setenv(kLanguageVariable, "PT", 1);
  CLangXMLParser& parser = Load();
  EXPECT_STREQ(parser.GetCurrentLanguage(), "pt");

  const auto code = [](const char* text) { return reinterpret_cast<uintptr_t>(text); };
  EXPECT_TRUE(parser.LanguageCommand(kCommandSetLanguage, code("it"), 0, 0));
  EXPECT_STREQ(parser.GetCurrentLanguage(), "it");
  EXPECT_FALSE(parser.LanguageCommand(kCommandSetLanguage, code("xx"), 0, 0));
  EXPECT_FALSE(parser.LanguageCommand(kCommandSetLanguage, 0, 0, 0));
  EXPECT_FALSE(parser.LanguageCommand(7, code("de"), 0, 0));
  EXPECT_STREQ(parser.GetCurrentLanguage(), "it");

  EXPECT_EQ(parser.LanguageQuery(kQueryLanguageCount, 0, 0, 0, 0, 0, 0), 7u);
  EXPECT_STREQ(
      reinterpret_cast<const char*>(parser.LanguageQuery(kQueryLanguageCode, 1, 0, 0, 0, 0, 0)),
      "de");
  EXPECT_EQ(parser.LanguageQuery(kQueryLanguageCode, 7, 0, 0, 0, 0, 0), 0u);
}

TEST_F(ParserTest, ATableThatFailsToLoadLeavesTheOneBefore) {
  CLangXMLParser& parser = Load();
  EXPECT_FALSE(parser.LoadLanguageFile(u"/nonexistent/KZVitrella3Lang.xml"));
  EXPECT_FALSE(parser.LoadLanguageFile(u""));
  EXPECT_FALSE(parser.LoadLanguageFile(nullptr));
  EXPECT_FALSE(parser.LoadLanguageFile(u"/tmp")) << "a folder";
  WideChar text[64];
  EXPECT_GT(parser.GetLanguageText("fr", 10, "Help", text, 64), 0);
}

}  // namespace
}  // namespace vitrella::lang
