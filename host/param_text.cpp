#include "param_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <optional>

#include "host_error.h"
#include "message_text.h"
#include "name_match.h"

namespace vitrella::host {
namespace {

std::string BoundedText(const char* field, size_t bytes) {
  return std::string(field, strnlen(field, bytes));
}

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool ParseFloat(std::string_view text, float* value) {
  if (text.empty()) return false;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, *value);
  return error == std::errc() && stop == end && std::isfinite(*value);
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  c = Lower(c);
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

// The panel's form of a slider value carries a mark: a sign or a percent sign.
bool IsShownValue(std::string_view text) {
  return !text.empty() && (text.front() == '+' || text.front() == '-' || text.back() == '%');
}

bool ParseDouble(std::string_view text, double* value) {
  if (text.empty()) return false;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, *value);
  return error == std::errc() && stop == end && std::isfinite(*value);
}

// "+20", "-15", "50%" or "+20%" in the shown range, as a fraction of it.
std::optional<float> ShownToFraction(const ParamInfo& info, std::string_view text) {
  if (text.back() == '%') text.remove_suffix(1);
  const bool plus = !text.empty() && text.front() == '+';
  if (plus) text.remove_prefix(1);
  double shown = 0;
  if (!ParseDouble(text, &shown) || (plus && text.front() == '-')) return std::nullopt;
  const double minimum = info.minimum;
  const double maximum = info.slider.maximum;
  if (!(shown >= std::min(minimum, maximum) && shown <= std::max(minimum, maximum))) {
    return std::nullopt;
  }
  return maximum == minimum ? 0.0f : static_cast<float>((shown - minimum) / (maximum - minimum));
}

[[noreturn]] void BadValue(const ParamInfo& info, uint32_t index, std::string_view text) {
  throw UsageError("bad value " + Quoted(text) + " for parameter " + std::to_string(index) + " " +
                   Quoted(ParamLabel(info)) + " (" + std::string(KindName(info.kind)) +
                   "): expected " + ExpectedForm(info));
}

}  // namespace

std::string ParamLabel(const ParamInfo& info) {
  return BoundedText(info.name, kParamNameBytes);
}

std::vector<std::string> ChoiceTexts(const ParamInfo& info) {
  std::vector<std::string> texts;
  if (info.kind != ParamChoice) return texts;
  const int32_t count = std::clamp(info.choiceCount, 0, kChoiceSlots);
  for (int32_t i = 0; i < count; ++i) {
    texts.push_back(BoundedText(info.choiceText[i], kChoiceTextBytes));
  }
  return texts;
}

std::string_view KindName(int32_t kind) {
  switch (kind) {
    case ParamPoint:
      return "point";
    case ParamChoice:
      return "choice";
    case ParamSlider:
      return "slider";
    case ParamColor:
      return "color";
    case ParamCheck:
      return "check";
    case ParamGroup:
      return "group";
    default:
      return "unknown";
  }
}

std::string FormatFloat(float value) {
  if (!std::isfinite(value)) return std::isnan(value) ? "nan" : (value > 0 ? "inf" : "-inf");
  char text[32];
  const auto result = std::to_chars(text, text + sizeof(text), value);
  return std::string(text, result.ptr);
}

double ShownSliderValue(const ParamInfo& info, float fraction) {
  return static_cast<double>(info.minimum) +
         static_cast<double>(fraction) *
             (static_cast<double>(info.slider.maximum) - static_cast<double>(info.minimum));
}

std::string FormatShown(double shown) {
  char text[64];
  std::snprintf(text, sizeof(text), "%.4f", shown);
  std::string result = text;
  // Trailing zeros say nothing to a reader of the panel's numbers.
  if (result.find('.') != std::string::npos) {
    result.erase(result.find_last_not_of('0') + 1);
    if (result.back() == '.') result.pop_back();
  }
  if (result == "-0") result = "0";
  return result;
}

std::string FormatSliderShown(const ParamInfo& info, float fraction) {
  const double shown = ShownSliderValue(info, fraction);
  const bool percent = info.minimum == 0.0f && info.slider.maximum == 100.0f;
  // The fewest decimals that read back as the same fraction.
  std::string number;
  for (int decimals = 0; decimals <= 9; ++decimals) {
    char text[64];
    std::snprintf(text, sizeof(text), "%.*f", decimals, shown);
    number = text;
    if (number == "-0") number = "0";
    std::string marked = percent ? number + "%" : (number.front() == '-' ? number : "+" + number);
    const std::optional<float> back = ShownToFraction(info, marked);
    if (back && *back == fraction) return marked;
  }
  // A value too small for nine decimals, such as a preset cell that holds a colour word's
  // bits, reads back in the exponent form.
  char text[64];
  std::snprintf(text, sizeof(text), "%.9g", shown);
  number = text;
  return percent ? number + "%" : (number.front() == '-' ? number : "+" + number);
}

