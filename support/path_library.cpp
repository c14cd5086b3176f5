#include "support/path_library.h"

#include <string>

#include "platform/files.h"

namespace vitrella {
namespace {

constexpr char16_t kSeparator[] = {platform::kPathSeparator, u'\0'};
constexpr char16_t kParentStep[] = {platform::kPathSeparator, u'.', u'.', platform::kPathSeparator,
                                    u'\0'};
constexpr uint64_t kParentStepLength = 4;

uint64_t LastSeparator(const KZUnicodeString& path) {
  return path.FindLast(kSeparator);
}

}  // namespace

KZUnicodeString PathLibrary::GetModuleFileName(platform::ModuleHandle module) const noexcept {
  try {
    const std::u16string path = platform::ModuleFileName(module);
    // A cut path would name some other file, so one beyond the limit counts as unknown.
    if (path.size() > platform::MaxPathLength()) return {};
    return KZUnicodeString(path.data(), path.size());
  } catch (...) {
    return {};
  }
}

KZUnicodeString PathLibrary::ModuleDirectory(platform::ModuleHandle module) const noexcept {
  const KZUnicodeString path = GetModuleFileName(module);
  const uint64_t separator = LastSeparator(path);
  if (separator >= path.Length()) return {};
  return path.Mid(0, separator);
}

KZUnicodeString PathLibrary::FileBesideModule(platform::ModuleHandle module,
                                              const KZUnicodeString& name) const noexcept {
  const KZUnicodeString directory = DirectoryOf(GetModuleFileName(module));
  if (directory.IsEmpty()) return {};
  return directory.Concatenate(name);
}

KZUnicodeString PathLibrary::DirectoryOf(const KZUnicodeString& path) const noexcept {
  const uint64_t separator = LastSeparator(path);
  if (separator >= path.Length()) return {};
  return path.Mid(0, separator + 1);
}

KZUnicodeString PathLibrary::FileNameOf(const KZUnicodeString& path) const noexcept {
  const uint64_t separator = LastSeparator(path);
  if (separator >= path.Length() || separator + 1 == path.Length()) return path;
  return path.Mid(separator + 1);
}

KZUnicodeString PathLibrary::Join(const KZUnicodeString& directory,
                                  const KZUnicodeString& name) const noexcept {
  const uint64_t length = directory.Length();
  if (length != 0 && directory.Data()[length - 1] == platform::kPathSeparator) {
    return directory.Concatenate(name);
  }
  return directory.Concatenate(kSeparator).Concatenate(name);
}

KZUnicodeString PathLibrary::Collapse(const KZUnicodeString& path) const noexcept {
  KZUnicodeString result(path);
  for (;;) {
    const uint64_t step = result.Find(kParentStep, 0);
    if (step == 0 || step >= result.Length()) break;
    const uint64_t cut = LastSeparator(result.Mid(0, step));
    if (cut >= step) break;
    // Each round shortens the path by at least four characters, so the loop ends.
    result = result.Mid(0, cut + 1).Concatenate(result.Mid(step + kParentStepLength));
  }
  return result;
}

}  // namespace vitrella
