#include "host/json_reader.h"

#include <cstdlib>
#include <stdexcept>

namespace vitrella::testing {
namespace {

class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  JsonValue Document() {
    JsonValue value = Value(0);
    SkipSpace();
    if (at_ != text_.size()) Fail("text after the document");
    return value;
  }

 private:
  [[noreturn]] void Fail(const std::string& what) const {
    throw std::runtime_error("JSON error at byte " + std::to_string(at_) + ": " + what);
  }

  void SkipSpace() {
    while (at_ < text_.size() &&
           (text_[at_] == ' ' || text_[at_] == '\t' || text_[at_] == '\n' || text_[at_] == '\r')) {
      ++at_;
    }
  }

  char Next() {
    if (at_ >= text_.size()) Fail("unexpected end");
    return text_[at_++];
  }

  void Expect(char c) {
    if (Next() != c) Fail(std::string("expected '") + c + "'");
  }

  bool Literal(std::string_view word) {
    if (text_.substr(at_, word.size()) != word) return false;
    at_ += word.size();
    return true;
  }

  JsonValue Value(int depth) {
    if (depth > 64) Fail("nested too deeply");
    SkipSpace();
    JsonValue value;
    if (at_ >= text_.size()) Fail("unexpected end");
    const char c = text_[at_];
    if (c == '{' || c == '[') {
      const bool object = c == '{';
      const char close = object ? '}' : ']';
      value.kind = object ? JsonValue::Kind::kObject : JsonValue::Kind::kArray;
      ++at_;
      SkipSpace();
      if (at_ < text_.size() && text_[at_] == close) {
        ++at_;
        return value;
      }
      for (;;) {
        if (object) {
          SkipSpace();
          value.keys.push_back(String());
          SkipSpace();
          Expect(':');
        }
        value.items.push_back(Value(depth + 1));
        SkipSpace();
        const char separator = Next();
        if (separator == close) break;
        if (separator != ',') Fail(std::string("expected ',' or '") + close + "'");
      }
    } else if (c == '"') {
      value.kind = JsonValue::Kind::kString;
      value.text = String();
    } else if (Literal("true")) {
      value.kind = JsonValue::Kind::kBool;
      value.boolean = true;
    } else if (Literal("false")) {
      value.kind = JsonValue::Kind::kBool;
    } else if (Literal("null")) {
      value.kind = JsonValue::Kind::kNull;
    } else {
      value.kind = JsonValue::Kind::kNumber;
      value.number = Number();
    }
    return value;
  }

  double Number() {
    const size_t start = at_;
    const auto digits = [&] {
      const size_t from = at_;
      while (at_ < text_.size() && text_[at_] >= '0' && text_[at_] <= '9')
        ++at_;
      if (at_ == from) Fail("expected a digit");
      return at_ - from;
    };
    if (at_ < text_.size() && text_[at_] == '-') ++at_;
    const bool leadingZero = at_ < text_.size() && text_[at_] == '0';
    if (digits() > 1 && leadingZero) Fail("leading zero");
    if (at_ < text_.size() && text_[at_] == '.') {
      ++at_;
      digits();
    }
    if (at_ < text_.size() && (text_[at_] == 'e' || text_[at_] == 'E')) {
      ++at_;
      if (at_ < text_.size() && (text_[at_] == '+' || text_[at_] == '-')) ++at_;
      digits();
    }
    return std::strtod(std::string(text_.substr(start, at_ - start)).c_str(), nullptr);
  }

  unsigned Hex4() {
    unsigned code = 0;
    for (int i = 0; i < 4; ++i) {
      const char c = Next();
      code <<= 4;
      if (c >= '0' && c <= '9') {
        code |= static_cast<unsigned>(c - '0');
      } else if (c >= 'a' && c <= 'f') {
        code |= static_cast<unsigned>(c - 'a' + 10);
      } else if (c >= 'A' && c <= 'F') {
        code |= static_cast<unsigned>(c - 'A' + 10);
      } else {
        Fail("bad \\u escape");
      }
    }
    return code;
  }

  static void AppendUtf8(std::string& out, unsigned code) {
    if (code < 0x80) {
      out += static_cast<char>(code);
    } else if (code < 0x800) {
      out += static_cast<char>(0xC0 | code >> 6);
      out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
      out += static_cast<char>(0xE0 | code >> 12);
      out += static_cast<char>(0x80 | (code >> 6 & 0x3F));
      out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | code >> 18);
      out += static_cast<char>(0x80 | (code >> 12 & 0x3F));
      out += static_cast<char>(0x80 | (code >> 6 & 0x3F));
      out += static_cast<char>(0x80 | (code & 0x3F));
    }
  }

  std::string String() {
    Expect('"');
    std::string out;
    for (;;) {
      const char c = Next();
      if (c == '"') return out;
      if (static_cast<unsigned char>(c) < 0x20) Fail("control character in a string");
      if (c != '\\') {
        out += c;
        continue;
      }
      const char escape = Next();
      switch (escape) {
        case '"':
        case '\\':
        case '/':
          out += escape;
          break;
        case 'b':
          out += '\b';
          break;
        case 'f':
          out += '\f';
          break;
        case 'n':
          out += '\n';
          break;
        case 'r':
          out += '\r';
          break;
        case 't':
          out += '\t';
          break;
        case 'u': {
          unsigned code = Hex4();
          if (code >= 0xD800 && code <= 0xDBFF) {
            Expect('\\');
            Expect('u');
            const unsigned low = Hex4();
            if (low < 0xDC00 || low > 0xDFFF) Fail("lone high surrogate");
            code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
          } else if (code >= 0xDC00 && code <= 0xDFFF) {
            Fail("lone low surrogate");
          }
          AppendUtf8(out, code);
          break;
        }
        default:
          Fail("bad escape");
      }
    }
  }

  std::string_view text_;
  size_t at_ = 0;
};

}  // namespace

const JsonValue& JsonValue::operator[](std::string_view key) const {
  if (kind != Kind::kObject)
    throw std::runtime_error("not an object, looking for " + std::string(key));
  for (size_t i = 0; i < keys.size(); ++i) {
    if (keys[i] == key) return items[i];
  }
  throw std::runtime_error("no member " + std::string(key));
}

const JsonValue& JsonValue::operator[](size_t index) const {
  if (kind != Kind::kArray || index >= items.size()) {
    throw std::runtime_error("no element " + std::to_string(index));
  }
  return items[index];
}

JsonValue ParseJson(std::string_view document) {
  return Reader(document).Document();
}

}  // namespace vitrella::testing
