#include "services_command.h"

#include <string>

#include "host_error.h"
#include "library_loader.h"
#include "vitrella/shared_services.h"

namespace vitrella::host {
namespace {

// The library's wide texts for the terminal; a lone surrogate becomes U+FFFD.
std::string Utf8(const WideChar* text) {
  std::string out;
  for (size_t i = 0; text != nullptr && text[i] != 0; ++i) {
    char32_t c = text[i];
    if (c >= 0xD800 && c < 0xDC00 && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000) {
      c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00);
    } else if (c >= 0xD800 && c < 0xE000) {
      c = 0xFFFD;
    }
    if (c < 0x80) {
      out += static_cast<char>(c);
    } else if (c < 0x800) {
      out += {static_cast<char>(0xC0 | (c >> 6)), static_cast<char>(0x80 | (c & 0x3F))};
    } else if (c < 0x10000) {
      out += {static_cast<char>(0xE0 | (c >> 12)), static_cast<char>(0x80 | ((c >> 6) & 0x3F)),
              static_cast<char>(0x80 | (c & 0x3F))};
    } else {
      out += {static_cast<char>(0xF0 | (c >> 18)), static_cast<char>(0x80 | ((c >> 12) & 0x3F)),
              static_cast<char>(0x80 | ((c >> 6) & 0x3F)), static_cast<char>(0x80 | (c & 0x3F))};
    }
  }
  return out;
}

// The library's shared services, with this host introduced to them.
class Services {
 public:
  explicit Services(const CommandLine& line)
      : loader_(line.library.empty() ? DefaultLibraryPath() : line.library),
        library_(loader_.CreateLibrary()) {
    services_ = ComRef<ISharedServices>(library_->GetSharedServices());
    if (!services_) throw HostError("the library has no shared services");
    const SharedHostInfo host{kHostName, nullptr};
    services_->SetHostInfo(&host);
    if (line.language) services_->SetLanguage(line.language->c_str());
  }
  ISharedServices* operator->() const { return services_.get(); }

 private:
  LibraryLoader loader_;
  ComRef<IEffectLibrary> library_;
  ComRef<ISharedServices> services_;
};

}  // namespace

int RunUpdateCheck(const CommandLine& line, std::ostream& out) {
  Services services(line);
  const int32_t outcome = services->CheckForUpdate(line.server ? line.server->c_str() : nullptr);
  out << Utf8(services->GetUpdateText()) << "\n";
  if (outcome == kUpdateAvailable) out << "Download: " << services->GetUpdatePath() << "\n";
  return outcome == kUpdateFailed ? 1 : 0;
}

void RunOptions(const CommandLine& line, std::ostream& out) {
  Services services(line);
  const int32_t result = services->ShowOptions(nullptr, nullptr);
  out << "Options: " << (result == 1 ? "closed with OK" : "cancelled") << "\n"
      << "Knobs Drag Vertical: " << (services->GetKnobsDragVertical() ? "yes" : "no") << "\n"
      << "Crop Overscan: " << (services->GetCropOverscan() ? "yes" : "no") << "\n";
}

void RunLibraryHelp(const CommandLine& line, std::ostream& out) {
  Services services(line);
  WideChar target[4096];
  if (services->GetHelpTarget(line.libraryHelpTopic, target, 4096) == 0) {
    throw HostError("the library names no help for topic " + std::to_string(line.libraryHelpTopic));
  }
  out << "Help for topic " << line.libraryHelpTopic << ": " << Utf8(target) << "\n";
  services->ShowHelp(nullptr, line.libraryHelpTopic, false);
}

}  // namespace vitrella::host
