#include <cstdio>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <string_view>

#include "platform/form_protocol.h"
#include "platform/module.h"
#include "platform/text.h"
#include "platform/ui_backends.h"

namespace vitrella::platform {
namespace {

// The script and the record stand for the person in front of the screen, of whom a
// process has one; so they are module-wide, under one lock.
struct UiScript {
  std::mutex lock;
  std::deque<std::optional<std::u16string>> fileAnswers;
  std::deque<int> boxAnswers;
  std::vector<ShownBox> boxes;
  std::vector<ShownDialog> dialogs;
};

UiScript& Script() {
  static UiScript script;
  return script;
}

int FirstButton(uint32_t type) {
  return (type & kBoxButtonsMask) == kBoxYesNo ? kAnswerYes : kAnswerOk;
}

std::optional<int> AnswerNamed(std::string_view name) {
  if (name == "ok") return kAnswerOk;
  if (name == "cancel") return kAnswerCancel;
  if (name == "yes") return kAnswerYes;
  if (name == "no") return kAnswerNo;
  return std::nullopt;
}

// One field of a log line: no tab or line end may stand in it unescaped, the same escapes
// as the form helper's lines.
std::string LogField(std::u16string_view text) {
  return form_protocol::Escape(WideToUtf8(text));
}

// Appends one whole line, so that lines of several writers do not interleave.
void AppendLog(const std::string& line) {
  const char* path = std::getenv(kUiLogVariable);
  if (path == nullptr || *path == '\0') return;
  if (FILE* file = std::fopen(path, "a")) {
    std::fwrite(line.data(), 1, line.size(), file);
    std::fclose(file);
  }
}

}  // namespace

void ScriptFileAnswer(std::optional<std::u16string> path) {
  UiScript& script = Script();
  const std::lock_guard hold(script.lock);
  script.fileAnswers.push_back(std::move(path));
}

void ScriptBoxAnswer(int answer) {
  UiScript& script = Script();
  const std::lock_guard hold(script.lock);
  script.boxAnswers.push_back(answer);
}

std::vector<ShownBox> ShownBoxes() {
  UiScript& script = Script();
  const std::lock_guard hold(script.lock);
  return script.boxes;
}

std::vector<ShownDialog> ShownDialogs() {
  UiScript& script = Script();
  const std::lock_guard hold(script.lock);
  return script.dialogs;
}

void ResetUiScript() {
  UiScript& script = Script();
  const std::lock_guard hold(script.lock);
  script.fileAnswers.clear();
  script.boxAnswers.clear();
  script.boxes.clear();
  script.dialogs.clear();
}

namespace ui_detail {

int HeadlessBoxAnswer(uint32_t type) {
  {
    UiScript& script = Script();
    const std::lock_guard hold(script.lock);
    if (!script.boxAnswers.empty()) {
      const int answer = script.boxAnswers.front();
      script.boxAnswers.pop_front();
      return answer;
    }
  }
  if (const char* named = std::getenv(kUiAnswerVariable)) {
    if (const std::optional<int> answer = AnswerNamed(named)) return *answer;
  }
  return FirstButton(type);
}

std::optional<std::u16string> HeadlessFileAnswer() {
  {
    UiScript& script = Script();
    const std::lock_guard hold(script.lock);
    if (!script.fileAnswers.empty()) {
      std::optional<std::u16string> answer = std::move(script.fileAnswers.front());
      script.fileAnswers.pop_front();
      return answer;
    }
  }
  const char* path = std::getenv(kUiFileVariable);
  if (path == nullptr || *path == '\0') return std::nullopt;
  return Utf8ToWide(path);
}

void Record(const ShownBox& box) {
  AppendLog("box\t" + std::to_string(box.type) + "\t" + LogField(box.title) + "\t" +
            LogField(box.text) + "\n");
  UiScript& script = Script();
  const std::lock_guard hold(script.lock);
  script.boxes.push_back(box);
}

void Record(const ShownDialog& dialog) {
  std::string line = dialog.save ? "save" : "open";
  line += "\t" + LogField(dialog.title) + "\t" + LogField(dialog.answer.value_or(u""));
  for (const std::u16string& text : dialog.filter)
    line += "\t" + LogField(text);
  AppendLog(line + "\n");
  UiScript& script = Script();
  const std::lock_guard hold(script.lock);
  script.dialogs.push_back(dialog);
}

std::vector<std::u16string> FilterTexts(const char16_t* filter) {
  std::vector<std::u16string> texts;
  if (filter == nullptr) return texts;
  for (const char16_t* text = filter; *text != u'\0';) {
    texts.emplace_back(text);
    text += texts.back().size() + 1;
  }
  return texts;
}

std::u16string WithDefaultExtension(std::u16string path, const char16_t* extension) {
  if (extension == nullptr || *extension == u'\0' || path.empty()) return path;
  const size_t name = path.rfind(kPathSeparator);
  const size_t dot = path.rfind(u'.');
  if (dot != std::u16string::npos && (name == std::u16string::npos || dot > name)) return path;
  if (name != std::u16string::npos && name + 1 == path.size()) return path;  // a folder
  return path + u"." + extension;
}

}  // namespace ui_detail
}  // namespace vitrella::platform
