// The colour arithmetic of tints: mixing two pictures through a mask, colour matching,
// blend modes, strength masks and the hue blend through HSV.
#pragma once

#include <cstdint>

#include "kernels/image.h"

namespace vitrella::kernels {

// Where the three colour channels of a four-channel pixel lie; the fourth is alpha.
struct ColourPlaces {
  int32_t red, green, blue, alpha;
};

// How eight-bit mixes divide by full: a shift by 8 (never quite reaching full), or a
// division by 255; both truncate and saturate at 255.
enum class MixDivide : uint8_t { kShift8, kBy255 };

// dst colour = a t + b (full - t) per colour channel, t from `mask` (0..255 or 0..1), whose
// values lie maskStep bytes apart along a row: 1 or 4 for a one-channel mask (bytes or
// floats), 4 or 16 to read one channel of a four-channel picture (point `mask` at it).
// Floats are limited to 1 from above. dst's alpha channel (`alpha`) is left as it was; a
// or b may be dst. Common extent of the four views.
Status Mix8u_C4(ConstImageView a, ConstImageView b, ConstImageView mask, int32_t maskStep,
                ImageView dst, int32_t alpha, MixDivide divide);
Status Mix32f_C4(ConstImageView a, ConstImageView b, ConstImageView mask, int32_t maskStep,
                 ImageView dst, int32_t alpha);

// The colour mask of two tints. `mask` holds the gradient g (1/full on the first tint's
// side) and receives c: the match of each picture pixel with its tint pixel, raised to
// at least base1 on the first tint's side and base2 on the second's (0..255), mixed by g.
//   match, bytes:  hues on a circle of 768 steps, s = squared colour distance + 512 hue
//                  distance, 255 - (s 170 >> 16), 0 beyond s = 98302;
//   match, floats: hues in 0..1, s = (squared distance + 6 hue distance) / 6, 1 - 4 s,
//                  0 beyond s = 1/4.
Status ColourMask8u(ConstImageView picture, ConstImageView tint, ImageView mask,
                    ColourPlaces places, int32_t base1, int32_t base2);
Status ColourMask32f(ConstImageView picture, ConstImageView tint, ImageView mask,
                     ColourPlaces places, int32_t base1, int32_t base2);

// The number of blend modes; mode kBlendHue is done by HueBlend, not by BlendTint.
inline constexpr int32_t kBlendModes = 10;
inline constexpr int32_t kBlendHue = 9;

// In place on the tint's colour channels, with A the picture's value and B the tint's:
// 0 Normal B, 1 Pop, 2 Screen, 3 Multiply, 4 Lighten, 5 Darken, 6 Color Dodge, 7 Color
// Burn, 8 Negation. Eight-bit rows shift by 8 where floats multiply. kBadSize for a mode
// outside 0..8.
Status BlendTint8u_C4(ConstImageView picture, ImageView tint, int32_t mode, int32_t alpha);
Status BlendTint32f_C4(ConstImageView picture, ImageView tint, int32_t mode, int32_t alpha);

// The strength of the tint from the gradient m, in place: m first + (1 - m) second, in
// bytes ((255 - m) (trunc(second 256) mod 65536) + m trunc(first 256)) >> 8.
Status StrengthMask8u(ImageView mask, float first, float second);
Status StrengthMask32f(ImageView mask, float first, float second);

// Hue mode: both pictures to HSV on their colour channels in stored order (so the first
// colour channel counts as red), the tint's hue mixed into the picture's by the strength
// as a plain number, and back; the picture's saturation and value stay. Writes dst's
// colour channels (dst may be the picture); firstColour is 0 or 1.
Status HueBlend8u_C4(ConstImageView picture, ConstImageView tint, ConstImageView strength,
                     ImageView dst, int32_t firstColour);
Status HueBlend32f_C4(ConstImageView picture, ConstImageView tint, ConstImageView strength,
                      ImageView dst, int32_t firstColour);

// HSV of one pixel and back, on values 0..1: hue 0..1 from the first colour as red,
// saturation, value. Eight-bit pictures scale all three by 255 and round to nearest.
void RgbToHsv(float r, float g, float b, float hsv[3]);
void HsvToRgb(float h, float s, float v, float rgb[3]);

}  // namespace vitrella::kernels
