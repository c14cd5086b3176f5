// The narrow and wide string classes: storage of empty strings, positions, searches,
// case, numbers and the conversions between the two.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>

#include "support/kz_string.h"
#include "support/kz_unicode_string.h"

namespace vitrella {
namespace {

constexpr uint64_t kNotFound = KZString::kNotFound;

std::string Text(const KZString& s) {
  return s.SafeData();
}
std::u16string Text(const KZUnicodeString& s) {
  return s.SafeData();
}

TEST(KZStringTest, EmptyStringsOwnNoBlock) {
  const KZString narrow;
  EXPECT_EQ(narrow.Data(), nullptr);
  EXPECT_STREQ(narrow.SafeData(), "");
  const KZUnicodeString wide(static_cast<const char16_t*>(nullptr));
  EXPECT_EQ(wide.Data(), nullptr);
  EXPECT_EQ(Text(wide), u"");

  // Every way of arriving at an empty string leaves it without a block.
  KZString s("abc");
  s.Assign(nullptr, 3);
  EXPECT_EQ(s.Data(), nullptr);
  s = "abc";
  s.Assign("xyz", 0);
  EXPECT_EQ(s.Data(), nullptr);
  EXPECT_EQ(KZString("").Data(), nullptr);
  EXPECT_EQ(KZString("abc").Mid(3).Data(), nullptr);
  EXPECT_EQ(KZUnicodeString(u"abc").Replace(u"abc", u"").Data(), nullptr);
  s = "abc";
  s.Clear();
  EXPECT_EQ(s.Length(), 0u);
  EXPECT_EQ(s.Data(), nullptr);
}

TEST(KZStringTest, AssignCopiesCountStoppingAtTheEnd) {
  KZString s("abcdef", 3);
  EXPECT_EQ(Text(s), "abc");
  EXPECT_EQ(s.Length(), 3u);
  // A count past the text stops at its NUL rather than reading beyond it.
  s.Assign("xy", 100);
  EXPECT_EQ(Text(s), "xy");
  EXPECT_EQ(s.Length(), 2u);
  // A source inside the string itself survives the clearing.
  s = "hello";
  s.Assign(s.Data() + 1, 3);
  EXPECT_EQ(Text(s), "ell");
  KZUnicodeString w(u"hello");
  w.Assign(w.Data() + 2, KZUnicodeString::kToEnd);
  EXPECT_EQ(Text(w), u"llo");
}

TEST(KZStringTest, CopiesAndMovesAreIndependent) {
  KZString a("one");
  KZString b(a);
  b.Append("two");
  EXPECT_EQ(Text(a), "one");
  EXPECT_EQ(Text(b), "onetwo");
  KZString c(std::move(b));
  EXPECT_EQ(Text(c), "onetwo");
  a = c;
  const KZString& alias = a;
  a = alias;
  EXPECT_EQ(Text(a), "onetwo");
  EXPECT_NE(a.Data(), c.Data());
}

TEST(KZStringTest, AppendAndConcatenate) {
  KZUnicodeString s(u"ab");
  const char16_t* block = s.Data();
  s.Append(KZUnicodeString());
  EXPECT_EQ(s.Data(), block);  // nothing to add, nothing reallocated
  s.Append(s);
  EXPECT_EQ(Text(s), u"abab");
  EXPECT_EQ(Text(s.Concatenate(u"!")), u"abab!");
  EXPECT_EQ(Text(s.Concatenate(nullptr)), u"abab");
  EXPECT_EQ(Text(KZUnicodeString().Concatenate(KZUnicodeString(u"x"))), u"x");
  EXPECT_EQ(KZString().Concatenate("").Data(), nullptr);
  EXPECT_EQ(Text(KZString("a").Concatenate(KZString("b"))), "ab");
}

TEST(KZStringTest, MidStaysInsideTheText) {
  const KZString s("abcdef");
  EXPECT_EQ(Text(s.Mid(2, 2)), "cd");
  EXPECT_EQ(Text(s.Mid(2)), "cdef");
  EXPECT_EQ(Text(s.Mid(4, 100)), "ef");
  EXPECT_TRUE(s.Mid(6).IsEmpty());
  EXPECT_TRUE(s.Mid(kNotFound, 2).IsEmpty());
  EXPECT_TRUE(s.Mid(1, 0).IsEmpty());
  EXPECT_TRUE(KZString().Mid(0).IsEmpty());
  EXPECT_TRUE(KZUnicodeString().Mid(0, 1).IsEmpty());
}

TEST(KZStringTest, FindWithoutPositionIgnoresCase) {
  EXPECT_EQ(KZString("Preset.XML").Find("xml"), 7u);
  EXPECT_EQ(KZUnicodeString(u"ΑΒΓ δέλτα").Find(u"ΔΈΛΤΑ"), 4u);
  EXPECT_EQ(KZUnicodeString(u"abc").Find(u"d"), kNotFound);
  // An empty text is never found, not even in an empty string.
  EXPECT_EQ(KZString().Find(""), kNotFound);
  EXPECT_EQ(KZUnicodeString().Find(KZUnicodeString()), kNotFound);
  EXPECT_EQ(KZString("abc").Find(""), kNotFound);
}

TEST(KZStringTest, FindFromPositionHonoursCase) {
  const KZString s("abcABCabc");
  EXPECT_EQ(s.Find("ABC", 0), 3u);
  EXPECT_EQ(s.Find("abc", 1), 6u);
  EXPECT_EQ(s.Find("abc", 6), 6u);
  EXPECT_EQ(s.Find("abc", 7), kNotFound);  // no room left for the text
  EXPECT_EQ(s.Find("abcABCabcX", 0), kNotFound);
  EXPECT_EQ(s.Find("a", kNotFound), kNotFound);
  EXPECT_EQ(KZUnicodeString(u"aAa").Find(u"A", 0), 1u);
}

TEST(KZStringTest, FindLastSearchesFromTheEnd) {
  const KZString s("a/b/c");
  EXPECT_EQ(s.FindLast("/"), 3u);
  EXPECT_EQ(s.FindLast("/", 2), 1u);
  EXPECT_EQ(s.FindLast("/", 1), 1u);
  EXPECT_EQ(s.FindLast("/", 0), kNotFound);
  EXPECT_EQ(s.FindLast("A"), kNotFound);  // with regard to case
  EXPECT_EQ(s.FindLast("a/b/c/"), kNotFound);
  EXPECT_EQ(KZString("aaa").FindLast("aa"), 1u);
  EXPECT_EQ(KZUnicodeString(u"x.y.z").FindLast(u"."), 3u);
  EXPECT_EQ(KZUnicodeString().FindLast(u"."), kNotFound);
}

TEST(KZStringTest, ReplaceResumesBehindTheReplacement) {
  EXPECT_EQ(Text(KZString("a-b-c").Replace("-", "+=")), "a+=b+=c");
  // The inserted text is not searched again, so this ends.
  EXPECT_EQ(Text(KZString("aaa").Replace("a", "aa")), "aaaaaa");
  EXPECT_EQ(Text(KZString("aaaa").Replace("aa", "b")), "bb");
  EXPECT_EQ(Text(KZString("Aa").Replace("a", "b")), "Ab");
  EXPECT_EQ(Text(KZUnicodeString(u"%s und %s").Replace(u"%s", u"Δ")), u"Δ und Δ");
  EXPECT_EQ(Text(KZString("abc").Replace("", "x")), "abc");
  EXPECT_EQ(KZString().Replace("a", "b").Data(), nullptr);
  EXPECT_EQ(KZUnicodeString().Replace(u"", u"b").Data(), nullptr);
}

TEST(KZStringTest, EqualityComparesLengthFirst) {
  EXPECT_TRUE(KZString().Equal(KZString("")));
  EXPECT_TRUE(KZString().EqualNoCase(KZString()));
  EXPECT_TRUE(KZString("Yes").EqualNoCase("yES"));
  EXPECT_FALSE(KZString("Yes").Equal("yes"));
  EXPECT_FALSE(KZString("yes").EqualNoCase("yes "));
  EXPECT_FALSE(KZString("").Equal("a"));
  EXPECT_TRUE(KZUnicodeString(u"Ärger").EqualNoCase(u"äRGER"));
  EXPECT_TRUE(KZUnicodeString(u"ΟΔΟΣ").EqualNoCase(u"οδος"));
  EXPECT_TRUE(KZUnicodeString(u"οδός").EqualNoCase(u"ΟΔΌΣ"));
  EXPECT_FALSE(KZUnicodeString(u"Ärger").Equal(u"ärger"));
}

TEST(KZStringTest, NarrowCaseTouchesAsciiOnly) {
  // UTF-8 bytes of "é" and "É" must come through unharmed.
  EXPECT_EQ(Text(KZString("abc-XYZ é").Upper()), "ABC-XYZ é");
  EXPECT_EQ(Text(KZString("ABC-xyz É").Lower()), "abc-xyz É");
  EXPECT_FALSE(KZString("é").EqualNoCase("É"));
}

TEST(KZStringTest, WideCaseCoversLatinGreekAndCyrillic) {
  EXPECT_EQ(Text(KZUnicodeString(u"àéîõüýþÿ").Upper()), u"ÀÉÎÕÜÝÞŸ");
  EXPECT_EQ(Text(KZUnicodeString(u"ÀÉÎÕÜÝÞŸ").Lower()), u"àéîõüýþÿ");
  // Signs inside the letter ranges and letters without a single capital stay.
  EXPECT_EQ(Text(KZUnicodeString(u"×÷ßµ").Upper()), u"×÷ßµ");
  EXPECT_EQ(Text(KZUnicodeString(u"×÷").Lower()), u"×÷");
  EXPECT_EQ(Text(KZUnicodeString(u"αβγ ωϊϋ άέήίόύώ ς").Upper()), u"ΑΒΓ ΩΪΫ ΆΈΉΊΌΎΏ Σ");
  EXPECT_EQ(Text(KZUnicodeString(u"ΑΒΓ ΩΪΫ ΆΈΉΊΌΎΏ Σ").Lower()), u"αβγ ωϊϋ άέήίόύώ σ");
  EXPECT_EQ(Text(KZUnicodeString(u"ёжзия ђџ").Upper()), u"ЁЖЗИЯ ЂЏ");
  EXPECT_EQ(Text(KZUnicodeString(u"ЁЖЗИЯ ЂЏ").Lower()), u"ёжзия ђџ");
  EXPECT_EQ(Text(KZUnicodeString(u"Ǆ中").Lower()), u"Ǆ中");
}

TEST(KZStringTest, FromNumber) {
  EXPECT_EQ(Text(KZString::FromNumber(-42)), "-42");
  EXPECT_EQ(Text(KZString::FromNumber(INT32_MIN)), "-2147483648");
  EXPECT_EQ(Text(KZString::FromNumber(4294967295u)), "4294967295");
  EXPECT_EQ(Text(KZString::FromNumber(0u)), "0");
  EXPECT_EQ(Text(KZString::FromNumber(2.5)), "2.500000");
  EXPECT_EQ(Text(KZString::FromNumber(-0.0000004)), "-0.000000");
  EXPECT_EQ(KZString::FromNumber(1e300).Length(), 308u);
  EXPECT_EQ(Text(KZUnicodeString::FromNumber(0)), u"0");
  EXPECT_EQ(Text(KZUnicodeString::FromNumber(4294967295u)), u"4294967295");
}

TEST(KZStringTest, ToNumberReadsLikeScanf) {
  EXPECT_EQ(KZUnicodeString(u"abc").ToNumber(), 0);
  EXPECT_EQ(KZUnicodeString(u"-5").ToNumber(), -5);
  EXPECT_EQ(KZUnicodeString().ToNumber(), 0);
  EXPECT_EQ(KZUnicodeString(u" \t\n+17px").ToNumber(), 17);
  EXPECT_EQ(KZUnicodeString(u"-").ToNumber(), 0);
  EXPECT_EQ(KZUnicodeString(u"- 5").ToNumber(), 0);
  EXPECT_EQ(KZUnicodeString(u"12 34").ToNumber(), 12);
  EXPECT_EQ(KZUnicodeString(u"007").ToNumber(), 7);
  EXPECT_EQ(KZUnicodeString(u"٣").ToNumber(), 0);  // only ASCII digits count
  // Out of range values stop at the ends of 32 bits.
  EXPECT_EQ(KZUnicodeString(u"2147483647").ToNumber(), INT32_MAX);
  EXPECT_EQ(KZUnicodeString(u"2147483648").ToNumber(), INT32_MAX);
  EXPECT_EQ(KZUnicodeString(u"-2147483648").ToNumber(), INT32_MIN);
  EXPECT_EQ(KZUnicodeString(u"-99999999999999999999999").ToNumber(), INT32_MIN);
  EXPECT_EQ(KZString(" -12abc").ToNumber(), -12);
}

TEST(KZStringTest, Utf8ConversionsByName) {
  const KZUnicodeString wide(u"Grüße Ω 𝄞");
  const KZString utf8 = wide.ToUtf8();
  EXPECT_EQ(Text(utf8), "Grüße Ω 𝄞");
  EXPECT_TRUE(KZUnicodeString::FromUtf8(utf8).Equal(wide));
  EXPECT_TRUE(KZUnicodeString::FromUtf8(nullptr).IsEmpty());
  // A lone surrogate is written as the replacement character.
  const char16_t lone[] = {u'a', 0xD800, u'b', 0};
  EXPECT_EQ(Text(KZUnicodeString(lone).ToUtf8()),
            "a\xEF\xBF\xBD"
            "b");
}

TEST(KZStringTest, DefaultConversionsUseTheSystemCodePage) {
  EXPECT_EQ(Text(KZString("Ärger").ToWide()), u"Ärger");
  EXPECT_EQ(Text(KZUnicodeString("Ärger")), u"Ärger");
  EXPECT_EQ(Text(KZString(u"Ärger")), "Ärger");
  EXPECT_EQ(Text(KZUnicodeString(u"Ärger").ToNarrow()), "Ärger");
  EXPECT_TRUE(KZString().ToWide().IsEmpty());
  EXPECT_EQ(KZString(static_cast<const char16_t*>(nullptr)).Data(), nullptr);
}

TEST(KZStringTest, UnreadableNarrowTextBecomesReplacementCharacters) {
  // A stray continuation byte, a cut sequence and an overlong form.
  const KZString bad(
      "a\x80"
      "b\xE2\x82"
      "c\xC0\xAF");
  const KZUnicodeString wide = bad.ToWide();
  EXPECT_EQ(Text(wide), u"a\uFFFDb\uFFFD\uFFFDc\uFFFD\uFFFD");
  EXPECT_EQ(Text(KZUnicodeString::FromUtf8(bad)), Text(wide));
}

}  // namespace
}  // namespace vitrella
