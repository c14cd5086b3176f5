// The options dialog's GPU report: its one-line refusals and the line per effect.
#include "support/gpu_report.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "common/fake_host.h"
#include "core/effects_library.h"
#include "fake_gpu.h"

namespace vitrella {
namespace {

class ServicesHost final : public IEffectHost {
 public:
  Result VITRELLA_CALL QueryInterface(const Guid& iid, void** out) override {
    if (iid == kIID_IGPUServices) {
      services.AddRef();
      *out = &services;
      return kOk;
    }
    *out = nullptr;
    return kNoInterface;
  }
  uint32_t VITRELLA_CALL AddRef() override { return 1; }
  uint32_t VITRELLA_CALL Release() override { return 1; }
  int32_t VITRELLA_CALL GetParamValue(uint32_t, void*, ParamKind) override { return 0; }
  void* VITRELLA_CALL GetFrame(const RenderInfo*, HostFrame*) override { return nullptr; }
  int32_t VITRELLA_CALL ReleaseFrame(void*, HostFrame*) override { return 0; }
  HostInfo* VITRELLA_CALL GetHostInfo(HostInfo* info) override { return info; }
  testing::FakeServices services;
};

TEST(GpuReport, NamesEachEffectAndTheHostsDiagnostic) {
  auto* library = new CVitrellaEffects3();
  testing::FakeHost plain;
  EXPECT_EQ(GpuReportText(nullptr, library), u"Video host is empty.\r\n");
  EXPECT_EQ(GpuReportText(&plain, nullptr), u"Effect library is empty.\r\n");
  EXPECT_EQ(GpuReportText(&plain, library), u"Video host does not support GPU.\r\n");

  ServicesHost host;
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
