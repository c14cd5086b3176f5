#include "support/shared_services.h"

#include <string>

#include "platform/platform_name.h"
#include "platform/settings_store.h"
#include "platform/shell.h"
#include "platform/text.h"
#include "platform/ui.h"
#include "platform/ui_form.h"
#include "resources/resource_exports.h"
#include "support/common_settings.h"
#include "support/gpu_crash_reports.h"
#include "support/gpu_report.h"
#include "support/help_address.h"
#include "support/options_dialog.h"
#include "support/path_library.h"
#include "support/text_keys.h"

namespace vitrella {
namespace {

// A host whose name is empty or holds "titler" is a titling tool run inside a real host,
// whose name stays the one to remember.
bool IsRealHost(const KZString& name) {
  return !name.IsEmpty() && !(name.Find(KZString("titler")) < name.Length());
}

KZString ReadStrict(const KZString& section, const char* name) {
  return KZString(platform::ReadSetting(section.SafeData(), name).text.c_str());
}

// A bitmap of the resource module, copied out of it; null when it has none of that number.
std::shared_ptr<const platform::Bitmap> LoadBitmap(platform::ModuleHandle module, int32_t id) {
  const auto load = reinterpret_cast<resources::BitmapExport>(
      platform::FindSymbol(module, resources::kBitmapExport));
  if (load == nullptr) return nullptr;
  auto bitmap = std::make_shared<platform::Bitmap>();
  const uint32_t* pixels = load(id, &bitmap->width, &bitmap->height);
  if (pixels == nullptr || bitmap->width <= 0 || bitmap->height <= 0) return nullptr;
  bitmap->pixels.assign(pixels, pixels + static_cast<size_t>(bitmap->width) * bitmap->height);
  return bitmap;
}

template <typename Char>
uint32_t CopyOut(const Char* text, uint64_t length, Char* buffer, uint32_t capacity) {
  if (buffer == nullptr || capacity == 0) return 0;
  buffer[0] = 0;
  if (length == 0 || length >= capacity) return 0;
  for (uint64_t i = 0; i < length; ++i)
    buffer[i] = text[i];
  buffer[length] = 0;
  return static_cast<uint32_t>(length);
}

}  // namespace

class CSharedServices::TranslatorScope {
 public:
  // A scope inside another (help pressed in the options dialog) leaves the binding to the
  // outer one.
  explicit TranslatorScope(CSharedServices& services)
      : services_(services), binds_(services.translator_.Library() == nullptr) {
    if (binds_) Bind(services_.library_);
  }
  ~TranslatorScope() {
    if (binds_) Bind(nullptr);
  }
  TranslatorScope(const TranslatorScope&) = delete;
  TranslatorScope& operator=(const TranslatorScope&) = delete;

