// Names as people type them: effect, preset and parameter names match without regard to
// case or to runs of spaces, and a name that matches nothing suggests the nearest ones.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vitrella::host {

// ASCII letters in lower case, every run of spaces and tabs as one space, none at either
// end: "Home  Movies" and "home movies" fold alike.
std::string FoldName(std::string_view name);

bool NamesMatch(std::string_view a, std::string_view b);

// Up to three of `names` that `key` was probably meant to be: the closest of those within a
// few typing mistakes of it (about one in three characters) or that contain it.
std::vector<std::string> NearestNames(std::string_view key, const std::vector<std::string>& names);

// "; did you mean 'A' or 'B'?", or empty without suggestions.
std::string Suggestion(const std::vector<std::string>& nearest);

}  // namespace vitrella::host
