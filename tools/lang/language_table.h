// The language table of the collection: every text by category and key, in each
// language the table lists.
//
// The table is an XML document of our own:
//
//   <LanguageTable base="en">
//     <Language code="en" name="English"/>  ...one per language
//     <Category id="4">
//       <Text key="Open Preset">
//         <en>Open Preset</en>
//         <de>Voreinstellung öffnen</de>  ...one element per language, named by its code
//       </Text>
//     </Category>
//   </LanguageTable>
//
// in UTF-8. A table that does not parse as a whole is refused.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vitrella::lang {

class LanguageTable {
 public:
  // Nothing when the text, up to its first NUL, is not a whole, well-formed table.
  static std::optional<LanguageTable> Parse(std::string xml);
  static std::optional<LanguageTable> Load(const std::string& path);

  // The text in that language; null when the table lacks the key or its language.
  const std::u16string* Find(const std::string& language, uint32_t category,
                             const std::string& key) const;

  // The listed two-letter codes, in the table's order.
  const std::vector<std::string>& Languages() const { return languages_; }
  bool HasLanguage(const std::string& code) const;
  const std::string& BaseLanguage() const { return base_; }

 private:
  using Key = std::pair<uint32_t, std::string>;

  std::string base_;
  std::vector<std::string> languages_;
  std::map<Key, std::map<std::string, std::u16string>> texts_;
};

}  // namespace vitrella::lang
