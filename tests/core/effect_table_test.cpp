// The rules an effect's table is held to at compile time, and how preset rows without
// places for group records answer GetPresetValue.
#include "core/effect_table.h"

#include <gtest/gtest.h>

#include <cstring>

#include "vitrella/effect.h"

namespace vitrella {
namespace {

constexpr const char* kModes[] = {"One", "Two"};

constexpr ParamDef kParams[] = {
    GroupOpen("Group", 0, 0),
    SliderParam("Amount", 0, 100, 0.5f, {0, 20, 48, 30}, "How much"),
    ChoiceParam("Mode", kModes, 1, {60, 20, 90, 30}, nullptr),
    GroupClose("Group", {0, 0, 160, 60}),
    CheckParam("On", true, {0, 70, 60, 10}, nullptr),
};

// The saved overshoot of 1.0001 is kept as it was saved.
constexpr PresetDef kGood[] = {{"Good", {SliderValue(1.0001f), ChoiceValue(0), kOff}},
                               {"Other", {SliderValue(0.25f), ChoiceValue(1), kOn}}};
static_assert(TableIsWellFormed(kParams, kGood));

// A place for each group record, as rows once had.
constexpr PresetDef kPlaceholders[] = {
    {"Placeholders", {SliderValue(0), SliderValue(0.2f), ChoiceValue(0), SliderValue(0), kOff}}};
static_assert(!TableIsWellFormed(kParams, kPlaceholders));
constexpr PresetDef kShort[] = {{"Short", {SliderValue(0.2f), ChoiceValue(0)}}};
static_assert(!TableIsWellFormed(kParams, kShort));
constexpr PresetDef kWrongKind[] = {{"Kind", {kOn, ChoiceValue(0), kOff}}};
static_assert(!TableIsWellFormed(kParams, kWrongKind));
constexpr PresetDef kSliderAbove[] = {{"Above", {SliderValue(1.01f), ChoiceValue(0), kOff}}};
static_assert(!TableIsWellFormed(kParams, kSliderAbove));
constexpr PresetDef kSliderBelow[] = {{"Below", {SliderValue(-0.1f), ChoiceValue(0), kOff}}};
static_assert(!TableIsWellFormed(kParams, kSliderBelow));
constexpr PresetDef kChoicePast[] = {{"Past", {SliderValue(0.1f), ChoiceValue(2), kOff}}};
static_assert(!TableIsWellFormed(kParams, kChoicePast));
constexpr ParamDef kBadDefault[] = {SliderParam("Amount", 0, 100, 1.5f, {}, nullptr)};
static_assert(!TableIsWellFormed(kBadDefault, {}));
constexpr ParamDef kLongName[] = {
    CheckParam("A label far longer than the forty bytes a record holds", false, {}, nullptr)};
static_assert(!TableIsWellFormed(kLongName, {}));

static_assert(NamesMatch(kParams, SliderId{1, "Amount"}, ChoiceId{2, "Mode"}, CheckId{4, "On"}));
static_assert(!NamesMatch(kParams, SliderId{2, "Mode"}));  // a choice read as a slider
static_assert(!NamesMatch(kParams, CheckId{4, "Of"}));     // another label
static_assert(!NamesMatch(kParams, CheckId{5, "On"}));     // past the table

constexpr EffectTable kTable{"Table", kTraitsPlain, kParams, kGood};

TEST(PresetValue, GroupRecordsHoldNoPlaceInTheRow) {
  ParamValue v{};
  ASSERT_TRUE(PresetValue(kTable, 0, 1, &v));
  EXPECT_EQ(v.slider, 1.0001f);
  ASSERT_TRUE(PresetValue(kTable, 1, 2, &v));
  EXPECT_EQ(v.choice, 1);
  ASSERT_TRUE(PresetValue(kTable, 1, 4, &v));
  EXPECT_EQ(v.check, 1);
  // A group record answers an empty value.
  std::memset(&v, 0xAB, sizeof v);
  ASSERT_TRUE(PresetValue(kTable, 1, 3, &v));
  EXPECT_EQ(v.color, 0u);
}

TEST(PresetValue, PastEitherEndOrIntoNothingIsFalseAndLeavesTheValue) {
  ParamValue v = SliderValue(0.75f);
  EXPECT_FALSE(PresetValue(kTable, 0, 5, &v));
  EXPECT_FALSE(PresetValue(kTable, 2, 1, &v));
  EXPECT_EQ(v.slider, 0.75f);
  EXPECT_FALSE(PresetValue(kTable, 0, 1, nullptr));
  EXPECT_EQ(PresetName(kTable, 1), std::string("Other"));
  EXPECT_EQ(PresetName(kTable, 2), nullptr);
}

}  // namespace
}  // namespace vitrella
