#include "gpu/gpu_effect_helper.h"

namespace vitrella {

IGPUServices* QueryGPUServices(IEffectHost* host) {
  if (host == nullptr) return nullptr;
  void* found = nullptr;
  if (host->QueryInterface(kIID_IGPUServices, &found) != kOk) return nullptr;
  return static_cast<IGPUServices*>(found);
}

int32_t SwapFlag(int32_t format) {
  return format == PixelFormat8ARGB || format == PixelFormat32FARGB || format == kGPUFormatSwapped
             ? 1
             : 0;
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

bool GPUEffectHelper::RenderGPU(uintptr_t /*unused*/, IEffectHost* host, IGLContext* context,
                                const GPUTextureRef* source, const GPUTextureRef* secondSource,
                                GPUTextureRef* destination, const RenderInfo* info) {
  if (host == nullptr || info == nullptr || source == nullptr) return false;
  const int32_t format = source->format;
  if (format != PixelFormat8BGRA && format != PixelFormat8ARGB && format != PixelFormat32FBGRA &&
      format != PixelFormat32FARGB) {
    return false;
  }
  IGPUServices* services = QueryGPUServices(host);
  if (services == nullptr) return false;

  // Health reports go here: the shared host and library names, a new GUID text and the
  // begin report to the monitor. Until they exist the render goes on unreported.

  EnterGPU(services, context);
  const bool result = RenderGPUFrame(host, source, secondSource, destination, info);
  LeaveGPU();

  // Health reports: the end report with the same GUID text goes here.

  services->Release();
  return result;
}

}  // namespace vitrella
