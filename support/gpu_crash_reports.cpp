#include "support/gpu_crash_reports.h"

#include <atomic>
#include <string>
#include <vector>

#include "platform/platform_name.h"
#include "platform/settings_store.h"
#include "platform/text.h"
#include "platform/ui.h"
#include "support/common_settings.h"

namespace vitrella {

void CheckGPUCrashReports() {
  static std::atomic<bool> checked{false};
  if (checked.exchange(true)) return;
  ShowGPUCrashReports();
}

int ShowGPUCrashReports() {
  using namespace settings;
  int shown = 0;
  const std::string reports = kReportsSection;
  for (const std::string& name : platform::SettingSubsections(reports)) {
    std::string section = reports;
    section.append("\\").append(name);
    const auto read = [&section](const char* value) {
      return platform::ReadSetting(section, value).text;
    };
    if (read(kReportShown) != "false") continue;
    // A host without a window yet leaves the report for a later start.
    const platform::WindowHandle window = platform::ProcessWindow();
    if (window == nullptr) break;
    platform::WriteSetting(section, kReportShown, "true");
    const std::string text = read(kReportEffectName) + kCrashReportText + kCrashReportAdvice;
    ++shown;
    if (platform::ShowMessageBox(window, platform::Utf8ToWide(text).c_str(), kCrashReportTitle,
                                 platform::kBoxOkCancel) != platform::kAnswerOk) {
      continue;
    }
    // The report names the library; its collection's section carries the platform.
    std::string product = read(kReportProductName);
    const std::string ending = std::string(" for ") + platform::kPlatformWord;
    if (product.find(ending) == std::string::npos) product += ending;
    platform::WriteSetting(product, kForcedCpu, "yes");
  }
  return shown;
}

}  // namespace vitrella
