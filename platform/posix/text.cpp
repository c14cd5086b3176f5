#include "platform/text.h"

namespace vitrella::platform {

// The narrow code page of a Linux system is UTF-8.
std::u16string NarrowToWide(std::string_view text) { return Utf8ToWide(text); }
std::string WideToNarrow(std::u16string_view text) { return WideToUtf8(text); }

}  // namespace vitrella::platform
