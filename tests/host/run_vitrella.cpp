#include "host/run_vitrella.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace vitrella::testing {
namespace {

std::string ReadAll(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

}  // namespace

TempFolder::TempFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "vitrella-host-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = pattern;
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

RunResult RunVitrella(const std::vector<std::string>& args) {
  return RunVitrellaAndSignal(args, nullptr, 0);
}

RunResult RunVitrellaAndSignal(const std::vector<std::string>& args,
                               const std::function<bool()>& ready, int signal) {
  // Output goes through files, so that a large listing cannot fill a pipe and stall.
  const TempFolder folder;
  const std::string outPath = folder.Path("stdout");
  const std::string errPath = folder.Path("stderr");
  const std::string program = std::string(VITRELLA_BIN_DIR) + "/vitrella";

  std::vector<char*> argv;
  argv.push_back(const_cast<char*>(program.c_str()));
  for (const std::string& arg : args)
    argv.push_back(const_cast<char*>(arg.c_str()));
  argv.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outPath.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errPath.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0600);
  pid_t child = 0;
  const int spawned = posix_spawn(&child, program.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (spawned != 0) throw std::runtime_error("cannot start " + program);

  int status = 0;
  if (ready) {
    // Polls until the child is where the test wants it, or has ended by itself.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    while (waitpid(child, &status, WNOHANG) == 0) {
      if (ready() || std::chrono::steady_clock::now() > deadline) {
        kill(child, signal);
        break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }
  while (waitpid(child, &status, 0) < 0) {
    if (errno == ECHILD) break;  // reaped above, having ended before the signal
    if (errno != EINTR) throw std::runtime_error("waitpid failed");
  }
  RunResult result;
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  result.out = ReadAll(outPath);
  result.err = ReadAll(errPath);
  return result;
}

}  // namespace vitrella::testing
