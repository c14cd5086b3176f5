#include "tools/gpumonitor/report_store.h"

#include <utility>

#include "platform/settings_store.h"
#include "support/common_settings.h"

namespace vitrella::monitor {

std::string OccurredTimeText(std::time_t when) {
  std::tm parts{};
  gmtime_r(&when, &parts);
  char text[64];
  const size_t length = std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S UTC", &parts);
  return std::string(text, length);
}

bool StoreCrashReport(const CrashReport& report, std::time_t when) {
  using namespace settings;
  const std::string time = OccurredTimeText(when);
  const std::pair<std::string_view, std::string_view> values[] = {
      {kReportHostName, report.host},
      {kReportProductName, report.library},
      {kReportEffectName, report.effect},
      {kReportOccurredTime, time},
      {kReportShown, "false"},
  };
  // A guid holds no character that a section name may not.
  return platform::WriteSettings(std::string(kReportsSection) + "\\" + report.guid, values);
}

}  // namespace vitrella::monitor
