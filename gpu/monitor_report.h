// The health reports of GPU renders: a render tells the GPU monitor that it begins and
// that it ended, each as one message on a connection of its own. A begin with no end
// means that the host died inside OpenGL; the monitor then leaves a crash report that
// the next start of the library offers to the user.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "vitrella/effect.h"

namespace vitrella {

// The state field of a message.
inline constexpr int32_t kRenderBegins = 1;
inline constexpr int32_t kRenderEnded = 2;
// What RenderGPU gives MakeRenderGuid.
inline constexpr size_t kRenderGuidCapacity = 128;
// Stands for a name that the host or the library does not give.
inline constexpr const char* kUnknownName = "Unknown";

// Clears the buffer and prints a new random version-4 UUID into it as
// "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x". False, with the buffer empty when
// it has room for any, when no random bytes could be had or the text does not fit.
bool MakeRenderGuid(char* buffer, size_t size);

// "host;library;effect;guid;state", with no line end; a null name is an empty field.
std::string MonitorMessage(const char* host, const char* library, const char* effect,
                           const char* guid, int32_t state);

// How long a report may hold up a render: the wait for a busy monitor, and the pause
// that a monitor just started is given to open its socket.
struct MonitorLimits {
  uint32_t busyWaitMs = 10000;
  uint32_t startWaitMs = 100;
};

// Sends one message: a busy monitor is waited for once within the limit; a missing one
// is started once (unless one is running, which may be going away) and tried again.
// True when the message was written. Never throws.
bool SendMonitorReport(const char* host, const char* library, const char* effect, const char* guid,
                       int32_t state, const MonitorLimits& limits = {});

// The two names of the messages, shared by every render of the process and made once:
// the first host's name from GetHostInfo, and the library's from GetLibraryName. Either
// is "Unknown" when it comes back null or empty.
const char* ReportHostName(IEffectHost* host);
const char* ReportLibraryName();

}  // namespace vitrella
