#include "gpu/gpu_effect_helper.h"

#include "gpu/monitor_report.h"

namespace vitrella {

IGPUServices* QueryGPUServices(IEffectHost* host) {
  if (host == nullptr) return nullptr;
  void* found = nullptr;
  if (host->QueryInterface(kIID_IGPUServices, &found) != kOk) return nullptr;
  return static_cast<IGPUServices*>(found);
}

bool GPUEffectHelper::BeginGPUFrameSetup(IEffectHost* host, IGLContext* context, GPUSetupInfo* info,
                                         uintptr_t word) {
  IGPUServices* services = QueryGPUServices(host);
  if (services == nullptr) return false;
  EnterGPU(services, context);
  MarkViewSet();
  const bool result = SetupGPUFrame(host, info, word);
  LeaveGPU();
  services->Release();
  return result;
}

bool GPUEffectHelper::SetupGPUFrame(IEffectHost* host, GPUSetupInfo* info, uintptr_t /*word*/) {
  IGPUServices* services = QueryGPUServices(host);
  if (services == nullptr) return false;
  const bool usable = TestPrograms(services, setupPrograms_);
  if (info != nullptr) *info = GPUSetupInfo{0, usable ? 1U : 0U, 0};
  services->Release();
  return true;
}

bool GPUEffectHelper::RenderGPU(uintptr_t /*unused*/, IEffectHost* host, IGLContext* context,
                                const GPUTextureRef* source, const GPUTextureRef* secondSource,
                                GPUTextureRef* destination, const RenderInfo* info) {
  if (host == nullptr || info == nullptr || source == nullptr) return false;
  // The source alone is looked at: a destination of the GPU's own format 9 is served.
  if (!IsHostFormat(source->format)) return false;
  IGPUServices* services = QueryGPUServices(host);
  if (services == nullptr) return false;

  // The monitor hears of the begin before OpenGL is touched, so that a driver fault in
  // this render leaves a report; a begin that could not be sent is followed by no end.
  const char* hostName = nullptr;
  const char* libraryName = nullptr;
  char guid[kRenderGuidCapacity];
  bool reported = false;
  try {
    hostName = ReportHostName(host);
    libraryName = ReportLibraryName();
    reported = MakeRenderGuid(guid, sizeof(guid)) &&
               SendMonitorReport(hostName, libraryName, GetEffectName(), guid, kRenderBegins);
  } catch (...) {
    reported = false;
  }

  EnterGPU(services, context);
  const bool result = RenderGPUFrame(host, source, secondSource, destination, info);
  LeaveGPU();

  if (reported) SendMonitorReport(hostName, libraryName, GetEffectName(), guid, kRenderEnded);

  services->Release();
  return result;
}

}  // namespace vitrella
