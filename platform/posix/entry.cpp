// The library's start-up when the process loads it.
#include "core/module.h"

namespace {

__attribute__((constructor)) void AttachModule() { vitrella::OnModuleAttach(); }

}  // namespace
