#include "kernels/dispatch.h"

#include <hwy/highway.h>
#include <hwy/targets.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace vitrella::kernels {
namespace {

// Written at load, before any kernel runs; tests switch it between runs.
std::atomic<bool> g_reference{false};

}  // namespace

void SelectKernelPath() {
  // VITRELLA_KERNELS names one path ("reference", "AVX2", "SSE4", ...) to run every kernel
  // on, as a machine without the better ones would; an unknown name leaves the best.
  const char* forced = std::getenv("VITRELLA_KERNELS");
  g_reference.store(forced != nullptr && std::strcmp(forced, "reference") == 0);
  hwy::SetSupportedTargetsForTest(0);
  if (forced != nullptr) {
    for (int64_t target : hwy::SupportedAndGeneratedTargets()) {
      if (std::strcmp(hwy::TargetName(target), forced) == 0) {
        hwy::SetSupportedTargetsForTest(target);
      }
    }
  }
  hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

bool UseReferenceKernels() {
  return g_reference.load(std::memory_order_relaxed);
}

std::vector<KernelVariant> KernelVariants() {
  std::vector<KernelVariant> variants{{"reference", 0}};
  hwy::SetSupportedTargetsForTest(0);
  for (int64_t target : hwy::SupportedAndGeneratedTargets()) {
    variants.push_back({hwy::TargetName(target), target});
  }
  return variants;
}

void UseKernelVariant(const KernelVariant& variant) {
  g_reference.store(variant.target == 0);
  hwy::SetSupportedTargetsForTest(variant.target);
  hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

KernelVariant CurrentKernelVariant() {
  if (UseReferenceKernels()) return {"reference", 0};
  const int64_t best = hwy::SupportedTargets() & HWY_TARGETS;
  const int64_t target = best & -best;  // the lowest bit is the best target
  return {hwy::TargetName(target), target};
}

}  // namespace vitrella::kernels
