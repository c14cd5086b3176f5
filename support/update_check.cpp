#include "support/update_check.h"

#include "platform/module.h"
#include "platform/platform_name.h"
#include "platform/text.h"
#include "support/text_keys.h"

namespace vitrella {
namespace {

std::u16string Translated(UpdateCheckResult& result, const TextKey& key) {
  if (result.translator == nullptr)
    return platform::Utf8ToWide(key.fallback ? key.fallback : key.key);
  return result.translator->Translate(key);
}

}  // namespace

KZString CollectionFileName(const KZString& moduleFileName) {
  // The Windows suffix as well as this platform's, so one rule serves both builds.
  const KZString suffix(platform::WideToUtf8(platform::kModuleSuffix).c_str());
  return moduleFileName.Lower()
      .Replace("64.dll", "")
      .Replace(".dll", "")
      .Replace(KZString("64").Concatenate(suffix), "")
      .Replace(suffix, "")
      .Replace("d3d", "3d")
      .Replace("opengl", "");
}

KZString UpdateAddress(const KZString& server, const KZString& collectionFileName) {
  KZString address = server;
  while (address.Length() > 0 && address.SafeData()[address.Length() - 1] == '/') {
    address = address.Mid(0, address.Length() - 1);
  }
  return address.Concatenate("/downloads/")
      .Concatenate(platform::kPlatformWord)
      .Concatenate("/")
      .Concatenate(collectionFileName)
      .Concatenate(".xml");
}

void ComposeUpdateText(const VersionFileFacts& facts, UpdateCheckResult& result) {
  result.available = facts.available;
  result.path = KZString(facts.downloadPath.c_str());
  std::u16string text;
  if (!facts.readable) {
    text = Translated(result, text::kCantGetData);
  } else if (!facts.available) {
    text = Translated(result, text::kMostCurrentVersion);
  } else {
    text = Translated(result, text::kLatestVersion) + u" " +
           platform::Utf8ToWide(facts.buildVersion) + u" " + Translated(result, text::kBuild) +
           u" " + platform::Utf8ToWide(facts.latestDate) + u".";
    if (!facts.fixes.empty()) {
      text += u"\n\n\n" + Translated(result, text::kListOfBugs) + u"\n" + facts.fixes;
    }
    if (!facts.features.empty()) {
      text += u"\n\n\n" + Translated(result, text::kListOfFeatures) + u"\n" + facts.features;
    }
    text += u"\n\n\n" + Translated(result, text::kUpdateNote);
  }
  result.text = KZUnicodeString(text.c_str(), text.size());
}

bool RunUpdateCheck(UpdateCheckResult& result, const KZString& server,
                    const KZString& moduleFileName, const KZString& hostName, uint32_t build,
                    const platform::FetchLimits& limits) {
  result.available = false;
  result.path.Clear();
  const std::u16string cantConnect = Translated(result, text::kCantConnect);
  result.text = KZUnicodeString(cantConnect.c_str(), cantConnect.size());
  const KZString address = UpdateAddress(server, CollectionFileName(moduleFileName));
  const platform::FetchResult fetched =
      platform::FetchAddress(address.SafeData(), kUpdateAgent, limits);
  if (!fetched.answered) return false;
  const VersionFileFacts facts = ReadVersionFile(fetched.body.c_str(), build, hostName.SafeData());
  ComposeUpdateText(facts, result);
  return facts.readable;
}

}  // namespace vitrella
