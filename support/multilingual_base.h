// The language side of the library object: the parser of the language module, the
// module itself, and whether the language table loaded.
#pragma once

#include "platform/module.h"
#include "vitrella/language.h"

namespace vitrella {

class CMultiLingualBase : public IMultiLingual {
 public:
  CMultiLingualBase() = default;
  CMultiLingualBase(const CMultiLingualBase&) = delete;
  CMultiLingualBase& operator=(const CMultiLingualBase&) = delete;

  // Loads the language module beside `library`, else by its bare name, and has its parser
  // read the table `tableFile` from beside `library`, else by the bare name. Answers
  // whether the table is ready; without it the library keeps its English texts.
  bool LoadLanguageTable(platform::ModuleHandle library, const char* tableFile);
  bool LanguageReady() const { return ready_ && parser_ != nullptr; }

  uint64_t VITRELLA_CALL LanguageQuery(uintptr_t a1, uintptr_t a2, uintptr_t a3, uintptr_t a4,
                                       uintptr_t a5, uintptr_t a6, uintptr_t a7) override;
  int32_t VITRELLA_CALL GetLanguageText(const char* language, uint32_t category, const char* key,
                                        WideChar* text, int32_t capacity) override;
  const char* VITRELLA_CALL GetCurrentLanguage() override;
  bool VITRELLA_CALL LanguageCommand(uintptr_t a1, uintptr_t a2, uintptr_t a3,
                                     uintptr_t a4) override;

 protected:
  // Releases the parser, then frees the language module unless the module's own
  // CanUnloadDLLNow answers false, in which case it stays loaded.
  ~CMultiLingualBase();

  ILangXMLParser* parser_ = nullptr;
  platform::ModuleHandle module_ = nullptr;
  bool ready_ = false;
};

}  // namespace vitrella
