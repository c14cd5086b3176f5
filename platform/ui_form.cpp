#include "platform/ui_form.h"

#include <charconv>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <optional>

#include "platform/text.h"
#include "platform/ui_backends.h"
#include "vitrella/headless_ui.h"

namespace vitrella::platform {
namespace {

struct Step {
  int32_t id = 0;
  std::optional<bool> check;  // none: a press
};

// The person at the screen, of whom a process has one: module-wide, under one lock.
struct FormScript {
  std::mutex lock;
  std::deque<Step> steps;
  bool environmentRead = false;
  std::vector<ShownForm> shown;
};

FormScript& Script() {
  static FormScript script;
  return script;
}

// Unreadable steps are dropped, so that a typing error ends in Cancel, never in a hang.
void Parse(std::string_view text, std::deque<Step>& steps) {
  while (!text.empty()) {
    const size_t end = text.find_first_of(" ,");
    const std::string_view token = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (token.empty()) continue;
    const size_t equals = token.find('=');
    Step step;
    const std::string_view number = token.substr(0, equals);
    const auto [stop, error] =
        std::from_chars(number.data(), number.data() + number.size(), step.id);
    if (error != std::errc() || stop != number.data() + number.size()) continue;
    if (equals != std::string_view::npos) {
      const std::string_view state = token.substr(equals + 1);
      if (state != "on" && state != "off") continue;
      step.check = state == "on";
    }
    steps.push_back(step);
  }
}

std::optional<Step> NextStep() {
  FormScript& script = Script();
  const std::lock_guard hold(script.lock);
  if (script.steps.empty() && !script.environmentRead) {
    script.environmentRead = true;
    if (const char* steps = std::getenv(kUiFormVariable)) Parse(steps, script.steps);
  }
  if (script.steps.empty()) return std::nullopt;
  const Step step = script.steps.front();
  script.steps.pop_front();
  return step;
}

void AppendLog(const ShownForm& form) {
  const char* path = std::getenv(kUiLogVariable);
  if (path == nullptr || *path == '\0') return;
  std::string line = "form\t" + std::to_string(form.templateId) + "\t" + WideToUtf8(form.title) +
                     "\t" + std::to_string(form.result) + "\n";
  if (FILE* file = std::fopen(path, "a")) {
    std::fwrite(line.data(), 1, line.size(), file);
    std::fclose(file);
  }
}

}  // namespace

FormControl* Form::Find(int32_t id) {
  for (FormControl& control : controls) {
    if (control.id == id) return &control;
  }
  return nullptr;
}

const FormControl* Form::Find(int32_t id) const {
  return const_cast<Form*>(this)->Find(id);
}

int32_t RunForm(WindowHandle /*owner*/, Form& form, const FormCommand& onCommand) {
  ShownForm shown;
  shown.templateId = form.templateId;
  shown.title = form.title;
  for (const FormControl& control : form.controls) {
    if (control.visible) shown.visible.push_back(control.id);
  }
  shown.result = kFormCancel;
  std::optional<int32_t> desktop;
  if (ui_detail::DesktopWanted()) desktop = ui_detail::DesktopRunForm(form, onCommand);
  if (desktop) {
    shown.result = *desktop;
    shown.desktop = true;
  }
  while (!desktop) {
    const std::optional<Step> step = NextStep();
    if (!step) break;
    FormControl* control = form.Find(step->id);
    if (control == nullptr || !control->visible) continue;
    if (step->check) {
      if (control->kind == ControlKind::kCheckBox) control->checked = *step->check;
      continue;
    }
    if (control->kind != ControlKind::kButton && control->kind != ControlKind::kBitmapButton) {
      continue;
    }
    if (onCommand(step->id)) {
      shown.result = step->id;
      break;
    }
  }
  AppendLog(shown);
  FormScript& script = Script();
  const std::lock_guard hold(script.lock);
  script.shown.push_back(shown);
  return shown.result;
}

void ScriptFormSteps(const std::string& steps) {
  FormScript& script = Script();
  const std::lock_guard hold(script.lock);
  Parse(steps, script.steps);
}

std::vector<ShownForm> ShownForms() {
  FormScript& script = Script();
  const std::lock_guard hold(script.lock);
  return script.shown;
}

void ResetFormScript() {
  FormScript& script = Script();
  const std::lock_guard hold(script.lock);
  script.steps.clear();
  script.shown.clear();
  script.environmentRead = false;
}

}  // namespace vitrella::platform
