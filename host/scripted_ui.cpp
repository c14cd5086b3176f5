#include "scripted_ui.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "host_error.h"
#include "vitrella/headless_ui.h"

namespace vitrella::host {
namespace {

std::string Unescape(const std::string& field) {
  std::string text;
  for (size_t i = 0; i < field.size(); ++i) {
    if (field[i] != '\\' || i + 1 == field.size()) {
      text += field[i];
      continue;
    }
    switch (field[++i]) {
      case 't':
        text += '\t';
        break;
      case 'n':
        text += '\n';
        break;
      case 'r':
        text += '\r';
        break;
      default:
        text += field[i];
        break;
    }
  }
  return text;
}

std::vector<std::string> Fields(const std::string& line) {
  std::vector<std::string> fields;
  std::istringstream stream(line);
  std::string field;
  while (std::getline(stream, field, '\t'))
    fields.push_back(Unescape(field));
  if (!line.empty() && line.back() == '\t') fields.emplace_back();
  return fields;
}

std::optional<ShownItem> ParseLine(const std::string& line) {
  const std::vector<std::string> fields = Fields(line);
  if (fields.size() < 3) return std::nullopt;
  ShownItem item;
  if (fields[0] == "box" && fields.size() == 4) {
    item.kind = ShownItem::Kind::kBox;
    item.boxType = static_cast<uint32_t>(std::strtoul(fields[1].c_str(), nullptr, 10));
    item.title = fields[2];
    item.text = fields[3];
    return item;
  }
  if (fields[0] != "open" && fields[0] != "save") return std::nullopt;
  item.kind = fields[0] == "open" ? ShownItem::Kind::kOpenDialog : ShownItem::Kind::kSaveDialog;
  item.title = fields[1];
  item.text = fields[2];
  item.filter.assign(fields.begin() + 3, fields.end());
  return item;
}

}  // namespace

ScriptedUi::ScriptedUi(const std::string& answerPath) {
  std::string pattern = (std::filesystem::temp_directory_path() / "vitrella-ui-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw HostError("cannot make a temporary folder");
  folder_ = pattern;
  log_ = folder_ + "/shown.log";

  const std::pair<const char*, std::string> wanted[] = {
      {kUiBackendVariable, kUiHeadless},
      {kUiFileVariable, answerPath},
      {kUiLogVariable, log_},
  };
  for (const auto& [name, value] : wanted) {
    const char* before = std::getenv(name);
    saved_.push_back({name, before != nullptr ? std::optional<std::string>(before) : std::nullopt});
    setenv(name, value.c_str(), 1);
  }
  // A scripted box keeps its first button, whatever the caller's environment says.
  const char* answer = std::getenv(kUiAnswerVariable);
  saved_.push_back(
      {kUiAnswerVariable, answer != nullptr ? std::optional<std::string>(answer) : std::nullopt});
  unsetenv(kUiAnswerVariable);
}

ScriptedUi::~ScriptedUi() {
  for (const SavedVariable& variable : saved_) {
    if (variable.value) {
      setenv(variable.name, variable.value->c_str(), 1);
    } else {
      unsetenv(variable.name);
    }
  }
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

std::vector<ShownItem> ScriptedUi::Shown() const {
  std::vector<ShownItem> items;
  std::ifstream log(log_, std::ios::binary);
  std::string line;
  while (std::getline(log, line)) {
    if (std::optional<ShownItem> item = ParseLine(line)) items.push_back(std::move(*item));
  }
  return items;
}

std::string DescribeShown(const ShownItem& item) {
  if (item.kind != ShownItem::Kind::kBox) {
    std::string line = "dialog: " + item.title;
    if (!item.filter.empty()) line += " [" + item.filter.front() + "]";
    return line + "\n";
  }
  std::string text = "box: " + item.title + "\n";
  std::istringstream lines(item.text);
  std::string line;
  while (std::getline(lines, line))
    text += "  " + line + "\n";
  return text;
}

}  // namespace vitrella::host
