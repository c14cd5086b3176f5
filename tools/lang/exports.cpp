// The language module's exports: its parser, and whether the module may be unloaded.
#include <new>

#include "tools/lang/lang_parser.h"

VITRELLA_EXPORT vitrella::ILangXMLParser* GetLangXMLParser() {
  return new (std::nothrow) vitrella::lang::CLangXMLParser();
}

// A parser still held keeps the module in memory.
VITRELLA_EXPORT bool CanUnloadDLLNow() {
  return vitrella::lang::LiveParsers() == 0;
}
