#include "clip_codecs.h"

#include <filesystem>

#include "host_error.h"
#include "message_text.h"
#include "param_text.h"

namespace vitrella::host {
namespace {

constexpr ClipCodecInfo kCodecs[] = {
    {ClipCodec::kH264, "h264", "libx264", nullptr, false, 10},
    {ClipCodec::kProRes, "prores", "prores_ks", nullptr, false, 10},
    {ClipCodec::kProRes4444, "prores4444", "prores_ks", nullptr, true, 10},
    {ClipCodec::kFfv1, "ffv1", "ffv1", nullptr, true, 16},
    {ClipCodec::kMjpeg, "mjpeg", "mjpeg", nullptr, false, 8},
    {ClipCodec::kPng, "png", nullptr, ".png", true, 16},
    {ClipCodec::kExr, "exr", nullptr, ".exr", true, 32},
};

struct DefaultCodec {
  const char* extension;
  ClipCodec codec;
};
// What editors expect in each container: delivery in MP4, mastering in QuickTime,
// archiving in Matroska; AVI keeps the Motion JPEG it always had.
constexpr DefaultCodec kDefaults[] = {
    {".mp4", ClipCodec::kH264}, {".m4v", ClipCodec::kH264},  {".mov", ClipCodec::kProRes},
    {".mkv", ClipCodec::kFfv1}, {".avi", ClipCodec::kMjpeg},
};

constexpr const char* kPresets[] = {"ultrafast", "superfast", "veryfast", "faster",   "fast",
                                    "medium",    "slow",      "slower",   "veryslow", "placebo"};

}  // namespace

const ClipCodecInfo& CodecInfo(ClipCodec codec) {
  for (const ClipCodecInfo& info : kCodecs) {
    if (info.codec == codec) return info;
  }
  return kCodecs[0];
}

ClipCodec ParseClipCodec(std::string_view name) {
  std::string names;
  for (const ClipCodecInfo& info : kCodecs) {
    if (EqualsIgnoreCase(name, info.name)) return info.codec;
    names += std::string(names.empty() ? "" : ", ") + info.name;
  }
  throw UsageError("unknown codec " + Quoted(std::string(name)) + "; use " + names);
}

std::optional<ClipCodec> DefaultCodecFor(const std::string& name) {
  const std::string extension = std::filesystem::path(name).extension().string();
  for (const DefaultCodec& entry : kDefaults) {
    if (EqualsIgnoreCase(extension, entry.extension)) return entry.codec;
  }
  return std::nullopt;
}

bool IsEncoderPreset(std::string_view name) {
  for (const char* preset : kPresets) {
    if (name == preset) return true;
  }
  return false;
}

}  // namespace vitrella::host
