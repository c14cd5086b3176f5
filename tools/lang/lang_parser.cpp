#include "tools/lang/lang_parser.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "platform/module.h"
#include "platform/text.h"

namespace vitrella::lang {
namespace {

// The module may be unloaded only while no parser of it is alive; that is the one fact
// the module keeps for the whole process.
std::atomic<uint32_t> g_liveParsers{0};

bool IsLetter(char c) {
  return std::isalpha(static_cast<unsigned char>(c)) != 0;
}

// "de_DE.UTF-8", "pt-BR", "ja" give their first two letters; "C" and "POSIX" nothing.
std::string CodeOfLocale(const char* locale) {
  if (locale == nullptr || !IsLetter(locale[0]) || !IsLetter(locale[1])) return {};
  const char after = locale[2];
  if (after != '\0' && after != '_' && after != '-' && after != '.' && after != '@') return {};
  std::string code{locale[0], locale[1]};
  for (char& c : code)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return code;
}

// The first variable that is set decides, as the locale's own precedence goes.
std::string WantedLanguage() {
  for (const char* name : {kLanguageVariable, "LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(name);
    if (value != nullptr && *value != '\0') return CodeOfLocale(value);
  }
  return {};
}

// Where a table path is read: as given when it names a folder, else beside this
// module and then beside the program.
std::vector<std::string> PlacesOf(const std::u16string& path) {
  if (path.find(platform::kPathSeparator) != std::u16string::npos) {
    return {platform::WideToUtf8(path)};
  }
  std::vector<std::string> places;
  for (const platform::ModuleHandle module : {platform::ThisModule(), platform::ModuleHandle{}}) {
    const std::u16string file = platform::ModuleFileName(module);
    const size_t separator = file.rfind(platform::kPathSeparator);
    if (separator == std::u16string::npos) continue;
    places.push_back(platform::WideToUtf8(file.substr(0, separator + 1) + path));
  }
  return places;
}

}  // namespace

uint32_t LiveParsers() {
  return g_liveParsers.load();
}

CLangXMLParser::CLangXMLParser() {
  g_liveParsers.fetch_add(1);
}

CLangXMLParser::~CLangXMLParser() {
  g_liveParsers.fetch_sub(1);
}

Result CLangXMLParser::QueryInterface(const Guid& iid, void** out) {
  if (out == nullptr) return kPointerError;
  if (iid == kIID_IUnknown) {
    *out = static_cast<IUnknown*>(this);
    AddRef();
    return kOk;
  }
  *out = nullptr;
  return kNoInterface;
}

uint32_t CLangXMLParser::AddRef() {
  return refs_.fetch_add(1) + 1;
}

uint32_t CLangXMLParser::Release() {
  const uint32_t left = refs_.fetch_sub(1) - 1;
  if (left == 0) delete this;
  return left;
}

bool CLangXMLParser::LoadLanguageFile(const WideChar* path) {
  if (path == nullptr || *path == u'\0') return false;
  try {
    for (const std::string& place : PlacesOf(path)) {
      std::optional<LanguageTable> table = LanguageTable::Load(place);
      if (!table) continue;
      table_ = std::move(table);
      const std::string wanted = WantedLanguage();
      current_ = table_->HasLanguage(wanted) ? wanted : table_->BaseLanguage();
      return true;
    }
  } catch (...) {
    // Out of memory reading a table: as if it were not there.
  }
  return false;
}

uint64_t CLangXMLParser::LanguageQuery(uintptr_t a1, uintptr_t a2, uintptr_t /*a3*/,
                                       uintptr_t /*a4*/, uintptr_t /*a5*/, uintptr_t /*a6*/,
                                       uintptr_t /*a7*/) {
  if (!table_) return 0;
  const std::vector<std::string>& languages = table_->Languages();
  if (a1 == kQueryLanguageCount) return languages.size();
  if (a1 == kQueryLanguageCode && a2 < languages.size()) {
    return reinterpret_cast<uintptr_t>(languages[a2].c_str());
  }
  return 0;
}

int32_t CLangXMLParser::GetLanguageText(const char* language, uint32_t category, const char* key,
                                        WideChar* text, int32_t capacity) {
  if (!table_ || key == nullptr || text == nullptr || capacity <= 0) return 0;
  try {
    const std::string code =
        language != nullptr ? std::string(language, strnlen(language, 8)) : current_;
    const std::u16string* found = table_->Find(code, category, key);
    if (found == nullptr) return 0;
    const size_t count = std::min(found->size(), static_cast<size_t>(capacity) - 1);
    std::copy_n(found->begin(), count, text);
    text[count] = u'\0';
    return static_cast<int32_t>(count);
  } catch (...) {
    return 0;
  }
}

const char* CLangXMLParser::GetCurrentLanguage() {
  return table_ ? current_.c_str() : nullptr;
}

bool CLangXMLParser::LanguageCommand(uintptr_t a1, uintptr_t a2, uintptr_t /*a3*/,
                                     uintptr_t /*a4*/) {
  if (!table_ || a1 != kCommandSetLanguage || a2 == 0) return false;
  const auto* code = reinterpret_cast<const char*>(a2);
  const std::string wanted(code, strnlen(code, 8));
  if (!table_->HasLanguage(wanted)) return false;
  current_ = wanted;
  return true;
}

}  // namespace vitrella::lang
