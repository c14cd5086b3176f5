// Handing an address to the desktop, which opens it in the user's browser.
#pragma once

#include <string>

namespace vitrella::platform {

// Whether a desktop session is there to show anything.
bool HasDesktop();

// Opens the address without waiting for the browser; false when no desktop is there
// or the opener could not be started.
bool OpenAddress(const std::u16string& address);

}  // namespace vitrella::platform
