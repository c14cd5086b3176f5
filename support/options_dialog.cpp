#include "support/options_dialog.h"

#include <initializer_list>
#include <iterator>

#include "vitrella/shared_services.h"

namespace vitrella::options {
namespace {

using platform::ControlKind;
using platform::Form;
using platform::FormControl;

struct TemplateControl {
  int32_t id;
  ControlKind kind;
  const char16_t* text;  // the template's own label; the dialog's code fills in the rest
  int32_t x, y, width, height;
};

// Template 115 with every row shown.
constexpr int32_t kOptionsWidth = 340;
constexpr int32_t kOptionsHeight = 344;
constexpr TemplateControl kOptionsControls[] = {
    {kLogo, ControlKind::kBitmapButton, u"", 10, 10, 96, 96},
    {kProductNameLabel, ControlKind::kLabel, u"", 116, 14, 214, 16},
    {kVersionLine, ControlKind::kLabel, u"", 116, 38, 214, 16},
    {kCopyright, ControlKind::kLabel, u"", 116, 62, 214, 32},
    {kOptionsGroup, ControlKind::kGroup, u"", 10, 116, 320, 148},
    {kKnobs, ControlKind::kCheckBox, u"", 20, 136, 300, 16},
    {kKeyFrames, ControlKind::kCheckBox, u"", 20, 160, 300, 16},
    {kCropOverscan, ControlKind::kCheckBox, u"Crop Overscan", 20, 184, 300, 16},
    {kForcedCpuCollection, ControlKind::kCheckBox, u"Forced CPU (this)", 20, 208, 134, 16},
    {kForcedCpuAll, ControlKind::kCheckBox, u"Forced CPU (all)", 20, 232, 134, 16},
    {kGpuReport, ControlKind::kButton, u"GPU Report...", kGpuReportLeft, 216, 110, 24},
    {kCheckForUpdate, ControlKind::kButton, u"", 10, 276, 130, 24},
    {kCheckForUpdateLabel, ControlKind::kLabel, u"", 150, 280, 180, 16},
    {kOkButton, ControlKind::kButton, u"", 90, 311, 75, 24},
    {kCancelButton, ControlKind::kButton, u"", 170, 311, 75, 24},
    {kHelpButton, ControlKind::kButton, u"", 255, 311, 75, 24},
};

// The rows of the group, top to bottom, with the option bit that keeps each.
struct OptionRow {
  uint32_t bit;
  std::initializer_list<int32_t> controls;
};
const OptionRow kOptionRows[] = {
    {kOptionKnobs, {kKnobs}},
    {kOptionKeyFrames, {kKeyFrames}},
    {kOptionCropOverscan, {kCropOverscan}},
    {kOptionForcedCpu, {kForcedCpuCollection, kForcedCpuAll, kGpuReport}},
};

// Template 259: the check's text, the download button and Cancel.
constexpr int32_t kUpdateWidth = 440;
constexpr int32_t kUpdateHeight = 324;
constexpr TemplateControl kUpdateControls[] = {
    {kUpdateText, ControlKind::kText, u"", 10, 10, 420, 260},
    {kDownload, ControlKind::kButton, u"Download", 250, 284, 90, 24},
    {kCancelButton, ControlKind::kButton, u"Cancel", 350, 284, 80, 24},
};

// Template 260: the report and its close button.
constexpr int32_t kReportWidth = 400;
constexpr int32_t kReportHeight = 300;
constexpr TemplateControl kReportControls[] = {
    {kReportText, ControlKind::kText, u"", 10, 10, 380, 240},
    {kReportClose, ControlKind::kButton, u"Close", 310, 262, 80, 24},
};

template <size_t N>
Form FromTemplate(int32_t id, int32_t width, int32_t height, const TemplateControl (&controls)[N]) {
  Form form;
  form.templateId = id;
  form.width = width;
  form.height = height;
  for (const TemplateControl& each : controls) {
    form.controls.push_back(
        {each.id, each.kind, each.text, each.x, each.y, each.width, each.height, true, false});
  }
  return form;
}

void MoveUp(Form& form, std::initializer_list<int32_t> ids, int32_t by) {
  for (const int32_t id : ids)
    form.Find(id)->y -= by;
}

}  // namespace

Form LayOutOptions(uint32_t dialogOptions) {
  Form form = FromTemplate(kOptionsTemplate, kOptionsWidth, kOptionsHeight, kOptionsControls);
  int32_t y = form.Find(kKnobs)->y;
  int32_t hiddenRows = 0;
  for (const OptionRow& row : kOptionRows) {
    if ((dialogOptions & row.bit) == 0) {
      for (const int32_t id : row.controls)
        form.Find(id)->visible = false;
      ++hiddenRows;
      continue;
    }
    if (row.bit == kOptionForcedCpu) {
      // Two rows of check boxes, the report's button beside them and midway between.
      FormControl& gpu = *form.Find(kGpuReport);
      form.Find(kForcedCpuCollection)->y = y;
      form.Find(kForcedCpuAll)->y = y + kRowPitch;
      gpu.x = kGpuReportLeft;
      gpu.y = y + (kRowPitch + kRowSaving - gpu.height) / 2;
      y += 2 * kRowPitch;
    } else {
      form.Find(*row.controls.begin())->y = y;
      y += kRowPitch;
    }
  }
  int32_t saved = hiddenRows * kRowSaving;
  FormControl& group = *form.Find(kOptionsGroup);
  if (hiddenRows == static_cast<int32_t>(std::size(kOptionRows))) {
    group.visible = false;
    saved += kGroupSaving;
  } else {
    group.height -= saved;
  }
  MoveUp(form, {kCheckForUpdate, kCheckForUpdateLabel, kOkButton, kCancelButton, kHelpButton},
         saved);
  if ((dialogOptions & kOptionUpdateCheck) == 0) {
    form.Find(kCheckForUpdate)->visible = false;
    form.Find(kCheckForUpdateLabel)->visible = false;
    MoveUp(form, {kOkButton, kCancelButton, kHelpButton}, kUpdateRowSaving);
    saved += kUpdateRowSaving;
  }
  form.height -= saved;
  return form;
}

Form LayOutUpdate(bool available) {
  Form form = FromTemplate(kUpdateTemplate, kUpdateWidth, kUpdateHeight, kUpdateControls);
  if (available) {
    form.focus = kDownload;
  } else {
    form.focus = kCancelButton;
    form.Find(kDownload)->visible = false;
    form.Find(kUpdateText)->height -= kUpdateShrink;
    MoveUp(form, {kCancelButton}, kUpdateShrink);
    form.height -= kUpdateShrink;
  }
  return form;
}

Form LayOutGpuReport() {
  Form form = FromTemplate(kGpuReportTemplate, kReportWidth, kReportHeight, kReportControls);
  form.focus = kReportClose;
  return form;
}

}  // namespace vitrella::options
