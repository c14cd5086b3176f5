// Runs a kernel test once on each code path: the plain loops and every vector target
// that this processor supports.
#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "kernels/dispatch.h"

namespace vitrella::kernels {

inline void PrintTo(const KernelVariant& variant, std::ostream* out) {
  *out << variant.name;
}

// A fixture base: the chosen variant is in force for the test and undone after it.
class OnEveryKernelPath : public ::testing::TestWithParam<KernelVariant> {
 protected:
  void SetUp() override { UseKernelVariant(GetParam()); }
  void TearDown() override { SelectKernelPath(); }
};

inline std::string KernelVariantName(const ::testing::TestParamInfo<KernelVariant>& info) {
  return info.param.name;
}

}  // namespace vitrella::kernels

// INSTANTIATE_ON_EVERY_KERNEL_PATH(Fixture) runs every TEST_P of Fixture on every path.
#define INSTANTIATE_ON_EVERY_KERNEL_PATH(fixture)                                      \
  INSTANTIATE_TEST_SUITE_P(Paths, fixture,                                             \
                           ::testing::ValuesIn(::vitrella::kernels::KernelVariants()), \
                           ::vitrella::kernels::KernelVariantName)
