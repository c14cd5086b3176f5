#include "gpu_render.h"

#include "host_error.h"

namespace vitrella::host {
namespace {

// The render's host, which also lends the GPU services.
class GpuHost final : public IEffectHost {
 public:
  GpuHost(IEffectHost& inner, IGPUServices& services) : inner_(inner), services_(services) {}

  Result VITRELLA_CALL QueryInterface(const Guid& iid, void** out) override {
    if (iid == kIID_IGPUServices) {
      services_.AddRef();
      *out = &services_;
      return kOk;
    }
    return inner_.QueryInterface(iid, out);
  }
  uint32_t VITRELLA_CALL AddRef() override { return 1; }
  uint32_t VITRELLA_CALL Release() override { return 1; }
  int32_t VITRELLA_CALL GetParamValue(uint32_t index, void* value, ParamKind kind) override {
    return inner_.GetParamValue(index, value, kind);
  }
  void* VITRELLA_CALL GetFrame(const RenderInfo* which, HostFrame* frame) override {
    return inner_.GetFrame(which, frame);
  }
  int32_t VITRELLA_CALL ReleaseFrame(void* handle, HostFrame* frame) override {
    return inner_.ReleaseFrame(handle, frame);
  }
  HostInfo* VITRELLA_CALL GetHostInfo(HostInfo* info) override { return inner_.GetHostInfo(info); }

 private:
  IEffectHost& inner_;
  IGPUServices& services_;
};

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
