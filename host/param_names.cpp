#include "param_names.h"

#include <algorithm>
#include <optional>

#include "host_error.h"
#include "message_text.h"
#include "name_match.h"
#include "param_text.h"

namespace vitrella::host {
namespace {

constexpr char kGroupMark = '/';

bool StartsWithFolded(std::string_view label, std::string_view key) {
  const std::string folded = FoldName(label);
  const std::string prefix = FoldName(key);
  return folded.compare(0, prefix.size(), prefix) == 0;
}

// The records that `key` names, first as whole labels, then as the start of labels.
std::vector<uint32_t> Candidates(const std::vector<ParamInfo>& params,
                                 const std::vector<std::string>& groups, std::string_view key) {
  std::optional<std::string_view> group;
  std::string_view label = key;
  const size_t mark = key.rfind(kGroupMark);
  if (mark != std::string_view::npos) {
    group = key.substr(0, mark);
    label = key.substr(mark + 1);
  }
  const auto inGroup = [&](uint32_t i) { return !group || NamesMatch(groups[i], *group); };
  std::vector<uint32_t> found;
  for (const bool whole : {true, false}) {
    for (uint32_t i = 0; i < params.size(); ++i) {
      if (params[i].kind == ParamGroup || !inGroup(i)) continue;
      const std::string name = ParamLabel(params[i]);
      if (whole ? NamesMatch(name, label) : StartsWithFolded(name, label)) found.push_back(i);
    }
    if (!found.empty()) break;
  }
  return found;
}

std::string Listed(const std::vector<ParamInfo>& params, const std::vector<uint32_t>& found) {
  std::string list;
  for (const uint32_t index : found) {
    if (!list.empty()) list += ", ";
    list += std::to_string(index) + " " + Quoted(QualifiedName(params, index)) + " (" +
            std::string(KindName(params[index].kind)) + ")";
  }
  return list;
}

[[noreturn]] void Unknown(const std::vector<ParamInfo>& params, std::string_view key) {
  std::vector<uint32_t> all;
  for (uint32_t i = 0; i < params.size(); ++i) {
    if (params[i].kind != ParamGroup) all.push_back(i);
  }
  // A key with a group is compared with group and label, a bare one with labels; a label
  // that several parameters share is suggested under each of its groups.
  const bool grouped = key.find(kGroupMark) != std::string_view::npos;
  std::vector<std::string> names;
  names.reserve(all.size());
  for (const uint32_t i : all)
    names.push_back(grouped ? QualifiedName(params, i) : ParamLabel(params[i]));
  std::vector<std::string> suggested;
  for (const std::string& near : NearestNames(key, names)) {
    for (const uint32_t i : all) {
      const bool same = grouped ? QualifiedName(params, i) == near : ParamLabel(params[i]) == near;
      const std::string name = QualifiedName(params, i);
      if (same && std::find(suggested.begin(), suggested.end(), name) == suggested.end()) {
        suggested.push_back(name);
      }
    }
  }
  if (suggested.size() > 3) suggested.resize(3);
  throw UsageError("unknown parameter " + Quoted(key) +
                   (suggested.empty() ? "; the effect has " + (all.empty() ? std::string("none")
                                                                           : Listed(params, all))
                                      : Suggestion(suggested)));
}

[[noreturn]] void Ambiguous(const std::vector<ParamInfo>& params, std::string_view key,
                            const std::vector<uint32_t>& found) {
  const uint32_t last = found.back();
  const std::string qualified = QualifiedName(params, last);
  const std::string how = qualified != ParamLabel(params[last])
                              ? "name its group, as in " + Quoted(qualified) + ", or give the index"
                              : "give the index";
  throw UsageError("parameter " + Quoted(key) + " is ambiguous: it matches " +
                   Listed(params, found) + "; " + how);
}

}  // namespace

std::vector<std::string> ParamGroups(const std::vector<ParamInfo>& params) {
  std::vector<std::string> groups;
  std::vector<std::string> open;
  for (const ParamInfo& info : params) {
    if (info.kind == ParamGroup && info.groupClose != 0 && !open.empty()) open.pop_back();
    groups.push_back(open.empty() ? std::string() : open.back());
    if (info.kind == ParamGroup && info.groupClose == 0) open.push_back(ParamLabel(info));
  }
  return groups;
}

std::string QualifiedName(const std::vector<ParamInfo>& params, uint32_t index) {
  const std::string group = ParamGroups(params)[index];
  const std::string label = ParamLabel(params[index]);
  return group.empty() ? label : group + kGroupMark + label;
}

ParamSettingValue ResolveSetting(const std::vector<ParamInfo>& params, std::string_view key,
                                 std::string_view text) {
  if (FoldName(key).empty()) throw UsageError("a parameter is missing before '='");
  uint32_t index = 0;
  if (ParseIndex(key, &index)) {
    if (index >= params.size()) {
      throw UsageError("no parameter " + std::string(key) + ": the effect has " +
                       std::to_string(params.size()) + " parameter records");
    }
    return {index, ParseValue(params[index], index, text)};
  }
  const std::vector<std::string> groups = ParamGroups(params);
  const std::vector<uint32_t> found = Candidates(params, groups, key);
  if (found.empty()) {
    for (uint32_t i = 0; i < params.size(); ++i) {
      if (params[i].kind == ParamGroup && NamesMatch(ParamLabel(params[i]), key)) {
        throw UsageError(Quoted(key) + " is a group and takes no value; name a parameter in it, " +
                         "as in " + Quoted(std::string(key) + kGroupMark + "Name"));
      }
    }
    Unknown(params, key);
  }
  if (found.size() == 1) return {found[0], ParseValue(params[found[0]], found[0], text)};

  // Several parameters answer to the name: the value's form may tell which is meant, when
  // they differ in kind.
  const bool oneKind = std::all_of(found.begin(), found.end(), [&](uint32_t i) {
    return params[i].kind == params[found[0]].kind;
  });
  if (oneKind) Ambiguous(params, key, found);
  std::vector<ParamSettingValue> taking;
  for (const uint32_t i : found) {
    try {
      taking.push_back({i, ParseValue(params[i], i, text)});
    } catch (const UsageError&) {
    }
  }
  if (taking.size() == 1) return taking[0];
  if (taking.empty()) {
    std::vector<std::string> forms;
    for (const uint32_t i : found) {
      const std::string form =
          ExpectedForm(params[i]) + " (" + std::string(KindName(params[i].kind)) + ")";
      if (std::find(forms.begin(), forms.end(), form) == forms.end()) forms.push_back(form);
    }
    std::string expected;
    for (const std::string& form : forms)
      expected += (expected.empty() ? "" : " or ") + form;
    throw UsageError("bad value " + Quoted(text) + " for " + Quoted(key) + ": expected " +
                     expected);
  }
  std::vector<uint32_t> ambiguous;
  ambiguous.reserve(taking.size());
  for (const ParamSettingValue& setting : taking)
    ambiguous.push_back(setting.index);
  Ambiguous(params, key, ambiguous);
}

}  // namespace vitrella::host
