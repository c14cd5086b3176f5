// Failures of the host, caught once in main and printed as one line.
#pragma once

#include <stdexcept>
#include <string>

namespace vitrella::host {

// Something went wrong while doing what the user asked: a missing library, an
// unreadable picture, a render that failed. Exit status 1.
class HostError : public std::runtime_error {
 public:
  explicit HostError(const std::string& message) : std::runtime_error(message) {}
};

// The command line asked for something that does not exist or cannot be parsed: an
// unknown command, option, effect, preset, parameter or value. Exit status 2.
class UsageError : public HostError {
 public:
  explicit UsageError(const std::string& message) : HostError(message) {}
};

}  // namespace vitrella::host
