// A language module for the tests of the language load: its parser records every call
// it gets, and the environment steers what it answers.
//   FAKE_LANG_PARSER=none   GetLangXMLParser answers null
//   FAKE_LANG_TABLE=bare    only a bare file name loads; =none: no table loads
//   FAKE_LANG_UNLOAD=no     CanUnloadDLLNow answers false (built with FAKE_LANG_CAN_UNLOAD)
// Plain arrays only, so that nothing keeps the module in memory after dlclose.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "vitrella/language.h"

namespace {

char g_calls[8192];

void Note(const char* format, ...) __attribute__((format(printf, 1, 2)));
void Note(const char* format, ...) {
  const size_t used = std::strlen(g_calls);
  va_list args;
  va_start(args, format);
  std::vsnprintf(g_calls + used, sizeof(g_calls) - used, format, args);
  va_end(args);
}

bool Wants(const char* variable, const char* value) {
  const char* set = std::getenv(variable);
  return set != nullptr && std::strcmp(set, value) == 0;
}

// The wide path as ASCII, for the record of calls.
void NotePath(const vitrella::WideChar* path) {
  char narrow[1024] = {};
  for (size_t i = 0; path != nullptr && path[i] != 0 && i + 1 < sizeof(narrow); ++i)
    narrow[i] = static_cast<char>(path[i]);
  Note("load %s;", narrow);
}

class FakeParser final : public vitrella::ILangXMLParser {
 public:
  vitrella::Result VITRELLA_CALL QueryInterface(const vitrella::Guid&, void** out) override {
    *out = nullptr;
    return vitrella::kNoInterface;
  }
  uint32_t VITRELLA_CALL AddRef() override { return ++refs_; }
  uint32_t VITRELLA_CALL Release() override {
    Note("release;");
    const uint32_t left = --refs_;
    if (left == 0) delete this;
    return left;
  }
  bool VITRELLA_CALL LoadLanguageFile(const vitrella::WideChar* path) override {
    NotePath(path);
    if (Wants("FAKE_LANG_TABLE", "none")) return false;
    if (!Wants("FAKE_LANG_TABLE", "bare")) return true;
    for (size_t i = 0; path[i] != 0; ++i) {
      if (path[i] == u'/') return false;
    }
    return true;
  }
  // Each argument in its own decimal place, so that a test sees the order.
  uint64_t VITRELLA_CALL LanguageQuery(uintptr_t a1, uintptr_t a2, uintptr_t a3, uintptr_t a4,
                                       uintptr_t a5, uintptr_t a6, uintptr_t a7) override {
    return a1 + 10 * a2 + 100 * a3 + 1000 * a4 + 10000 * a5 + 100000 * a6 + 1000000 * a7;
  }
  // Answers "language/category/key".
  int32_t VITRELLA_CALL GetLanguageText(const char* language, uint32_t category, const char* key,
                                        vitrella::WideChar* text, int32_t capacity) override {
    char answer[512];
    const int length =
        std::snprintf(answer, sizeof(answer), "%s/%u/%s", language != nullptr ? language : "(null)",
                      category, key != nullptr ? key : "(null)");
    int32_t count = 0;
    for (; count < length && count + 1 < capacity; ++count)
      text[count] = static_cast<vitrella::WideChar>(answer[count]);
    if (capacity > 0) text[count] = 0;
    return count;
  }
  const char* VITRELLA_CALL GetCurrentLanguage() override { return "fk"; }
  bool VITRELLA_CALL LanguageCommand(uintptr_t a1, uintptr_t a2, uintptr_t a3,
                                     uintptr_t a4) override {
    return a1 == 1 && a2 == 2 && a3 == 3 && a4 == 4;
  }

 private:
  ~FakeParser() = default;
  uint32_t refs_ = 1;
};

}  // namespace

VITRELLA_EXPORT vitrella::ILangXMLParser* GetLangXMLParser() {
  Note("parser;");
  if (Wants("FAKE_LANG_PARSER", "none")) return nullptr;
  return new FakeParser();
}

#if defined(FAKE_LANG_CAN_UNLOAD)
VITRELLA_EXPORT bool CanUnloadDLLNow() {
  Note("can-unload;");
  return !Wants("FAKE_LANG_UNLOAD", "no");
}
#endif

// Every call so far, in order.
VITRELLA_EXPORT const char* FakeLangCalls() {
  return g_calls;
}
