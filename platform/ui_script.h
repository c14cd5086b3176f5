// The headless side of the UI seam: how tests and batch hosts answer boxes and dialogs
// without a person, and the record of everything shown.
//
// A file dialog answers with the next path queued by ScriptFileAnswer, else as
// include/vitrella/headless_ui.h tells for the environment; a message box likewise with
// ScriptBoxAnswer. The script is taken as the user's word: the path is not checked
// against the dialog's flags. Every box and dialog, whichever backend showed it, is
// recorded here and in the log file that the environment may name.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/ui.h"
#include "vitrella/headless_ui.h"

namespace vitrella::platform {

struct ShownBox {
  WindowHandle owner = nullptr;
  uint32_t type = 0;
  std::u16string title;
  std::u16string text;
  int answer = 0;
};

struct ShownDialog {
  bool save = false;
  WindowHandle owner = nullptr;
  std::u16string title;
  std::vector<std::u16string> filter;  // label, pattern, label, pattern, ...
  uint32_t filterIndex = 0;
  std::u16string defaultExtension;
  uint32_t flags = 0;
  size_t pathCapacity = 0;
  std::optional<std::u16string> answer;  // none: cancelled
};

// Queues the answer of the next file dialog; none cancels it.
void ScriptFileAnswer(std::optional<std::u16string> path);
// Queues the answer of the next message box.
void ScriptBoxAnswer(int answer);

// Everything shown since the last reset, oldest first.
std::vector<ShownBox> ShownBoxes();
std::vector<ShownDialog> ShownDialogs();

// Forgets the queued answers and the record.
void ResetUiScript();

}  // namespace vitrella::platform
