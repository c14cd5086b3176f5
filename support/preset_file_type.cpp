#include "support/preset_file_type.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace vitrella {
namespace {

struct CollectionCode {
  const char* libraryName;
  const char16_t* code;
};

// The maker's family gives each collection a code by its exact name. The other
// collections' rows play no part in this library, so only its own stands here.
constexpr CollectionCode kCollectionCodes[] = {
    {"Corvane Vitrella III", u"zr3"},
};

const char16_t* CodeOf(const char* libraryName) {
  for (const CollectionCode& row : kCollectionCodes) {
    if (std::strcmp(row.libraryName, libraryName) == 0) return row.code;
  }
  return u"unk";
}

// Appends text at `at` without passing `end`, which stays free for a NUL.
WideChar* Put(WideChar* at, const WideChar* end, std::u16string_view text) {
  const size_t room = static_cast<size_t>(end - at);
  const size_t count = std::min(text.size(), room);
  return std::copy_n(text.begin(), count, at);
}

}  // namespace

void PresetExtension(const char* libraryName, uint32_t effectIndex,
                     WideChar (&extension)[kPresetExtensionCapacity]) {
  std::fill(std::begin(extension), std::end(extension), u'\0');
  const WideChar* end = extension + kPresetExtensionCapacity - 1;
  if (libraryName == nullptr) {
    Put(extension, end, u"prs");
    return;
  }
  WideChar* at = Put(extension, end, u"fxp");
  at = Put(at, end, CodeOf(libraryName));
  const auto letter = static_cast<WideChar>(u'a' + effectIndex);
  Put(at, end, std::u16string_view(&letter, 1));
}

void PresetFilter(const WideChar* label, const WideChar* extension,
                  WideChar (&filter)[kPresetFilterCapacity]) {
  std::fill(std::begin(filter), std::end(filter), u'\0');
  const std::u16string_view ext = extension != nullptr ? extension : u"";
  const std::u16string_view text = label != nullptr ? label : u"";
  // The label's own words give way first: the pattern and the three NULs must fit.
  const size_t fixed = 4 + ext.size() + 1 + 1 + 2 + ext.size() + 1 + 1;
  const size_t room = kPresetFilterCapacity > fixed ? kPresetFilterCapacity - fixed : 0;
  const WideChar* end = filter + kPresetFilterCapacity - 1;
  WideChar* at = Put(filter, end, text.substr(0, room));
  at = Put(at, end, u" (*.");
  at = Put(at, end, ext);
  at = Put(at, end, u")");
  ++at;  // the label's NUL
  if (at >= end) return;
  at = Put(at, end, u"*.");
  Put(at, end, ext);
}

}  // namespace vitrella
