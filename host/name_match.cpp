#include "name_match.h"

#include <algorithm>
#include <numeric>

#include "message_text.h"

namespace vitrella::host {
namespace {

// Insertions, deletions, substitutions and swaps of neighbours between two folded names.
size_t EditDistance(std::string_view a, std::string_view b) {
  std::vector<size_t> before(b.size() + 1), previous(b.size() + 1), current(b.size() + 1);
  std::iota(previous.begin(), previous.end(), size_t{0});
  for (size_t i = 1; i <= a.size(); ++i) {
    current[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t substitute = previous[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      current[j] = std::min({previous[j] + 1, current[j - 1] + 1, substitute});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        current[j] = std::min(current[j], before[j - 2] + 1);
      }
    }
    before.swap(previous);
    previous.swap(current);
  }
  return previous[b.size()];
}

}  // namespace

std::string FoldName(std::string_view name) {
  std::string folded;
  bool space = false;
  for (const char c : name) {
    if (c == ' ' || c == '\t') {
      space = !folded.empty();
      continue;
    }
    if (space) folded += ' ';
    space = false;
    folded += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return folded;
}

bool NamesMatch(std::string_view a, std::string_view b) {
  return FoldName(a) == FoldName(b);
}

std::vector<std::string> NearestNames(std::string_view key, const std::vector<std::string>& names) {
  const std::string folded = FoldName(key);
  if (folded.empty()) return {};
  const size_t allowed = std::max<size_t>(1, (folded.size() + 1) / 3);
  std::vector<std::pair<size_t, std::string>> near;
  for (const std::string& name : names) {
    const std::string candidate = FoldName(name);
    size_t distance = EditDistance(folded, candidate);
    // A name typed in part counts as close, behind real typing mistakes.
    if (distance > allowed && folded.size() >= 3 && candidate.find(folded) != std::string::npos) {
      distance = allowed;
    }
    const bool listed = std::any_of(near.begin(), near.end(),
                                    [&](const auto& entry) { return entry.second == name; });
    if (distance <= allowed && !listed) near.emplace_back(distance, name);
  }
  std::stable_sort(near.begin(), near.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  // Only the closest: a name one slip away makes others three slips away noise.
  std::vector<std::string> nearest;
  for (size_t i = 0; i < near.size() && i < 3 && near[i].first == near[0].first; ++i)
    nearest.push_back(near[i].second);
  return nearest;
}

std::string Suggestion(const std::vector<std::string>& nearest) {
  if (nearest.empty()) return "";
  std::string text = "; did you mean ";
  for (size_t i = 0; i < nearest.size(); ++i) {
    if (i > 0) text += i + 1 == nearest.size() ? " or " : ", ";
    text += Quoted(nearest[i]);
  }
  return text + "?";
}

}  // namespace vitrella::host
