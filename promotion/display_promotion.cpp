// The promotion window: the maker's page about the collection, shown for the host.
#include "platform/shell.h"
#include "platform/text.h"
#include "vitrella/library.h"

namespace {

constexpr char16_t kPromotionAddress[] = u"https://www.corvane.com/vitrella3";

}  // namespace

// Opens `address`, or the collection's page for null or empty, in the user's browser.
// Answers whether it was shown; without a desktop nothing opens.
VITRELLA_EXPORT bool DisplayPromotionW(vitrella::WindowHandle /*parent*/,
                                       const vitrella::WideChar* address) {
  try {
    const std::u16string target =
        address != nullptr && address[0] != u'\0' ? std::u16string(address) : kPromotionAddress;
    return vitrella::platform::OpenAddress(target);
  } catch (...) {
    return false;
  }
}
