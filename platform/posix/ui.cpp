#include "platform/ui.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "platform/module.h"
#include "platform/ui_backends.h"

namespace vitrella::platform {
namespace {

using namespace ui_detail;

std::u16string TextOrEmpty(const char16_t* text) {
  return text != nullptr ? std::u16string(text) : std::u16string();
}

bool ShowFileDialog(FileDialog& dialog, bool save) {
  if (dialog.path == nullptr || dialog.pathCapacity == 0) return false;
  ShownDialog shown;
  shown.save = save;
  shown.owner = dialog.owner;
  shown.title = TextOrEmpty(dialog.title);
  shown.filter = FilterTexts(dialog.filter);
  shown.filterIndex = dialog.filterIndex;
  shown.defaultExtension = TextOrEmpty(dialog.defaultExtension);
  shown.flags = dialog.flags;
  shown.pathCapacity = dialog.pathCapacity;

  // The path buffer need not hold a NUL within its capacity; read no further.
  const char16_t* end = std::find(dialog.path, dialog.path + dialog.pathCapacity, u'\0');
  std::u16string start(static_cast<const char16_t*>(dialog.path), end);
  if (start.empty() && dialog.initialDirectory != nullptr) {
    start = std::u16string(dialog.initialDirectory) + kPathSeparator;
  }

  std::optional<std::optional<std::u16string>> desktop;
  if (DesktopWanted()) desktop = DesktopFileDialog(shown, start);
  shown.answer = desktop ? *desktop : HeadlessFileAnswer();
  if (shown.answer) {
    *shown.answer = WithDefaultExtension(std::move(*shown.answer), dialog.defaultExtension);
    // A path that does not fit is refused, as the system's dialog refuses it.
    if (shown.answer->size() >= dialog.pathCapacity) {
      shown.answer.reset();
    }
  }
  Record(shown);
  if (!shown.answer) return false;
  std::copy(shown.answer->begin(), shown.answer->end(), dialog.path);
  dialog.path[shown.answer->size()] = u'\0';
  return true;
}

}  // namespace

// Read at every call, so that a batch host can switch between its commands.
bool ui_detail::DesktopWanted() {
  const char* backend = std::getenv(kUiBackendVariable);
  if (backend != nullptr && std::string_view(backend) == kUiHeadless) return false;
  return DesktopAvailable();
}

WindowHandle ForegroundWindow() {
  // No window handles of other programs reach this side; boxes go to the desktop's top.
  return nullptr;
}

WindowHandle ProcessWindow() {
  const char* window = std::getenv(kUiWindowVariable);
  if (window != nullptr && std::string_view(window) == kUiNoWindow) return nullptr;
  // Stands for the host's window, which no handle of this side names: boxes go to the
  // desktop's top, as ForegroundWindow's do.
  static int processWindow = 0;
  return &processWindow;
}

int ShowMessageBox(WindowHandle owner, const char16_t* text, const char16_t* title, uint32_t type) {
  ShownBox box;
  box.owner = owner;
  box.type = type;
  box.title = TextOrEmpty(title);
  box.text = TextOrEmpty(text);
  std::optional<int> answer;
  if (DesktopWanted()) answer = DesktopMessageBox(box);
  box.answer = answer ? *answer : HeadlessBoxAnswer(type);
  Record(box);
  return box.answer;
}

bool ShowOpenDialog(FileDialog& dialog) {
  return ShowFileDialog(dialog, false);
}

bool ShowSaveDialog(FileDialog& dialog) {
  return ShowFileDialog(dialog, true);
}

}  // namespace vitrella::platform
