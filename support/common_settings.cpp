#include "support/common_settings.h"

namespace vitrella::settings {

KZString CollectionSection(const KZString& productName, const char* platformWord) {
  const KZString word = KZString(" for ").Concatenate(platformWord);
  const KZString marker = word.Concatenate(" ");
  const uint64_t at = productName.FindLast(marker);
  if (!(at < productName.Length())) return productName;
  return productName.Mid(0, at + word.Length());
}

bool ReadsYes(const KZString& text) {
  return text.EqualNoCase("yes");
}

std::optional<bool> RefreshReadsYes(const platform::SettingValue& value) {
  if (value.status != platform::SettingStatus::kFound) return std::nullopt;
  return !value.text.empty() && value.text[0] == 'y';
}

}  // namespace vitrella::settings
