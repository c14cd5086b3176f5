// What the GPU monitor knows: the hosts that have reported, each with its renders that
// began and have not ended. Free of sockets and processes, so that tests drive it.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace vitrella::monitor {

// One message of a host: "host;library;effect;guid;state", state 1 (begins) or 2 (ended).
struct RenderMessage {
  std::string host;
  std::string library;
  std::string effect;
  std::string guid;
  int state = 0;
};

// None for anything but four semicolons with a state of 1 or 2 behind the last; the guid
// must not be empty. Names may be empty, and may not hold a semicolon.
std::optional<RenderMessage> ParseRenderMessage(std::string_view text);

// What stays of a host that ended inside a render.
struct CrashReport {
  std::string host;
  std::string library;
  std::string effect;
  std::string guid;
};

class MonitorState {
 public:
  // Records a message of the process `pid`; false when it is no message. A host is known
  // from its first message until Ended.
  bool Receive(int64_t pid, std::string_view text);
  bool Knows(int64_t pid) const { return hosts_.count(pid) != 0; }
  // The host has ended: forgotten, and its earliest render still open, if any, reported.
  // Renders of several threads that were open together came down in one crash: one report.
  std::optional<CrashReport> Ended(int64_t pid);
  bool Empty() const { return hosts_.empty(); }
  std::vector<int64_t> Hosts() const;

 private:
  struct OpenRender {
    uint64_t order = 0;
    RenderMessage begin;
  };
  struct Host {
    std::map<std::string, OpenRender> open;  // by guid
    // Ends heard before their begins: each message is a connection of its own, and the
    // monitor may read a connection before its writer has written, so the end of a short
    // render can overtake its begin.
    std::set<std::string> endedEarly;
  };
  std::map<int64_t, Host> hosts_;
  uint64_t nextOrder_ = 0;
};

}  // namespace vitrella::monitor
