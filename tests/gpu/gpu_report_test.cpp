// The options dialog's GPU report: its one-line refusals and the line per effect.
#include "support/gpu_report.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "common/fake_host.h"
#include "core/effects_library.h"
#include "fake_gpu.h"

namespace vitrella {
namespace {

TEST(GpuReport, NamesEachEffectAndTheHostsDiagnostic) {
  auto* library = new CVitrellaEffects3();
  testing::FakeHost plain;
  EXPECT_EQ(GpuReportText(nullptr, library), u"Video host is empty.\r\n");
  EXPECT_EQ(GpuReportText(&plain, nullptr), u"Effect library is empty.\r\n");
  EXPECT_EQ(GpuReportText(&plain, library), u"Video host does not support GPU.\r\n");

  testing::ServingHost host;
  host.services.gpuEffect = "Spotlight";
  host.services.diagnostic = u"llvmpipe (LLVM 15.0.6, 256 bits)";
  const std::u16string text = GpuReportText(&host, library);
  EXPECT_TRUE(
      text.starts_with(u"Testing Corvane Vitrella III:\r\nAuto Contrast doesn`t support "
                       u"OpenGL.\r\nDiffusion doesn`t support OpenGL.\r\n"));
  EXPECT_NE(text.find(u"\r\nSpotlight supports OpenGL.\r\n"), std::u16string::npos);
  EXPECT_TRUE(text.ends_with(
      u"=================\r\nllvmpipe (LLVM 15.0.6, 256 bits)\r\n=================\r\n"));
  // Ten effects, the rules and the diagnostic.
  EXPECT_EQ(std::count(text.begin(), text.end(), u'\n'), 1 + 10 + 3);
  host.services.diagnostic.clear();
  EXPECT_TRUE(
      GpuReportText(&host, library).ends_with(u"=================\r\n=================\r\n"));
  EXPECT_EQ(host.services.refs, 1);
  library->Release();
}

}  // namespace
}  // namespace vitrella
