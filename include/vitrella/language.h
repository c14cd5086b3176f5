// Language support: the library's IMultiLingual and the parser of the language module
// (KZLang) that stands beside the library with its table.
#pragma once

#include <cstdint>

#include "vitrella/base.h"

namespace vitrella {

inline constexpr Guid kIID_IMultiLingual{
    0xF6E85D4E, 0xDC38, 0x476C, {0xAC, 0x59, 0xEB, 0x50, 0x0B, 0xA9, 0x3C, 0xDC}};

// Text categories of the language table.
inline constexpr uint32_t kTextPresetDialogs = 4;
inline constexpr uint32_t kTextOptionsDialog = 5;
inline constexpr uint32_t kTextUpdateCheck = 8;
inline constexpr uint32_t kTextCommonWords = 10;

// Offered by the library object once its language table has loaded. Each text
// operation passes its arguments, unchanged, to the language module's parser.
class IMultiLingual : public IUnknown {
 public:
  // Passed through for the host and the language module; the library gives it no meaning.
  virtual uint64_t VITRELLA_CALL LanguageQuery(uintptr_t a1, uintptr_t a2, uintptr_t a3,
                                               uintptr_t a4, uintptr_t a5, uintptr_t a6,
                                               uintptr_t a7) = 0;  // 3
  // Number of wide characters written to text, 0 or less when nothing was found.
  virtual int32_t VITRELLA_CALL GetLanguageText(const char* language, uint32_t category,
                                                const char* key, WideChar* text,
                                                int32_t capacity) = 0;  // 4
  virtual const char* VITRELLA_CALL GetCurrentLanguage() = 0;          // 5
  // Passed through for the host and the language module; the library gives it no meaning.
  virtual bool VITRELLA_CALL LanguageCommand(uintptr_t a1, uintptr_t a2, uintptr_t a3,
                                             uintptr_t a4) = 0;  // 6

 protected:
  ~IMultiLingual() = default;
};

// The parser that the language module's GetLangXMLParser export returns.
class ILangXMLParser : public IUnknown {
 public:
  virtual void VITRELLA_CALL Reserved3() {}
  // Reads the table; a bare file name is searched for in the module's usual places.
  virtual bool VITRELLA_CALL LoadLanguageFile(const WideChar* path) = 0;  // 4
  virtual uint64_t VITRELLA_CALL LanguageQuery(uintptr_t a1, uintptr_t a2, uintptr_t a3,
                                               uintptr_t a4, uintptr_t a5, uintptr_t a6,
                                               uintptr_t a7) = 0;  // 5
  virtual int32_t VITRELLA_CALL GetLanguageText(const char* language, uint32_t category,
                                                const char* key, WideChar* text,
                                                int32_t capacity) = 0;  // 6
  virtual const char* VITRELLA_CALL GetCurrentLanguage() = 0;          // 7
  virtual bool VITRELLA_CALL LanguageCommand(uintptr_t a1, uintptr_t a2, uintptr_t a3,
                                             uintptr_t a4) = 0;  // 8

 protected:
  ~ILangXMLParser() = default;
};

// Exports of the language module.
using GetLangXMLParserFn = ILangXMLParser* (*)();
using LanguageCanUnloadFn = bool (*)();
inline constexpr const char* kGetLangXMLParserExport = "GetLangXMLParser";

}  // namespace vitrella
