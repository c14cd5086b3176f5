// Loading the effect library at run time, as any host does: by path, through its
// exported functions only.
#pragma once

#include <string>

#include "com_ref.h"
#include "vitrella/library.h"

namespace vitrella::host {

// The library file beside the running executable, which is where the build and the
// installation both put it.
std::string DefaultLibraryPath();

// One loaded module. The exports are looked up once; a module that lacks one of them is
// not an effect library and is refused.
class LibraryLoader {
 public:
  explicit LibraryLoader(const std::string& path);  // throws HostError
  LibraryLoader(const LibraryLoader&) = delete;
  LibraryLoader& operator=(const LibraryLoader&) = delete;
  ~LibraryLoader();

  const std::string& path() const { return path_; }

  // A new library object with one reference for the caller. Throws HostError when the
  // module answers null.
  ComRef<IEffectLibrary> CreateLibrary() const;

 private:
  std::string path_;
  void* handle_ = nullptr;
  GetEffectsLibraryFn getEffectsLibrary_ = nullptr;
  CanUnloadDLLNowFn canUnloadNow_ = nullptr;
};

}  // namespace vitrella::host
