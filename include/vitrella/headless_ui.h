// Running the library's dialogs without a person: the environment variables through
// which a batch host or a test answers the library's message boxes and file dialogs, and
// reads back what they showed.
//
// VITRELLA_UI         "headless" answers everything from the variables below and never
//                     blocks; anything else, or nothing, shows desktop dialogs (zenity)
//                     when a display is there, and runs headless otherwise.
// VITRELLA_UI_FILE    the path that a headless file dialog answers; unset or empty, the
//                     dialog is cancelled. A file name without an extension gets the
//                     dialog's default one, as a typed name would.
// VITRELLA_UI_ANSWER  the button a headless message box answers: ok, cancel, yes or no;
//                     otherwise its first button.
// VITRELLA_UI_WINDOW  "none": the host has no window of its own yet, so boxes that need
//                     one (the GPU crash report) wait for a later start.
// VITRELLA_UI_LOG     a file to which every box and dialog shown is appended as one line
//                     of tab-separated fields, UTF-8, with backslash, tab, line feed and
//                     carriage return written as \\, \t, \n and \r:
//                       box    type   title   text
//                       open   title  answer  filter texts...   (answer empty: cancelled)
//                       save   title  answer  filter texts...
//
// The variables are read at each box or dialog, so a host may change them between calls.
#pragma once

namespace vitrella {

inline constexpr const char* kUiBackendVariable = "VITRELLA_UI";
inline constexpr const char* kUiHeadless = "headless";
inline constexpr const char* kUiFileVariable = "VITRELLA_UI_FILE";
inline constexpr const char* kUiAnswerVariable = "VITRELLA_UI_ANSWER";
inline constexpr const char* kUiLogVariable = "VITRELLA_UI_LOG";
inline constexpr const char* kUiWindowVariable = "VITRELLA_UI_WINDOW";
inline constexpr const char* kUiNoWindow = "none";

}  // namespace vitrella
