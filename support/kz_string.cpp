#include "support/kz_string.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/text.h"
#include "support/case_folding.h"
#include "support/kz_text_ops.h"
#include "support/kz_unicode_string.h"

namespace vitrella {
namespace {

char Same(char c) {
  return c;
}
char Folded(char c) {
  return UpperChar(c);
}

}  // namespace

KZString::KZString(const KZString& other) noexcept {
  Assign(other.data_, other.length_);
}

KZString::KZString(KZString&& other) noexcept : length_(other.length_), data_(other.data_) {
  other.length_ = 0;
  other.data_ = nullptr;
}

KZString::KZString(const char* text) noexcept {
  Assign(text, kz::kNone);
}

KZString::KZString(const char* text, uint64_t count) noexcept {
  Assign(text, count);
}

KZString::KZString(const char16_t* wide) noexcept {
  const uint64_t length = kz::BoundedLength(wide, kz::kNone);
  if (length == 0) return;
  try {
    const std::string narrow = platform::WideToNarrow(std::u16string_view(wide, length));
    Assign(narrow.data(), narrow.size());
  } catch (...) {
    Clear();
  }
}

KZString::KZString(const KZUnicodeString& wide) noexcept : KZString(wide.Data()) {}

KZString& KZString::operator=(const KZString& other) noexcept {
  if (this != &other) Assign(other.data_, other.length_);
  return *this;
}

KZString& KZString::operator=(KZString&& other) noexcept {
  if (this != &other) {
    Adopt(other.data_, other.length_);
    other.length_ = 0;
    other.data_ = nullptr;
  }
  return *this;
}

KZString::~KZString() {
  std::free(data_);
}

void KZString::Adopt(char* block, uint64_t length) noexcept {
  std::free(data_);
  data_ = block;
  length_ = block != nullptr ? length : 0;
}

void KZString::Assign(const char* text, uint64_t count) noexcept {
  // The copy is made before the old block goes, since text may lie inside it.
  const uint64_t length = kz::BoundedLength(text, count);
  Adopt(kz::CopyBlock(text, length), length);
}

void KZString::Clear() noexcept {
  Adopt(nullptr, 0);
}

void KZString::Append(const KZString& other) noexcept {
  if (other.length_ == 0) return;
  const uint64_t length = length_ + other.length_;
  Adopt(kz::JoinBlocks(data_, length_, other.data_, other.length_), length);
}

KZString KZString::Concatenate(const KZString& other) const noexcept {
  KZString result;
  result.Adopt(kz::JoinBlocks(data_, length_, other.data_, other.length_), length_ + other.length_);
  return result;
}

KZString KZString::Concatenate(const char* text) const noexcept {
  const uint64_t length = kz::BoundedLength(text, kz::kNone);
  KZString result;
  result.Adopt(kz::JoinBlocks(data_, length_, text, length), length_ + length);
  return result;
}

KZString KZString::Mid(uint64_t start, uint64_t count) const noexcept {
  if (start >= length_) return {};
  const uint64_t rest = length_ - start;
  return KZString(data_ + start, count < rest ? count : rest);
}

uint64_t KZString::Find(const KZString& what) const noexcept {
  return kz::FindForward(data_, length_, what.data_, what.length_, 0, Folded);
}

uint64_t KZString::Find(const KZString& what, uint64_t from) const noexcept {
  return kz::FindForward(data_, length_, what.data_, what.length_, from, Same);
}

uint64_t KZString::FindLast(const KZString& what) const noexcept {
  return FindLast(what, kToEnd);
}

uint64_t KZString::FindLast(const KZString& what, uint64_t from) const noexcept {
  return kz::FindBackward(data_, length_, what.data_, what.length_, from, Same);
}

KZString KZString::Replace(const KZString& from, const KZString& to) const noexcept {
  uint64_t length = 0;
  char* block =
      kz::ReplaceAll(data_, length_, from.data_, from.length_, to.data_, to.length_, Same, &length);
  KZString result;
  result.Adopt(block, length);
  return result;
}

bool KZString::Equal(const KZString& other) const noexcept {
  return length_ == other.length_ && kz::SameText(data_, other.data_, length_, Same);
}

bool KZString::EqualNoCase(const KZString& other) const noexcept {
  return length_ == other.length_ && kz::SameText(data_, other.data_, length_, Folded);
}

KZString KZString::Upper() const noexcept {
  KZString result(*this);
  for (uint64_t i = 0; i < result.length_; ++i)
    result.data_[i] = UpperChar(result.data_[i]);
  return result;
}

KZString KZString::Lower() const noexcept {
  KZString result(*this);
  for (uint64_t i = 0; i < result.length_; ++i)
    result.data_[i] = LowerChar(result.data_[i]);
  return result;
}

KZString KZString::FromNumber(int32_t value) noexcept {
  char digits[16];
  const int length = std::snprintf(digits, sizeof(digits), "%d", static_cast<int>(value));
  return length > 0 ? KZString(digits, static_cast<uint64_t>(length)) : KZString();
}

KZString KZString::FromNumber(uint32_t value) noexcept {
  char digits[16];
  return KZString(digits, static_cast<uint64_t>(kz::DecimalDigits(value, digits)));
}

KZString KZString::FromNumber(double value) noexcept {
  // "%f" writes every integer digit, over 300 of them for the largest doubles.
  const int length = std::snprintf(nullptr, 0, "%f", value);
  if (length <= 0) return {};
  KZString result;
  char* block = kz::NewBlock<char>(static_cast<uint64_t>(length));
  if (block == nullptr) return result;
  std::snprintf(block, static_cast<size_t>(length) + 1, "%f", value);
  result.Adopt(block, static_cast<uint64_t>(length));
  return result;
}

int32_t KZString::ToNumber() const noexcept {
  return kz::ParseInt32(data_, length_);
}

KZUnicodeString KZString::ToWide() const noexcept {
  return KZUnicodeString(*this);
}

}  // namespace vitrella
