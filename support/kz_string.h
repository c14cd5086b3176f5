// KZString: narrow text in the system's code page (UTF-8 on Linux), as the registry,
// dialog and language code pass it around.
#pragma once

#include <cstdint>

namespace vitrella {

class KZUnicodeString;

// An empty string owns no block, so Data() is null for it; hand SafeData() to anything
// that needs a text. Nothing here throws: when memory runs out, the result is an empty
// string. Positions count bytes; kNotFound fails every `position < Length()` test.
class KZString {
 public:
  static constexpr uint64_t kNotFound = ~uint64_t{0};
  static constexpr uint64_t kToEnd = ~uint64_t{0};

  KZString() noexcept = default;
  KZString(const KZString& other) noexcept;
  KZString(KZString&& other) noexcept;
  // The text up to its NUL; null gives an empty string.
  KZString(const char* text) noexcept;  // NOLINT(google-explicit-constructor): like a literal
  // At most count characters of text, fewer where a NUL comes first.
  KZString(const char* text, uint64_t count) noexcept;
  // Wide text in the system's narrow code page.
  explicit KZString(const char16_t* wide) noexcept;
  explicit KZString(const KZUnicodeString& wide) noexcept;
  KZString& operator=(const KZString& other) noexcept;
  KZString& operator=(KZString&& other) noexcept;
  virtual ~KZString();

  uint64_t Length() const noexcept { return length_; }
  bool IsEmpty() const noexcept { return length_ == 0; }
  // Null for an empty string.
  const char* Data() const noexcept { return data_; }
  // Never null.
  const char* SafeData() const noexcept { return data_ != nullptr ? data_ : ""; }

  // Clears, then copies at most count characters, stopping at a NUL; null or 0 leaves
  // the string empty. text may point into this string.
  void Assign(const char* text, uint64_t count) noexcept;
  void Clear() noexcept;
  void Append(const KZString& other) noexcept;
  KZString Concatenate(const KZString& other) const noexcept;
  KZString Concatenate(const char* text) const noexcept;

  // Up to count characters from start (kToEnd: all the rest); empty from the length on.
  KZString Mid(uint64_t start, uint64_t count = kToEnd) const noexcept;
  // First position, without regard to ASCII case.
  uint64_t Find(const KZString& what) const noexcept;
  // First position at or after from, with regard to case; kNotFound also when what is
  // empty or longer than the text, or from lies past the last place it fits.
  uint64_t Find(const KZString& what, uint64_t from) const noexcept;
  // Last position, with regard to case; the second form starts at from and goes back.
  uint64_t FindLast(const KZString& what) const noexcept;
  uint64_t FindLast(const KZString& what, uint64_t from) const noexcept;
  // Every occurrence replaced, left to right, resuming behind each replacement.
  KZString Replace(const KZString& from, const KZString& to) const noexcept;
  bool Equal(const KZString& other) const noexcept;
  bool EqualNoCase(const KZString& other) const noexcept;
  KZString Upper() const noexcept;
  KZString Lower() const noexcept;

  // "%d", "%u" and "%f".
  static KZString FromNumber(int32_t value) noexcept;
  static KZString FromNumber(uint32_t value) noexcept;
  static KZString FromNumber(double value) noexcept;
  // Like "%ld": blanks, a sign, digits; saturates outside 32 bits; 0 without digits.
  int32_t ToNumber() const noexcept;

  // To wide text from the system's code page; bytes it cannot read become U+FFFD.
  KZUnicodeString ToWide() const noexcept;

 private:
  void Adopt(char* block, uint64_t length) noexcept;

  uint64_t length_ = 0;
  char* data_ = nullptr;
};

}  // namespace vitrella
