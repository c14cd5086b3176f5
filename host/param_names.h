// Parameters by the names a person reads on the panel: a label, or a label under its group
// ("Background/Tint"), in any case and spacing, or a record's index.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "vitrella/records.h"

namespace vitrella::host {

// Each record's group: the label of the innermost group open at it; empty outside groups.
// A group's own records count as outside it.
std::vector<std::string> ParamGroups(const std::vector<ParamInfo>& params);

// "Background/Tint" for a record in a group, the bare label elsewhere.
std::string QualifiedName(const std::vector<ParamInfo>& params, uint32_t index);

struct ParamSettingValue {
  uint32_t index = 0;
  ParamValue value{};
};

// The parameter that `key` names and its value read from `text`. A key is an index, a
// label, or a group and a label joined by '/'; a label matches whole before it matches as
// the start of one label, and a group's records are not candidates. Where the key names
// several parameters (a colour and a slider both called "Tint"), the one that takes `text`
// is meant. Throws UsageError for an unknown name, with the nearest names, and for one
// that stays ambiguous, with the candidates.
ParamSettingValue ResolveSetting(const std::vector<ParamInfo>& params, std::string_view key,
                                 std::string_view text);

}  // namespace vitrella::host
