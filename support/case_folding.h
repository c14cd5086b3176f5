// Upper and lower case of single characters, for the string classes. Narrow text is
// UTF-8 bytes, so only ASCII letters change there; a byte of a longer sequence never
// does. Wide text also covers the letters of Latin-1, Greek and basic Cyrillic, the
// alphabets of the languages this library shows, one character at a time.
#pragma once

namespace vitrella {

char UpperChar(char c) noexcept;
char LowerChar(char c) noexcept;

char16_t UpperChar(char16_t c) noexcept;
char16_t LowerChar(char16_t c) noexcept;

}  // namespace vitrella
