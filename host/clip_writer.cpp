#include "clip_writer.h"

#include <filesystem>
#include <optional>
#include <vector>

#include "clip_names.h"
#include "host_error.h"
#include "param_text.h"
#include "picture_io.h"
#include "video_encoder.h"

namespace vitrella::host {
namespace {

std::string Extension(const std::string& name) {
  return std::filesystem::path(name).extension().string();
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

  void Write(int64_t n, const cv::Mat& picture, std::optional<int64_t> /*timestamp*/) override {
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

}  // namespace

ClipCodec CheckClipWriter(const ClipOutput& output) {
  const std::string& name = output.name;
  const std::optional<FramePattern> pattern = ParseFramePattern(name);
  std::optional<ClipCodec> codec = output.codec;
  if (!codec) codec = pattern ? ClipCodec::kPng : DefaultCodecFor(name);
  if (!codec) {
    throw UsageError("cannot write " + name +
                     ": no codec goes with its extension; write .mp4, .mov, .mkv or .avi, or "
                     "give --codec, or numbered pictures such as out/%04d.png");
  }
  const ClipCodecInfo& info = CodecInfo(*codec);
  if ((output.crf || output.encoderPreset) && *codec != ClipCodec::kH264) {
    throw UsageError(std::string(output.crf ? "--crf" : "--encoder-preset") +
                     " applies to H.264 only, not to " + info.name);
  }
  if (pattern) {
    const std::string picture = pattern->Name(0);
    if (output.codec &&
        (info.picture == nullptr || !EqualsIgnoreCase(Extension(picture), info.picture))) {
      throw UsageError("--codec " + std::string(info.name) + " does not write " + name +
                       (info.picture != nullptr
                            ? std::string(": name pictures such as out/%04d") + info.picture
                            : ": name a video file"));
    }
    CheckPictureWriter(picture);
    return *codec;
  }
  if (info.encoder == nullptr) {
    throw UsageError(std::string("--codec ") + info.name +
                     " writes numbered pictures: name a pattern such as out/%04d" + info.picture);
  }
  CheckVideoOutput(name, *codec);
  CheckFolder(name);
  return *codec;
}

std::unique_ptr<ClipWriter> OpenClipWriter(const ClipOutput& output, const ClipSource& source) {
  const ClipCodec codec = CheckClipWriter(output);
  if (std::optional<FramePattern> pattern = ParseFramePattern(output.name)) {
    return std::make_unique<PatternWriter>(std::move(*pattern), source.firstNumber);
  }
  return OpenVideoEncoder(output, codec, source);
}

}  // namespace vitrella::host
