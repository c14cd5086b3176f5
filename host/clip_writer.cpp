#include "clip_writer.h"

#include <filesystem>
#include <optional>
#include <vector>

#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include "clip_names.h"
#include "host_error.h"
#include "param_text.h"
#include "picture_io.h"
#include "quiet_stderr.h"
#include "replacing_file.h"

namespace vitrella::host {
namespace {

struct VideoCodec {
  const char* extension;
  char fourcc[5];
};
// Encoders that Debian's OpenCV carries without further packages, each in a container
// that takes it.
constexpr VideoCodec kVideoCodecs[] = {
    {".avi", "MJPG"}, {".mkv", "MJPG"}, {".mp4", "mp4v"}, {".m4v", "mp4v"}, {".mov", "mp4v"},
};

std::string Extension(const std::string& name) {
  return std::filesystem::path(name).extension().string();
}

std::optional<int> FourccFor(const std::string& name) {
  for (const VideoCodec& codec : kVideoCodecs) {
    if (EqualsIgnoreCase(Extension(name), codec.extension)) {
      return cv::VideoWriter::fourcc(codec.fourcc[0], codec.fourcc[1], codec.fourcc[2],
                                     codec.fourcc[3]);
    }
  }
  return std::nullopt;
}

void CheckFolder(const std::string& name) {
  const std::filesystem::path folder = std::filesystem::path(name).parent_path();
  std::error_code error;
  if (!folder.empty() && !std::filesystem::is_directory(folder, error)) {
    throw HostError("cannot write " + name + ": the folder " + folder.string() + " does not exist");
  }
}

class PatternWriter final : public ClipWriter {
 public:
  PatternWriter(FramePattern pattern, int64_t firstNumber)
      : pattern_(std::move(pattern)), firstNumber_(firstNumber) {}

  ~PatternWriter() override {
    if (committed_) return;
    std::error_code ignored;
    for (const std::string& path : written_)
      std::filesystem::remove(path, ignored);
  }

  void Write(int64_t n, const cv::Mat& picture) override {
    const std::string path = pattern_.Name(firstNumber_ + n);
    // Listed first: a picture that fails half-written goes too.
    written_.push_back(path);
    WritePicture(path, picture);
  }

  void Commit() override { committed_ = true; }

 private:
  FramePattern pattern_;
  int64_t firstNumber_;
  std::vector<std::string> written_;
  bool committed_ = false;
};

class VideoWriter final : public ClipWriter {
 public:
  VideoWriter(const std::string& name, int fourcc, double frameRate)
      : name_(name), fourcc_(fourcc), frameRate_(frameRate), file_(name) {}

  ~VideoWriter() override {
    // The encoder lets go of the hidden file before ReplacingFile removes it.
    const QuietStderr quiet;
    try {
      writer_.release();
    } catch (const cv::Exception&) {
    }
  }

  void Write(int64_t n, const cv::Mat& picture) override {
    cv::Mat bytes = picture;
    if (picture.depth() != CV_8U) picture.convertTo(bytes, CV_8U, 255.0);
    cv::Mat bgr;
    cv::cvtColor(bytes, bgr, cv::COLOR_BGRA2BGR);
    const QuietStderr quiet;
    try {
      if (!writer_.isOpened()) {
        size_ = bgr.size();
        if (!writer_.open(file_.path(), cv::CAP_FFMPEG, fourcc_, frameRate_, size_)) {
          throw HostError("cannot write " + name_ + ": the " + Extension(name_) +
                          " encoder refused frames of " + std::to_string(size_.width) + "x" +
                          std::to_string(size_.height) + " pixels");
        }
      }
      if (bgr.size() != size_) {
        throw HostError("cannot write frame " + std::to_string(n) + " to " + name_ +
                        ": its size differs from the first frame's");
      }
      writer_.write(bgr);
    } catch (const cv::Exception& error) {
      throw HostError("cannot write frame " + std::to_string(n) + " to " + name_ + ": " +
                      error.what());
    }
  }

  void Commit() override {
    {
      const QuietStderr quiet;
      try {
        writer_.release();
      } catch (const cv::Exception& error) {
        throw HostError("cannot finish " + name_ + ": " + error.what());
      }
    }
    file_.Commit();
  }

 private:
  std::string name_;
  int fourcc_;
  double frameRate_;
  ReplacingFile file_;  // where the video grows until it is complete
  cv::VideoWriter writer_;
  cv::Size size_;
};

}  // namespace

void CheckClipWriter(const std::string& name) {
  if (const std::optional<FramePattern> pattern = ParseFramePattern(name)) {
    CheckPictureWriter(pattern->Name(0));
    return;
  }
  if (!FourccFor(name)) {
    throw HostError("cannot write " + name +
                    ": clips are written as .avi, .mkv, .mp4, .m4v or .mov, or as numbered "
                    "pictures such as out/%04d.png");
  }
  CheckFolder(name);
}

std::unique_ptr<ClipWriter> OpenClipWriter(const std::string& name, double frameRate,
                                           int64_t firstNumber) {
  CheckClipWriter(name);
  if (std::optional<FramePattern> pattern = ParseFramePattern(name)) {
    return std::make_unique<PatternWriter>(std::move(*pattern), firstNumber);
  }
  return std::make_unique<VideoWriter>(name, *FourccFor(name), frameRate);
}

}  // namespace vitrella::host
