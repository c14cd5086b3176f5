#include "gpu_render.h"

#include "host_error.h"

namespace vitrella::host {
namespace {

IVideoGPUEffect* GpuInterface(IVideoEffect& effect) {
  void* found = nullptr;
  if (effect.QueryInterface(kIID_IVideoGPUEffect, &found) != kOk) return nullptr;
  return static_cast<IVideoGPUEffect*>(found);
}

// Releases what it holds on every way out.
struct Textures {
  EglServices& services;
  GPUTextureRef source{};
  GPUTextureRef destination{};
  ~Textures() {
    services.ReleaseTexture(&source);
    services.ReleaseTexture(&destination);
  }
};

}  // namespace

GpuHost::GpuHost(IEffectHost& inner, IGPUServices& services) : inner_(inner), services_(services) {}

Result GpuHost::QueryInterface(const Guid& iid, void** out) {
  if (iid == kIID_IGPUServices) {
    services_.AddRef();
    *out = &services_;
    return kOk;
  }
  return inner_.QueryInterface(iid, out);
}
uint32_t GpuHost::AddRef() {
  return 1;
}
uint32_t GpuHost::Release() {
  return 1;
}
int32_t GpuHost::GetParamValue(uint32_t index, void* value, ParamKind kind) {
  return inner_.GetParamValue(index, value, kind);
}
void* GpuHost::GetFrame(const RenderInfo* which, HostFrame* frame) {
  return inner_.GetFrame(which, frame);
}
int32_t GpuHost::ReleaseFrame(void* handle, HostFrame* frame) {
  return inner_.ReleaseFrame(handle, frame);
}
HostInfo* GpuHost::GetHostInfo(HostInfo* info) {
  return inner_.GetHostInfo(info);
}

bool AcceptsGpu(EglServices& services, IVideoEffect& effect) {
  GPUSetupInfo setup{};
  return services.QueryEffectGPU(&effect, &setup) && setup.gpuUsable == 1;
}

void RenderOnGpu(EglServices& services, IVideoEffect& effect, IEffectHost& host,
                 const HostFrame& source, HostFrame& destination, const RenderInfo& info,
                 const std::string& effectName) {
  IVideoGPUEffect* gpu = GpuInterface(effect);
  if (gpu == nullptr) throw HostError("the effect " + effectName + " has no GPU path");
  GpuHost gpuHost(host, services);
  GPUSetupInfo setup{};
  const bool answered = gpu->BeginGPUFrameSetup(&gpuHost, services.context(), &setup, 0);
  if (!answered || setup.gpuUsable != 1) {
    gpu->Release();
    throw HostError("the effect " + effectName + " refuses the GPU path on this context" +
                    (services.lastLog().empty() ? "" : ": " + services.lastLog()));
  }
  Textures textures{services};
  GPUTextureRef empty{};
  bool rendered =
      services.Upload(source, &textures.source) &&
      services.CreateTexture(services.context(), &textures.destination, nullptr, destination.width,
                             destination.height, destination.format, nullptr, 0, 0);
  if (rendered) {
    textures.destination.flipped = destination.flipped;
    rendered = gpu->RenderGPU(0, &gpuHost, services.context(), &textures.source, &empty,
                              &textures.destination, &info) &&
               services.Download(textures.destination, destination);
  }
  gpu->Release();
  if (!rendered) {
    throw HostError("the effect " + effectName + " did not render the picture on the GPU" +
                    (services.lastLog().empty() ? "" : ": " + services.lastLog()));
  }
}

}  // namespace vitrella::host
