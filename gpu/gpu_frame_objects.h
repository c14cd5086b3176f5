// The render targets and programs of one RenderGPUFrame, made through the helper in the
// order asked and released, targets first, on every way out of the frame.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "gpu/gpu_helper.h"

namespace vitrella {

class GpuFrameObjects {
 public:
  static constexpr int kMostTargets = 8;
  static constexpr int kMostPrograms = 8;

  explicit GpuFrameObjects(GPUHelper& helper) : helper_(helper) {}
  ~GpuFrameObjects();
  GpuFrameObjects(const GpuFrameObjects&) = delete;
  GpuFrameObjects& operator=(const GpuFrameObjects&) = delete;

  // A target of the size and format, empty or holding the pixels (rows `pitch` bytes
  // apart), or a program of the pair in a regular bundle.
  // After the first failure nothing more is asked of the host, and an empty stand-in
  // comes back; made() then says false.
  GPUTextureRef& Target(int32_t width, int32_t height, int32_t format, const void* pixels = nullptr,
                        int32_t pitch = 0);
  ProgramBundle& Program(ProgramPair pair);

  bool made() const { return made_; }

 private:
  GPUHelper& helper_;
  std::array<GPUTextureRef, kMostTargets> targets_{};
  std::array<std::optional<ProgramBundle>, kMostPrograms> programs_;
  int targetCount_ = 0;
  int programCount_ = 0;
  bool made_ = true;
  GPUTextureRef spareTarget_{};
  ProgramBundle spareProgram_{true};
};

}  // namespace vitrella