 private:
  void Bind(IEffectLibrary* library) {
    const std::string language = services_.translator_.Language();
    services_.translator_.SetContext(library, language.c_str());
  }
  CSharedServices& services_;
  const bool binds_;
};

CSharedServices::CSharedServices() {
  update_.translator = &translator_;
}

CSharedServices::~CSharedServices() {
  platform::FreeModule(resourceModule_);
}

Result CSharedServices::QueryInterface(const Guid& iid, void** out) {
  if (out == nullptr) return kPointerError;
  if (iid == kIID_IUnknown) {
    *out = static_cast<ISharedServices*>(this);
    AddRef();
    return kOk;
  }
  *out = nullptr;
  return kNoInterface;
}

uint32_t CSharedServices::AddRef() {
  return refs_.fetch_add(1) + 1;
}

uint32_t CSharedServices::Release() {
  const uint32_t left = refs_.load();
  if (left <= 1) return 1;
  return refs_.fetch_sub(1) - 1;
}

bool CSharedServices::Initialise(void* module, IEffectLibrary* library, const char* language) {
  // Effects may ask for the object on their render threads while a host's first call runs.
  const std::lock_guard hold(initLock_);
  if (module_ != nullptr) return true;
  if (module == nullptr) return false;
  module_ = module;
  library_ = library;

  const KZUnicodeString resources = FileBesideModule(kResourceFileName);
  resourceModule_ = platform::LoadModule(resources.SafeData());
  if (resourceModule_ == nullptr) {
    // Told once; the library goes on without its dialogs.
    platform::ShowMessageBox(platform::ForegroundWindow(), resources.SafeData(),
                             kResourcesMissingTitle, platform::kBoxOk);
  }
  logo_ = LoadBitmap(resourceModule_, resources::kLogoBitmap);
  // A GPU crash report's OK sets "Forced CPU", so the settings are read after it.
  CheckGPUCrashReports();
  ReadSettings();
  translator_.SetContext(nullptr, language);
  return true;
}

void CSharedServices::ReadSettings() {
  const KZString common(settings::kCommonSection);
  const KZString own = CollectionSection();
  knobsDragVertical_ = settings::ReadsYes(ReadStrict(common, settings::kKnobsDragVertical));
  cropOverscan_ = settings::ReadsYes(ReadStrict(common, settings::kCropOverscan));
  keyFramesInsteadOfPresets_ = settings::ReadsYes(ReadStrict(own, settings::kKeyFramesVsPresets));
  keyFramesAtOpen_ = keyFramesInsteadOfPresets_;
  forcedCpuCollection_ = settings::ReadsYes(ReadStrict(own, settings::kForcedCpu));
  forcedCpuAll_ = settings::ReadsYes(ReadStrict(common, settings::kForcedCpu));
}

void CSharedServices::RefreshSettings() {
  const std::string own = CollectionSection().SafeData();
  const auto refresh = [](bool& setting, const std::string& section, const char* name) {
    if (const std::optional<bool> yes =
            settings::RefreshReadsYes(platform::ReadSetting(section, name))) {
      setting = *yes;
    }
  };
  refresh(knobsDragVertical_, settings::kCommonSection, settings::kKnobsDragVertical);
  refresh(cropOverscan_, settings::kCommonSection, settings::kCropOverscan);
  refresh(keyFramesInsteadOfPresets_, own, settings::kKeyFramesVsPresets);
  refresh(forcedCpuCollection_, own, settings::kForcedCpu);
  refresh(forcedCpuAll_, settings::kCommonSection, settings::kForcedCpu);
}

KZString CSharedServices::CollectionSection() {
  return settings::CollectionSection(kProductName, platform::kPlatformWord);
}

void CSharedServices::SetVersion(const SharedVersion* version) {
  if (version == nullptr) return;
  major_ = version->major;
  minor_ = version->minor;
  build_ = version->build;
  copyright_ = KZString(version->copyright);
}

void CSharedServices::SetDialogOptions(uint32_t mask, bool clear) {
  dialogOptions_ = clear ? dialogOptions_ & ~mask : dialogOptions_ | mask;
}

void CSharedServices::SetHostInfo(const SharedHostInfo* info) {
  if (info == nullptr) return;
  const KZString name(info->hostName);
  {
    const std::lock_guard hold(hostLock_);
    hostName_ = name;
    helpLocation_ = KZUnicodeString(info->helpLocation);
  }
  if (IsRealHost(name)) {
    platform::WriteSetting(settings::kCommonSection, settings::kLastUsedHostName, name.SafeData());
  }
}

KZString CSharedServices::HostName() const {
  KZString stored;
  {
    const std::lock_guard hold(hostLock_);
    stored = hostName_;
  }
  if (IsRealHost(stored)) return stored;
  KZString last = ReadStrict(settings::kCommonSection, settings::kLastUsedHostName);
  return last.IsEmpty() ? stored : last;
}

void CSharedServices::SetLanguage(const char* language) {
  translator_.SetLanguage(language);
}

KZUnicodeString CSharedServices::ModuleFileName() const {
  const PathLibrary paths;
  return paths.FileNameOf(paths.GetModuleFileName(module_));
}

KZUnicodeString CSharedServices::FileBesideModule(const KZUnicodeString& name) const {
  return PathLibrary().FileBesideModule(module_, name);
}

uint32_t CSharedServices::GetModuleFileName(WideChar* buffer, uint32_t capacity) {
  const KZUnicodeString name = ModuleFileName();
  return CopyOut(name.SafeData(), name.Length(), buffer, capacity);
}

uint32_t CSharedServices::GetFileBesideModule(const WideChar* name, WideChar* buffer,
                                              uint32_t capacity) {
  if (name == nullptr) return CopyOut<WideChar>(u"", 0, buffer, capacity);
  const KZUnicodeString path = FileBesideModule(name);
  return CopyOut(path.SafeData(), path.Length(), buffer, capacity);
}

uint32_t CSharedServices::GetHostName(char* buffer, uint32_t capacity) {
  const KZString name = HostName();
  return CopyOut(name.SafeData(), name.Length(), buffer, capacity);
}

KZUnicodeString CSharedServices::HelpAddress(int32_t topic) {
  KZUnicodeString location;
  {
    const std::lock_guard hold(hostLock_);
    location = helpLocation_;
  }
  if (location.IsEmpty()) location = kHelpFileName;
  if (IsWebHelp(location)) {
    const TranslatorScope scope(*this);
    return CompleteHelpAddress(location, kCollectionKey, translator_.CurrentLanguage(), topic);
  }
  return HelpFileAddress(FileBesideModule(location), topic);
}

uint32_t CSharedServices::GetHelpTarget(int32_t topic, WideChar* buffer, uint32_t capacity) {
  const KZUnicodeString address = HelpAddress(topic);
  return CopyOut(address.SafeData(), address.Length(), buffer, capacity);
}

// Both ways open the page in the desktop's browser, which is a viewer of its own already.
void CSharedServices::ShowHelp(WindowHandle /*parent*/, int32_t topic, bool /*separateProcess*/) {
  platform::OpenAddress(HelpAddress(topic).SafeData());
}

int32_t CSharedServices::ShowOptions(const char* text, WindowHandle parent) {
  // One options dialog at a time, whichever library instance asks.
  static bool open = false;
  if (open) return 0;
  open = true;
  optionsText_ = KZString(text);
  const int32_t result = RunOptionsDialog(parent);
  open = false;
  return result;
}

std::u16string CSharedServices::Translated(const TextKey& key, const char* fallback) {
  return translator_.Translate(key.category, key.key, key.fallback ? key.fallback : fallback);
}

int32_t CSharedServices::RunOptionsDialog(WindowHandle parent) {
  using namespace options;
  const TranslatorScope scope(*this);
  platform::Form form = LayOutOptions(dialogOptions_);
  const std::u16string product = Translated(text::kProductName, vitrella::kProductName);
  const std::u16string build = Translated(text::kBuild, nullptr);
  form.title = product;
  const auto label = [&form](int32_t id, std::u16string value) {
    form.Find(id)->text = std::move(value);
  };
  label(kProductNameLabel, product);
  label(kVersionLine,
        Translated(text::kVersion, nullptr) + u" " +
            platform::Utf8ToWide(std::to_string(major_) + "." + std::to_string(minor_)) + u" " +
            build + u" " + platform::Utf8ToWide(std::to_string(build_)));
  label(kCopyright, Translated(text::kCopyright, copyright_.SafeData()));
  label(kOptionsGroup, Translated(text::kOptions, nullptr));
  label(kKnobs, Translated(text::kKnobsControl, nullptr));
  label(kKeyFrames, Translated(text::kKeyFramesOrPresets, nullptr));
  label(kCheckForUpdate, Translated(text::kCheckForUpdateButton, nullptr));
  label(kCheckForUpdateLabel, Translated(text::kCheckForUpdateLabel, nullptr));
  label(kCancelButton, Translated(text::kCancel, nullptr));
  label(kOkButton, Translated(text::kOk, nullptr));
  label(kHelpButton, Translated(text::kHelp, nullptr));
  if (logo_ != nullptr) form.bitmaps[kLogo] = logo_;

  // Another process (another collection's dialog, a crash report's answer) may have
  // written the settings since they were read: the check boxes start from what is stored.
  RefreshSettings();
  keyFramesAtOpen_ = keyFramesInsteadOfPresets_;
  const bool forcedCpuAllBefore = forcedCpuAll_;
  form.Find(kKnobs)->checked = knobsDragVertical_;
  form.Find(kKeyFrames)->checked = keyFramesInsteadOfPresets_;
  form.Find(kCropOverscan)->checked = cropOverscan_;
  form.Find(kForcedCpuCollection)->checked = forcedCpuCollection_;
  form.Find(kForcedCpuAll)->checked = forcedCpuAll_;

  const int32_t closedBy = platform::RunForm(parent, form, [&](int32_t id) {
    switch (id) {
      case kOkButton:
      case kCancelButton:
        return true;
      case kHelpButton:
        ShowHelp(parent, kOptionsHelpTopic, false);
        return false;
      case kLogo:
        platform::OpenAddress(platform::Utf8ToWide(kMakerPage));
        return false;
      case kCheckForUpdate:
        return RunUpdateDialog(parent);
      case kGpuReport:
        RunGpuReport(parent);
        return false;
      default:
        return false;
    }
  });
  if (closedBy == kCheckForUpdate) return 1;
  if (closedBy != kOkButton) return 0;

  const auto store = [&form](bool& setting, int32_t id, const char* section, const char* name) {
    setting = form.Find(id)->checked;
    platform::WriteSetting(section, name, settings::YesNo(setting));
  };
  const std::string own = CollectionSection().SafeData();
  store(knobsDragVertical_, kKnobs, settings::kCommonSection, settings::kKnobsDragVertical);
  store(keyFramesInsteadOfPresets_, kKeyFrames, own.c_str(), settings::kKeyFramesVsPresets);
  store(cropOverscan_, kCropOverscan, settings::kCommonSection, settings::kCropOverscan);
  store(forcedCpuCollection_, kForcedCpuCollection, own.c_str(), settings::kForcedCpu);
  store(forcedCpuAll_, kForcedCpuAll, settings::kCommonSection, settings::kForcedCpu);
  if (keyFramesInsteadOfPresets_ != keyFramesAtOpen_) {
    platform::ShowMessageBox(parent, kRestartText, kInformationTitle,
                             platform::kBoxIconInformation);
  }
  if (forcedCpuAll_ != forcedCpuAllBefore) {
    const std::u16string message =
        u"GPU changes will not take effect for other CorvaneFX collections until you close "
        u"and restart " +
        platform::Utf8ToWide(HostName().SafeData()) + u".";
    platform::ShowMessageBox(parent, message.c_str(), kInformationTitle,
                             platform::kBoxIconInformation);
  }
  return 1;
}

bool CSharedServices::RunUpdateDialog(WindowHandle parent) {
  using namespace options;
  CheckForUpdate(updateServer_, {});
  platform::Form form = LayOutUpdate(update_.available);
  // The title holds %s for the product name.
  std::u16string title = Translated(text::kUpdateTitle, nullptr);
  if (const size_t at = title.find(u"%s"); at != std::u16string::npos) {
    title.replace(at, 2, Translated(text::kProductName, vitrella::kProductName));
  }
  form.title = title;
  form.Find(kUpdateText)->text = update_.text.SafeData();
  form.Find(kCancelButton)->text = Translated(text::kCancel, nullptr);
  const int32_t closedBy = platform::RunForm(parent, form, [&](int32_t id) {
    if (id == kDownload) {
      // The address as the Windows opener took it, cut to 259 characters.
      platform::OpenAddress(platform::Utf8ToWide(update_.path.Mid(0, 259).SafeData()));
    }
    return id == kDownload || id == kCancelButton;
  });
  return closedBy == kDownload;
}

void CSharedServices::RunGpuReport(WindowHandle parent) {
  using namespace options;
  platform::Form form = LayOutGpuReport();
  // ShowOptions is given no host: the report says so in its first line.
  form.Find(kReportText)->text = GpuReportText(nullptr, library_);
  platform::RunForm(parent, form, [](int32_t id) { return id == kReportClose; });
}

int32_t CSharedServices::CheckForUpdate(const char* server) {
  if (server != nullptr) updateServer_ = KZString(server);
  return CheckForUpdate(updateServer_, {});
}

int32_t CSharedServices::CheckForUpdate(const KZString& server,
                                        const platform::FetchLimits& limits) {
  const TranslatorScope scope(*this);
  if (!RunUpdateCheck(update_, server, ModuleFileName().ToUtf8(), HostName(), build_, limits)) {
    return kUpdateFailed;
  }
  return update_.available ? kUpdateAvailable : kUpdateNone;
}

void CSharedServices::ForgetLibrary(IEffectLibrary* library) {
  if (library_ == library) library_ = nullptr;
}

CSharedServices& SharedServices() {
  // Lives as long as the module: destroyed when the process ends or the module is unloaded.
  static CSharedServices services;
  return services;
}

}  // namespace vitrella
