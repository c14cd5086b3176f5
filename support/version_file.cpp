#include "support/version_file.h"

#include <tinyxml.h>

#include "platform/text.h"
#include "support/xml_text.h"

namespace vitrella {
namespace {

// Entry markers of the two lists.
constexpr const char16_t* kFixMarker = u"\n \u00EF ";
constexpr const char16_t* kFeatureMarker = u"\n -";

bool SameText(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
    if (lower(a[i]) != lower(b[i])) return false;
  }
  return true;
}

void ReadEntries(const TiXmlElement& build, const char* kind, uint32_t buildNumber,
                 std::string_view hostName, int64_t& latest, VersionFileFacts& facts,
                 std::u16string& list, const char16_t* marker) {
  for (const TiXmlElement* entry = build.FirstChildElement(kind); entry != nullptr;
       entry = entry->NextSiblingElement(kind)) {
    int date = 0;
    if (entry->QueryIntAttribute("Date", &date) != TIXML_SUCCESS) continue;
    if (date <= static_cast<int64_t>(buildNumber)) continue;
    // The newest date counts whichever host its entry is for.
    if (date > latest) {
      latest = date;
      facts.latestDate = entry->Attribute("Date");
    }
    const char* nleText = entry->Attribute("NLE");
    const std::string_view nle = nleText != nullptr ? nleText : "";
    if (SameText(nle, "All") || (!hostName.empty() && SameText(nle, hostName))) {
      facts.available = true;
    }
    list += marker;
    const char* text = entry->Attribute("String");
    list += platform::Utf8ToWide(text != nullptr ? text : "");
  }
}

}  // namespace

VersionFileFacts ReadVersionFile(const char* text, uint32_t build, std::string_view hostName) {
  VersionFileFacts facts;
  if (text == nullptr) return facts;
  // The parser reads a few bytes past a multi-byte character cut off at the end.
  std::string padded(text);
  TiXmlDocument document;
  document.Parse(PadForXmlParser(padded), nullptr, TIXML_ENCODING_UTF8);
  // A file cut short or garbled says nothing reliable, even where its start still parsed.
  const TiXmlElement* version = document.FirstChildElement("Version");
  if (version == nullptr || document.Error()) return facts;
  facts.readable = true;
  const TiXmlElement* download = version->FirstChildElement("Download");
  if (download == nullptr) return facts;
  if (const char* path = download->Attribute("Path")) facts.downloadPath = path;
  const TiXmlElement* buildElement = version->FirstChildElement("Build");
  if (buildElement == nullptr) return facts;
  if (const char* number = buildElement->Attribute("Version")) facts.buildVersion = number;
  int64_t latest = 0;
  ReadEntries(*buildElement, "Fix", build, hostName, latest, facts, facts.fixes, kFixMarker);
  ReadEntries(*buildElement, "Feature", build, hostName, latest, facts, facts.features,
              kFeatureMarker);
  return facts;
}

}  // namespace vitrella
