#include "platform/form_protocol.h"

#include <charconv>
#include <cstdio>
#include <iterator>

#include "platform/text.h"

namespace vitrella::platform::form_protocol {
namespace {

constexpr const char* kKindNames[] = {"label", "check", "button", "group", "bitmap", "text"};
// Far beyond any dialog, small enough that a hostile description cannot ask for gigabytes.
constexpr int32_t kMaxExtent = 8192;

const char* KindName(ControlKind kind) {
  return kKindNames[static_cast<size_t>(kind)];
}

std::optional<ControlKind> KindOf(std::string_view name) {
  for (size_t i = 0; i < std::size(kKindNames); ++i) {
    if (name == kKindNames[i]) return static_cast<ControlKind>(i);
  }
  return std::nullopt;
}

// Splits off the next blank-separated word.
std::string_view Word(std::string_view& line) {
  const size_t end = line.find(' ');
  const std::string_view word = line.substr(0, end);
  line.remove_prefix(end == std::string_view::npos ? line.size() : end + 1);
  return word;
}

bool Number(std::string_view& line, int32_t& value) {
  const std::string_view word = Word(line);
  const auto [stop, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  return error == std::errc() && stop == word.data() + word.size() && !word.empty();
}

bool Extent(std::string_view& line, int32_t& value) {
  return Number(line, value) && value >= 0 && value <= kMaxExtent;
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string PixelsLine(int32_t id, const Bitmap& bitmap) {
  std::string line = "pixels " + std::to_string(id) + " " + std::to_string(bitmap.width) + " " +
                     std::to_string(bitmap.height) + " ";
  line.reserve(line.size() + bitmap.pixels.size() * 6 + 1);
  for (const uint32_t pixel : bitmap.pixels) {
    char hex[8];
    std::snprintf(hex, sizeof(hex), "%06X", static_cast<unsigned>(pixel & 0xFFFFFFu));
    line += hex;
  }
  return line + "\n";
}

std::shared_ptr<const Bitmap> ReadPixels(std::string_view line) {
  auto bitmap = std::make_shared<Bitmap>();
  if (!Extent(line, bitmap->width) || !Extent(line, bitmap->height)) return nullptr;
  const size_t count = static_cast<size_t>(bitmap->width) * static_cast<size_t>(bitmap->height);
  if (line.size() != count * 6) return nullptr;
  bitmap->pixels.resize(count);
  for (size_t i = 0; i < count; ++i) {
    uint32_t pixel = 0;
    for (size_t k = 0; k < 6; ++k) {
      const int digit = HexDigit(line[i * 6 + k]);
      if (digit < 0) return nullptr;
      pixel = pixel << 4 | static_cast<uint32_t>(digit);
    }
    bitmap->pixels[i] = pixel;
  }
  return bitmap;
}

}  // namespace

std::string Escape(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '\\':
        out += "\\\\";
        break;
      case '\t':
        out += "\\t";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string Unescape(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size()) {
      out += text[i];
      continue;
    }
    switch (text[++i]) {
      case 't':
        out += '\t';
        break;
      case 'n':
        out += '\n';
        break;
      case 'r':
        out += '\r';
        break;
      default:  // the backslash itself, and any other letter taken as it stands
        out += text[i];
    }
  }
  return out;
}

std::string Describe(const Form& form) {
  std::string out = "form " + std::to_string(form.templateId) + " " + std::to_string(form.width) +
                    " " + std::to_string(form.height) + " " + std::to_string(form.focus) + " " +
                    Escape(WideToUtf8(form.title)) + "\n";
  for (const FormControl& control : form.controls) {
    if (!control.visible) continue;
    out += "control " + std::to_string(control.id) + " " + KindName(control.kind) + " " +
           std::to_string(control.x) + " " + std::to_string(control.y) + " " +
           std::to_string(control.width) + " " + std::to_string(control.height) + " " +
           (control.checked ? "1 " : "0 ") + Escape(WideToUtf8(control.text)) + "\n";
    const auto bitmap = form.bitmaps.find(control.id);
    if (control.kind == ControlKind::kBitmapButton && bitmap != form.bitmaps.end() &&
        bitmap->second != nullptr &&
        bitmap->second->pixels.size() ==
            static_cast<size_t>(bitmap->second->width) * bitmap->second->height) {
      out += PixelsLine(control.id, *bitmap->second);
    }
  }
  out += kShow;
  out += "\n";
  return out;
}

bool FormReader::Add(std::string_view line) {
  if (finished_) return false;
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  const std::string_view record = Word(line);
  if (record == kShow) {
    finished_ = true;
    return false;
  }
  if (record == "form") {
    Form form;
    if (Number(line, form.templateId) && Extent(line, form.width) && Extent(line, form.height) &&
        Number(line, form.focus)) {
      form.title = Utf8ToWide(Unescape(line));
      form.controls = std::move(form_.controls);
      form.bitmaps = std::move(form_.bitmaps);
      form_ = std::move(form);
    }
  } else if (record == "control") {
    FormControl control;
    int32_t checked = 0;
    std::optional<ControlKind> kind;
    if (Number(line, control.id) && (kind = KindOf(Word(line))) && Number(line, control.x) &&
        Number(line, control.y) && Extent(line, control.width) && Extent(line, control.height) &&
        Number(line, checked)) {
      control.kind = *kind;
      control.checked = checked != 0;
      control.text = Utf8ToWide(Unescape(line));
      form_.controls.push_back(std::move(control));
    }
  } else if (record == "pixels") {
    int32_t id = 0;
    if (Number(line, id)) {
      if (auto bitmap = ReadPixels(line)) form_.bitmaps[id] = std::move(bitmap);
    }
  }
  return true;
}

std::optional<HelperEvent> ParseHelperLine(std::string_view line) {
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  const std::string_view record = Word(line);
  HelperEvent event;
  if (record == kShown) {
    event.kind = HelperEvent::Kind::kWindowShown;
    return event;
  }
  if (record == kFailed) {
    event.kind = HelperEvent::Kind::kWindowFailed;
    return event;
  }
  if (record == "check") {
    event.kind = HelperEvent::Kind::kCheck;
    if (!Number(line, event.id)) return std::nullopt;
    const std::string_view state = Word(line);
    if ((state != "on" && state != "off") || !line.empty()) return std::nullopt;
    event.on = state == "on";
    return event;
  }
  if (record == "command") {
    event.kind = HelperEvent::Kind::kCommand;
    if (!Number(line, event.id) || !line.empty()) return std::nullopt;
    return event;
  }
  return std::nullopt;
}

std::string CheckLine(int32_t id, bool on) {
  return "check " + std::to_string(id) + (on ? " on\n" : " off\n");
}

std::string CommandLine(int32_t id) {
  return "command " + std::to_string(id) + "\n";
}

}  // namespace vitrella::platform::form_protocol
