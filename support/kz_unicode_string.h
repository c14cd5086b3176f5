// KZUnicodeString: wide text, UTF-16 on every platform, as file paths, labels and
// dialog texts carry it.
#pragma once

#include <cstdint>

#include "support/kz_string.h"

namespace vitrella {

// An empty string owns no block, so Data() is null for it; hand SafeData() to anything
// that needs a text. Nothing here throws: when memory runs out, the result is an empty
// string. Positions count UTF-16 units; kNotFound fails every `position < Length()` test.
class KZUnicodeString {
 public:
  static constexpr uint64_t kNotFound = ~uint64_t{0};
  static constexpr uint64_t kToEnd = ~uint64_t{0};

  KZUnicodeString() noexcept = default;
  KZUnicodeString(const KZUnicodeString& other) noexcept;
  KZUnicodeString(KZUnicodeString&& other) noexcept;
  // The text up to its NUL; null gives an empty string.
  KZUnicodeString(const char16_t* text) noexcept;  // NOLINT(google-explicit-constructor)
  // At most count characters of text, fewer where a NUL comes first.
  KZUnicodeString(const char16_t* text, uint64_t count) noexcept;
  // Narrow text in the system's code page; what it cannot read becomes U+FFFD.
  explicit KZUnicodeString(const char* narrow) noexcept;
  explicit KZUnicodeString(const KZString& narrow) noexcept;
  KZUnicodeString& operator=(const KZUnicodeString& other) noexcept;
  KZUnicodeString& operator=(KZUnicodeString&& other) noexcept;
  virtual ~KZUnicodeString();

  uint64_t Length() const noexcept { return length_; }
  bool IsEmpty() const noexcept { return length_ == 0; }
  // Null for an empty string.
  const char16_t* Data() const noexcept { return data_; }
  // Never null.
  const char16_t* SafeData() const noexcept { return data_ != nullptr ? data_ : u""; }

  // Clears, then copies at most count characters, stopping at a NUL; null or 0 leaves
  // the string empty. text may point into this string.
  void Assign(const char16_t* text, uint64_t count) noexcept;
  void Clear() noexcept;
  void Append(const KZUnicodeString& other) noexcept;
  KZUnicodeString Concatenate(const KZUnicodeString& other) const noexcept;
  KZUnicodeString Concatenate(const char16_t* text) const noexcept;

  // Up to count characters from start (kToEnd: all the rest); empty from the length on.
  KZUnicodeString Mid(uint64_t start, uint64_t count = kToEnd) const noexcept;
  // First position, without regard to case.
  uint64_t Find(const KZUnicodeString& what) const noexcept;
  // First position at or after from, with regard to case; kNotFound also when what is
  // empty or longer than the text, or from lies past the last place it fits.
  uint64_t Find(const KZUnicodeString& what, uint64_t from) const noexcept;
  // Last position, with regard to case.
  uint64_t FindLast(const KZUnicodeString& what) const noexcept;
  // Every occurrence replaced, left to right, resuming behind each replacement.
  KZUnicodeString Replace(const KZUnicodeString& from, const KZUnicodeString& to) const noexcept;
  bool Equal(const KZUnicodeString& other) const noexcept;
  bool EqualNoCase(const KZUnicodeString& other) const noexcept;
  KZUnicodeString Upper() const noexcept;
  KZUnicodeString Lower() const noexcept;

  // "%u".
  static KZUnicodeString FromNumber(uint32_t value) noexcept;
  // Like "%ld": blanks, a sign, digits; saturates outside 32 bits; 0 without digits.
  int32_t ToNumber() const noexcept;

  // UTF-8 by name, whatever the system's code page; malformed input becomes U+FFFD.
  static KZUnicodeString FromUtf8(const char* text) noexcept;
  static KZUnicodeString FromUtf8(const KZString& text) noexcept;
  KZString ToUtf8() const noexcept;
  // To narrow text in the system's code page.
  KZString ToNarrow() const noexcept;

 private:
  void Adopt(char16_t* block, uint64_t length) noexcept;

  uint64_t length_ = 0;
  char16_t* data_ = nullptr;
};

}  // namespace vitrella
