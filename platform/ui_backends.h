// What the backends of the UI seam share. For platform/ only; everything else calls
// platform/ui.h.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/ui_form.h"
#include "platform/ui_script.h"

namespace vitrella::platform::ui_detail {

// The headless answers: the queued script first, then the environment.
int HeadlessBoxAnswer(uint32_t type);
std::optional<std::u16string> HeadlessFileAnswer();

// Adds to the record and to the log file, if one is named.
void Record(const ShownBox& box);
void Record(const ShownDialog& dialog);

// The texts of a filter list, up to the empty text that closes it.
std::vector<std::u16string> FilterTexts(const char16_t* filter);

// The path with "." and the extension added when its file name has no dot of its own.
std::u16string WithDefaultExtension(std::u16string path, const char16_t* extension);

// Whether the desktop backend is asked for and a display is there; read at each call.
bool DesktopWanted();

// The desktop backend. Each answers nothing when zenity could not be run, so that the
// caller falls back to the headless answer.
bool DesktopAvailable();
std::optional<int> DesktopMessageBox(const ShownBox& box);
// The outer optional: whether zenity ran; the inner one: the chosen path, none when
// the user cancelled.
std::optional<std::optional<std::u16string>> DesktopFileDialog(const ShownDialog& dialog,
                                                               const std::u16string& start);
// The form through the form helper: the command that closed it, or nothing when the
// helper could not show it, which leaves the form to the headless script.
std::optional<int32_t> DesktopRunForm(Form& form, const FormCommand& onCommand);

}  // namespace vitrella::platform::ui_detail
