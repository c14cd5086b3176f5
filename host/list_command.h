// `vitrella list`: everything the library's effects say about themselves.
#pragma once

#include <ostream>

#include "command_line.h"

namespace vitrella::host {

// Reads every effect first and prints afterwards, so that a failure prints nothing.
void RunList(const CommandLine& line, std::ostream& out);

}  // namespace vitrella::host
