#include "core/module.h"

#include <atomic>

#include "kernels/dispatch.h"

namespace vitrella {
namespace {

std::atomic<platform::ModuleHandle> g_module{nullptr};

}  // namespace

void OnModuleAttach() {
  kernels::SelectKernelPath();
  g_module.store(platform::ThisModule());
}

platform::ModuleHandle LibraryModule() {
  // Code linked straight into a program (as the tests are) never ran the attach step.
  platform::ModuleHandle module = g_module.load();
  return module != nullptr ? module : platform::ThisModule();
}

}  // namespace vitrella
