// The dialogs of the shared services as data: the options dialog (template 115), the
// update dialog (259) and the GPU report (260), with their control numbers and pixel
// positions, and the arithmetic that gives up the place of hidden option rows.
#pragma once

#include <cstdint>

#include "platform/ui_form.h"

namespace vitrella::options {

inline constexpr int32_t kOptionsTemplate = 115;
inline constexpr int32_t kUpdateTemplate = 259;
inline constexpr int32_t kGpuReportTemplate = 260;

// Controls of the options dialog.
inline constexpr int32_t kOkButton = 1;
inline constexpr int32_t kCancelButton = 2;
inline constexpr int32_t kHelpButton = 9;
inline constexpr int32_t kKnobs = 230;
inline constexpr int32_t kCropOverscan = 231;
inline constexpr int32_t kLogo = 232;
inline constexpr int32_t kKeyFrames = 233;
inline constexpr int32_t kProductNameLabel = 234;
inline constexpr int32_t kVersionLine = 1002;
inline constexpr int32_t kOptionsGroup = 1004;
inline constexpr int32_t kCheckForUpdate = 1011;
inline constexpr int32_t kCheckForUpdateLabel = 1012;
inline constexpr int32_t kForcedCpuCollection = 1015;
inline constexpr int32_t kGpuReport = 1016;
inline constexpr int32_t kCopyright = 1023;
inline constexpr int32_t kForcedCpuAll = 1036;
// Controls of the update dialog and of the GPU report.
inline constexpr int32_t kUpdateText = 1008;
inline constexpr int32_t kDownload = 260;
inline constexpr int32_t kReportText = 1017;
inline constexpr int32_t kReportClose = 1018;

// The layout's measures, in pixels.
inline constexpr int32_t kRowSaving = 16;        // given up by each hidden option row
inline constexpr int32_t kRowPitch = 24;         // between the tops of visible rows
inline constexpr int32_t kGroupSaving = 60;      // given up with the group when no row shows
inline constexpr int32_t kUpdateRowSaving = 35;  // given up by the update row
inline constexpr int32_t kGpuReportLeft = 158;   // of button 1016
inline constexpr int32_t kUpdateShrink = 200;    // the update dialog without a download

// The options dialog with the rows of dialogOptions' bits (kOption* of
// vitrella/shared_services.h) and the place of the others given up.
platform::Form LayOutOptions(uint32_t dialogOptions);

// The update dialog, shrunk and without its download button when no update applies.
platform::Form LayOutUpdate(bool available);

platform::Form LayOutGpuReport();

}  // namespace vitrella::options
