// The GPU monitor's event loop: the listening socket, the hosts' connections, and a
// watch on each host process for its end.
#pragma once

#include <string>

namespace vitrella::monitor {

// Serves the socket at path until no host is left (or none came within the first
// seconds). Returns the process's exit code: 0, also when another monitor already serves
// the path; 1 when the socket could not be opened.
int ServeMonitor(const std::string& path);

}  // namespace vitrella::monitor
