#include "interruption.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <thread>
#include <vector>

#include "host_error.h"

namespace vitrella::host {
namespace {

// The process's one watcher. Never destroyed: the watching thread outlives main's return.
struct Watch {
  std::atomic<int> signal{0};
  std::mutex mutex;
  std::vector<const std::function<void(int)>*> stopCalls;
  std::vector<std::string> removals;
};

Watch& TheWatch() {
  static Watch* const watch = new Watch;
  return *watch;
}

void WaitForSignals(sigset_t set) {
  Watch& watch = TheWatch();
  for (;;) {
    int signal = 0;
    if (sigwait(&set, &signal) != 0) continue;
    std::unique_lock lock(watch.mutex);
    // Under the lock, so that a stop made meanwhile runs here or in its maker, not both.
    int expected = 0;
    if (watch.signal.compare_exchange_strong(expected, signal)) {
      for (const std::function<void(int)>* stop : watch.stopCalls)
        (*stop)(signal);
      continue;
    }
    // Asked twice: the user wants out now. Whatever is half-written goes first.
    for (const std::string& path : watch.removals) {
      std::error_code ignored;
      std::filesystem::remove_all(path, ignored);
    }
    std::fputs("vitrella: stopped at once; partial output removed\n", stderr);
    _exit(128 + signal);
  }
}

}  // namespace

void WatchInterruptions() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  std::thread(WaitForSignals, set).detach();
}

int InterruptSignal() {
  return TheWatch().signal.load();
}

void ThrowIfInterrupted() {
  if (const int signal = InterruptSignal()) throw Interrupted(signal);
}

OnInterrupt::OnInterrupt(std::function<void(int)> stop) : stop_(std::move(stop)) {
  Watch& watch = TheWatch();
  const std::lock_guard lock(watch.mutex);
  if (const int signal = watch.signal.load()) stop_(signal);
  watch.stopCalls.push_back(&stop_);
}

OnInterrupt::~OnInterrupt() {
  Watch& watch = TheWatch();
  const std::lock_guard lock(watch.mutex);
  std::erase(watch.stopCalls, &stop_);
}

RemoveOnForcedExit::RemoveOnForcedExit(std::string path) : path_(std::move(path)) {
  Watch& watch = TheWatch();
  const std::lock_guard lock(watch.mutex);
  watch.removals.push_back(path_);
}

RemoveOnForcedExit::~RemoveOnForcedExit() {
  Watch& watch = TheWatch();
  const std::lock_guard lock(watch.mutex);
  const auto found = std::find(watch.removals.begin(), watch.removals.end(), path_);
  if (found != watch.removals.end()) watch.removals.erase(found);
}

}  // namespace vitrella::host
