// Modal message boxes and the two common file dialogs. Types, flags and answers carry
// the numbers of the Windows calls, so that a Windows backend passes them on unchanged.
//
// Two backends stand behind these calls, chosen at each call by $VITRELLA_UI:
// "headless" never blocks and answers from a script (platform/ui_script.h); "desktop",
// the default, shows zenity dialogs when a display is there and falls back to headless
// when there is none or zenity cannot be started.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vitrella::platform {

// A window of the host; opaque here.
using WindowHandle = void*;

// Message box types: buttons in the low four bits, the icon in the next four.
inline constexpr uint32_t kBoxOk = 0x0;
inline constexpr uint32_t kBoxOkCancel = 0x1;
inline constexpr uint32_t kBoxYesNo = 0x4;
inline constexpr uint32_t kBoxButtonsMask = 0xF;
inline constexpr uint32_t kBoxIconError = 0x10;
inline constexpr uint32_t kBoxIconQuestion = 0x20;
inline constexpr uint32_t kBoxIconWarning = 0x30;  // the exclamation mark
inline constexpr uint32_t kBoxIconInformation = 0x40;
inline constexpr uint32_t kBoxIconMask = 0xF0;

// Message box answers.
inline constexpr int kAnswerOk = 1;
inline constexpr int kAnswerCancel = 2;
inline constexpr int kAnswerYes = 6;
inline constexpr int kAnswerNo = 7;

// File dialog flags.
inline constexpr uint32_t kDialogOverwritePrompt = 0x2;
inline constexpr uint32_t kDialogPathMustExist = 0x800;
inline constexpr uint32_t kDialogFileMustExist = 0x1000;
inline constexpr uint32_t kDialogExplorer = 0x80000;

struct FileDialog {
  WindowHandle owner = nullptr;
  const char16_t* title = nullptr;  // null: the backend's own
  // Pairs of a label and a pattern ("*.ext", several joined by ';'), each closed by a
  // NUL, the list closed by an empty text. Null: every file.
  const char16_t* filter = nullptr;
  uint32_t filterIndex = 0;                    // 0: the first pair
  const char16_t* defaultExtension = nullptr;  // without the dot; given to a name without one
  const char16_t* initialDirectory = nullptr;  // null: the backend's choice
  uint32_t flags = 0;
  char16_t* path = nullptr;  // in: the name to start from; out: the chosen path
  size_t pathCapacity = 0;   // characters, the NUL included
};

// The window that has the user's attention, owner of boxes that belong to no window of
// their own; null where the system has no such handle.
WindowHandle ForegroundWindow();

// A window of this process, to own a box that concerns the whole process; null when it
// has none. Both backends answer with a stand-in for the host's window unless
// $VITRELLA_UI_WINDOW is "none", with which a test plays a host that has no window yet.
WindowHandle ProcessWindow();

// Shows the box and returns the answer; never fails to answer.
int ShowMessageBox(WindowHandle owner, const char16_t* text, const char16_t* title, uint32_t type);

// True when the user chose a path and it fits dialog.path; false when the dialog was
// cancelled, or dialog.path is null or too small, which leaves it unchanged.
bool ShowOpenDialog(FileDialog& dialog);
bool ShowSaveDialog(FileDialog& dialog);

}  // namespace vitrella::platform
