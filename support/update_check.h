// The update check: which version file to ask for, what it says, and the text the user
// reads about it.
#pragma once

#include <cstdint>
#include <string>

#include "platform/http_fetch.h"
#include "support/kz_string.h"
#include "support/kz_unicode_string.h"
#include "support/translation_helper.h"
#include "support/version_file.h"

namespace vitrella {

// The maker's download server, unless a caller names another.
inline constexpr const char* kUpdateServer = "https://www.corvane.com";
inline constexpr const char* kUpdateAgent = "Corvane Check Update 1.0";

// The state of one check, shown by the update dialog.
struct UpdateCheckResult {
  bool available = false;
  KZUnicodeString text;
  KZString path;                            // the download address
  TranslationHelper* translator = nullptr;  // null: the English texts
};

// The module's file name in lower case without "64" and its suffix, ".dll" or ".so",
// "d3d" made "3d" and "opengl" dropped: Vitrella3OpenGL64.so gives vitrella3.
KZString CollectionFileName(const KZString& moduleFileName);

// The server, "/downloads/", the platform's folder, the collection's file name, ".xml".
KZString UpdateAddress(const KZString& server, const KZString& collectionFileName);

// The text of the facts, through the result's translator.
void ComposeUpdateText(const VersionFileFacts& facts, UpdateCheckResult& result);

// The whole check: fetch the collection's version file from the server and set the
// result. Ends in the "can't connect" or "can't get data" text on any failure, and then
// answers false.
bool RunUpdateCheck(UpdateCheckResult& result, const KZString& server,
                    const KZString& moduleFileName, const KZString& hostName, uint32_t build,
                    const platform::FetchLimits& limits = {});

}  // namespace vitrella
