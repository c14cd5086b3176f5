// Parameters and effects by the names people type: groups, spacing, case, shortened
// labels, shared labels told apart by the value, and suggestions for near misses.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "host/host_error.h"
#include "host/message_text.h"
#include "host/name_match.h"
#include "host/param_names.h"
#include "host/param_records.h"
#include "host/param_text.h"

namespace vitrella::host {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using vitrella::testing::Choice;
using vitrella::testing::Group;
using vitrella::testing::Record;
using vitrella::testing::Slider;

class ParamNames : public ::testing::Test {
 protected:
  // Shaped like a panel with two grades: a colour and a slider share the label "Tint"
  // inside each group, and "Brightness" stands in both.
  const std::vector<ParamInfo> params_ = {
      Slider("Strength", 0, 100),
      Group("Inside", false),  // 0 1
      Record(ParamColor, "Tint"),
      Slider("Tint", -100, 100),  // 2 3
      Slider("Brightness", -100, 100),
      Record(ParamCheck, "Invert"),  // 4 5
      Group("Inside", true),
      Group("Outside", false),  // 6 7
      Record(ParamColor, "Tint"),
      Slider("Tint", -100, 100),  // 8 9
      Slider("Brightness", -100, 100),
      Group("Outside", true),  // 10 11
      Choice("Blend mode", {"Normal"}),
      Slider("Mix", 0, 1),  // 12 13
      Slider("Mix amount", 0, 1),
      Record(ParamCheck, "Home  Movies"),  // 14 15
  };

  uint32_t Index(const char* key, const char* value) {
    return ResolveSetting(params_, key, value).index;
  }

