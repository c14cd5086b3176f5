#include "support/kz_unicode_string.h"

#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/text.h"
#include "support/case_folding.h"
#include "support/kz_text_ops.h"

namespace vitrella {
namespace {

char16_t Same(char16_t c) {
  return c;
}
char16_t Folded(char16_t c) {
  return UpperChar(c);
}

// The conversions allocate standard strings, the only place here that could throw.
template <typename Convert>
KZUnicodeString ToWideWith(const char* text, uint64_t length, Convert convert) noexcept {
  if (length == 0) return {};
  try {
    const std::u16string wide = convert(std::string_view(text, length));
    return KZUnicodeString(wide.data(), wide.size());
  } catch (...) {
    return {};
  }
}

template <typename Convert>
KZString ToNarrowWith(const char16_t* text, uint64_t length, Convert convert) noexcept {
  if (length == 0) return {};
  try {
    const std::string narrow = convert(std::u16string_view(text, length));
    return KZString(narrow.data(), narrow.size());
  } catch (...) {
    return {};
  }
}

}  // namespace

KZUnicodeString::KZUnicodeString(const KZUnicodeString& other) noexcept {
  Assign(other.data_, other.length_);
}

KZUnicodeString::KZUnicodeString(KZUnicodeString&& other) noexcept
    : length_(other.length_), data_(other.data_) {
  other.length_ = 0;
  other.data_ = nullptr;
}

KZUnicodeString::KZUnicodeString(const char16_t* text) noexcept {
  Assign(text, kz::kNone);
}

KZUnicodeString::KZUnicodeString(const char16_t* text, uint64_t count) noexcept {
  Assign(text, count);
}

KZUnicodeString::KZUnicodeString(const char* narrow) noexcept
    : KZUnicodeString(
          ToWideWith(narrow, kz::BoundedLength(narrow, kz::kNone), platform::NarrowToWide)) {}

KZUnicodeString::KZUnicodeString(const KZString& narrow) noexcept
    : KZUnicodeString(ToWideWith(narrow.Data(), narrow.Length(), platform::NarrowToWide)) {}

KZUnicodeString& KZUnicodeString::operator=(const KZUnicodeString& other) noexcept {
  if (this != &other) Assign(other.data_, other.length_);
  return *this;
}

KZUnicodeString& KZUnicodeString::operator=(KZUnicodeString&& other) noexcept {
  if (this != &other) {
    Adopt(other.data_, other.length_);
    other.length_ = 0;
    other.data_ = nullptr;
  }
  return *this;
}

KZUnicodeString::~KZUnicodeString() {
  std::free(data_);
}

void KZUnicodeString::Adopt(char16_t* block, uint64_t length) noexcept {
  std::free(data_);
  data_ = block;
  length_ = block != nullptr ? length : 0;
}

void KZUnicodeString::Assign(const char16_t* text, uint64_t count) noexcept {
  // The copy is made before the old block goes, since text may lie inside it.
  const uint64_t length = kz::BoundedLength(text, count);
  Adopt(kz::CopyBlock(text, length), length);
}

void KZUnicodeString::Clear() noexcept {
  Adopt(nullptr, 0);
}

void KZUnicodeString::Append(const KZUnicodeString& other) noexcept {
  if (other.length_ == 0) return;
  const uint64_t length = length_ + other.length_;
  Adopt(kz::JoinBlocks(data_, length_, other.data_, other.length_), length);
}

KZUnicodeString KZUnicodeString::Concatenate(const KZUnicodeString& other) const noexcept {
  KZUnicodeString result;
  result.Adopt(kz::JoinBlocks(data_, length_, other.data_, other.length_), length_ + other.length_);
  return result;
}

KZUnicodeString KZUnicodeString::Concatenate(const char16_t* text) const noexcept {
  const uint64_t length = kz::BoundedLength(text, kz::kNone);
  KZUnicodeString result;
  result.Adopt(kz::JoinBlocks(data_, length_, text, length), length_ + length);
  return result;
}

KZUnicodeString KZUnicodeString::Mid(uint64_t start, uint64_t count) const noexcept {
  if (start >= length_) return {};
  const uint64_t rest = length_ - start;
  return KZUnicodeString(data_ + start, count < rest ? count : rest);
}

uint64_t KZUnicodeString::Find(const KZUnicodeString& what) const noexcept {
  return kz::FindForward(data_, length_, what.data_, what.length_, 0, Folded);
}

uint64_t KZUnicodeString::Find(const KZUnicodeString& what, uint64_t from) const noexcept {
  return kz::FindForward(data_, length_, what.data_, what.length_, from, Same);
}

uint64_t KZUnicodeString::FindLast(const KZUnicodeString& what) const noexcept {
  return kz::FindBackward(data_, length_, what.data_, what.length_, kToEnd, Same);
}

KZUnicodeString KZUnicodeString::Replace(const KZUnicodeString& from,
                                         const KZUnicodeString& to) const noexcept {
  uint64_t length = 0;
  char16_t* block =
      kz::ReplaceAll(data_, length_, from.data_, from.length_, to.data_, to.length_, Same, &length);
  KZUnicodeString result;
  result.Adopt(block, length);
  return result;
}

bool KZUnicodeString::Equal(const KZUnicodeString& other) const noexcept {
  return length_ == other.length_ && kz::SameText(data_, other.data_, length_, Same);
}

bool KZUnicodeString::EqualNoCase(const KZUnicodeString& other) const noexcept {
  return length_ == other.length_ && kz::SameText(data_, other.data_, length_, Folded);
}

KZUnicodeString KZUnicodeString::Upper() const noexcept {
  KZUnicodeString result(*this);
  for (uint64_t i = 0; i < result.length_; ++i)
    result.data_[i] = UpperChar(result.data_[i]);
  return result;
}

KZUnicodeString KZUnicodeString::Lower() const noexcept {
  KZUnicodeString result(*this);
  for (uint64_t i = 0; i < result.length_; ++i)
    result.data_[i] = LowerChar(result.data_[i]);
  return result;
}

KZUnicodeString KZUnicodeString::FromNumber(uint32_t value) noexcept {
  char16_t digits[16];
  return KZUnicodeString(digits, static_cast<uint64_t>(kz::DecimalDigits(value, digits)));
}

int32_t KZUnicodeString::ToNumber() const noexcept {
  return kz::ParseInt32(data_, length_);
}

KZUnicodeString KZUnicodeString::FromUtf8(const char* text) noexcept {
  return ToWideWith(text, kz::BoundedLength(text, kz::kNone), platform::Utf8ToWide);
}

KZUnicodeString KZUnicodeString::FromUtf8(const KZString& text) noexcept {
  return ToWideWith(text.Data(), text.Length(), platform::Utf8ToWide);
}

KZString KZUnicodeString::ToUtf8() const noexcept {
  return ToNarrowWith(data_, length_, platform::WideToUtf8);
}

KZString KZUnicodeString::ToNarrow() const noexcept {
  return ToNarrowWith(data_, length_, platform::WideToNarrow);
}

}  // namespace vitrella
