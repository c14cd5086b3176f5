#include "kernels/dispatch.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace vitrella::kernels {
namespace {

// Written once at load, before any kernel runs; tests may switch it between runs.
std::atomic<KernelPath> g_path{KernelPath::kVector};

}  // namespace

void SelectKernelPath() {
  const char* forced = std::getenv("VITRELLA_KERNELS");
  const bool reference = forced != nullptr && std::strcmp(forced, "reference") == 0;
  g_path.store(reference ? KernelPath::kReference : KernelPath::kVector);
}

KernelPath CurrentKernelPath() { return g_path.load(std::memory_order_relaxed); }

void SetKernelPath(KernelPath path) { g_path.store(path); }

const char* KernelPathName() {
  return CurrentKernelPath() == KernelPath::kReference ? "reference" : "vector";
}

}  // namespace vitrella::kernels
