#include "tools/gpumonitor/monitor_state.h"

#include <array>

namespace vitrella::monitor {
namespace {

// Ends whose begins have not come yet that one host may have.
constexpr size_t kMaxEndedEarly = 4096;

}  // namespace

std::optional<RenderMessage> ParseRenderMessage(std::string_view text) {
  std::array<std::string_view, 5> fields;
  for (size_t i = 0; i < fields.size(); ++i) {
    const size_t semicolon = text.find(';');
    if ((semicolon == std::string_view::npos) != (i == fields.size() - 1)) return std::nullopt;
    fields[i] = text.substr(0, semicolon);
    text.remove_prefix(semicolon == std::string_view::npos ? text.size() : semicolon + 1);
  }
  if (fields[3].empty() || (fields[4] != "1" && fields[4] != "2")) return std::nullopt;
  return RenderMessage{std::string(fields[0]), std::string(fields[1]), std::string(fields[2]),
                       std::string(fields[3]), fields[4][0] - '0'};
}

bool MonitorState::Receive(int64_t pid, std::string_view text) {
  std::optional<RenderMessage> message = ParseRenderMessage(text);
  if (!message) return false;
  Host& host = hosts_[pid];
  const std::string guid = message->guid;
  if (message->state == 1) {
    if (host.endedEarly.erase(guid) == 0)
      host.open[guid] = OpenRender{nextOrder_++, std::move(*message)};
  } else if (host.open.erase(guid) == 0) {
    // Every end follows a begin that was sent; a host cannot pile these up unless it lies.
    if (host.endedEarly.size() >= kMaxEndedEarly) host.endedEarly.clear();
    host.endedEarly.insert(guid);
  }
  return true;
}

std::optional<CrashReport> MonitorState::Ended(int64_t pid) {
  const auto host = hosts_.find(pid);
  if (host == hosts_.end()) return std::nullopt;
  const OpenRender* earliest = nullptr;
  for (const auto& [guid, render] : host->second.open) {
    if (earliest == nullptr || render.order < earliest->order) earliest = &render;
  }
  std::optional<CrashReport> report;
  if (earliest != nullptr) {
    const RenderMessage& begin = earliest->begin;
    report = CrashReport{begin.host, begin.library, begin.effect, begin.guid};
  }
  hosts_.erase(host);
  return report;
}

std::vector<int64_t> MonitorState::Hosts() const {
  std::vector<int64_t> pids;
  for (const auto& [pid, open] : hosts_)
    pids.push_back(pid);
  return pids;
}

}  // namespace vitrella::monitor
