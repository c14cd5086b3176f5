// A strict reader of JSON documents, so that tests check what the host prints as a
// consumer would see it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vitrella::testing {

struct JsonValue {
  enum class Kind { kNull, kBool, kNumber, kString, kArray, kObject };

  Kind kind = Kind::kNull;
  bool boolean = false;
  double number = 0;
  std::string text;
  std::vector<JsonValue> items;   // array elements, or object member values
  std::vector<std::string> keys;  // object member names, parallel to items

  bool IsNull() const { return kind == Kind::kNull; }
  // Member by name; throws std::runtime_error when absent or not an object.
  const JsonValue& operator[](std::string_view key) const;
  // Element by position; throws std::runtime_error when out of range or not an array.
  const JsonValue& operator[](size_t index) const;
};

// Throws std::runtime_error with the byte offset of the first error.
JsonValue ParseJson(std::string_view document);

}  // namespace vitrella::testing
