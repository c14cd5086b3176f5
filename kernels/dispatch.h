// The kernels' code path: the plain loops, or the vector code of one processor family,
// chosen once when the library is loaded.
#pragma once

#include <cstdint>
#include <vector>

namespace vitrella::kernels {

// A code path. `target` is 0 for the plain loops, else the vector target's bit.
struct KernelVariant {
  const char* name;
  int64_t target;
};

// Picks the widest vector code that the processor runs. VITRELLA_KERNELS=reference in
// the environment forces the plain loops, which every vector path must match.
void SelectKernelPath();

// Whether kernels take the plain loops.
bool UseReferenceKernels();

// The plain loops first, then every vector target built in and supported here; tests
// run each kernel on each of them.
std::vector<KernelVariant> KernelVariants();
void UseKernelVariant(const KernelVariant& variant);
KernelVariant CurrentKernelVariant();

}  // namespace vitrella::kernels
