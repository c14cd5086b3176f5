// Host-side GPU objects for framework tests: a program that declares a chosen list of
// uniforms and records what it is sent, services that hand such programs out and accept
// every render target, and a context that keeps a blend state.
#pragma once

#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "vitrella/effect.h"
#include "vitrella/gpu.h"

namespace vitrella::testing {

struct UniformCall {
  std::string name;
  std::vector<float> values;
};

class FakeProgram final : public IGPUProgram {
 public:
  explicit FakeProgram(std::vector<std::string> declared) : uniforms(std::move(declared)) {}

  Result VITRELLA_CALL QueryInterface(const Guid& /*iid*/, void** out) override {
    *out = nullptr;
    return kNoInterface;
  }
  uint32_t VITRELLA_CALL AddRef() override { return 1; }
  uint32_t VITRELLA_CALL Release() override { return 1; }
  void VITRELLA_CALL Use() override { ++uses; }
  bool VITRELLA_CALL SetInt(const char* name, int32_t value) override {
    return Record(name, {static_cast<float>(value)});
  }
  bool VITRELLA_CALL SetFloat(const char* name, float value) override {
    return Record(name, {value});
  }
  bool VITRELLA_CALL SetVec2(const char* name, float x, float y) override {
    return Record(name, {x, y});
  }
  bool VITRELLA_CALL SetVec3(const char* name, float x, float y, float z) override {
    return Record(name, {x, y, z});
  }
  bool VITRELLA_CALL SetVec4(const char* name, float x, float y, float z, float w) override {
    return Record(name, {x, y, z, w});
  }
  bool VITRELLA_CALL SetTexture(const char* name, IGPUTexture* /*texture*/) override {
    return Record(name, {});
  }
  uint32_t VITRELLA_CALL GetActiveUniforms(UniformRecord* records) override {
    if (records != nullptr) {
      for (size_t i = 0; i < uniforms.size(); ++i) {
        std::memset(records[i].name, 0, sizeof records[i].name);
        std::strncpy(records[i].name, uniforms[i].c_str(), sizeof records[i].name - 1);
      }
    }
    return static_cast<uint32_t>(uniforms.size());
  }
  bool VITRELLA_CALL GetAttribLocation(const char* /*name*/, int32_t* out) override {
    *out = -1;
    return false;
  }
  bool VITRELLA_CALL IsValid() override { return valid; }

  // The last value sent under a name; empty when none was.
  std::vector<float> Last(const std::string& name) const {
    for (auto it = calls.rbegin(); it != calls.rend(); ++it) {
      if (it->name == name) return it->values;
    }
    return {};
  }

  std::vector<std::string> uniforms;
  std::vector<UniformCall> calls;
  int uses = 0;
  bool valid = true;

 private:
  bool Record(const char* name, std::vector<float> values) {
    calls.push_back({name, std::move(values)});
    return true;
  }
};

class FakeTexture final : public IGPUTexture {
 public:
  Result VITRELLA_CALL QueryInterface(const Guid& /*iid*/, void** out) override {
    *out = nullptr;
    return kNoInterface;
  }
  uint32_t VITRELLA_CALL AddRef() override { return 1; }
  uint32_t VITRELLA_CALL Release() override { return 1; }
  bool VITRELLA_CALL SetFilter(uint32_t /*filter*/) override { return true; }
  bool VITRELLA_CALL IsValid() override { return true; }
};

class FakeBuffer final : public IGPUBuffer {
 public:
  Result VITRELLA_CALL QueryInterface(const Guid& /*iid*/, void** out) override {
    *out = nullptr;
    return kNoInterface;
  }
  uint32_t VITRELLA_CALL AddRef() override { return 1; }
  uint32_t VITRELLA_CALL Release() override { return 1; }
  void VITRELLA_CALL Bind(uint32_t /*target*/) override { ++binds; }
  bool VITRELLA_CALL IsValid() override { return true; }
  int binds = 0;
};

class FakeServices final : public IGPUServices {
 public:
  Result VITRELLA_CALL QueryInterface(const Guid& /*iid*/, void** out) override {
    *out = nullptr;
    return kNoInterface;
  }
  uint32_t VITRELLA_CALL AddRef() override { return ++refs; }
  uint32_t VITRELLA_CALL Release() override { return --refs; }
  // Textures are made only when `texturesLeft` allows, one fewer each time.
  bool VITRELLA_CALL CreateTexture(IGLContext* /*context*/, GPUTextureRef* out,
                                   const char* /*name*/, int32_t width, int32_t height,
                                   int32_t format, const void* /*pixels*/, int32_t /*pitch*/,
                                   uintptr_t /*reserved*/) override {
    ++textureCreations;
    if (texturesLeft <= 0) return false;
    --texturesLeft;
    *out = GPUTextureRef{&texture, format, width, height, width, height, 0, 0, 0};
    return true;
  }
  // Buffers likewise, by `buffersLeft`.
  bool VITRELLA_CALL CreateBuffer(IGLContext* /*context*/, IGPUBuffer** out, const void* /*data*/,
                                  uint32_t /*bytes*/, uint32_t /*usage*/, uintptr_t /*reserved1*/,
                                  uintptr_t /*reserved2*/) override {
    ++bufferCreations;
    *out = nullptr;
    if (buffersLeft <= 0) return false;
    --buffersLeft;
    *out = &buffer;
    return true;
  }
  bool VITRELLA_CALL CreateProgram(IGLContext* /*context*/, IGPUProgram** out,
                                   const char* /*vertexText*/, const char* /*fragmentText*/,
                                   const char* /*geometryText*/, uint32_t /*vertexStored*/,
                                   uint32_t /*fragmentStored*/, uint32_t /*geometryStored*/,
                                   uint32_t /*vertexLength*/, uint32_t /*fragmentLength*/,
                                   uint32_t /*geometryLength*/, uint64_t /*vertexValue*/,
                                   uint64_t /*fragmentValue*/,
                                   uint64_t /*geometryValue*/) override {
    ++creations;
    if (failCreate) {
      *out = nullptr;
      return false;
    }
    programs.push_back(new FakeProgram(declared));
    *out = programs.back();
    return true;
  }
  void VITRELLA_CALL ReleaseBuffer(IGPUBuffer* /*buffer*/) override { ++bufferReleases; }
  void VITRELLA_CALL ReleaseTexture(GPUTextureRef* /*texture*/) override { ++textureReleases; }
  void VITRELLA_CALL ReleaseProgram(IGPUProgram* /*program*/) override { ++releases; }
  bool VITRELLA_CALL SetRenderTarget(IGLContext* /*context*/, const GPUTextureRef* /*target*/,
                                     uint32_t /*reserved1*/, uint32_t /*reserved2*/,
                                     uint8_t /*flag*/) override {
    return true;
  }
  // Answers for the effect named gpuEffect alone.
  bool VITRELLA_CALL QueryEffectGPU(IVideoEffect* effect, GPUSetupInfo* out) override {
    if (effect == nullptr || gpuEffect != effect->GetEffectName()) return false;
    *out = GPUSetupInfo{0, 1, 0};
    return true;
  }
  // Text 7 is the diagnostic; its length, copied only where it fits with its NUL.
  int32_t VITRELLA_CALL GetDiagnosticText(int32_t which, WideChar* out, int32_t capacity) override {
    if (which != 7 || diagnostic.empty()) return 0;
    if (out != nullptr && capacity > static_cast<int32_t>(diagnostic.size())) {
      std::copy(diagnostic.begin(), diagnostic.end(), out);
      out[diagnostic.size()] = 0;
    }
    return static_cast<int32_t>(diagnostic.size());
  }
  std::string gpuEffect;
  std::u16string diagnostic;

