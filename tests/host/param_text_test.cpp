// Parameter values and parameter names as the command line gives them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <vector>

#include "host/host_error.h"
#include "host/param_records.h"
#include "host/param_text.h"

namespace vitrella::host {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using vitrella::testing::Choice;
using vitrella::testing::Group;
using vitrella::testing::Record;
using vitrella::testing::Slider;

ParamValue Parse(const ParamInfo& info, const char* text) {
  return ParseValue(info, 7, text);
}

TEST(ParamValueText, SliderTakesAFractionFromZeroToOne) {
  const ParamInfo strength = Slider("Strength", 0, 100);
  EXPECT_EQ(Parse(strength, "0").slider, 0.0f);
  EXPECT_EQ(Parse(strength, "1").slider, 1.0f);
  EXPECT_EQ(Parse(strength, "0.605").slider, 0.605f);
  for (const char* bad : {"", "abc", "1.01", "-0.1", "nan", "inf", "0.5x", " 0.5", "60.5"}) {
    EXPECT_THROW(Parse(strength, bad), UsageError) << bad;
  }
}

TEST(ParamValueText, PointTakesTwoNumbers) {
  const ParamInfo centre = Record(ParamPoint, "Centre");
  const ParamValue value = Parse(centre, "0.25,0.75");
  EXPECT_EQ(value.point[0], 0.25f);
  EXPECT_EQ(value.point[1], 0.75f);
  for (const char* bad : {"0.5", "0.5,", ",0.5", "a,b", "0.1,0.2,0.3", "nan,0", "0.5;0.5"}) {
    EXPECT_THROW(Parse(centre, bad), UsageError) << bad;
  }
}

TEST(ParamValueText, ColorWordKeepsRedInTheLowByte) {
  const ParamInfo tint = Record(ParamColor, "Tint");
  EXPECT_EQ(Parse(tint, "#FF8000").color, 0x000080FFu);
  EXPECT_EQ(Parse(tint, "#0000ff").color, 0x00FF0000u);
  EXPECT_EQ(ColorText(0x000080FFu), "#FF8000");
  for (const char* bad : {"FF8000", "#FF800", "#FF80000", "#GG0000", "red"}) {
    EXPECT_THROW(Parse(tint, bad), UsageError) << bad;
  }
}

TEST(ParamValueText, CheckTakesOnOrOff) {
  const ParamInfo invert = Record(ParamCheck, "Invert");
  EXPECT_EQ(Parse(invert, "on").check, 1);
  EXPECT_EQ(Parse(invert, "ON").check, 1);
  EXPECT_EQ(Parse(invert, "off").check, 0);
  EXPECT_EQ(Parse(invert, "true").check, 1);
  EXPECT_THROW(Parse(invert, "maybe"), UsageError);
  EXPECT_THROW(Parse(invert, ""), UsageError);
}

TEST(ParamValueText, ChoiceTakesTextBeforeIndex) {
  const ParamInfo mode = Choice("Mode", {"Normal", "Screen", "Multiply"});
  EXPECT_EQ(Parse(mode, "screen").choice, 1);
  EXPECT_EQ(Parse(mode, "2").choice, 2);
  EXPECT_THROW(Parse(mode, "3"), UsageError);
  EXPECT_THROW(Parse(mode, "Overlay"), UsageError);
  // Entries that read like numbers keep their meaning.
  const ParamInfo grid = Choice("Grid", {"3", "2"});
  EXPECT_EQ(Parse(grid, "2").choice, 1);
  EXPECT_EQ(Parse(grid, "0").choice, 0);
}

TEST(ParamValueText, GroupTakesNoValue) {
  EXPECT_THROW(Parse(Group("Inside", false), ""), UsageError);
  EXPECT_THROW(Parse(Group("Inside", false), "on"), UsageError);
}

TEST(ParamValueText, ErrorNamesTheParameterAndTheExpectedForm) {
  try {
    Parse(Slider("Strength", 0, 100), "2");
    FAIL() << "no error";
  } catch (const UsageError& error) {
    EXPECT_THAT(error.what(), AllOf(HasSubstr("'2'"), HasSubstr("7 'Strength'"),
                                    HasSubstr("a fraction from 0 to 1")));
  }
}

TEST(ParamValueText, FormattedValuesReadBack) {
  const std::vector<std::pair<ParamInfo, const char*>> cases = {
      {Slider("Strength", 0, 100), "0.5001"},           {Record(ParamPoint, "Centre"), "0.125,0.9"},
      {Record(ParamColor, "Tint"), "#12AB9F"},          {Record(ParamCheck, "Invert"), "on"},
      {Choice("Mode", {"Normal", "Screen"}), "Screen"},
  };
  for (const auto& [info, text] : cases) {
    const ParamValue value = ParseValue(info, 0, text);
    EXPECT_EQ(FormatValue(info, value), text);
    const ParamValue again = ParseValue(info, 0, FormatValue(info, value));
    EXPECT_EQ(std::memcmp(&value, &again, sizeof(value)), 0) << text;
  }
}

TEST(ParamValueText, SliderTakesThePanelsValueWithAUnitMark) {
  const ParamInfo brightness = Slider("Brightness", -100, 100);
  const ParamInfo size = Slider("Size", 0, 100);
  // The same fraction by either form, so that the pictures agree too.
  EXPECT_EQ(Parse(brightness, "+20").slider, Parse(brightness, "0.6").slider);
  EXPECT_EQ(Parse(brightness, "-100").slider, 0.0f);
  EXPECT_EQ(Parse(brightness, "+100%").slider, 1.0f);
  EXPECT_EQ(Parse(size, "50%").slider, Parse(size, "0.5").slider);
  EXPECT_EQ(Parse(size, "60.5%").slider, 0.605f);
  EXPECT_EQ(Parse(size, "+30").slider, Parse(size, "0.3").slider);
  for (const char* bad : {"+101", "-101", "101%", "-1%", "%", "+", "+-5", "50 %", "++5", "5%%"}) {
    EXPECT_THROW(Parse(size, bad), UsageError) << bad;
  }
  EXPECT_THROW(Parse(brightness, "+100.5"), UsageError);
}

TEST(ParamValueText, ShownSliderValuesReadBackExactly) {
  for (const ParamInfo& info : {Slider("Size", 0, 100), Slider("Tint", -100, 100),
                                Slider("Angle", 0, 360), Slider("Odd", -3.5f, 7.25f)}) {
    for (const float fraction : {0.0f, 1.0f, 0.5f, 0.605f, 0.6501f, 1.0f / 3.0f, 0.123456789f}) {
      const std::string text = FormatSliderShown(info, fraction);
      EXPECT_EQ(Parse(info, text.c_str()).slider, fraction) << ParamLabel(info) << " " << text;
    }
  }
  EXPECT_EQ(FormatSliderShown(Slider("Size", 0, 100), 0.605f), "60.5%");
  // A stored cell that is practically 0 (the bits of a colour word) still reads back.
  const float tiny = std::bit_cast<float>(0x00C0C0C0u);
  EXPECT_EQ(
      Parse(Slider("Size", 0, 100), FormatSliderShown(Slider("Size", 0, 100), tiny).c_str()).slider,
      tiny);
  EXPECT_EQ(FormatSliderShown(Slider("Tint", -100, 100), 0.5f), "+0");
  EXPECT_EQ(FormatSliderShown(Slider("Tint", -100, 100), 0.4f), "-20");
}

TEST(ParamValueText, SliderShowsItsPanelRange) {
  const ParamInfo balance = Slider("Balance", -100, 100);
  EXPECT_EQ(FormatShown(ShownSliderValue(balance, 0.5f)), "0");
  EXPECT_EQ(FormatShown(ShownSliderValue(Slider("Strength", 0, 100), 0.605f)), "60.5");
}

}  // namespace
}  // namespace vitrella::host
