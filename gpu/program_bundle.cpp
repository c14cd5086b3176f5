#include "gpu/program_bundle.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "platform/ui.h"

namespace vitrella {
namespace {

// The fields of one texture stage, in the order in which they are written.
constexpr const char* kStageFields[] = {"_texture",
                                        ".vScale",
                                        ".vShift",
                                        ".vScaleTEXi",
                                        ".vShiftTEXi",
                                        ".vRT2TEX_Scale",
                                        ".vRT2TEX_Shift",
                                        ".vRT2TEXi_Scale",
                                        ".vRT2TEXi_Shift",
                                        ".vTEX2NORM_Scale",
                                        ".vTEX2NORM_Shift",
                                        ".vTEX2TEXi_Scale",
                                        ".vTEX2TEXi_Shift",
                                        ".vTEXi2NORM_Scale",
                                        ".vTEXi2NORM_Shift",
                                        ".vNORM2TEXi_Scale",
                                        ".texelSize",
                                        ".roiLeftTop",
                                        ".roiWH"};
constexpr int kFieldCount = static_cast<int>(std::size(kStageFields));

// "Texture0_texture" to "Texture9.roiWH", built once at compile time.
using UniformName = std::array<char, 32>;
constexpr std::array<std::array<UniformName, ProgramBundle::kStages>, kFieldCount> kStageNames =
    [] {
      std::array<std::array<UniformName, ProgramBundle::kStages>, kFieldCount> names{};
      for (int field = 0; field < kFieldCount; ++field) {
        for (int stage = 0; stage < ProgramBundle::kStages; ++stage) {
          UniformName& name = names[field][stage];
          int n = 0;
          for (const char* c = "Texture"; *c != '\0'; ++c)
            name[n++] = *c;
          name[n++] = static_cast<char>('0' + stage);
          for (const char* c = kStageFields[field]; *c != '\0'; ++c)
            name[n++] = *c;
        }
      }
      return names;
    }();

void ShowProgrammingError(const char16_t* text) {
  platform::ShowMessageBox(nullptr, text, u"Error", platform::kBoxOk | platform::kBoxIconError);
}

// The standard values of one axis of a texture stage.
struct Axis {
  float values[kFieldCount - 1];
};

Axis StageAxis(float regionStart, float regionSize, float allocated, float target, float from,
               float to) {
  const float p = regionStart + from * regionSize + 0.5f;
  const float s = regionSize * (to - from) - 1.0f;
  const float a = allocated;
  const float r = target;
  const float scale = s / a;
  const float shift = p / a;
  const bool wideAllocation = a > 1.5f;
  const bool wideTarget = r > 1.5f;
  const float texi2NormScale = wideAllocation ? 1.0f / s : 0.0f;
  const float texi2NormShift = wideAllocation ? 0.0f : 0.5f;
  return {{
      scale,
      shift,
      scale * texi2NormScale,
      scale * texi2NormShift + shift,
      wideTarget ? r * s / ((r - 1.0f) * (s + 1.0f)) : 0.0f,
      wideTarget ? (1.0f - s / (r - 1.0f)) / (s + 1.0f) * 0.5f : 0.5f,
      wideTarget ? r * s / (r - 1.0f) : 0.0f,
      wideTarget ? -0.5f * s / (r - 1.0f) : 0.0f,
      wideAllocation ? (s + 1.0f) / s : 0.0f,
      wideAllocation ? -0.5f / s : 0.5f,
      s + 1.0f,
      -0.5f,
      texi2NormScale,
      texi2NormShift,
      s,
      1.0f / s,
      shift,
      scale,
  }};
}

}  // namespace

ProgramBundle::ProgramBundle(bool regular) : regular_(regular ? 1 : 0) {}

ProgramBundle::~ProgramBundle() {
  DetachProgram();
}

void ProgramBundle::DetachProgram() {
  if (program_ != nullptr && services_ != nullptr) services_->ReleaseProgram(program_);
  if (services_ != nullptr) services_->Release();
  program_ = nullptr;
  services_ = nullptr;
  context_ = nullptr;
  names_.clear();
  touched_.clear();
  uniformCount_ = 0;
}

void ProgramBundle::AttachProgram(IGPUServices* services, IGLContext* context,
                                  IGPUProgram* program) {
  DetachProgram();
  if (program == nullptr || !program->IsValid()) return;
  services_ = services;
  context_ = context;
  program_ = program;
  if (services_ != nullptr) services_->AddRef();
  if (!regular_) return;

  // A failed allocation leaves the program with no names: every setter then says false.
  const uint32_t count = program_->GetActiveUniforms(nullptr);
  if (count == 0) return;
  std::unique_ptr<UniformRecord[]> records(new (std::nothrow) UniformRecord[count]);
  if (records == nullptr) return;
  const uint32_t filled = program_->GetActiveUniforms(records.get());
  try {
    for (uint32_t i = 0; i < count && i < filled; ++i) {
      records[i].name[sizeof(records[i].name) - 1] = '\0';
      names_.emplace_back(records[i].name);
      touched_.push_back(0);
    }
  } catch (const std::bad_alloc&) {
    names_.clear();
    touched_.clear();
  }
  uniformCount_ = names_.size();
}

int ProgramBundle::FindUniform(const char* name) const {
  if (name == nullptr) return -1;
  for (size_t i = 0; i < names_.size(); ++i) {
    if (names_[i] == name) return static_cast<int>(i);
  }
  // An element of an array: the driver lists the array once, as its first element.
  const std::string_view text(name);
  const size_t open = text.rfind('[');
  if (open != std::string_view::npos && text.back() == ']' && text.substr(open) != "[0]") {
    const std::string first = std::string(text.substr(0, open)) + "[0]";
    for (size_t i = 0; i < names_.size(); ++i) {
      if (names_[i] == first) return static_cast<int>(i);
    }
  }
  return -1;
}

bool ProgramBundle::Admit(const char* name) {
  if (!regular_) return true;
  const int index = FindUniform(name);
  if (index < 0) return false;
  touched_[static_cast<size_t>(index)] = 1;
  return true;
}

bool ProgramBundle::SetInt(const char* name, int32_t value) {
  if (program_ == nullptr || !Admit(name)) return false;
  return program_->SetInt(name, value);
}

bool ProgramBundle::SetFloat(const char* name, float value) {
  if (program_ == nullptr || !Admit(name)) return false;
  return program_->SetFloat(name, value);
}

bool ProgramBundle::SetVec2(const char* name, float x, float y) {
  if (program_ == nullptr || !Admit(name)) return false;
  return program_->SetVec2(name, x, y);
}

bool ProgramBundle::SetVec3(const char* name, float x, float y, float z) {
  if (program_ == nullptr || !Admit(name)) return false;
  return program_->SetVec3(name, x, y, z);
}

bool ProgramBundle::SetVec4(const char* name, float x, float y, float z, float w) {
  if (program_ == nullptr || !Admit(name)) return false;
  return program_->SetVec4(name, x, y, z, w);
}

bool ProgramBundle::SetTexture(const char* name, IGPUTexture* texture) {
  if (program_ == nullptr || !Admit(name)) return false;
  return program_->SetTexture(name, texture);
}

bool ProgramBundle::BeginPass(int32_t width, int32_t height) {
  if (services_ == nullptr || program_ == nullptr) return false;
  program_->Use();
  const uint8_t verifying = verification_[0];
  verification_[0] = 1;
  if (regular_) {
    // Stages 8 and 9 keep their bytes: the reset covers the first eight only.
    std::memset(stageSet_, 0, 8);
    std::fill(touched_.begin(), touched_.end(), uint8_t{0});
  }
  targetWidth_ = width < 1 ? 1 : width;
  targetHeight_ = height < 1 ? 1 : height;
  if (regular_) {
    const auto w = static_cast<float>(targetWidth_);
    const auto h = static_cast<float>(targetHeight_);
    SetVec2("vRTSize", w, h);
    SetVec2("vRT2NORM_Scale", w > 1.0f ? w / (w - 1.0f) : 0.0f, h > 1.0f ? h / (h - 1.0f) : 0.0f);
    SetVec2("vRT2NORM_Shift", w > 1.0f ? -0.5f / (w - 1.0f) : 0.5f,
            h > 1.0f ? -0.5f / (h - 1.0f) : 0.5f);
  }
  verification_[0] = verifying;
  return true;
}

void ProgramBundle::SetTextureStage(int stage, const GPUTextureRef& texture, const float* rect) {
  if (!regular_) {
    ShowProgrammingError(u"You can't provide texture stage info when use not regular shader");
  }
  if (program_ == nullptr || !regular_ || stage < 0 || stage >= kStages || stageSet_[stage]) {
    return;
  }
  stageSet_[stage] = 1;
  const uint8_t verifying = verification_[0];
  verification_[0] = 1;
  static constexpr float kWhole[4] = {0.0f, 0.0f, 1.0f, 1.0f};
  const float* r = rect != nullptr ? rect : kWhole;
  const Axis x = StageAxis(static_cast<float>(texture.left), static_cast<float>(texture.width),
                           static_cast<float>(texture.allocatedWidth),
                           static_cast<float>(targetWidth_), r[0], r[2]);
  const Axis y = StageAxis(static_cast<float>(texture.top), static_cast<float>(texture.height),
                           static_cast<float>(texture.allocatedHeight),
                           static_cast<float>(targetHeight_), r[1], r[3]);
  SetTexture(kStageNames[0][stage].data(), texture.texture);
  for (int field = 1; field < kFieldCount; ++field) {
    SetVec2(kStageNames[field][stage].data(), x.values[field - 1], y.values[field - 1]);
  }
  verification_[0] = verifying;
}

void ProgramBundle::SetVerification(bool first, bool second, bool third) {
  if (!regular_) ShowProgrammingError(u"Verification possible only with regular shaders");
  verification_[0] = first ? 0 : 1;
  verification_[1] = second ? 0 : 1;
  verification_[2] = third ? 0 : 1;
}

void ProgramBundle::SetAutomaticStages(const GPUTextureRef* const* textures, int count) {
  if (!regular_ || verification_[2]) return;
  const uint8_t second = verification_[1];
  const uint8_t third = verification_[2];
  verification_[1] = 1;
  verification_[2] = 0;
  for (int i = 0; i < count && i < 3; ++i) {
    if (textures[i] != nullptr) SetTextureStage(i, *textures[i], nullptr);
  }
  verification_[1] = second;
  verification_[2] = third;
}

}  // namespace vitrella
