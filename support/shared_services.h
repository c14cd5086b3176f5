// CSharedServices: the module-wide object of common settings, the host's name, help and
// the update check, which every library instance hands out through GetSharedServices.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "platform/module.h"
#include "platform/ui_form.h"
#include "support/kz_string.h"
#include "support/kz_unicode_string.h"
#include "support/translation_helper.h"
#include "support/update_check.h"
#include "vitrella/library.h"

namespace vitrella {

// The product's name as its settings section and dialogs take it.
inline constexpr const char* kProductName = "Corvane Vitrella III for Windows 3.0";
// The help address's collection= value.
inline constexpr const char* kCollectionKey = "VitrellaIII";
inline constexpr const char16_t* kResourceFileName = u"Resources64.so";
inline constexpr const char16_t* kResourcesMissingTitle =
    u"Corvane internal error: Can't find resources";
// The options dialog: its help topic, the logo's web page and its two notes after OK.
inline constexpr int32_t kOptionsHelpTopic = 300;
inline constexpr const char* kMakerPage = "https://www.corvane.com";
inline constexpr const char16_t* kInformationTitle = u"Information";
inline constexpr const char16_t* kRestartText =
    u"To apply some changes you need to restart program";

class CSharedServices final : public ISharedServices {
 public:
  CSharedServices();
  CSharedServices(const CSharedServices&) = delete;
  CSharedServices& operator=(const CSharedServices&) = delete;
  ~CSharedServices();

  Result VITRELLA_CALL QueryInterface(const Guid& iid, void** out) override;
  // The object lives as long as the module: its count never frees it.
  uint32_t VITRELLA_CALL AddRef() override;
  uint32_t VITRELLA_CALL Release() override;

  bool VITRELLA_CALL Initialise(void* module, IEffectLibrary* library,
                                const char* language) override;
  void VITRELLA_CALL SetVersion(const SharedVersion* version) override;
  void VITRELLA_CALL SetDialogOptions(uint32_t mask, bool clear) override;
  void VITRELLA_CALL SetHostInfo(const SharedHostInfo* info) override;
  void VITRELLA_CALL SetLanguage(const char* language) override;
  bool VITRELLA_CALL GetKnobsDragVertical() override { return knobsDragVertical_; }
  bool VITRELLA_CALL GetCropOverscan() override { return cropOverscan_; }
  void VITRELLA_CALL ShowHelp(WindowHandle parent, int32_t topic, bool separateProcess) override;
  int32_t VITRELLA_CALL ShowOptions(const char* text, WindowHandle parent) override;
  uint32_t VITRELLA_CALL GetModuleFileName(WideChar* buffer, uint32_t capacity) override;
  uint32_t VITRELLA_CALL GetFileBesideModule(const WideChar* name, WideChar* buffer,
                                             uint32_t capacity) override;
  const WideChar* VITRELLA_CALL GetResourceFileName() override { return kResourceFileName; }
  uint32_t VITRELLA_CALL GetHostName(char* buffer, uint32_t capacity) override;
  uint32_t VITRELLA_CALL GetHelpTarget(int32_t topic, WideChar* buffer, uint32_t capacity) override;
  int32_t VITRELLA_CALL CheckForUpdate(const char* server) override;
  const WideChar* VITRELLA_CALL GetUpdateText() override { return update_.text.SafeData(); }
  const char* VITRELLA_CALL GetUpdatePath() override { return update_.path.SafeData(); }

  // The same as the slots above, for the library's own code.
  KZUnicodeString ModuleFileName() const;
  KZUnicodeString FileBesideModule(const KZUnicodeString& name) const;
  // The stored name if it is a real host's, else the last real host's, else the stored.
  KZString HostName() const;
  // A web address completed for the topic, or the help file's file:// address.
  KZUnicodeString HelpAddress(int32_t topic);
  // The check with limits of the caller's choice, as the tests take it.
  int32_t CheckForUpdate(const KZString& server, const platform::FetchLimits& limits);

  // The collection's own settings section.
  static KZString CollectionSection();
  // Reads the five settings again, by the looser rule of a refresh.
  void RefreshSettings();
  bool KeyFramesInsteadOfPresets() const { return keyFramesInsteadOfPresets_; }
  bool ForcedCpuCollection() const { return forcedCpuCollection_; }
  bool ForcedCpuAll() const { return forcedCpuAll_; }
  uint32_t DialogOptions() const { return dialogOptions_; }
  uint32_t Build() const { return build_; }
  bool HasResources() const { return resourceModule_ != nullptr; }
  // Bitmap 237 of the resource module, shown on the options dialog's logo button; null
  // without the module.
  const platform::Bitmap* Logo() const { return logo_.get(); }

  // A library being destroyed stops being the one that texts are looked up in.
  void ForgetLibrary(IEffectLibrary* library);

 private:
  // Binds the library to the translator for the look-ups of one call only, so that this
  // object, which outlives every library instance, never keeps one alive.
  class TranslatorScope;

  void ReadSettings();
  // The translation of key; fallback where the key has none of its own.
  std::u16string Translated(const TextKey& key, const char* fallback);
  // The dialogs; the update dialog answers whether its download was started.
  int32_t RunOptionsDialog(WindowHandle parent);
  bool RunUpdateDialog(WindowHandle parent);
  void RunGpuReport(WindowHandle parent);

  std::atomic<uint32_t> refs_{1};
  std::mutex initLock_;
  platform::ModuleHandle module_ = nullptr;
  platform::ModuleHandle resourceModule_ = nullptr;
  std::shared_ptr<const platform::Bitmap> logo_;
  IEffectLibrary* library_ = nullptr;  // not counted; see TranslatorScope

  bool knobsDragVertical_ = false;
  bool keyFramesInsteadOfPresets_ = false;
  bool keyFramesAtOpen_ = false;
  bool cropOverscan_ = false;
  bool forcedCpuCollection_ = false;
  bool forcedCpuAll_ = false;
  uint32_t dialogOptions_ =
      kOptionKnobs | kOptionCropOverscan | kOptionUpdateCheck | kOptionForcedCpu | kOptionKeyFrames;

  mutable std::mutex hostLock_;  // guards hostName_ and helpLocation_
  KZString hostName_;
  KZUnicodeString helpLocation_;

  uint32_t major_ = 0;
  uint32_t minor_ = 0;
  uint32_t build_ = 0;
  KZString copyright_;

  TranslationHelper translator_;
  UpdateCheckResult update_;
  KZString optionsText_;                  // what the host handed ShowOptions
  KZString updateServer_{kUpdateServer};  // the last one a host named
};

// The module's one object.
CSharedServices& SharedServices();

}  // namespace vitrella
