#include "message_text.h"

#include <iostream>

#include "quiet_stderr.h"

namespace vitrella::host {
namespace {

bool IsContinuationByte(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

}  // namespace

std::string Quoted(std::string_view text) {
  bool cut = false;
  if (text.size() > kQuotedBytes) {
    size_t end = kQuotedBytes - 3;
    while (end > 0 && IsContinuationByte(text[end]))
      --end;
    text = text.substr(0, end);
    cut = true;
  }
  std::string quoted = "'";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    quoted += byte < 0x20 || byte == 0x7F ? '?' : c;
  }
  return quoted + (cut ? "...'" : "'");
}

std::string OneLine(std::string_view message) {
  std::string line(message);
  for (char& c : line) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  while (!line.empty() && line.back() == ' ')
    line.pop_back();
  return line;
}

void Warn(std::string_view warning) {
  std::cerr.flush();
  WriteToStderr("vitrella: warning: " + OneLine(warning) + "\n");
}

}  // namespace vitrella::host
