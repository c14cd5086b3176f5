// The preset file's XML on its own: what is written, and what any file reads back as.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "core/effect_table.h"
#include "presets/preset_test_support.h"
#include "support/preset_file.h"

namespace vitrella {
namespace {

using testing::ReadText;
using testing::ScratchFolder;
using testing::WriteText;

PresetParam Entry(ParamKind kind, ParamValue value = {}) {
  return {value, kind};
}

PresetRecord Named(const char* name, const char* library, const char* effect) {
  PresetRecord record{};
  std::strcpy(record.name, name);
  std::strcpy(record.libraryName, library);
  std::strcpy(record.effectName, effect);
  return record;
}

void Add(PresetRecord& record, PresetParam entry) {
  record.params[record.paramCount++] = entry;
}

// A record that the reader must not touch.
PresetRecord Untouched() {
  PresetRecord record = Named("before", "lib", "fx");
  record.paramCount = 7;
  return record;
}

class PresetFileTest : public ::testing::Test {
 protected:
  // Reads a document given as text.
  bool Read(const std::string& text, PresetRecord& record) const {
    WriteText(folder_.Path("in.xml"), text);
    return ReadPresetFile(folder_.Path("in.xml").c_str(), record);
  }
  static std::string Document(const std::string& inside,
                              const std::string& attributes = " EffectName=\"Edge Smoother\"") {
    return "<?xml version=\"1.0\" ?>\n<Preset" + attributes + ">\n" + inside + "</Preset>\n";
  }

