// The kernels' code path, chosen once when the library is loaded.
#pragma once

namespace vitrella::kernels {

enum class KernelPath {
  kReference,  // the plain loops: the reference that every vector path must match
  kVector,     // the widest vector instructions that the processor offers
};

// Picks the path for the running processor. VITRELLA_KERNELS=reference in the
// environment forces the plain loops.
void SelectKernelPath();
KernelPath CurrentKernelPath();
// For tests, which run every kernel on every path.
void SetKernelPath(KernelPath path);
const char* KernelPathName();

}  // namespace vitrella::kernels
