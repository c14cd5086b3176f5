// The desktop backend of the UI seam: zenity, run as a child process for each box or
// dialog, while the calling thread waits as it would on a modal dialog.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "platform/shell.h"
#include "platform/text.h"
#include "platform/ui_backends.h"

extern char** environ;

namespace vitrella::platform::ui_detail {
namespace {

struct ZenityRun {
  int exitCode = 0;
  std::string output;
};

// Nothing when zenity could not be started or did not end normally.
std::optional<ZenityRun> RunZenity(std::vector<std::string> args) {
  int pipeEnds[2];
  if (pipe2(pipeEnds, O_CLOEXEC) != 0) return std::nullopt;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDOUT_FILENO);
  // GTK's warnings are no business of the host's.
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);

  args.insert(args.begin(), "zenity");
  std::vector<char*> argv;
  for (std::string& arg : args)
    argv.push_back(arg.data());
  argv.push_back(nullptr);
  pid_t child = 0;
  const int spawned = posix_spawnp(&child, "zenity", &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(pipeEnds[1]);
  if (spawned != 0) {
    close(pipeEnds[0]);
    return std::nullopt;
  }

  ZenityRun run;
  char buffer[4096];
  for (;;) {
    const ssize_t got = read(pipeEnds[0], buffer, sizeof(buffer));
    if (got > 0) {
      run.output.append(buffer, static_cast<size_t>(got));
    } else if (got == 0 || errno != EINTR) {
      break;
    }
  }
  close(pipeEnds[0]);
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return std::nullopt;
  }
  if (!WIFEXITED(status)) return std::nullopt;
  run.exitCode = WEXITSTATUS(status);
  // 127: the program was not found after all.
  if (run.exitCode == 127) return std::nullopt;
  return run;
}

// zenity wants "Label | *.a *.b" where the system's filters say "*.a;*.b".
std::string ZenityFilter(const std::u16string& label, const std::u16string& pattern) {
  std::string patterns = WideToUtf8(pattern);
  for (char& c : patterns) {
    if (c == ';') c = ' ';
  }
  return "--file-filter=" + WideToUtf8(label) + " | " + patterns;
}

}  // namespace

bool DesktopAvailable() {
  return HasDesktop();
}

std::optional<int> DesktopMessageBox(const ShownBox& box) {
  const uint32_t buttons = box.type & kBoxButtonsMask;
  std::vector<std::string> args;
  if (buttons == kBoxYesNo || buttons == kBoxOkCancel) {
    args = {"--question", buttons == kBoxYesNo ? "--ok-label=Yes" : "--ok-label=OK",
            buttons == kBoxYesNo ? "--cancel-label=No" : "--cancel-label=Cancel"};
  } else {
    switch (box.type & kBoxIconMask) {
      case kBoxIconError:
        args = {"--error"};
        break;
      case kBoxIconWarning:
        args = {"--warning"};
        break;
      default:
        args = {"--info"};
        break;
    }
  }
  args.push_back("--no-markup");
  args.push_back("--title=" + WideToUtf8(box.title));
  args.push_back("--text=" + WideToUtf8(box.text));
  const std::optional<ZenityRun> run = RunZenity(std::move(args));
  if (!run) return std::nullopt;
  const bool first = run->exitCode == 0;
  if (buttons == kBoxYesNo) return first ? kAnswerYes : kAnswerNo;
  if (buttons == kBoxOkCancel) return first ? kAnswerOk : kAnswerCancel;
  return kAnswerOk;  // closing a box with one button answers that button
}

std::optional<std::optional<std::u16string>> DesktopFileDialog(const ShownDialog& dialog,
                                                               const std::u16string& start) {
  std::vector<std::string> args = {"--file-selection"};
  if (!dialog.title.empty()) args.push_back("--title=" + WideToUtf8(dialog.title));
  if (dialog.save) {
    args.push_back("--save");
    if ((dialog.flags & kDialogOverwritePrompt) != 0) args.push_back("--confirm-overwrite");
  }
  if (!start.empty()) args.push_back("--filename=" + WideToUtf8(start));
  for (size_t i = 0; i + 1 < dialog.filter.size(); i += 2) {
    args.push_back(ZenityFilter(dialog.filter[i], dialog.filter[i + 1]));
  }
  const std::optional<ZenityRun> run = RunZenity(std::move(args));
  if (!run) return std::nullopt;
  if (run->exitCode != 0) return std::optional<std::u16string>();
  std::string_view path = run->output;
  while (!path.empty() && (path.back() == '\n' || path.back() == '\r'))
    path.remove_suffix(1);
  if (path.empty()) return std::optional<std::u16string>();
  return std::optional<std::u16string>(Utf8ToWide(path));
}

}  // namespace vitrella::platform::ui_detail
