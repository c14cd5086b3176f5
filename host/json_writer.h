// A small streaming writer of indented JSON.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace vitrella::host {

// The text as a JSON string, quotes included. Control characters are escaped, and
// bytes that are not valid UTF-8 become U+FFFD, so the document stays valid whatever a
// library's texts hold.
std::string JsonString(std::string_view text);

// Writes one document; the caller opens and closes objects and arrays in pairs, and
// names every member of an object with Key before its value.
class JsonWriter {
 public:
  // kBlock puts each member on its own indented line; kInline keeps the container on one
  // line, which reads better for short records such as a point or a panel.
  enum class Layout { kBlock, kInline };

  explicit JsonWriter(std::ostream& out) : out_(out) {}

  void BeginObject(Layout layout = Layout::kBlock);
  void EndObject();
  void BeginArray(Layout layout = Layout::kBlock);
  void EndArray();
  void Key(std::string_view name);

  void String(std::string_view text);
  void Integer(int64_t value);
  // The shortest text that reads back as the same float; null when not finite.
  void Float(float value);
  void Bool(bool value);
  void Null();

 private:
  struct Level {
    int count;  // members written so far
    bool inlined;
  };

  void BeforeValue();
  void Open(char bracket, Layout layout);
  void Close(char bracket);
  void NewLine();

  std::ostream& out_;
  std::vector<Level> levels_;  // the open containers, outermost first
  bool afterKey_ = false;
};

}  // namespace vitrella::host
