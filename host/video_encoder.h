// Rendered clips encoded through FFmpeg's libraries: H.264, ProRes, FFV1 and Motion JPEG,
// with the input's timing, colours and sound.
#pragma once

#include <memory>
#include <string>

#include "clip_codecs.h"
#include "clip_writer.h"

namespace vitrella::host {

// Throws UsageError when the container of `name` (by its extension) does not take the
// codec, or HostError when this FFmpeg lacks the encoder.
void CheckVideoOutput(const std::string& name, ClipCodec codec);

// Frames of 8-bit channels go out in 8 bits; float frames of an input deeper than 8 bits
// in the codec's deepest form (10 bits for H.264 and ProRes, 16 for FFV1). Alpha is kept by
// ProRes 4444 and FFV1. A video input gives the frames its timestamps, its rate, pixel
// shape, field order and colour tags, and its audio streams unless output.audio is false.
std::unique_ptr<ClipWriter> OpenVideoEncoder(const ClipOutput& output, ClipCodec codec,
                                             const ClipSource& source);

}  // namespace vitrella::host
