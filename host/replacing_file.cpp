#include "replacing_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "host_error.h"

namespace vitrella::host {
namespace {

// Closes a descriptor on every way out.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }
  int get() const { return fd_; }
  // close's own answer, which reports write errors that surface late (NFS, quotas).
  int Close() {
    const int result = close(fd_);
    fd_ = -1;
    return result;
  }

 private:
  int fd_;
};

std::string SystemReason() {
  return std::strerror(errno);
}

}  // namespace

ReplacingFile::ReplacingFile(std::string destination) : destination_(std::move(destination)) {
  // Through a link to the file it names, which is what the user means to replace.
  std::error_code error;
  if (std::filesystem::is_symlink(destination_, error)) {
    const std::filesystem::path resolved = std::filesystem::weakly_canonical(destination_, error);
    if (!error) destination_ = resolved.string();
  }
  const std::filesystem::path target(destination_);
  const std::string extension = target.extension().string();
  static std::atomic<unsigned> serial{0};
  // open with O_EXCL rather than mkstemp: the mode 0666 then meets the user's umask, as
  // for any new file, where mkstemp would leave 0600.
  for (int attempt = 0;; ++attempt) {
    const std::string name = "." + target.filename().string() + ".vitrella-" +
                             std::to_string(getpid()) + "-" + std::to_string(serial++) + extension;
    path_ = (target.parent_path() / name).string();
    const int fd = open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd >= 0) {
      guard_.emplace(path_);
      close(fd);
      return;
    }
    if (errno != EEXIST || attempt > 100) {
      throw HostError("cannot write " + destination_ + ": " + SystemReason());
    }
  }
}

ReplacingFile::~ReplacingFile() {
  if (!committed_) unlink(path_.c_str());
}

void ReplacingFile::Write(const void* data, size_t size) {
  Descriptor file(open(path_.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC));
  if (file.get() < 0) throw HostError("cannot write " + destination_ + ": " + SystemReason());
  const auto* bytes = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t written = write(file.get(), bytes, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) throw HostError("cannot write " + destination_ + ": " + SystemReason());
    bytes += written;
    size -= static_cast<size_t>(written);
  }
  if (file.Close() != 0) throw HostError("cannot write " + destination_ + ": " + SystemReason());
}

void ReplacingFile::Commit() {
  MoveIntoPlace(path_, destination_);
  committed_ = true;
}

void MoveIntoPlace(const std::string& written, const std::string& destination) {
  ThrowIfInterrupted();
  {
    Descriptor file(open(written.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat info {};
    if (file.get() < 0 || fstat(file.get(), &info) != 0) {
      throw HostError("cannot write " + destination + ": " + SystemReason());
    }
    if (info.st_size == 0) {
      throw HostError("cannot write " + destination + ": the encoder wrote nothing");
    }
    struct stat existing {};
    if (stat(destination.c_str(), &existing) == 0 && S_ISREG(existing.st_mode) &&
        (existing.st_mode & 07777) != (info.st_mode & 07777)) {
      fchmod(file.get(), existing.st_mode & 07777);
    }
    // On disk before the rename, so that a crash leaves the old file or the whole new one.
    if (fsync(file.get()) != 0) {
      throw HostError("cannot write " + destination + ": " + SystemReason());
    }
  }
  if (rename(written.c_str(), destination.c_str()) != 0) {
    throw HostError("cannot write " + destination + ": " + SystemReason());
  }
}

}  // namespace vitrella::host
