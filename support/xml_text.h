// Text for TinyXML's parser. The parser steps over a UTF-8 character by the length its
// lead byte announces, so a text that ends inside such a character (a file cut short, or
// a damaged one) sends it a few bytes past the text's end. Every text handed to it
// therefore carries a run of NULs after its end, on which the parser stops.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

namespace vitrella {

inline constexpr size_t kXmlParserPadding = 32;

// The text that Parse may be given: the same, followed by the padding.
inline const char* PadForXmlParser(std::string& text) {
  text.append(kXmlParserPadding, '\0');
  return text.c_str();
}

// The whole stream; false when reading failed.
inline bool ReadWholeStream(std::FILE* file, std::string& text) {
  text.clear();
  char buffer[8192];
  size_t got = 0;
  while ((got = std::fread(buffer, 1, sizeof(buffer), file)) > 0)
    text.append(buffer, got);
  return std::ferror(file) == 0;
}

}  // namespace vitrella
