// What a PixelFormat code says about its pixels: bytes per pixel, float or byte samples,
// and where the channels lie. The one set of these rules for the library, the host and
// the tests.
#pragma once

#include <cstdint>

#include "vitrella/records.h"

namespace vitrella {

// Bytes of one pixel, 0 for a code that names no format.
constexpr int32_t FormatPixelBytes(int32_t format) {
  switch (format) {
    case PixelFormat8BGRA:
    case PixelFormat8ARGB:
    case PixelFormat32FGray:
      return 4;
    case PixelFormat32FBGRA:
    case PixelFormat32FARGB:
      return 16;
    case PixelFormat8Gray:
      return 1;
    default:
      return 0;
  }
}

constexpr bool IsFloatFormat(int32_t format) {
  return format == PixelFormat32FBGRA || format == PixelFormat32FARGB ||
         format == PixelFormat32FGray;
}

// The four-channel formats that a host hands to effects: 0, 1, 3 and 4.
constexpr bool IsHostFormat(int32_t format) {
  return format == PixelFormat8BGRA || format == PixelFormat8ARGB || format == PixelFormat32FBGRA ||
         format == PixelFormat32FARGB;
}

// Formats 1 and 4 are the exact reversal of 0 and 3: alpha first.
constexpr bool IsAlphaFirst(int32_t format) {
  return format == PixelFormat8ARGB || format == PixelFormat32FARGB;
}

// Where the four channels of a host format lie within a pixel.
struct ChannelPlaces {
  int32_t red, green, blue, alpha;
};

constexpr ChannelPlaces ChannelPlacesOf(int32_t format) {
  return IsAlphaFirst(format) ? ChannelPlaces{1, 2, 3, 0} : ChannelPlaces{2, 1, 0, 3};
}

constexpr int32_t AlphaChannelOf(int32_t format) {
  return ChannelPlacesOf(format).alpha;
}

// The format of the same channel order at the other sample depth: 0 <-> 3, 1 <-> 4.
constexpr PixelFormat OtherDepthOf(int32_t format) {
  switch (format) {
    case PixelFormat8BGRA:
      return PixelFormat32FBGRA;
    case PixelFormat8ARGB:
      return PixelFormat32FARGB;
    case PixelFormat32FBGRA:
      return PixelFormat8BGRA;
    case PixelFormat32FARGB:
      return PixelFormat8ARGB;
    case PixelFormat8Gray:
      return PixelFormat32FGray;
    default:
      return PixelFormat8Gray;
  }
}

}  // namespace vitrella