  ScratchFolder folder_;
};

TEST_F(PresetFileTest, WritesTheFixedDocumentWithSixDecimalsAndSignedColours) {
  PresetRecord record = Named("Mine", "Corvane Vitrella III", "Edge Smoother");
  Add(record, Entry(ParamPoint, PointValue(0.25f, 0.5f)));
  Add(record, Entry(ParamChoice, ChoiceValue(3)));
  Add(record, Entry(ParamSlider, SliderValue(1.23456789f)));
  Add(record, Entry(ParamColor, ColorValue(0xFF000000u)));
  ParamValue anyByte{};
  anyByte.check = 7;
  Add(record, Entry(ParamCheck, anyByte));
  Add(record, Entry(ParamGroup, SliderValue(0.5f)));
  Add(record, Entry(ParamSlider, SliderValue(0.0000001f)));
  const std::string path = folder_.Path("mine.fxpzr3d");
  ASSERT_TRUE(WritePresetFile(path.c_str(), record));
  EXPECT_EQ(ReadText(path),
            "<?xml version=\"1.0\" standalone=\"no\" ?>\n"
            "<!-- Effect's Preset File -->\n"
            "<Preset Name=\"Mine\" LibraryName=\"Corvane Vitrella III\" "
            "EffectName=\"Edge Smoother\">\n"
            "    <parameter type=\"0\" x=\"0.250000\" y=\"0.500000\" />\n"
            "    <parameter type=\"1\" value=\"3\" />\n"
            "    <parameter type=\"2\" value=\"1.234568\" />\n"
            "    <parameter type=\"3\" value=\"-16777216\" />\n"
            "    <parameter type=\"4\" value=\"1\" />\n"
            "    <parameter type=\"5\" />\n"
            "    <parameter type=\"2\" value=\"0.000000\" />\n"
            "</Preset>\n");

  PresetRecord back{};
  ASSERT_TRUE(ReadPresetFile(path.c_str(), back));
  ASSERT_EQ(back.paramCount, 7);
  EXPECT_STREQ(back.name, "Mine");
  EXPECT_STREQ(back.libraryName, "Corvane Vitrella III");
  EXPECT_STREQ(back.effectName, "Edge Smoother");
  EXPECT_EQ(back.params[0].value.point[0], 0.25f);
  EXPECT_EQ(back.params[0].value.point[1], 0.5f);
  EXPECT_EQ(back.params[1].value.choice, 3);
  EXPECT_EQ(back.params[2].value.slider, 1.234568f);
  EXPECT_EQ(back.params[3].value.color, 0xFF000000u);
  EXPECT_EQ(back.params[4].value.check, 1);
  EXPECT_EQ(back.params[5].kind, ParamGroup);
  EXPECT_EQ(back.params[6].value.slider, 0.0f);
}

TEST_F(PresetFileTest, AnEmptyRecordMakesAValidFileThatDoesNotReadBack) {
  const std::string path = folder_.Path("empty.fxpzr3d");
  ASSERT_TRUE(WritePresetFile(path.c_str(), Named("", "", "")));
  EXPECT_NE(ReadText(path).find("<Preset Name=\"\" LibraryName=\"\" EffectName=\"\" />"),
            std::string::npos);
  PresetRecord back = Untouched();
  EXPECT_FALSE(ReadPresetFile(path.c_str(), back));
  EXPECT_EQ(back.paramCount, 0);
  EXPECT_STREQ(back.name, "") << "the names are cleared before the parameters are looked for";
}

TEST_F(PresetFileTest, WritingFailsWhereTheFileCannotBeWholly) {
  const PresetRecord record = Named("a", "b", "c");
  EXPECT_FALSE(WritePresetFile(folder_.Path("missing/x.fxpzr3d").c_str(), record));
  EXPECT_FALSE(WritePresetFile(nullptr, record));
  if (std::filesystem::exists("/dev/full")) {
    EXPECT_FALSE(WritePresetFile("/dev/full", record)) << "a full disk";
  }
  // A count beyond the record's room writes the room and no more.
  PresetRecord large = record;
  large.paramCount = 1000;
  ASSERT_TRUE(WritePresetFile(folder_.Path("large.xml").c_str(), large));
  PresetRecord back{};
  ASSERT_TRUE(ReadPresetFile(folder_.Path("large.xml").c_str(), back));
  EXPECT_EQ(back.paramCount, kPresetMaxParams);
}

TEST_F(PresetFileTest, AFileCutShortGivesTheParametersBeforeTheCut) {
  // Characters of two, three and four bytes, so that some cuts end inside one.
  PresetRecord record = Named("Schärfe ✓ 𝄞", "Corvane Vitrella III", "Edge Smoother");
  Add(record, Entry(ParamSlider, SliderValue(0.25f)));
  Add(record, Entry(ParamCheck, kOn));
  Add(record, Entry(ParamColor, ColorValue(0x00112233u)));
  const std::string whole = folder_.Path("whole.xml");
  ASSERT_TRUE(WritePresetFile(whole.c_str(), record));
  const std::string text = ReadText(whole);
  const size_t presetStart = text.find("<Preset");
  const size_t third = text.rfind("<parameter");
  const size_t closing = text.find("</Preset>");

  for (size_t cut = 0; cut < text.size(); ++cut) {
    SCOPED_TRACE(cut);
    PresetRecord back = Untouched();
    const bool read = Read(text.substr(0, cut), back);
    if (cut <= presetStart) {
      EXPECT_FALSE(read);
      EXPECT_STREQ(back.name, "before");
      EXPECT_EQ(back.paramCount, 7);
      continue;
    }
    // Until the parser has made the Preset element, the record is not touched.
    const bool untouched = std::strcmp(back.name, "before") == 0 && back.paramCount == 7;
    EXPECT_TRUE(untouched || back.paramCount <= 3);
    if (cut >= third) {
      ASSERT_TRUE(read);
      ASSERT_GE(back.paramCount, 2);
      EXPECT_EQ(back.params[0].value.slider, 0.25f);
      EXPECT_EQ(back.params[1].value.check, 1);
    }
    if (cut >= closing) {
      ASSERT_EQ(back.paramCount, 3);
      EXPECT_EQ(back.params[2].value.color, 0x00112233u);
      EXPECT_STREQ(back.effectName, "Edge Smoother");
    }
  }
}

TEST_F(PresetFileTest, KeepsTheFirstHundredOfMoreParameters) {
  std::string inside;
  for (int i = 0; i < 120; ++i)
    inside += "<parameter type=\"1\" value=\"" + std::to_string(i) + "\"/>\n";
  PresetRecord back{};
  ASSERT_TRUE(Read(Document(inside), back));
  ASSERT_EQ(back.paramCount, 100);
  EXPECT_EQ(back.params[99].value.choice, 99);
}

TEST_F(PresetFileTest, FindsTheFirstParameterByNameAndCountsEverySiblingAfterIt) {
  PresetRecord back{};
  ASSERT_TRUE(Read(Document("<junk a=\"1\"/>\n<parameter type=\"2\" value=\"0.5\"/>\n"
                            "<other/>\n<parameter type=\"1\" value=\"2\"/>\n"),
                   back));
  ASSERT_EQ(back.paramCount, 3);
  EXPECT_EQ(back.params[0].kind, ParamSlider);
  EXPECT_EQ(back.params[0].value.slider, 0.5f);
  EXPECT_EQ(back.params[1].kind, ParamPoint) << "a foreign element reads as a point at 0, 0";
  EXPECT_EQ(back.params[1].value.point[0], 0.0f);
  EXPECT_EQ(back.params[1].value.point[1], 0.0f);
  EXPECT_EQ(back.params[2].value.choice, 2);
}

TEST_F(PresetFileTest, EachEntrySetsOnlyWhatItsTypeNames) {
  PresetRecord back{};
  ASSERT_TRUE(Read(Document("<parameter type=\"2\" value=\"0.75\"/>\n"
                            "<parameter type=\"4\" value=\"5\"/>\n<parameter type=\"5\"/>\n"
                            "<parameter type=\"9\" value=\"3\"/>\n"),
                   back));
  ASSERT_EQ(back.paramCount, 4);
  const ParamValue slider = SliderValue(0.75f);
  EXPECT_EQ(back.params[1].value.check, 1);
  // The bytes a check does not name keep what the slider before it left.
  EXPECT_EQ(std::memcmp(back.params[1].value.bytes + 1, slider.bytes + 1, 3), 0);
  EXPECT_EQ(back.params[2].kind, ParamGroup);
  EXPECT_EQ(std::memcmp(&back.params[2].value, &back.params[1].value, 8), 0);
  EXPECT_EQ(back.params[3].kind, 9);
}

TEST_F(PresetFileTest, ReadsMissingAttributesAsZeroAndRefusesNamesThatDoNotFit) {
  const std::string fits(259, 'n');
  const std::string tooLong(260, 'n');
  PresetRecord back = Untouched();
  ASSERT_TRUE(Read(Document("<parameter/>\n<parameter type=\"3\"/>\n",
                            " Name=\"" + fits + "\" LibraryName=\"" + tooLong + "\""),
                   back));
  EXPECT_EQ(std::string(back.name), fits);
  EXPECT_STREQ(back.libraryName, "");
  EXPECT_STREQ(back.effectName, "");
  ASSERT_EQ(back.paramCount, 2);
  EXPECT_EQ(back.params[0].kind, ParamPoint);
  EXPECT_EQ(back.params[0].value.point[0], 0.0f);
  EXPECT_EQ(back.params[1].value.color, 0u);
}

TEST_F(PresetFileTest, ReadsNumbersAsDecimalTextWhateverTheyHold) {
  PresetRecord back{};
  ASSERT_TRUE(Read(Document("<parameter type=\" +1\" value=\"  -7\"/>\n"
                            "<parameter type=\"1\" value=\"abc\"/>\n"
                            "<parameter type=\"1\" value=\"99999999999\"/>\n"
                            "<parameter type=\"3\" value=\"-99999999999\"/>\n"
                            "<parameter type=\"2\" value=\"1e400\"/>\n"
                            "<parameter type=\"2\" value=\"-3.5e38\"/>\n"
                            "<parameter type=\"2\" value=\"1e-400\"/>\n"
                            "<parameter type=\"0\" x=\"0,5\" y=\"+0.5\"/>\n"),
                   back));
  ASSERT_EQ(back.paramCount, 8);
  EXPECT_EQ(back.params[0].kind, ParamChoice);
  EXPECT_EQ(back.params[0].value.choice, -7);
  EXPECT_EQ(back.params[1].value.choice, 0);
  EXPECT_EQ(back.params[2].value.choice, 2147483647);
  EXPECT_EQ(back.params[3].value.color, 0x80000000u);
  EXPECT_EQ(back.params[4].value.slider, HUGE_VALF);
  EXPECT_EQ(back.params[5].value.slider, -HUGE_VALF);
  EXPECT_EQ(back.params[6].value.slider, 0.0f);
  EXPECT_EQ(back.params[7].value.point[0], 0.0f) << "a comma is no decimal point here";
  EXPECT_EQ(back.params[7].value.point[1], 0.5f);
}

TEST_F(PresetFileTest, WithoutAPresetElementTheRecordStaysAsItWas) {
  for (const std::string& text :
       {std::string(), std::string("<Other/>"), std::string("not xml at all"),
        std::string("<preset><parameter type=\"1\"/></preset>")}) {
    PresetRecord back = Untouched();
    EXPECT_FALSE(Read(text, back)) << text;
    EXPECT_STREQ(back.name, "before");
    EXPECT_EQ(back.paramCount, 7);
  }
  PresetRecord back = Untouched();
  EXPECT_FALSE(ReadPresetFile(folder_.Path("nothing-here.xml").c_str(), back));
  EXPECT_FALSE(ReadPresetFile(folder_.Path("").c_str(), back)) << "a folder";
  EXPECT_FALSE(ReadPresetFile(nullptr, back));
  EXPECT_FALSE(ReadPreset(nullptr, back));
  EXPECT_EQ(back.paramCount, 7);
}

}  // namespace
}  // namespace vitrella
