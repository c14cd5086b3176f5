// The common settings: where each value lives, and how "yes" is read.
#pragma once

#include <optional>

#include "platform/settings_store.h"
#include "support/kz_string.h"

namespace vitrella::settings {

// The section shared by every collection of the family.
inline constexpr const char* kCommonSection = "Common";

// Values of "Common".
inline constexpr const char* kKnobsDragVertical = "Knobs Drag Vertical";
inline constexpr const char* kCropOverscan = "Crop Overscan";
inline constexpr const char* kLastUsedHostName = "LastUsedHostName";
// Values of the collection's own section.
inline constexpr const char* kKeyFramesVsPresets = "Key Frames vs Presets";
// In both sections: for all collections, and for this one.
inline constexpr const char* kForcedCpu = "Forced CPU";

// The GPU monitor's crash reports: one subsection each below this one, with these values,
// all written by the monitor but "Shown", which the library sets to "true".
inline constexpr const char* kReportsSection = "Common\\Monitoring\\Reports";
inline constexpr const char* kReportHostName = "HostName";
inline constexpr const char* kReportProductName = "ProductName";
inline constexpr const char* kReportEffectName = "EffectName";
inline constexpr const char* kReportOccurredTime = "OccurredTime";
inline constexpr const char* kReportShown = "Shown";

// The collection's own section: the product name cut behind its last " for PLATFORM "
// ("Corvane Vitrella III for Windows 3.0" gives "Corvane Vitrella III for Windows"); a
// name without that part is used whole.
KZString CollectionSection(const KZString& productName, const char* platformWord);

// The rule at start: true when the text is "yes" in any case.
bool ReadsYes(const KZString& text);
// The looser rule of a refresh: true when the first character is a lower-case y; none
// when the value is missing or could not be read, which leaves the setting as it was.
std::optional<bool> RefreshReadsYes(const platform::SettingValue& value);

// "yes" or "no".
inline const char* YesNo(bool value) {
  return value ? "yes" : "no";
}

}  // namespace vitrella::settings
