// Saves the blend state of the host's context at the start of a GPU call and puts it
// back at the end, with blending switched off, so that an effect may change it freely.
#pragma once

#include <cstdint>

#include "vitrella/gpu.h"

namespace vitrella {

class GLGuard {
 public:
  void Save(IGLContext* context);
  // Restores through the saved context, if any, and forgets it.
  void Restore();
  IGLContext* savedContext() const { return context_; }

 private:
  IGLContext* context_ = nullptr;
  float blendColor_[4] = {};
  int32_t equation_ = 0;
  int32_t equationAlpha_ = 0;
  int32_t sourceColour_ = 0;
  int32_t sourceAlpha_ = 0;
  int32_t destinationColour_ = 0;
  int32_t destinationAlpha_ = 0;
};

}  // namespace vitrella
