// The keys that the library looks up in the language table, by category. Most keys are
// their own English text; a short label carries the English text that stands in when
// the table has no translation.
#pragma once

#include <cstdint>

#include "vitrella/language.h"

namespace vitrella {

struct TextKey {
  uint32_t category;
  const char* key;
  const char* fallback;  // null: the key is the English text, or the caller has its own
};

namespace text {

// The preset dialogs.
inline constexpr TextKey kPresetFiles{kTextPresetDialogs, "Preset Files", nullptr};
inline constexpr TextKey kOpenPreset{kTextPresetDialogs, "Open Preset", nullptr};
inline constexpr TextKey kSavePresetAs{kTextPresetDialogs, "Save Preset As", nullptr};

// The options dialog. The copyright line falls back to the one the host set.
inline constexpr TextKey kCopyright{kTextOptionsDialog, "Copyright", nullptr};
inline constexpr TextKey kOptions{kTextOptionsDialog, "Options", nullptr};
inline constexpr TextKey kKnobsControl{kTextOptionsDialog, "Up/Down Knobs Control",
                                       "Up / Down mouse control of circular knobs"};
inline constexpr TextKey kKeyFramesOrPresets{kTextOptionsDialog, "Key Frames or Presets",
                                             "Use Key Frames instead of Presets"};
inline constexpr TextKey kCheckForUpdateButton{kTextOptionsDialog, "Check for Update...", nullptr};
inline constexpr TextKey kCheckForUpdateLabel{kTextOptionsDialog, "Check for Update.", nullptr};

// The update check. The title's text holds %s for the product name.
inline constexpr TextKey kUpdateTitle{kTextUpdateCheck, "Title", "Update %s"};
inline constexpr TextKey kCantConnect{
    kTextUpdateCheck, "CantConnect",
    "Can't connect to the server. Please check your internet connection."};
inline constexpr TextKey kCantGetData{kTextUpdateCheck, "CantGetData",
                                      "Can't get data about new updates from the server."};
inline constexpr TextKey kMostCurrentVersion{kTextUpdateCheck, "MostCurrentVersion",
                                             "You have the most current version."};
inline constexpr TextKey kLatestVersion{kTextUpdateCheck, "LatestVersion",
                                        "Latest available version"};
inline constexpr TextKey kListOfBugs{kTextUpdateCheck, "ListOfBugs",
                                     "List of bugs that are fixed:"};
inline constexpr TextKey kListOfFeatures{kTextUpdateCheck, "ListOfFeatures",
                                         "List of features that are added:"};
inline constexpr TextKey kUpdateNote{
    kTextUpdateCheck, "Note", "Note that the NLE must be closed for the install to take place."};

// Words of every dialog. The product name falls back to the library's own.
inline constexpr TextKey kProductName{kTextCommonWords, "ProductName", nullptr};
inline constexpr TextKey kVersion{kTextCommonWords, "Version", nullptr};
inline constexpr TextKey kBuild{kTextCommonWords, "Build", nullptr};
inline constexpr TextKey kOk{kTextCommonWords, "OK", nullptr};
inline constexpr TextKey kCancel{kTextCommonWords, "Cancel", nullptr};
inline constexpr TextKey kHelp{kTextCommonWords, "Help", nullptr};

// Every key above: the language table must hold each of them.
inline constexpr TextKey kAllKeys[] = {
    kPresetFiles,
    kOpenPreset,
    kSavePresetAs,
    kCopyright,
    kOptions,
    kKnobsControl,
    kKeyFramesOrPresets,
    kCheckForUpdateButton,
    kCheckForUpdateLabel,
    kUpdateTitle,
    kCantConnect,
    kCantGetData,
    kMostCurrentVersion,
    kLatestVersion,
    kListOfBugs,
    kListOfFeatures,
    kUpdateNote,
    kProductName,
    kVersion,
    kBuild,
    kOk,
    kCancel,
    kHelp,
};

}  // namespace text
}  // namespace vitrella
