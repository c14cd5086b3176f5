#include "support/case_folding.h"

namespace vitrella {
namespace {

// Lower and upper case of a letter lie a fixed distance apart within each of these blocks.
constexpr int kLatinShift = 0x20;
constexpr int kCyrillicHighShift = 0x50;  // Ѐ..Џ against ѐ..џ

bool InRange(char16_t c, char16_t first, char16_t last) {
  return c >= first && c <= last;
}

char16_t Shifted(char16_t c, int delta) {
  return static_cast<char16_t>(c + delta);
}

}  // namespace

char UpperChar(char c) noexcept {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
}

char LowerChar(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

char16_t UpperChar(char16_t c) noexcept {
  if (InRange(c, u'a', u'z')) return Shifted(c, -kLatinShift);
  // à..þ, except the division sign; ÿ has its capital outside Latin-1, ß has none.
  if (InRange(c, 0x00E0, 0x00FE) && c != 0x00F7) return Shifted(c, -kLatinShift);
  if (c == 0x00FF) return 0x0178;
  // α..ϋ with final sigma, which shares Σ, and the tonos vowels that lie apart.
  if (c == 0x03C2) return 0x03A3;
  if (InRange(c, 0x03B1, 0x03CB)) return Shifted(c, -kLatinShift);
  if (c == 0x03AC) return 0x0386;
  if (InRange(c, 0x03AD, 0x03AF)) return Shifted(c, -0x25);  // έ ή ί
  if (c == 0x03CC) return 0x038C;
  if (InRange(c, 0x03CD, 0x03CE)) return Shifted(c, -0x3F);  // ύ ώ
  if (InRange(c, 0x0430, 0x044F)) return Shifted(c, -kLatinShift);
  if (InRange(c, 0x0450, 0x045F)) return Shifted(c, -kCyrillicHighShift);
  return c;
}

char16_t LowerChar(char16_t c) noexcept {
  if (InRange(c, u'A', u'Z')) return Shifted(c, kLatinShift);
  if (InRange(c, 0x00C0, 0x00DE) && c != 0x00D7) return Shifted(c, kLatinShift);
  if (c == 0x0178) return 0x00FF;
  if (InRange(c, 0x0391, 0x03AB) && c != 0x03A2) return Shifted(c, kLatinShift);
  if (c == 0x0386) return 0x03AC;
  if (InRange(c, 0x0388, 0x038A)) return Shifted(c, 0x25);
  if (c == 0x038C) return 0x03CC;
  if (InRange(c, 0x038E, 0x038F)) return Shifted(c, 0x3F);
  if (InRange(c, 0x0410, 0x042F)) return Shifted(c, kLatinShift);
  if (InRange(c, 0x0400, 0x040F)) return Shifted(c, kCyrillicHighShift);
  return c;
}

}  // namespace vitrella
