// Where help opens: a web address completed with what the help server needs to pick the
// page, or a help file beside the library.
#pragma once

#include <cstdint>

#include "support/kz_string.h"
#include "support/kz_unicode_string.h"

namespace vitrella {

// The help file beside the library, used when the host names no help location.
inline constexpr const char16_t* kHelpFileName = u"Vitrella3Help.html";

// Whether the location is a web address: it begins with "http" in any case.
bool IsWebHelp(const KZUnicodeString& location);

// The address with "?dummy=0" when it has no query, then "&collection=" and the key, the
// platform, the host ("&nle=Vegas", for every host) and the language with a capital
// first letter, each unless empty or already there, and "&id=" and the topic.
KZUnicodeString CompleteHelpAddress(const KZUnicodeString& address, const KZString& collectionKey,
                                    const char* language, int32_t topic);

// A help file's path as an address the desktop opens, the topic as its fragment.
KZUnicodeString HelpFileAddress(const KZUnicodeString& path, int32_t topic);

}  // namespace vitrella
