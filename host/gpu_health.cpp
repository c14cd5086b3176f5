#include "gpu_health.h"

#include "com_ref.h"
#include "platform/platform_name.h"
#include "platform/settings_store.h"
#include "vitrella/shared_services.h"

namespace vitrella::host {
namespace {

constexpr const char* kForcedCpu = "Forced CPU";
constexpr const char* kCommonSection = "Common";

// The settings' rule at start: "yes" in any case.
bool ReadsYes(const std::string& section) {
  const std::string text = platform::ReadSetting(section, kForcedCpu).text;
  if (text.size() != 3) return false;
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  return lower(text[0]) == 'y' && lower(text[1]) == 'e' && lower(text[2]) == 's';
}

}  // namespace

void StartSharedServices(IEffectLibrary& library) {
  // Asking for them starts them; nothing is written unless a report is offered.
  const ComRef<ISharedServices> services(library.GetSharedServices());
}

std::optional<std::string> ForcedCpuReason(IEffectLibrary& library) {
  if (ReadsYes(kCommonSection)) return std::string("for all collections");
  // The collection's section as the crash report's OK writes it.
  const char* name = library.GetLibraryName();
  std::string section = name != nullptr ? name : "";
  const std::string ending = std::string(" for ") + platform::kPlatformWord;
  if (section.find(ending) == std::string::npos) section += ending;
  if (ReadsYes(section)) return "for " + section;
  return std::nullopt;
}

std::string ForcedCpuNotice(const std::string& reason) {
  return "vitrella: \"Forced CPU\" is set " + reason + ": rendering on the CPU";
}

}  // namespace vitrella::host