  ~FakeServices() {
    for (FakeProgram* p : programs)
      delete p;
  }

  std::vector<std::string> declared;  // what each new program declares
  std::vector<FakeProgram*> programs;
  int refs = 1;
  int creations = 0;
  int releases = 0;
  bool failCreate = false;
  FakeTexture texture;
  int texturesLeft = 0;
  int textureCreations = 0;
  int textureReleases = 0;
  FakeBuffer buffer;
  int buffersLeft = 0;
  int bufferCreations = 0;
  int bufferReleases = 0;
};

class FakeContext final : public IGLContext {
 public:
  Result VITRELLA_CALL QueryInterface(const Guid& /*iid*/, void** out) override {
    *out = nullptr;
    return kNoInterface;
  }
  uint32_t VITRELLA_CALL AddRef() override { return 1; }
  uint32_t VITRELLA_CALL Release() override { return 1; }
  const void* VITRELLA_CALL GetExtensionTable() override { return table; }
  void VITRELLA_CALL GetIntegerv(uint32_t name, int32_t* out, int32_t /*count*/) override {
    *out = integers[name];
  }
  void VITRELLA_CALL GetFloatv(uint32_t /*name*/, float* out, int32_t count) override {
    for (int i = 0; i < count; ++i)
      out[i] = blendColor[i];
  }
  bool VITRELLA_CALL Enable(uint32_t capability) override {
    enabled[capability] = true;
    return true;
  }
  bool VITRELLA_CALL Disable(uint32_t capability) override {
    enabled[capability] = false;
    return true;
  }
  void VITRELLA_CALL BlendColor(float r, float g, float b, float a) override {
    blendColor[0] = r;
    blendColor[1] = g;
    blendColor[2] = b;
    blendColor[3] = a;
  }
  bool VITRELLA_CALL BlendEquationSeparate(uint32_t colour, uint32_t alpha) override {
    integers[0x8009] = static_cast<int32_t>(colour);
    integers[0x883D] = static_cast<int32_t>(alpha);
    return true;
  }
  bool VITRELLA_CALL BlendFuncSeparate(uint32_t srcColour, uint32_t dstColour, uint32_t srcAlpha,
                                       uint32_t dstAlpha) override {
    integers[0x80C9] = static_cast<int32_t>(srcColour);
    integers[0x80C8] = static_cast<int32_t>(dstColour);
    integers[0x80CB] = static_cast<int32_t>(srcAlpha);
    integers[0x80CA] = static_cast<int32_t>(dstAlpha);
    return true;
  }
  void VITRELLA_CALL UseProgram(uint32_t /*program*/) override {}
  void VITRELLA_CALL BindBuffer(uint32_t /*target*/, uint32_t /*buffer*/) override {}

  const void* table = nullptr;
  std::map<uint32_t, int32_t> integers;
  float blendColor[4] = {};
  std::map<uint32_t, bool> enabled;
};

// A host that offers the fake services and nothing else.
class ServingHost final : public IEffectHost {
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
  FakeServices services;
};

}  // namespace vitrella::testing
