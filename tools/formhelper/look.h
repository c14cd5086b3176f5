// How the form helper draws: colours and the measures that its tests check on the screen.
#pragma once

#include <cstdint>

namespace vitrella::formhelper {

// Colours as 0xRRGGBB.
inline constexpr uint32_t kFace = 0xD4D0C8;  // the dialog's background
inline constexpr uint32_t kWhite = 0xFFFFFF;
inline constexpr uint32_t kShadow = 0x808080;
inline constexpr uint32_t kInk = 0x000000;

// A check box's square, at the control's left and centred on its height; its label
// follows after a gap.
inline constexpr int32_t kCheckSize = 13;
inline constexpr int32_t kCheckGap = 5;

// The property the helper puts on its window once the form is drawn: the template's number.
// Tests wait for it before they look at the screen.
inline constexpr const char* kDrawnProperty = "_VITRELLA_FORM";

}  // namespace vitrella::formhelper
