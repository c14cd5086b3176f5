// Texts from the command line or from files, made fit for a one-line message.
#pragma once

#include <string>
#include <string_view>

namespace vitrella::host {

// Longest text, in bytes, that a message repeats back to the user.
inline constexpr size_t kQuotedBytes = 60;

// The text in single quotes, cut to kQuotedBytes at a character boundary with "..." after
// it, and with control characters shown as '?', so that a pasted file or a stray newline
// cannot flood or break the line.
std::string Quoted(std::string_view text);

// Line breaks become spaces and trailing spaces go: libraries' messages may span lines,
// the user gets exactly one.
std::string OneLine(std::string_view message);

// "vitrella: warning: TEXT" on standard error: the render goes on.
void Warn(std::string_view warning);

}  // namespace vitrella::host
