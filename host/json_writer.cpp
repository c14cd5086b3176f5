#include "json_writer.h"

#include <charconv>
#include <cmath>
#include <cstdio>

namespace vitrella::host {
namespace {

// Length of the valid UTF-8 sequence at the start of `text`, or 0.
size_t Utf8SequenceLength(std::string_view text) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(0);
  size_t length = 0;
  uint32_t code = 0;
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
    code = lead & 0x1F;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    code = lead & 0x0F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    code = lead & 0x07;
  } else {
    return 0;
  }
  if (text.size() < length) return 0;
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
    code = code << 6 | (byte(i) & 0x3F);
  }
  // Overlong forms, surrogates and code points past the last plane are not UTF-8.
  if ((length == 3 && code < 0x800) || (length == 4 && code < 0x10000) ||
      (code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF) {
    return 0;
  }
  return length;
}

}  // namespace

std::string JsonString(std::string_view text) {
  std::string quoted = "\"";
  size_t i = 0;
  while (i < text.size()) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    switch (c) {
      case '"':
        quoted += "\\\"";
        break;
      case '\\':
        quoted += "\\\\";
        break;
      case '\b':
        quoted += "\\b";
        break;
      case '\f':
        quoted += "\\f";
        break;
      case '\n':
        quoted += "\\n";
        break;
      case '\r':
        quoted += "\\r";
        break;
      case '\t':
        quoted += "\\t";
        break;
      default:
        if (c < 0x20) {
          char escape[8];
          std::snprintf(escape, sizeof(escape), "\\u%04x", c);
          quoted += escape;
        } else if (c >= 0x80) {
          const size_t length = Utf8SequenceLength(text.substr(i));
          if (length == 0) {
            quoted += "\\ufffd";
          } else {
            quoted.append(text.substr(i, length));
            i += length;
            continue;
          }
        } else {
          quoted += static_cast<char>(c);
        }
    }
    ++i;
  }
  quoted += '"';
  return quoted;
}

void JsonWriter::NewLine() {
  out_ << '\n';
  for (size_t level = 0; level < levels_.size(); ++level)
    out_ << "  ";
}

void JsonWriter::BeforeValue() {
  if (afterKey_) {
    afterKey_ = false;
    return;
  }
  if (levels_.empty()) return;
  Level& level = levels_.back();
  if (level.count++ > 0) out_ << (level.inlined ? ", " : ",");
  if (!level.inlined) NewLine();
}

void JsonWriter::Open(char bracket, Layout layout) {
  BeforeValue();
  out_ << bracket;
  // Whatever an inline container holds stays on its line.
  const bool inlined = layout == Layout::kInline || (!levels_.empty() && levels_.back().inlined);
  levels_.push_back({0, inlined});
}

void JsonWriter::Close(char bracket) {
  const Level level = levels_.back();
  levels_.pop_back();
  if (level.count > 0 && !level.inlined) NewLine();
  out_ << bracket;
  if (levels_.empty()) out_ << '\n';
}

void JsonWriter::BeginObject(Layout layout) {
  Open('{', layout);
}
void JsonWriter::EndObject() {
  Close('}');
}
void JsonWriter::BeginArray(Layout layout) {
  Open('[', layout);
}
void JsonWriter::EndArray() {
  Close(']');
}

void JsonWriter::Key(std::string_view name) {
  BeforeValue();
  out_ << JsonString(name) << ": ";
  afterKey_ = true;
}

void JsonWriter::String(std::string_view text) {
  BeforeValue();
  out_ << JsonString(text);
}

void JsonWriter::Integer(int64_t value) {
  BeforeValue();
  out_ << value;
}

void JsonWriter::Float(float value) {
  BeforeValue();
  if (!std::isfinite(value)) {
    out_ << "null";
    return;
  }
  char text[32];
  const auto result = std::to_chars(text, text + sizeof(text), value);
  out_.write(text, result.ptr - text);
}

void JsonWriter::Bool(bool value) {
  BeforeValue();
  out_ << (value ? "true" : "false");
}

void JsonWriter::Null() {
  BeforeValue();
  out_ << "null";
}

}  // namespace vitrella::host