std::string ExpectedForm(const ParamInfo& info) {
  switch (info.kind) {
    case ParamPoint:
      return "two numbers x,y";
    case ParamChoice: {
      const std::vector<std::string> texts = ChoiceTexts(info);
      if (texts.empty()) return "an entry, but the list is empty";
      std::string expected = "one of";
      for (size_t i = 0; i < texts.size(); ++i) {
        expected += (i == 0 ? " '" : ", '") + texts[i] + "'";
      }
      return expected + " or an index below " + std::to_string(texts.size());
    }
    case ParamSlider:
      return "a fraction from 0 to 1, or the panel's value from " + FormatShown(info.minimum) +
             " to " + FormatShown(info.slider.maximum) + " marked with a sign or % (as in " +
             FormatSliderShown(info, 0.6f) + ")";
    case ParamColor:
      return "#RRGGBB";
    case ParamCheck:
      return "on or off";
    default:
      return "no value";
  }
}

std::string ColorText(uint32_t word) {
  char text[8];
  std::snprintf(text, sizeof(text), "#%02X%02X%02X", word & 0xFF, (word >> 8) & 0xFF,
                (word >> 16) & 0xFF);
  return text;
}

std::string FormatValue(const ParamInfo& info, const ParamValue& value) {
  switch (info.kind) {
    case ParamPoint:
      return FormatFloat(value.point[0]) + "," + FormatFloat(value.point[1]);
    case ParamChoice: {
      const std::vector<std::string> texts = ChoiceTexts(info);
      if (value.choice >= 0 && static_cast<size_t>(value.choice) < texts.size() &&
          !texts[value.choice].empty()) {
        return texts[value.choice];
      }
      return std::to_string(value.choice);
    }
    case ParamSlider:
      return FormatFloat(value.slider);
    case ParamColor:
      return ColorText(value.color);
    case ParamCheck:
      return value.check != 0 ? "on" : "off";
    default:
      return "";
  }
}

ParamValue ParseValue(const ParamInfo& info, uint32_t index, std::string_view text) {
  ParamValue value{};
  switch (info.kind) {
    case ParamPoint: {
      const size_t comma = text.find(',');
      if (comma == std::string_view::npos || !ParseFloat(text.substr(0, comma), &value.point[0]) ||
          !ParseFloat(text.substr(comma + 1), &value.point[1])) {
        BadValue(info, index, text);
      }
      return value;
    }
    case ParamChoice: {
      const std::vector<std::string> texts = ChoiceTexts(info);
      // An entry's own text comes first, so that entries that read like numbers keep
      // their meaning.
      for (size_t i = 0; i < texts.size(); ++i) {
        if (NamesMatch(texts[i], text)) {
          value.choice = static_cast<int32_t>(i);
          return value;
        }
      }
      uint32_t entry = 0;
      if (ParseIndex(text, &entry) && entry < texts.size()) {
        value.choice = static_cast<int32_t>(entry);
        return value;
      }
      BadValue(info, index, text);
    }
    case ParamSlider: {
      if (IsShownValue(text)) {
        const std::optional<float> fraction = ShownToFraction(info, text);
        if (!fraction) BadValue(info, index, text);
        value.slider = *fraction;
      } else if (!ParseFloat(text, &value.slider) || value.slider < 0.0f || value.slider > 1.0f) {
        BadValue(info, index, text);
      }
      return value;
    }
    case ParamColor: {
      if (text.size() != 7 || text[0] != '#') BadValue(info, index, text);
      uint32_t rgb = 0;
      for (size_t i = 1; i < 7; ++i) {
        const int digit = HexDigit(text[i]);
        if (digit < 0) BadValue(info, index, text);
        rgb = rgb << 4 | static_cast<uint32_t>(digit);
      }
      // #RRGGBB reads red first; the word keeps red in its low byte.
      value.color = (rgb >> 16 & 0xFF) | (rgb & 0xFF00) | (rgb & 0xFF) << 16;
      return value;
    }
    case ParamCheck:
      for (std::string_view on : {"on", "true", "yes", "1"}) {
        if (EqualsIgnoreCase(text, on)) {
          value.check = 1;
          return value;
        }
      }
      for (std::string_view off : {"off", "false", "no", "0"}) {
        if (EqualsIgnoreCase(text, off)) return value;
      }
      BadValue(info, index, text);
    case ParamGroup:
      throw UsageError("parameter " + std::to_string(index) + " '" + ParamLabel(info) +
                       "' is a group and takes no value");
    default:
      throw UsageError("parameter " + std::to_string(index) + " '" + ParamLabel(info) +
                       "' has the unknown kind " + std::to_string(info.kind));
  }
}

bool EqualsIgnoreCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                            [](char x, char y) { return Lower(x) == Lower(y); });
}

bool ParseIndex(std::string_view text, uint32_t* index) {
  if (text.empty() || text.size() > 9) return false;
  uint32_t value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    value = value * 10 + static_cast<uint32_t>(c - '0');
  }
  *index = value;
  return true;
}

}  // namespace vitrella::host
