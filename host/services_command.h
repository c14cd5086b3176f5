// `vitrella update-check`, `vitrella options` and `vitrella help TOPIC`: the library's shared
// services as a user meets them, the update check's text and the help page of a topic.
#pragma once

#include <ostream>

#include "command_line.h"

namespace vitrella::host {

// The name vitrella gives the library as its host.
inline constexpr const char* kHostName = "vitrella";

// Prints the check's text and, when an update applies, its download address. Returns the
// exit status: 0 when the server answered, 1 when it could not be reached or read.
int RunUpdateCheck(const CommandLine& line, std::ostream& out);

// Shows the options dialog; prints how it closed and the settings the library holds.
void RunOptions(const CommandLine& line, std::ostream& out);

// Prints where the help of the topic is and hands it to the desktop's opener.
void RunLibraryHelp(const CommandLine& line, std::ostream& out);

}  // namespace vitrella::host