  std::string ErrorFor(const char* key, const char* value = "0.5") {
    try {
      ResolveSetting(params_, key, value);
    } catch (const UsageError& error) {
      return error.what();
    }
    return "no error";
  }
};

TEST_F(ParamNames, GroupsComeFromTheOpenAndCloseRecords) {
  const std::vector<std::string> groups = ParamGroups(params_);
  EXPECT_EQ(groups[0], "");
  EXPECT_EQ(groups[1], "");  // a group's own records stand outside it
  EXPECT_EQ(groups[3], "Inside");
  EXPECT_EQ(groups[6], "");
  EXPECT_EQ(groups[10], "Outside");
  EXPECT_EQ(QualifiedName(params_, 9), "Outside/Tint");
  EXPECT_EQ(QualifiedName(params_, 13), "Mix");
}

TEST_F(ParamNames, IndexLabelOrGroupAndLabel) {
  EXPECT_EQ(Index("5", "on"), 5u);
  EXPECT_EQ(Index("INVERT", "on"), 5u);
  EXPECT_EQ(Index("inside/brightness", "+20"), 4u);
  EXPECT_EQ(Index("Outside/Brightness", "+20"), 10u);
  EXPECT_EQ(Index("  outside /  brightness ", "0.5"), 10u);  // spacing and case aside
  EXPECT_EQ(Index("home movies", "on"), 15u);
  EXPECT_EQ(Index("blend", "Normal"), 12u);  // the start of one label
  EXPECT_EQ(Index("mix", "0.5"), 13u);       // a whole label beats a longer one
  EXPECT_EQ(Index("mix a", "0.5"), 14u);
}

TEST_F(ParamNames, TheValuesFormTellsAColourFromASlider) {
  EXPECT_EQ(Index("Outside/Tint", "#FF8000"), 8u);
  EXPECT_EQ(Index("Outside/Tint", "+20"), 9u);
  const ParamSettingValue colour = ResolveSetting(params_, "inside/tint", "#0000ff");
  EXPECT_EQ(colour.index, 2u);
  EXPECT_EQ(colour.value.color, 0x00FF0000u);
  // A bad value names both forms it could have had.
  EXPECT_THAT(ErrorFor("Outside/Tint", "abc"),
              AllOf(HasSubstr("bad value 'abc'"), HasSubstr("#RRGGBB (color)"),
                    HasSubstr("fraction from 0 to 1"), HasSubstr("(slider)")));
}

TEST_F(ParamNames, AmbiguousNamesListTheCandidatesAndTheWayOut) {
  EXPECT_THAT(ErrorFor("Brightness"),
              AllOf(HasSubstr("ambiguous"), HasSubstr("4 'Inside/Brightness'"),
                    HasSubstr("10 'Outside/Brightness'"), HasSubstr("name its group")));
  // Two sliders called Tint remain after the value has ruled out the colours.
  EXPECT_THAT(ErrorFor("Tint", "+20"),
              AllOf(HasSubstr("3 'Inside/Tint' (slider)"), Not(HasSubstr("(color)"))));
  // The start "b" fits Blend mode and both Brightness sliders; a number rules out the
  // choice, an entry's text rules out the sliders.
  EXPECT_THAT(ErrorFor("b"), AllOf(HasSubstr("ambiguous"), Not(HasSubstr("Blend mode"))));
  EXPECT_EQ(Index("b", "normal"), 12u);
}

TEST_F(ParamNames, UnknownNamesSuggestTheNearest) {
  EXPECT_THAT(ErrorFor("Brigthness"), AllOf(HasSubstr("unknown parameter 'Brigthness'"),
                                            HasSubstr("did you mean 'Inside/Brightness'")));
  EXPECT_EQ(Index("Outside/Brightnes", "0.5"), 10u);  // the start of one label in its group
  EXPECT_THAT(ErrorFor("Outsde/Tint", "#000000"), HasSubstr("did you mean 'Outside/Tint'"));
  EXPECT_THAT(ErrorFor("Contrast"),
              AllOf(HasSubstr("unknown parameter"), HasSubstr("5 'Inside/Invert'")));
  EXPECT_THAT(ErrorFor("Inside"), HasSubstr("is a group"));
  EXPECT_THAT(ErrorFor("16"), HasSubstr("no parameter 16"));
  EXPECT_THAT(ErrorFor("  "), HasSubstr("missing"));
}

TEST(NameMatch, FoldsCaseAndRunsOfSpaces) {
  EXPECT_EQ(FoldName("  Home \t Movies "), "home movies");
  EXPECT_TRUE(NamesMatch("Home  Movies", "home movies"));
  EXPECT_FALSE(NamesMatch("Home Movies", "HomeMovies"));
}

TEST(NameMatch, NearestNamesAllowAFewMistakesAndNoMore) {
  const std::vector<std::string> effects = {"Edge Smoother", "Rolling Shutter", "Spotlight"};
  EXPECT_THAT(NearestNames("spotlite", effects), ElementsAre("Spotlight"));
  EXPECT_THAT(NearestNames("rolling", effects), ElementsAre("Rolling Shutter"));
  EXPECT_THAT(NearestNames("edge smooter", effects), ElementsAre("Edge Smoother"));
  EXPECT_THAT(NearestNames("blur", effects), ElementsAre());
  EXPECT_THAT(NearestNames("", effects), ElementsAre());
  EXPECT_EQ(Suggestion({"A", "B", "C"}), "; did you mean 'A', 'B' or 'C'?");
  EXPECT_EQ(Suggestion({}), "");
}

TEST(MessageText, QuotedTextIsCutAndCannotBreakTheLine) {
  EXPECT_EQ(Quoted("Size"), "'Size'");
  EXPECT_EQ(Quoted("a\nb\x1b"), "'a?b?'");
  const std::string quoted = Quoted(std::string(120000, 'x'));
  EXPECT_EQ(quoted.size(), kQuotedBytes + 2);
  EXPECT_TRUE(quoted.ends_with("...'"));
  // A cut never splits a character of several bytes.
  std::string accented;
  for (int i = 0; i < 40; ++i)
    accented += "\xC3\xA9";
  const std::string cut = Quoted(accented);
  EXPECT_EQ((cut.size() - 5) % 2, 0u) << cut;
  EXPECT_EQ(OneLine("two\nlines \r\n  "), "two lines");
}

}  // namespace
}  // namespace vitrella::host
