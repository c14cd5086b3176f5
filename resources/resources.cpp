// The resource module. The library loads it at start and tells the user once when it is
// missing. The dialogs' layouts are data of the library itself; this module holds the
// options dialog's logo (bitmap 237) and answers which revision of the resources it holds.
#include <array>
#include <cmath>

#include "resources/resource_exports.h"
#include "vitrella/base.h"

namespace {

constexpr int32_t kLogoSize = 96;

// Distance from p to the segment a-b.
float SegmentDistance(float px, float py, float ax, float ay, float bx, float by) {
  const float dx = bx - ax;
  const float dy = by - ay;
  float t = ((px - ax) * dx + (py - ay) * dy) / (dx * dx + dy * dy);
  t = std::fmin(1.0f, std::fmax(0.0f, t));
  return std::hypot(px - ax - t * dx, py - ay - t * dy);
}

uint32_t Mix(uint32_t a, uint32_t b, float t) {
  uint32_t out = 0;
  for (int shift = 0; shift < 24; shift += 8) {
    const float from = static_cast<float>(a >> shift & 0xFF);
    const float to = static_cast<float>(b >> shift & 0xFF);
    out |= static_cast<uint32_t>(std::lround(from + (to - from) * t)) << shift;
  }
  return out;
}

// A white V of two strokes, smoothed at its edges, on a gradient from teal to violet.
std::array<uint32_t, kLogoSize * kLogoSize> DrawLogo() {
  std::array<uint32_t, kLogoSize * kLogoSize> pixels{};
  constexpr float kHalfStroke = 6.0f;
  for (int y = 0; y < kLogoSize; ++y) {
    for (int x = 0; x < kLogoSize; ++x) {
      const float px = static_cast<float>(x) + 0.5f;
      const float py = static_cast<float>(y) + 0.5f;
      const uint32_t ground =
          Mix(0x1B6F86, 0x5A2D8C, (px + py) / (2.0f * static_cast<float>(kLogoSize)));
      const float distance = std::fmin(SegmentDistance(px, py, 22, 20, 48, 76),
                                       SegmentDistance(px, py, 74, 20, 48, 76));
      const float cover = std::fmin(1.0f, std::fmax(0.0f, kHalfStroke + 0.5f - distance));
      pixels[static_cast<size_t>(y) * kLogoSize + static_cast<size_t>(x)] =
          Mix(ground, 0xFFFFFF, cover);
    }
  }
  return pixels;
}

}  // namespace

VITRELLA_EXPORT int VitrellaResourceRevision() {
  return 2;
}

VITRELLA_EXPORT const uint32_t* VitrellaResourceBitmap(int32_t id, int32_t* width,
                                                       int32_t* height) {
  const bool known = id == vitrella::resources::kLogoBitmap;
  if (width != nullptr) *width = known ? kLogoSize : 0;
  if (height != nullptr) *height = known ? kLogoSize : 0;
  if (!known) return nullptr;
  static const std::array<uint32_t, kLogoSize* kLogoSize> logo = DrawLogo();
  return logo.data();
}
