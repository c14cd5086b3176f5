// Ctrl-C and termination requests during a render. Instead of dying where it stands, the
// program stops at its next safe point and removes what it wrote, as after a failure.
#pragma once

#include <functional>
#include <string>

namespace vitrella::host {

// Blocks SIGINT and SIGTERM in this thread and in every thread started after it, and waits
// for them on a thread of its own. Made once, in main, before any other thread. A second
// signal while the first is being handled removes every file held for removal and ends
// the program at once.
void WatchInterruptions();

// 0 until SIGINT or SIGTERM arrives, then that signal's number.
int InterruptSignal();

// Throws Interrupted once a signal has arrived.
void ThrowIfInterrupted();

// While it lives, `stop` runs once, on the watching thread, when a signal arrives (at once
// when one already has): it wakes work that waits, so that it sees the interruption.
class OnInterrupt {
 public:
  explicit OnInterrupt(std::function<void(int signal)> stop);
  OnInterrupt(const OnInterrupt&) = delete;
  OnInterrupt& operator=(const OnInterrupt&) = delete;
  ~OnInterrupt();

 private:
  std::function<void(int)> stop_;
};

// While it lives, the file or folder is removed if the program is ended by a second signal
// before it can clean up by itself.
class RemoveOnForcedExit {
 public:
  explicit RemoveOnForcedExit(std::string path);
  RemoveOnForcedExit(const RemoveOnForcedExit&) = delete;
  RemoveOnForcedExit& operator=(const RemoveOnForcedExit&) = delete;
  ~RemoveOnForcedExit();

 private:
  std::string path_;
};

}  // namespace vitrella::host
