#include "gpu/gpu_frame_objects.h"

namespace vitrella {

GpuFrameObjects::~GpuFrameObjects() {
  for (int i = 0; i < targetCount_; ++i)
    helper_.ReleaseTarget(&targets_[static_cast<size_t>(i)]);
  for (int i = 0; i < programCount_; ++i)
    helper_.ReleaseProgram(*programs_[static_cast<size_t>(i)]);
}

GPUTextureRef& GpuFrameObjects::Target(int32_t width, int32_t height, int32_t format,
                                       const void* pixels, int32_t pitch) {
  if (!made_ || targetCount_ == kMostTargets) {
    made_ = false;
    spareTarget_ = GPUTextureRef{};
    return spareTarget_;
  }
  GPUTextureRef& target = targets_[static_cast<size_t>(targetCount_++)];
  made_ = helper_.CreateTarget(&target, width, height, format, pixels, pitch);
  return target;
}

ProgramBundle& GpuFrameObjects::Program(ProgramPair pair) {
  if (!made_ || programCount_ == kMostPrograms) {
    made_ = false;
    return spareProgram_;
  }
  ProgramBundle& bundle = programs_[static_cast<size_t>(programCount_++)].emplace(true);
  made_ = helper_.CreateProgram(bundle, pair.vertex, pair.fragment);
  return bundle;
}

}  // namespace vitrella
