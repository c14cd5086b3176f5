#include "gpu/gl_guard.h"

#include "gpu/gl_names.h"

namespace vitrella {

void GLGuard::Save(IGLContext* context) {
  context_ = context;
  if (context_ == nullptr) return;
  context_->GetFloatv(gl::kBlendColor, blendColor_, 4);
  context_->GetIntegerv(gl::kBlendEquation, &equation_, 1);
  context_->GetIntegerv(gl::kBlendEquationAlpha, &equationAlpha_, 1);
  context_->GetIntegerv(gl::kBlendSrcRgb, &sourceColour_, 1);
  context_->GetIntegerv(gl::kBlendSrcAlpha, &sourceAlpha_, 1);
  context_->GetIntegerv(gl::kBlendDstRgb, &destinationColour_, 1);
  context_->GetIntegerv(gl::kBlendDstAlpha, &destinationAlpha_, 1);
}

void GLGuard::Restore() {
  if (context_ == nullptr) return;
  context_->BlendColor(blendColor_[0], blendColor_[1], blendColor_[2], blendColor_[3]);
  context_->BlendEquationSeparate(static_cast<uint32_t>(equation_),
                                  static_cast<uint32_t>(equationAlpha_));
  context_->BlendFuncSeparate(
      static_cast<uint32_t>(sourceColour_), static_cast<uint32_t>(destinationColour_),
      static_cast<uint32_t>(sourceAlpha_), static_cast<uint32_t>(destinationAlpha_));
  // Whether blending was on is not kept: after a GPU call it is off.
  context_->Disable(gl::kBlend);
  context_ = nullptr;
}

}  // namespace vitrella
