// Storage and searches shared by the narrow and wide string classes: NUL-terminated heap
// blocks that never throw, and searches over counted text. Internal to the two classes.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace vitrella::kz {

// Not found, and "to the end" as a count: all bits set, so that `position < length` fails.
inline constexpr uint64_t kNone = std::numeric_limits<uint64_t>::max();

// Characters before the first NUL, looking at no more than limit; 0 for null.
template <typename Char>
uint64_t BoundedLength(const Char* text, uint64_t limit) noexcept {
  if (text == nullptr) return 0;
  uint64_t length = 0;
  while (length < limit && text[length] != Char{})
    ++length;
  return length;
}

// A terminated block with room for length characters; null for a length of 0, for one
// that no address range can hold, or when memory runs out.
template <typename Char>
Char* NewBlock(uint64_t length) noexcept {
  if (length == 0 || length >= std::numeric_limits<size_t>::max() / sizeof(Char)) return nullptr;
  auto* block = static_cast<Char*>(std::malloc((length + 1) * sizeof(Char)));
  if (block != nullptr) block[length] = Char{};
  return block;
}

template <typename Char>
Char* CopyBlock(const Char* text, uint64_t length) noexcept {
  Char* block = NewBlock<Char>(length);
  if (block != nullptr) std::memcpy(block, text, length * sizeof(Char));
  return block;
}

// first followed by second in a new block; null when the sum or memory fails.
template <typename Char>
Char* JoinBlocks(const Char* first, uint64_t firstLength, const Char* second,
                 uint64_t secondLength) noexcept {
  if (secondLength > kNone - firstLength) return nullptr;
  Char* block = NewBlock<Char>(firstLength + secondLength);
  if (block == nullptr) return nullptr;
  if (firstLength != 0) std::memcpy(block, first, firstLength * sizeof(Char));
  if (secondLength != 0) std::memcpy(block + firstLength, second, secondLength * sizeof(Char));
  return block;
}

template <typename Char, typename Fold>
bool SameText(const Char* a, const Char* b, uint64_t length, Fold fold) noexcept {
  for (uint64_t i = 0; i < length; ++i) {
    if (fold(a[i]) != fold(b[i])) return false;
  }
  return true;
}

// First position at or after from; kNone for an empty what, a what longer than the text,
// or a from past the last position where what still fits.
template <typename Char, typename Fold>
uint64_t FindForward(const Char* text, uint64_t length, const Char* what, uint64_t whatLength,
                     uint64_t from, Fold fold) noexcept {
  if (whatLength == 0 || whatLength > length || from > length - whatLength) return kNone;
  for (uint64_t at = from; at <= length - whatLength; ++at) {
    if (SameText(text + at, what, whatLength, fold)) return at;
  }
  return kNone;
}

// Last position at or before from; a from beyond the last room searches from the end.
template <typename Char, typename Fold>
uint64_t FindBackward(const Char* text, uint64_t length, const Char* what, uint64_t whatLength,
                      uint64_t from, Fold fold) noexcept {
  if (whatLength == 0 || whatLength > length) return kNone;
  uint64_t at = from < length - whatLength ? from : length - whatLength;
  for (;;) {
    if (SameText(text + at, what, whatLength, fold)) return at;
    if (at == 0) return kNone;
    --at;
  }
}

// Every occurrence of from replaced by to, left to right, resuming behind each
// replacement. Gives the new block and its length; null with length 0 when the text
// comes out empty or memory fails. An empty from copies the text.
template <typename Char, typename Fold>
Char* ReplaceAll(const Char* text, uint64_t length, const Char* from, uint64_t fromLength,
                 const Char* to, uint64_t toLength, Fold fold, uint64_t* outLength) noexcept {
  *outLength = 0;
  uint64_t count = 0;
  for (uint64_t at = FindForward(text, length, from, fromLength, 0, fold); at != kNone;
       at = FindForward(text, length, from, fromLength, at + fromLength, fold)) {
    ++count;
  }
  if (count == 0) {
    Char* copy = CopyBlock(text, length);
    if (copy != nullptr) *outLength = length;
    return copy;
  }
  const uint64_t kept = length - count * fromLength;
  if (toLength != 0 && count > (kNone - kept) / toLength) return nullptr;
  const uint64_t total = kept + count * toLength;
  Char* block = NewBlock<Char>(total);
  if (block == nullptr) return nullptr;
  uint64_t read = 0;
  uint64_t written = 0;
  for (uint64_t at = FindForward(text, length, from, fromLength, 0, fold); at != kNone;
       at = FindForward(text, length, from, fromLength, read, fold)) {
    std::memcpy(block + written, text + read, (at - read) * sizeof(Char));
    written += at - read;
    if (toLength != 0) std::memcpy(block + written, to, toLength * sizeof(Char));
    written += toLength;
    read = at + fromLength;
  }
  if (length > read) std::memcpy(block + written, text + read, (length - read) * sizeof(Char));
  *outLength = total;
  return block;
}

// Parses like "%ld" with a 32-bit long: leading blanks, an optional sign, decimal digits
// up to the first other character. Values beyond the range saturate; no digits give 0.
template <typename Char>
int32_t ParseInt32(const Char* text, uint64_t length) noexcept {
  constexpr int64_t kCap = int64_t{std::numeric_limits<int32_t>::max()} + 1;
  uint64_t i = 0;
  const auto blank = [](Char c) {
    return c == Char(' ') || c == Char('\t') || c == Char('\n') || c == Char('\v') ||
           c == Char('\f') || c == Char('\r');
  };
  while (i < length && blank(text[i]))
    ++i;
  bool negative = false;
  if (i < length && (text[i] == Char('+') || text[i] == Char('-'))) {
    negative = text[i] == Char('-');
    ++i;
  }
  int64_t magnitude = 0;
  for (; i < length && text[i] >= Char('0') && text[i] <= Char('9'); ++i) {
    magnitude = magnitude * 10 + static_cast<int64_t>(text[i] - Char('0'));
    if (magnitude > kCap) magnitude = kCap;
  }
  if (negative) return static_cast<int32_t>(-magnitude);
  return static_cast<int32_t>(magnitude < kCap ? magnitude : kCap - 1);
}

// The decimal digits of value, most significant first, into buffer (room for 10); gives
// how many.
template <typename Char>
int DecimalDigits(uint32_t value, Char* buffer) noexcept {
  Char reversed[10];
  int count = 0;
  do {
    reversed[count++] = static_cast<Char>(Char('0') + value % 10);
    value /= 10;
  } while (value != 0);
  for (int i = 0; i < count; ++i)
    buffer[i] = reversed[count - 1 - i];
  return count;
}

}  // namespace vitrella::kz
