// Output files that appear whole or not at all.
#pragma once

#include <optional>
#include <string>

#include "interruption.h"

namespace vitrella::host {

// A file written under a hidden name beside its destination (".NAME.vitrella-XXXX.EXT",
// keeping the extension, which some encoders choose their format by) and renamed over the
// destination only when complete. Until then the destination, if it exists, is untouched;
// a ReplacingFile destroyed without Commit removes what it wrote. The new file gets the
// permissions of the file it replaces, or those of any new file.
class ReplacingFile {
 public:
  // Creates the hidden file, empty. Throws HostError naming `destination`.
  explicit ReplacingFile(std::string destination);
  ReplacingFile(const ReplacingFile&) = delete;
  ReplacingFile& operator=(const ReplacingFile&) = delete;
  ~ReplacingFile();

  // Where to write until Commit.
  const std::string& path() const { return path_; }
  const std::string& destination() const { return destination_; }

  // Writes `size` bytes at the start of the file, for encoders that produce memory.
  void Write(const void* data, size_t size);

  // Flushes the file to disk and renames it over the destination. Throws Interrupted when
  // a signal has arrived, and HostError when the file is empty or cannot be renamed; the
  // hidden file is removed then.
  void Commit();

 private:
  std::string destination_;
  std::string path_;
  std::optional<RemoveOnForcedExit> guard_;
  bool committed_ = false;
};

// For a file that another party wrote beside its destination: flushes it to disk, gives it
// the permissions of the file it replaces and renames it over `destination`, as Commit
// does. Throws Interrupted or HostError as Commit does; `written` stays then.
void MoveIntoPlace(const std::string& written, const std::string& destination);

}  // namespace vitrella::host
