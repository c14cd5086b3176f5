// Parameter values as text: what the command line accepts and what the listing shows.
//
// Forms by kind:
//   slider  a fraction from 0 to 1, the value the effect computes with ("0.605"), or the
//           value the panel shows, marked with a sign or a percent sign ("+20", "60.5%")
//   point   two numbers "x,y", fractions of the frame, y from the top ("0.5,0.25")
//   color   "#RRGGBB"; the word the effect receives is 0x00BBGGRR, red in the low byte
//   check   "on" or "off" (also true/false, yes/no, 1/0)
//   choice  an entry's text, or its index
//   group   no value
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "vitrella/records.h"

namespace vitrella::host {

// Texts of the record, safe against a field that lacks its terminating NUL.
std::string ParamLabel(const ParamInfo& info);
std::vector<std::string> ChoiceTexts(const ParamInfo& info);

// "point", "choice", "slider", "color", "check", "group"; "unknown" for other numbers.
std::string_view KindName(int32_t kind);

// The shortest text that reads back as the same float.
std::string FormatFloat(float value);

// Slider fraction to the range the panel shows, minimum + fraction * (maximum - minimum),
// and a text of it with at most four decimals.
double ShownSliderValue(const ParamInfo& info, float fraction);
std::string FormatShown(double shown);

// The slider's value as the panel shows it, in the form ParseValue reads back to the same
// fraction: "60.5%" on a slider of 0..100, signed ("+20", "-15", "+0") on any other.
std::string FormatSliderShown(const ParamInfo& info, float fraction);

std::string ColorText(uint32_t word);

// The value in the form that ParseValue accepts (a choice by its text when it has one).
std::string FormatValue(const ParamInfo& info, const ParamValue& value);

// What ParseValue accepts for the record's kind, for messages: "#RRGGBB", "on or off", ...
std::string ExpectedForm(const ParamInfo& info);

// Throws UsageError naming the parameter and the expected form. `index` is only used in
// the message.
ParamValue ParseValue(const ParamInfo& info, uint32_t index, std::string_view text);

// ASCII case-insensitive comparison, for file extensions.
bool EqualsIgnoreCase(std::string_view a, std::string_view b);

// A whole non-negative decimal number without sign or spaces.
bool ParseIndex(std::string_view text, uint32_t* index);

}  // namespace vitrella::host
