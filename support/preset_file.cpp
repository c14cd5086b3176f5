#include "support/preset_file.h"

#include <tinyxml.h>

#include <algorithm>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>

#include "support/xml_text.h"

namespace vitrella {
namespace {

// Every preset file starts from this text; the two blanks and the single quotes
// belong to it.
constexpr const char* kDocumentText =
    "<?xml version=\"1.0\"  standalone='no' >\n"
    "<!-- Effect's Preset File -->\n"
    "<Preset>\n"
    "</Preset>";

// Numbers are written as "%d" and "%f" would write them and read back as decimal text,
// whatever the host's locale says a decimal point is, so files travel between machines.
std::string IntText(int32_t value) {
  char text[16];
  const auto done = std::to_chars(text, text + sizeof(text), value);
  return std::string(text, done.ptr);
}

std::string FloatText(float value) {
  char text[64];  // a float's largest value has 39 digits before the six decimals
  const auto done = std::to_chars(text, text + sizeof(text), static_cast<double>(value),
                                  std::chars_format::fixed, 6);
  return std::string(text, done.ptr);
}

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// Blanks and a plus sign before the number, which from_chars does not take itself.
std::string_view NumberPart(const char* text) {
  std::string_view number = text != nullptr ? text : "";
  while (!number.empty() && IsBlank(number.front()))
    number.remove_prefix(1);
  if (!number.empty() && number.front() == '+' && !number.substr(1).starts_with('-')) {
    number.remove_prefix(1);
  }
  return number;
}

// A missing attribute or one without digits reads as 0; a number past 32 bits as the
// nearest end.
int32_t IntAttribute(const TiXmlElement& element, const char* name) {
  const std::string_view number = NumberPart(element.Attribute(name));
  int64_t value = 0;
  const auto [stop, error] = std::from_chars(number.data(), number.data() + number.size(), value);
  if (error == std::errc::result_out_of_range) {
    return number.starts_with('-') ? std::numeric_limits<int32_t>::min()
                                   : std::numeric_limits<int32_t>::max();
  }
  if (error != std::errc()) return 0;
  return static_cast<int32_t>(std::clamp<int64_t>(value, std::numeric_limits<int32_t>::min(),
                                                  std::numeric_limits<int32_t>::max()));
}

// Through a double, as the file's numbers always went; beyond a float's range the
// value becomes infinite rather than undefined.
float FloatAttribute(const TiXmlElement& element, const char* name) {
  const std::string_view number = NumberPart(element.Attribute(name));
  const char* end = number.data() + number.size();
  double value = 0;
  if (std::from_chars(number.data(), end, value).ec == std::errc::result_out_of_range) {
    // Past a double: a long double tells a huge number from a tiny one.
    long double wide = 0;
    if (std::from_chars(number.data(), end, wide).ec != std::errc()) return 0.0f;
    value = std::fabs(wide) > DBL_MAX ? std::copysign(HUGE_VAL, static_cast<double>(wide))
                                      : static_cast<double>(wide);
  }
  if (value > FLT_MAX) return HUGE_VALF;
  if (value < -FLT_MAX) return -HUGE_VALF;
  return static_cast<float>(value);
}

// The record's text up to its NUL, never past its field.
std::string FieldText(const char (&field)[kPresetTextBytes]) {
  return std::string(field, strnlen(field, kPresetTextBytes));
}

// A bounded copy: a text that does not fit is refused and leaves the field empty.
void CopyAttribute(char (&field)[kPresetTextBytes], const char* text) {
  field[0] = '\0';
  if (text == nullptr) return;
  const size_t length = strnlen(text, kPresetTextBytes);
  if (length >= kPresetTextBytes) return;
  std::memcpy(field, text, length + 1);
}

void WriteParam(TiXmlElement& preset, const PresetParam& param) {
  auto* element = new TiXmlElement("parameter");
  preset.LinkEndChild(element);
  element->SetAttribute("type", IntText(param.kind));
  switch (param.kind) {
    case ParamPoint:
      element->SetAttribute("x", FloatText(param.value.point[0]));
      element->SetAttribute("y", FloatText(param.value.point[1]));
      break;
    case ParamChoice:
      element->SetAttribute("value", IntText(param.value.choice));
      break;
    case ParamSlider:
      element->SetAttribute("value", FloatText(param.value.slider));
      break;
    case ParamColor:
      // Signed in the file: a word with its top bit set is written negative.
      element->SetAttribute("value", IntText(static_cast<int32_t>(param.value.color)));
      break;
    case ParamCheck:
      element->SetAttribute("value", param.value.check != 0 ? "1" : "0");
      break;
    default:
      break;  // group labels and unknown kinds hold no value
  }
}

// Sets only what the element's type names. The other bytes keep what the previous
// element left, which is why a reader must go strictly by the kind.
void ReadParam(const TiXmlElement& element, PresetParam& scratch) {
  scratch.kind = IntAttribute(element, "type");
  switch (scratch.kind) {
    case ParamPoint:
      scratch.value.point[0] = FloatAttribute(element, "x");
      scratch.value.point[1] = FloatAttribute(element, "y");
      break;
    case ParamChoice:
      scratch.value.choice = IntAttribute(element, "value");
      break;
    case ParamSlider:
      scratch.value.slider = FloatAttribute(element, "value");
      break;
    case ParamColor:
      scratch.value.color = static_cast<uint32_t>(IntAttribute(element, "value"));
      break;
    case ParamCheck:
      scratch.value.check = IntAttribute(element, "value") != 0 ? 1 : 0;
      break;
    default:
      break;
  }
}

// As TinyXML's own file loading does it: CR LF and a lone CR become LF.
void NormaliseLineEnds(std::string& text) {
  size_t kept = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r') {
      text[kept++] = '\n';
      if (i + 1 < text.size() && text[i + 1] == '\n') ++i;
    } else {
      text[kept++] = text[i];
    }
  }
  text.resize(kept);
}

