// GPUMonitor: started by the effect library when a GPU render finds no monitor. Hosts
// tell it of each GPU render's begin and end; a host that ends with a render begun and
// not ended crashed inside the GPU, and leaves a report that the library's next start
// offers to the user. It ends by itself when no host is left.
#include <csignal>

#include "platform/monitor_channel.h"
#include "tools/gpumonitor/monitor_server.h"

int main() {
  // A host that hangs up early must not end the monitor.
  std::signal(SIGPIPE, SIG_IGN);
  return vitrella::monitor::ServeMonitor(vitrella::platform::MonitorSocketPath());
}
