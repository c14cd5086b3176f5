// Modal dialogs laid out by the library: a form of controls at pixel positions, run until
// one of its commands closes it. Two backends, chosen as for message boxes (platform/ui.h):
// on a desktop the form helper, a program beside the library, draws the form with plain
// Xlib in a process of its own (platform/form_protocol.h); without a display, with
// $VITRELLA_UI set to "headless", or when the helper cannot be started or does not show
// its window in time, the headless backend plays a script of steps.
//
// The helper is found beside the library as "VitrellaFormHelper"; $VITRELLA_FORM_HELPER
// names another one.
//
// The script is a list of steps separated by blanks or commas, taken in order across the
// forms of a process: "ID=on" or "ID=off" sets a check box, "ID" presses a button. A form
// that runs out of steps closes as if Cancel (2) were pressed. Steps queued with
// ScriptFormSteps come first; then those of $VITRELLA_UI_FORM, read once.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/ui.h"

namespace vitrella::platform {

inline constexpr const char* kUiFormVariable = "VITRELLA_UI_FORM";
inline constexpr const char* kFormHelperVariable = "VITRELLA_FORM_HELPER";
inline constexpr const char16_t* kFormHelperName = u"VitrellaFormHelper";
inline constexpr int32_t kFormCancel = 2;

enum class ControlKind { kLabel, kCheckBox, kButton, kGroup, kBitmapButton, kText };

struct FormControl {
  int32_t id = 0;
  ControlKind kind = ControlKind::kLabel;
  std::u16string text;
  int32_t x = 0;  // pixels from the dialog's top left corner
  int32_t y = 0;
  int32_t width = 0;
  int32_t height = 0;
  bool visible = true;
  bool checked = false;  // check boxes
};

// A picture of a bitmap button: rows top to bottom, each pixel 0x00RRGGBB.
struct Bitmap {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint32_t> pixels;
};

struct Form {
  int32_t templateId = 0;
  std::u16string title;
  int32_t width = 0;
  int32_t height = 0;
  int32_t focus = 0;  // the control that has the focus at opening; 0 for none
  std::vector<FormControl> controls;
  // The pictures of bitmap buttons, by control; a button without one is drawn framed.
  std::map<int32_t, std::shared_ptr<const Bitmap>> bitmaps;

  FormControl* Find(int32_t id);
  const FormControl* Find(int32_t id) const;
};

// Called for each button pressed; answers whether the form closes with it.
using FormCommand = std::function<bool(int32_t id)>;

// Runs the form modally and returns the command that closed it. Check boxes the user
// changed are changed in form. A hidden control takes no step: a step on it is skipped.
int32_t RunForm(WindowHandle owner, Form& form, const FormCommand& onCommand);

// How long the helper may take to show its window before the form runs headless.
inline constexpr int kFormHelperStartWaitMs = 5000;
// Tests shorten the wait; 0 restores it.
void SetFormHelperStartWait(int milliseconds);

struct ShownForm {
  int32_t templateId = 0;
  std::u16string title;
  std::vector<int32_t> visible;  // the ids of the visible controls, in the form's order
  int32_t result = 0;
  bool desktop = false;  // shown by the form helper
};

void ScriptFormSteps(const std::string& steps);
std::vector<ShownForm> ShownForms();
// Forgets the queued steps and the record; the environment's steps are read again.
void ResetFormScript();

}  // namespace vitrella::platform
