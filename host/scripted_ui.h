// The library's dialogs answered for it: while one of these lives, the library's UI runs
// headless, every file dialog answers with the command's file, and whatever the library
// shows is logged to a file that the host reads back.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vitrella::host {

// One box or file dialog that the library showed.
struct ShownItem {
  enum class Kind { kBox, kOpenDialog, kSaveDialog };
  Kind kind = Kind::kBox;
  uint32_t boxType = 0;  // boxes
  std::string title;
  std::string text;                 // a box's text; a dialog's chosen path, empty when cancelled
  std::vector<std::string> filter;  // dialogs: label, pattern, ...
};

class ScriptedUi {
 public:
  // Throws HostError when no log file can be made.
  explicit ScriptedUi(const std::string& answerPath);
  ScriptedUi(const ScriptedUi&) = delete;
  ScriptedUi& operator=(const ScriptedUi&) = delete;
  // Puts the environment back as it was and removes the log.
  ~ScriptedUi();

  // What was shown so far, oldest first.
  std::vector<ShownItem> Shown() const;

 private:
  struct SavedVariable {
    const char* name;
    std::optional<std::string> value;
  };

  std::string folder_;
  std::string log_;
  std::vector<SavedVariable> saved_;
};

// Lines for the user: "dialog: TITLE [LABEL]", "box: TITLE" with the text below, indented.
std::string DescribeShown(const ShownItem& item);

}  // namespace vitrella::host
