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

namespace vitrella::host {

// SIGINT or SIGTERM stopped the work; what it had written is gone. Exit status 128 plus
// the signal's number, as a shell reports a program killed by it.
class Interrupted : public HostError {
 public:
  explicit Interrupted(int signal)
      : HostError(signal == 2 ? "interrupted; partial output removed"
                              : "terminated; partial output removed"),
        signal_(signal) {}
  int signal() const { return signal_; }

 private:
  int signal_;
};

}  // namespace vitrella::host
