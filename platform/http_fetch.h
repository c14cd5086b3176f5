// Fetching one small file over HTTP(S), as the update check asks its server.
#pragma once

#include <cstddef>
#include <string>

namespace vitrella::platform {

struct FetchLimits {
  // Seconds to connect, without a byte arriving, and for the whole fetch.
  long connectSeconds = 10;
  long stallSeconds = 15;
  long totalSeconds = 60;
  int maxRedirects = 5;
  // The body is read into firstBytes; when growAtBytes have come it grows to maxBytes
  // once, and what comes after that is cut off. A version file stays far below this.
  size_t firstBytes = 524288;
  size_t growAtBytes = 0x7E000;
  size_t maxBytes = 1048576;
};

struct FetchResult {
  // A server answered the request; false when none could be reached, it sent no answer
  // in time, or the redirects went round.
  bool answered = false;
  // What arrived, at most maxBytes - 1 bytes, so that a NUL still fits behind it. A
  // read that failed part way keeps what came before.
  std::string body;
};

// GET of the address (http or https only), without cookies, past caches, with the
// agent name given. Never throws.
FetchResult FetchAddress(const std::string& address, const std::string& agent,
                         const FetchLimits& limits = {});

}  // namespace vitrella::platform
