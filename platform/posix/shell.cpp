#include "platform/shell.h"

#include <spawn.h>
#include <sys/wait.h>

#include <atomic>
#include <cstdlib>

#include "platform/text.h"

extern char** environ;

namespace vitrella::platform {
namespace {

std::atomic<AddressOpener> g_opener{nullptr};

}  // namespace

void SetAddressOpener(AddressOpener opener) {
  g_opener.store(opener);
}

bool HasDesktop() {
  const char* x11 = std::getenv("DISPLAY");
  const char* wayland = std::getenv("WAYLAND_DISPLAY");
  return (x11 != nullptr && *x11 != '\0') || (wayland != nullptr && *wayland != '\0');
}

bool OpenAddress(const std::u16string& address) {
  if (const AddressOpener opener = g_opener.load()) return opener(address);
  if (address.empty() || !HasDesktop()) return false;
  std::string narrow = WideToUtf8(address);
  std::string program = "xdg-open";
  char* argv[] = {program.data(), narrow.data(), nullptr};
  pid_t child = 0;
  if (posix_spawnp(&child, "xdg-open", nullptr, nullptr, argv, environ) != 0) return false;
  // xdg-open hands the address on and returns at once; reap it so no zombie stays.
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace vitrella::platform
