// vitrella: the reference host. It loads the effect library by path, like any host, and
// lists its effects or renders pictures through them.
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include <opencv2/core/utils/logger.hpp>

#include "command_line.h"
#include "host_error.h"
#include "interruption.h"
#include "library_loader.h"
#include "list_command.h"
#include "message_text.h"
#include "preset_command.h"
#include "render_command.h"
#include "services_command.h"

namespace {

constexpr int kFailure = 1;
constexpr int kUsage = 2;

// Says what it could not load instead of failing: --version is asked when things go wrong.
void PrintVersion(const vitrella::host::CommandLine& line, std::ostream& out) {
  using namespace vitrella::host;
  out << "vitrella " << VITRELLA_VERSION << "\n";
  const std::string path = line.library.empty() ? DefaultLibraryPath() : line.library;
  try {
    const LibraryLoader loader(path);
    ComRef<vitrella::IEffectLibrary> library = loader.CreateLibrary();
    const char* name = library->GetLibraryName();
    out << "library " << path << ": " << (name != nullptr ? name : "(no name)") << "\n";
  } catch (const HostError& error) {
    out << "library " << path << ": not loaded (" << OneLine(error.what()) << ")\n";
  }
}

int Run(const std::vector<std::string>& args) {
  using namespace vitrella::host;
  const CommandLine line = ParseCommandLine(args);
  int status = 0;
  switch (line.command) {
    case Command::kHelp:
      std::cout << UsageText(line.helpTopic);
      break;
    case Command::kVersion:
      PrintVersion(line, std::cout);
      break;
    case Command::kList:
      RunList(line, std::cout);
      break;
    case Command::kRender:
      RunRender(line);
      break;
    case Command::kPresetSave:
      status = RunPresetSave(line, std::cout);
      break;
    case Command::kPresetLoad:
      status = RunPresetLoad(line, std::cout);
      break;
    case Command::kUpdateCheck:
      status = RunUpdateCheck(line, std::cout);
      break;
    case Command::kOptions:
      RunOptions(line, std::cout);
      break;
    case Command::kLibraryHelp:
      RunLibraryHelp(line, std::cout);
      break;
  }
  std::cout.flush();
  if (!std::cout) throw HostError("cannot write to standard output");
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  // Every failure reaches the user as one line from here, not as codec chatter.
  cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
  // Before any thread starts, so that every one of them leaves the signals to the watcher.
  vitrella::host::WatchInterruptions();
  const std::vector<std::string> args(argv + 1, argv + argc);
  try {
    return Run(args);
  } catch (const vitrella::host::Interrupted& error) {
    std::cerr << "vitrella: " << error.what() << "\n";
    return 128 + error.signal();
  } catch (const vitrella::host::UsageError& error) {
    const std::string command = vitrella::host::CommandOf(args);
    std::cerr << "vitrella: " << vitrella::host::OneLine(error.what()) << " (see vitrella help"
              << (command.empty() ? "" : " " + command) << ")\n";
    return kUsage;
  } catch (const vitrella::host::HostError& error) {
    std::cerr << "vitrella: " << vitrella::host::OneLine(error.what()) << "\n";
    return kFailure;
  } catch (const std::exception& error) {
    std::cerr << "vitrella: " << vitrella::host::OneLine(error.what()) << "\n";
    return kFailure;
  }
}
