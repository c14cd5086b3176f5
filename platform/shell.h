// Handing an address to the desktop, which opens it in the user's browser.
#pragma once

#include <string>

namespace vitrella::platform {

// Whether a desktop session is there to show anything.
bool HasDesktop();

// Opens the address without waiting for the browser; false when no desktop is there
// or the opener could not be started.
bool OpenAddress(const std::u16string& address);

// Tests catch the addresses instead of opening a browser: while an opener is set,
// OpenAddress hands every address to it and answers what it answers. Null restores
// the desktop's opener.
using AddressOpener = bool (*)(const std::u16string& address);
void SetAddressOpener(AddressOpener opener);

}  // namespace vitrella::platform
