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

// Our environment with `extra` replacing variables of the same name.
std::vector<std::string> Environment(const std::vector<std::string>& extra) {
  std::vector<std::string> env;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    const std::string name = text.substr(0, text.find('='));
    bool replaced = false;
    for (const std::string& e : extra)
      replaced = replaced || e.compare(0, name.size() + 1, name + "=") == 0;
    if (!replaced) env.push_back(text);
  }
  env.insert(env.end(), extra.begin(), extra.end());
  return env;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts)
    pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
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

bool HaveProgram(const std::string& name) {
  const char* path = std::getenv("PATH");
  std::stringstream folders(path != nullptr ? path : "");
  std::string folder;
  while (std::getline(folders, folder, ':')) {
    const std::string candidate = folder.append("/").append(name);
    if (access(candidate.c_str(), X_OK) == 0) return true;
  }
  return false;
}

RunResult RunVitrella(const std::vector<std::string>& args) {
  return RunVitrellaAndSignal(args, nullptr, 0);
}

RunResult RunVitrellaAndSignal(const std::vector<std::string>& args,
                               const std::function<bool()>& ready, int signal) {
  std::vector<std::string> argv{std::string(VITRELLA_BIN_DIR) + "/vitrella"};
  argv.insert(argv.end(), args.begin(), args.end());
  return RunProgram(argv, {}, ready, signal);
}

RunResult RunProgram(const std::vector<std::string>& argv, const std::vector<std::string>& env,
                     const std::function<bool()>& ready, int signal) {
  // Output goes through files, so that a large listing cannot fill a pipe and stall.
  const TempFolder folder;
  const std::string outPath = folder.Path("stdout");
  const std::string errPath = folder.Path("stderr");
  std::vector<std::string> args = argv;
  std::vector<std::string> vars = Environment(env);
  std::vector<char*> argPointers = Pointers(args);
  std::vector<char*> envPointers = Pointers(vars);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outPath.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errPath.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0600);
  pid_t child = 0;
  const int spawned = posix_spawnp(&child, args[0].c_str(), &actions, nullptr, argPointers.data(),
                                   envPointers.data());
  posix_spawn_file_actions_destroy(&actions);
  if (spawned != 0) throw std::runtime_error("cannot start " + args[0]);

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
