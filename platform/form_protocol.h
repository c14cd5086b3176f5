// The line protocol between the library and the form helper, the small program that draws
// a form on the desktop so that no GUI toolkit is loaded into the host's process.
//
// The library writes the form, UTF-8, one record a line, and ends it with "show":
//   form ID WIDTH HEIGHT FOCUS TITLE
//   control ID KIND X Y WIDTH HEIGHT CHECKED TEXT      KIND: label check button group
//                                                      bitmap text; CHECKED: 0 or 1
//   pixels ID WIDTH HEIGHT RRGGBB...                   the bitmap of the control before
//   show
// Hidden controls are not written: the helper can neither draw nor press them. In texts,
// backslash, tab, line feed and carriage return are written \\, \t, \n and \r.
//
// The helper answers "shown" once its window is on the screen, or "failed REASON"; then
// "check ID on|off" when the user toggles a check box and "command ID" when a button is
// pressed. To each command the library answers "close" or "stay"; after "close" the
// helper takes its window down and ends. Return presses the focused button, else OK (1);
// Escape and the window manager's close button press Cancel (2).
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/ui_form.h"

namespace vitrella::platform::form_protocol {

inline constexpr std::string_view kShow = "show";
inline constexpr std::string_view kShown = "shown";
inline constexpr std::string_view kFailed = "failed";
inline constexpr std::string_view kClose = "close";
inline constexpr std::string_view kStay = "stay";

std::string Escape(std::string_view text);
std::string Unescape(std::string_view text);

// The form as the library writes it, "show" included.
std::string Describe(const Form& form);

// Reads the description line by line; Finished once "show" came. A line that cannot be
// read is skipped, so a damaged description gives a form with fewer controls, never a
// crash.
class FormReader {
 public:
  // False once the form is complete.
  bool Add(std::string_view line);
  bool Finished() const { return finished_; }
  Form& Result() { return form_; }

 private:
  Form form_;
  bool finished_ = false;
};

// One line of the helper.
struct HelperEvent {
  enum class Kind { kWindowShown, kWindowFailed, kCheck, kCommand };
  Kind kind = Kind::kWindowShown;
  int32_t id = 0;
  bool on = false;
};
// None for a line that is not one of the helper's.
std::optional<HelperEvent> ParseHelperLine(std::string_view line);

std::string CheckLine(int32_t id, bool on);
std::string CommandLine(int32_t id);

}  // namespace vitrella::platform::form_protocol
