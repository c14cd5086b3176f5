// The module-wide object of common settings, help, dialogs and the update check, which
// IEffectLibrary::GetSharedServices hands out. One object serves every library instance
// of the process; its reference count never frees it.
#pragma once

#include <cstdint>

#include "vitrella/base.h"

namespace vitrella {

class IEffectLibrary;

// The version words of the collection, for the options dialog and the update check.
struct SharedVersion {
  uint32_t major;
  uint32_t minor;
  uint32_t build;
  const char* copyright;  // may be null
};

// What a host tells about itself: its name (narrow) and where its help lives, a help
// file's name or an address starting with "http" (wide). Either may be null.
struct SharedHostInfo {
  const char* hostName;
  const WideChar* helpLocation;
};

// Bits of the options dialog's rows (SetDialogOptions).
inline constexpr uint32_t kOptionKnobs = 1u << 0;
inline constexpr uint32_t kOptionCropOverscan = 1u << 1;
inline constexpr uint32_t kOptionUpdateCheck = 1u << 4;
inline constexpr uint32_t kOptionForcedCpu = 1u << 5;
inline constexpr uint32_t kOptionKeyFrames = 1u << 6;

// Outcomes of CheckForUpdate.
inline constexpr int32_t kUpdateAvailable = 1;  // an update applies to this host
inline constexpr int32_t kUpdateNone = 0;       // the server knows of nothing newer
inline constexpr int32_t kUpdateFailed = -1;    // the server could not be reached or read

class ISharedServices : public IUnknown {
 public:
  // Takes the module, the library and its language once; later calls answer true at once.
  virtual bool VITRELLA_CALL Initialise(void* module, IEffectLibrary* library,
                                        const char* language) = 0;  // 3
  // Null leaves the version as it is.
  virtual void VITRELLA_CALL SetVersion(const SharedVersion* version) = 0;  // 4
  // Sets the mask's bits, or clears them when clear is true.
  virtual void VITRELLA_CALL SetDialogOptions(uint32_t mask, bool clear) = 0;  // 5
  // Null leaves both as they are. A real host's name is remembered as the last one used.
  virtual void VITRELLA_CALL SetHostInfo(const SharedHostInfo* info) = 0;  // 6
  virtual void VITRELLA_CALL SetLanguage(const char* language) = 0;        // 7
  virtual bool VITRELLA_CALL GetKnobsDragVertical() = 0;                   // 8
  virtual bool VITRELLA_CALL GetCropOverscan() = 0;                        // 9
  // Opens help at the topic; separateProcess asks for a viewer of its own.
  virtual void VITRELLA_CALL ShowHelp(WindowHandle parent, int32_t topic,
                                      bool separateProcess) = 0;  // 10
  // The options dialog; 1 when closed by OK or by a started update, 0 otherwise and when
  // it is open already.
  virtual int32_t VITRELLA_CALL ShowOptions(const char* text, WindowHandle parent) = 0;  // 11
  // These copy a text with its NUL into buffer and answer its length; 0 when it is empty
  // or does not fit, which leaves buffer empty.
  virtual uint32_t VITRELLA_CALL GetModuleFileName(WideChar* buffer, uint32_t capacity) = 0;  // 12
  virtual uint32_t VITRELLA_CALL GetFileBesideModule(const WideChar* name, WideChar* buffer,
                                                     uint32_t capacity) = 0;  // 13
  // "Resources64" and the platform's module suffix.
  virtual const WideChar* VITRELLA_CALL GetResourceFileName() = 0;  // 14
  // The host's name by the host-name rules (narrow).
  virtual uint32_t VITRELLA_CALL GetHostName(char* buffer, uint32_t capacity) = 0;  // 15
  // What ShowHelp opens for the topic: a web address or a file's path.
  virtual uint32_t VITRELLA_CALL GetHelpTarget(int32_t topic, WideChar* buffer,
                                               uint32_t capacity) = 0;  // 16
  // Asks the download server whether a newer build exists: the one named, which the
  // options dialog's check then uses too; null: the one named last, else the maker's. The
  // texts below hold the result until the next check.
  virtual int32_t VITRELLA_CALL CheckForUpdate(const char* server) = 0;  // 17
  virtual const WideChar* VITRELLA_CALL GetUpdateText() = 0;             // 18
  virtual const char* VITRELLA_CALL GetUpdatePath() = 0;                 // 19

 protected:
  ~ISharedServices() = default;
};

}  // namespace vitrella
