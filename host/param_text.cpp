#include "param_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "host_error.h"

namespace vitrella::host {
namespace {

std::string BoundedText(const char* field, size_t bytes) {
  return std::string(field, strnlen(field, bytes));
}

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool StartsWithIgnoreCase(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() && EqualsIgnoreCase(text.substr(0, prefix.size()), prefix);
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

[[noreturn]] void BadValue(const ParamInfo& info, uint32_t index, std::string_view text,
                           std::string_view expected) {
  throw UsageError("bad value '" + std::string(text) + "' for parameter " + std::to_string(index) +
                   " '" + ParamLabel(info) + "' (" + std::string(KindName(info.kind)) +
                   "): expected " + std::string(expected));
}

std::string Candidates(const std::vector<ParamInfo>& params, const std::vector<uint32_t>& found) {
  std::string list;
  for (uint32_t index : found) {
    if (!list.empty()) list += ", ";
    list += std::to_string(index) + " '" + ParamLabel(params[index]) + "'";
  }
  return list;
}

// The non-group records whose label passes `matches`.
template <typename Match>
std::vector<uint32_t> MatchLabels(const std::vector<ParamInfo>& params, Match matches) {
  std::vector<uint32_t> found;
  for (uint32_t i = 0; i < params.size(); ++i) {
    if (params[i].kind != ParamGroup && matches(ParamLabel(params[i]))) found.push_back(i);
  }
  return found;
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
        BadValue(info, index, text, "two numbers x,y");
      }
      return value;
    }
    case ParamChoice: {
      const std::vector<std::string> texts = ChoiceTexts(info);
      // An entry's own text comes first, so that entries that read like numbers keep
      // their meaning.
      for (size_t i = 0; i < texts.size(); ++i) {
        if (EqualsIgnoreCase(texts[i], text)) {
          value.choice = static_cast<int32_t>(i);
          return value;
        }
      }
      uint32_t entry = 0;
      if (ParseIndex(text, &entry) && entry < texts.size()) {
        value.choice = static_cast<int32_t>(entry);
        return value;
      }
      std::string expected = "one of";
      for (size_t i = 0; i < texts.size(); ++i) {
        expected += (i == 0 ? " '" : ", '") + texts[i] + "'";
      }
      BadValue(info, index, text,
               texts.empty() ? "an entry, but the list is empty"
                             : expected + " or an index below " + std::to_string(texts.size()));
    }
    case ParamSlider:
      if (!ParseFloat(text, &value.slider) || value.slider < 0.0f || value.slider > 1.0f) {
        BadValue(info, index, text, "a fraction from 0 to 1");
      }
      return value;
    case ParamColor: {
      if (text.size() != 7 || text[0] != '#') BadValue(info, index, text, "#RRGGBB");
      uint32_t rgb = 0;
      for (size_t i = 1; i < 7; ++i) {
        const int digit = HexDigit(text[i]);
        if (digit < 0) BadValue(info, index, text, "#RRGGBB");
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
      BadValue(info, index, text, "on or off");
    case ParamGroup:
      throw UsageError("parameter " + std::to_string(index) + " '" + ParamLabel(info) +
                       "' is a group and takes no value");
    default:
      throw UsageError("parameter " + std::to_string(index) + " '" + ParamLabel(info) +
                       "' has the unknown kind " + std::to_string(info.kind));
  }
}

uint32_t ResolveParam(const std::vector<ParamInfo>& params, std::string_view key) {
  if (key.empty()) throw UsageError("a parameter is missing before '='");
  uint32_t index = 0;
  if (ParseIndex(key, &index)) {
    if (index >= params.size()) {
      throw UsageError("no parameter " + std::string(key) + ": the effect has " +
                       std::to_string(params.size()) + " parameter records");
    }
    return index;
  }
  std::vector<uint32_t> found =
      MatchLabels(params, [&](const std::string& label) { return EqualsIgnoreCase(label, key); });
  if (found.empty()) {
    found = MatchLabels(params,
                        [&](const std::string& label) { return StartsWithIgnoreCase(label, key); });
  }
  if (found.size() == 1) return found[0];
  if (found.size() > 1) {
    throw UsageError("parameter '" + std::string(key) + "' is ambiguous: it matches " +
                     Candidates(params, found) + "; give the index");
  }
  for (uint32_t i = 0; i < params.size(); ++i) {
    if (params[i].kind == ParamGroup && EqualsIgnoreCase(ParamLabel(params[i]), key)) {
      throw UsageError("'" + std::string(key) + "' is a group and takes no value");
    }
  }
  std::vector<uint32_t> all = MatchLabels(params, [](const std::string&) { return true; });
  throw UsageError("unknown parameter '" + std::string(key) + "'; the effect has " +
                   (all.empty() ? std::string("none") : Candidates(params, all)));
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
