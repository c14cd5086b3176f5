#include "tools/lang/language_table.h"

#include <tinyxml.h>

#include <algorithm>
#include <charconv>
#include <cstring>

#include "platform/text.h"
#include "support/xml_text.h"

namespace vitrella::lang {
namespace {

bool IsLanguageCode(const char* code) {
  return code != nullptr && std::strlen(code) == 2;
}

std::optional<uint32_t> CategoryId(const char* text) {
  if (text == nullptr) return std::nullopt;
  const char* end = text + std::strlen(text);
  uint32_t id = 0;
  const auto [stop, error] = std::from_chars(text, end, id);
  if (error != std::errc() || stop != end || stop == text) return std::nullopt;
  return id;
}

}  // namespace

std::optional<LanguageTable> LanguageTable::Parse(std::string xml) {
  TiXmlDocument document;
  document.Parse(PadForXmlParser(xml), nullptr, TIXML_ENCODING_UTF8);
  // Unlike a preset, a table cut short would hide texts without a word: refuse it.
  if (document.Error()) return std::nullopt;
  const TiXmlElement* root = document.FirstChildElement("LanguageTable");
  if (root == nullptr) return std::nullopt;

  LanguageTable table;
  for (const TiXmlElement* language = root->FirstChildElement("Language"); language != nullptr;
       language = language->NextSiblingElement("Language")) {
    const char* code = language->Attribute("code");
    if (IsLanguageCode(code) && !table.HasLanguage(code)) table.languages_.emplace_back(code);
  }
  if (table.languages_.empty()) return std::nullopt;
  const char* base = root->Attribute("base");
  table.base_ = base != nullptr && table.HasLanguage(base) ? base : table.languages_.front();

  // Entries that are not understood are passed over; the rest of the table stands.
  for (const TiXmlElement* category = root->FirstChildElement("Category"); category != nullptr;
       category = category->NextSiblingElement("Category")) {
    const std::optional<uint32_t> id = CategoryId(category->Attribute("id"));
    if (!id) continue;
    for (const TiXmlElement* text = category->FirstChildElement("Text"); text != nullptr;
         text = text->NextSiblingElement("Text")) {
      const char* key = text->Attribute("key");
      if (key == nullptr) continue;
      auto& translations = table.texts_[{*id, key}];
      for (const TiXmlElement* translation = text->FirstChildElement(); translation != nullptr;
           translation = translation->NextSiblingElement()) {
        const char* words = translation->GetText();
        if (words == nullptr || *words == '\0') continue;
        translations[translation->Value()] = platform::Utf8ToWide(words);
      }
    }
  }
  return table;
}

std::optional<LanguageTable> LanguageTable::Load(const std::string& path) {
  // The whole file as text, so that the file and the fuzz target share one way in.
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return std::nullopt;
  std::string text;
  const bool read = ReadWholeStream(file, text);
  std::fclose(file);
  // A NUL would hide the rest of the table from the parser.
  if (!read || text.find('\0') != std::string::npos) return std::nullopt;
  return Parse(std::move(text));
}

const std::u16string* LanguageTable::Find(const std::string& language, uint32_t category,
                                          const std::string& key) const {
  const auto entry = texts_.find({category, key});
  if (entry == texts_.end()) return nullptr;
  const auto text = entry->second.find(language);
  return text != entry->second.end() ? &text->second : nullptr;
}

bool LanguageTable::HasLanguage(const std::string& code) const {
  return std::find(languages_.begin(), languages_.end(), code) != languages_.end();
}

}  // namespace vitrella::lang
