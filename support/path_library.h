// Paths of modules and of the files beside them. The rules work on the platform's
// separator alone ('/' here), and keep every other character as it is.
#pragma once

#include "platform/module.h"
#include "support/kz_unicode_string.h"

namespace vitrella {

class PathLibrary {
 public:
  PathLibrary() = default;
  virtual ~PathLibrary() = default;

  // The module's full path (null: the process's executable); empty when it cannot be
  // told or is longer than the platform accepts.
  KZUnicodeString GetModuleFileName(platform::ModuleHandle module) const noexcept;
  // The module's path without its last separator and what follows; empty without one.
  KZUnicodeString ModuleDirectory(platform::ModuleHandle module) const noexcept;
  // The module's path up to and including its last separator, then name; empty when the
  // path has no separator.
  KZUnicodeString FileBesideModule(platform::ModuleHandle module,
                                   const KZUnicodeString& name) const noexcept;
  // Up to and including the last separator; empty without one.
  KZUnicodeString DirectoryOf(const KZUnicodeString& path) const noexcept;
  // What follows the last separator; a path without one, or ending in one, unchanged.
  KZUnicodeString FileNameOf(const KZUnicodeString& path) const noexcept;
  // directory, a separator unless it already ends in one, and name.
  KZUnicodeString Join(const KZUnicodeString& directory,
                       const KZUnicodeString& name) const noexcept;
  // Removes parent steps one at a time: the first "/../" goes with the name before it,
  // as long as a separator stands before that name. A step at the very start, or after a
  // name that opens the path, stops the work and stays.
  KZUnicodeString Collapse(const KZUnicodeString& path) const noexcept;
};

}  // namespace vitrella
