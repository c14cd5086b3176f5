// The codecs a rendered clip is written with: the names --codec takes, what each keeps,
// and the codec that an output's extension chooses when none is given.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vitrella::host {

enum class ClipCodec { kH264, kProRes, kProRes4444, kFfv1, kMjpeg, kPng, kExr };

struct ClipCodecInfo {
  ClipCodec codec;
  const char* name;     // as --codec takes it
  const char* encoder;  // libavcodec's encoder; null for numbered pictures
  const char* picture;  // the pictures' extension for a sequence; null for a video
  bool alpha;           // keeps the alpha channel
  int deepBits;         // bits per channel written for a render deeper than 8 bits
};

const ClipCodecInfo& CodecInfo(ClipCodec codec);

// By --codec's name, in any case; throws UsageError naming the codecs there are.
ClipCodec ParseClipCodec(std::string_view name);

// The codec that a video's extension chooses: .mp4 and .m4v H.264, .mov ProRes 422,
// .mkv FFV1, .avi Motion JPEG; nullopt for any other extension.
std::optional<ClipCodec> DefaultCodecFor(const std::string& name);

// x264's presets, fastest first, as --encoder-preset takes them.
bool IsEncoderPreset(std::string_view name);

}  // namespace vitrella::host
