#include "support/gpu_report.h"

#include <algorithm>
#include <vector>

#include "gpu/gpu_effect_helper.h"
#include "platform/text.h"

namespace vitrella {
namespace {

constexpr const char16_t* kLineEnd = u"\r\n";
constexpr const char16_t* kRule = u"=================";
// Which of the host's diagnostic texts the report shows.
constexpr int32_t kGpuDiagnostic = 7;

}  // namespace

std::u16string GpuReportText(IEffectHost* host, IEffectLibrary* library) {
  if (host == nullptr) return std::u16string(u"Video host is empty.") + kLineEnd;
  if (library == nullptr) return std::u16string(u"Effect library is empty.") + kLineEnd;
  IGPUServices* services = QueryGPUServices(host);
  if (services == nullptr) return std::u16string(u"Video host does not support GPU.") + kLineEnd;

  const char* name = library->GetLibraryName();
  std::u16string text =
      u"Testing " + platform::Utf8ToWide(name != nullptr ? name : "") + u":" + kLineEnd;
  for (uint32_t index = 0;; ++index) {
    IVideoEffect* effect = library->CreateEffect(index);
    if (effect == nullptr) break;
    GPUSetupInfo setup{};
    const bool supported = services->QueryEffectGPU(effect, &setup) && setup.gpuUsable == 1;
    const char* effectName = effect->GetEffectName();
    text += platform::Utf8ToWide(effectName != nullptr ? effectName : "") + u" " +
            (supported ? u"supports OpenGL." : u"doesn`t support OpenGL.") + kLineEnd;
    effect->Release();
  }
  text += std::u16string(kRule) + kLineEnd;
  const int32_t length = services->GetDiagnosticText(kGpuDiagnostic, nullptr, 0);
  if (length > 0) {
    std::vector<WideChar> diagnostic(static_cast<size_t>(length) + 1, 0);
    const int32_t got = services->GetDiagnosticText(kGpuDiagnostic, diagnostic.data(), length + 1);
    if (got > 0) text += std::u16string(diagnostic.data(), std::min(got, length)) + kLineEnd;
  }
  text += std::u16string(kRule) + kLineEnd;
  services->Release();
  return text;
}

}  // namespace vitrella
