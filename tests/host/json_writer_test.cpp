// JSON as the listing writes it: escaped strings, numbers and nesting that a strict
// reader accepts.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>

#include "host/json_reader.h"
#include "host/json_writer.h"

namespace vitrella::host {
namespace {

using vitrella::testing::JsonValue;
using vitrella::testing::ParseJson;

TEST(JsonString, EscapesQuotesBackslashesAndControlCharacters) {
  EXPECT_EQ(JsonString("say \"hi\""), R"("say \"hi\"")");
  EXPECT_EQ(JsonString("C:\\path"), R"("C:\\path")");
  EXPECT_EQ(JsonString("a\nb\tc\rd\be\ff"), R"("a\nb\tc\rd\be\ff")");
  EXPECT_EQ(JsonString(std::string("\x01\x1f", 2)), R"("\u0001\u001f")");
  EXPECT_EQ(JsonString(std::string("nul\0!", 5)), R"("nul\u0000!")");
}

TEST(JsonString, KeepsUtf8AndReplacesBytesThatAreNot) {
  EXPECT_EQ(JsonString("Bild \xC3\xA9 \xF0\x9F\x98\x80"), "\"Bild \xC3\xA9 \xF0\x9F\x98\x80\"");
  EXPECT_EQ(JsonString("\xFF"), R"("\ufffd")");
  EXPECT_EQ(JsonString("end \xC3"), R"("end \ufffd")");              // cut short
  EXPECT_EQ(JsonString("\xC0\xAF"), R"("\ufffd\ufffd")");            // overlong
  EXPECT_EQ(JsonString("\xED\xA0\x80"), R"("\ufffd\ufffd\ufffd")");  // a surrogate
}

TEST(JsonWriter, WritesADocumentThatAStrictReaderAccepts) {
  std::ostringstream out;
  JsonWriter json(out);
  json.BeginObject();
  json.Key("name");
  json.String("Edge \"Smoother\"");
  json.Key("numbers");
  json.BeginArray(JsonWriter::Layout::kInline);
  json.Float(0.605f);
  json.Float(std::numeric_limits<float>::quiet_NaN());
  json.Integer(-961);
  json.Float(1e30f);
  json.EndArray();
  json.Key("panel");
  json.BeginObject(JsonWriter::Layout::kInline);
  json.Key("x");
  json.Integer(66);
  json.Key("nested");
  json.BeginArray();
  json.Bool(true);
  json.Null();
  json.EndArray();
  json.EndObject();
  json.Key("empty");
  json.BeginArray();
  json.EndArray();
  json.EndObject();

  const std::string text = out.str();
  EXPECT_NE(text.find("\"numbers\": [0.605, null, -961, 1e+30]"), std::string::npos) << text;
  EXPECT_NE(text.find("\"empty\": []"), std::string::npos) << text;
  const JsonValue document = ParseJson(text);
  EXPECT_EQ(document["name"].text, "Edge \"Smoother\"");
  EXPECT_EQ(static_cast<float>(document["numbers"][0].number), 0.605f);
  EXPECT_TRUE(document["numbers"][1].IsNull());
  EXPECT_EQ(document["numbers"][2].number, -961);
  EXPECT_EQ(document["panel"]["x"].number, 66);
  EXPECT_TRUE(document["panel"]["nested"][0].boolean);
  EXPECT_TRUE(document["empty"].items.empty());
}

}  // namespace
}  // namespace vitrella::host
