// One GPU program for the length of a render: its uniform list, the setters by name and
// the standard uniforms that tell a program the geometry of its target and textures.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "vitrella/gpu.h"

namespace vitrella {

class ProgramBundle {
 public:
  static constexpr int kStages = 10;

  // A regular program is drawn over a quad and takes the standard uniforms.
  explicit ProgramBundle(bool regular);
  ~ProgramBundle();
  ProgramBundle(const ProgramBundle&) = delete;
  ProgramBundle& operator=(const ProgramBundle&) = delete;

  // Releases what is attached first. A null or invalid program leaves the bundle empty.
  void AttachProgram(IGPUServices* services, IGLContext* context, IGPUProgram* program);
  void DetachProgram();

  // Makes the program current and writes the target's standard uniforms; false without
  // a program. Sizes below 1 count as 1.
  bool BeginPass(int32_t width, int32_t height);

  // Index in the uniform list, or -1.
  int FindUniform(const char* name) const;

  // A regular bundle sends only the names its program declares; the rest answer false.
  bool SetInt(const char* name, int32_t value);
  bool SetFloat(const char* name, float value);
  bool SetVec2(const char* name, float x, float y);
  bool SetVec3(const char* name, float x, float y, float z);
  bool SetVec4(const char* name, float x, float y, float z, float w);
  bool SetTexture(const char* name, IGPUTexture* texture);

  // The standard uniforms of one texture stage, for the sub-rectangle (x0, y0, x1, y1)
  // of its region, (0, 0, 1, 1) when null. Only the first call per stage and pass counts.
  void SetTextureStage(int stage, const GPUTextureRef& texture, const float* rect);

  // Stores the negation of each; the third, once set, turns the automatic stages off.
  void SetVerification(bool first, bool second, bool third);

  // The stages that every draw sets from its textures, unless turned off.
  void SetAutomaticStages(const GPUTextureRef* const* textures, int count);

  bool regular() const { return regular_ != 0; }
  IGPUProgram* program() const { return program_; }
  int32_t targetWidth() const { return targetWidth_; }
  int32_t targetHeight() const { return targetHeight_; }
  size_t uniformCount() const { return uniformCount_; }
  bool touched(int index) const { return index >= 0 && touched_[static_cast<size_t>(index)]; }

 private:
  // Looks the name up for a regular bundle and marks it; false for an unknown name.
  bool Admit(const char* name);

  IGLContext* context_ = nullptr;
  IGPUServices* services_ = nullptr;  // counted while a program is held
  IGPUProgram* program_ = nullptr;
  uint8_t regular_;
  uint8_t verification_[3] = {};
  int32_t targetWidth_ = 1;
  int32_t targetHeight_ = 1;
  uint64_t uniformCount_ = 0;
  std::vector<std::string> names_;
  std::vector<uint8_t> touched_;
  uint8_t stageSet_[kStages] = {};
};

}  // namespace vitrella