bool Write(std::FILE* file, const PresetRecord& record) {
  TiXmlDocument document;
  document.Parse(kDocumentText);
  TiXmlElement* preset = document.FirstChildElement("Preset");
  if (preset == nullptr) return false;
  preset->SetAttribute("Name", FieldText(record.name));
  preset->SetAttribute("LibraryName", FieldText(record.libraryName));
  preset->SetAttribute("EffectName", FieldText(record.effectName));
  const int32_t count = std::clamp(record.paramCount, 0, kPresetMaxParams);
  for (int32_t i = 0; i < count; ++i) {
    WriteParam(*preset, record.params[i]);
  }
  return document.SaveFile(file);
}

}  // namespace

bool WritePresetFile(const char* path, const PresetRecord& record) noexcept {
  if (path == nullptr) return false;
  std::FILE* file = std::fopen(path, "w");
  if (file == nullptr) return false;
  bool written = false;
  try {
    written = Write(file, record);
  } catch (...) {
    written = false;
  }
  // A full disk often shows itself only when the last buffer goes out.
  written = std::fflush(file) == 0 && written;
  written = std::fclose(file) == 0 && written;
  return written;
}

bool ReadPresetFile(const char* path, PresetRecord& record) noexcept {
  if (path == nullptr) return false;
  std::FILE* file = std::fopen(path, "rb");
  if (file == nullptr) return false;
  const bool read = ReadPreset(file, record);
  std::fclose(file);
  return read;
}

bool ReadPreset(std::FILE* file, PresetRecord& record) noexcept {
  if (file == nullptr) return false;
  try {
    std::string text;
    if (!ReadWholeStream(file, text)) return false;
    NormaliseLineEnds(text);
    TiXmlDocument document;
    // The parser's verdict is not asked for: a file cut short still yields the Preset
    // element and the parameters before the cut.
    document.Parse(PadForXmlParser(text));
    const TiXmlElement* preset = document.FirstChildElement("Preset");
    if (preset == nullptr) return false;

    record.paramCount = 0;
    CopyAttribute(record.name, preset->Attribute("Name"));
    CopyAttribute(record.libraryName, preset->Attribute("LibraryName"));
    CopyAttribute(record.effectName, preset->Attribute("EffectName"));

    // Found by name; every sibling after it counts, whatever its name.
    const TiXmlElement* element = preset->FirstChildElement("parameter");
    if (element == nullptr) return false;
    PresetParam scratch{};
    for (; element != nullptr && record.paramCount < kPresetMaxParams;
         element = element->NextSiblingElement()) {
      ReadParam(*element, scratch);
      record.params[record.paramCount++] = scratch;
    }
    return record.paramCount != 0;
  } catch (...) {
    // A file too large to hold in memory reads as a damaged one.
    return false;
  }
}

}  // namespace vitrella
