// Conversions between narrow and wide text. Narrow text is UTF-8 on Linux, where the
// system's code page stands elsewhere; wide text is UTF-16.
#pragma once

#include <string>
#include <string_view>

namespace vitrella::platform {

// UTF-8 and UTF-16; malformed input becomes U+FFFD and never fails.
std::u16string Utf8ToWide(std::string_view text);
std::string WideToUtf8(std::u16string_view text);

// The system's narrow code page and UTF-16.
std::u16string NarrowToWide(std::string_view text);
std::string WideToNarrow(std::u16string_view text);

}  // namespace vitrella::platform
