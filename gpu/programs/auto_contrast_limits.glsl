// Auto Contrast's levels from the 256 buckets of the histogram (stage 0: the count of
// red, green and blue in r, g, b of texel i), as the CPU's 8-bit analysis finds them:
// the threshold follows the strongest bucket of any plane; the black level is the first
// bucket from below where a plane's running sum passes it, at most fAValue; the white
// level the first from above, at least fBValue. A down scan that finds nothing leaves the
// peak count as the white level, as the CPU does. Every texel of the target gets
// (black, white) in r and g, in levels: whole levels for an 8-bit source (bEightBit 1),
// as the CPU truncates them there, and unrounded for a float source, as on the CPU's
// float path. Counts are whole numbers in floats, exact up to 2^24 pixels.
#version 120
struct Stage {
  vec2 vScaleTEXi;
  vec2 vShiftTEXi;
};
uniform Stage Texture0;
uniform sampler2D Texture0_texture;
uniform float fScaleMax;
uniform float fAValue;
uniform float fBValue;
uniform int bEightBit;

vec3 Count(int bucket) {
  vec2 at = vec2(float(bucket), 0.0) * Texture0.vScaleTEXi + Texture0.vShiftTEXi;
  return texture2D(Texture0_texture, at).rgb;
}

void main() {
  float peak = 0.0;
  for (int i = 0; i < 256; ++i) {
    vec3 n = Count(i);
    peak = max(peak, max(n.r, max(n.g, n.b)));
  }
  vec3 threshold = vec3(floor(peak * fScaleMax));

  float black = 255.0;
  vec3 sum = vec3(0.0);
  for (int i = 0; i < 256; ++i) {
    sum += Count(i);
    if (any(greaterThan(sum, threshold))) {
      black = float(i);
      break;
    }
  }
  black = min(black, fAValue);

  float white = peak;
  sum = vec3(0.0);
  for (int i = 255; i >= 0; --i) {
    sum += Count(i);
    if (any(greaterThan(sum, threshold))) {
      white = float(i);
      break;
    }
  }
  white = max(white, fBValue);
  if (bEightBit == 1) {
    black = floor(black);
    white = floor(white);
  }
  gl_FragColor = vec4(black, white, 0.0, 1.0);
}
