#include "core/render_setup.h"

#include <algorithm>

namespace vitrella {

RenderSetup::RenderSetup(IEffectHost* host, const HostFrame* source, HostFrame* destination,
                         const RenderInfo* info, FormatMatch match)
    : host_(host), info_(info), memory_(host) {
  if (host == nullptr || source == nullptr || destination == nullptr || info == nullptr) return;
  if (!src_.AttachHost(source) || !dst_.AttachHost(destination) ||
      !FourChannelLayout(src_, &srcLayout_) || !FourChannelLayout(dst_, &dstLayout_)) {
    return;
  }
  if (match == FormatMatch::kSame && src_.format != dst_.format) return;
  width_ = std::min(src_.width, dst_.width);
  height_ = std::min(src_.height, dst_.height);
  ok_ = width_ > 0 && height_ > 0;
}

}  // namespace vitrella
