// Auto Contrast's stretch and vibrance with the levels that the limits pass left in stage
// 1 (black in r, white in g, in 8-bit levels), over the source in stage 0.
//
// An 8-bit source (bEightBit 1) follows the CPU's integer steps exactly, in floats that
// hold whole numbers: gain = trunc(65280 / (white - black)), c = (x - black) * gain >> 8,
// mean = trunc((r + g + b) / 3), delta = (c - mean) * q >> 10 with q = trunc(fVibVal *
// 1024), out = c +/- delta limited to 0..255. Every product stays below 2^24 except
// (c - mean) * q, which is split so that it stays exact too. Divisions by non-powers of
// two are nudged half a unit so that a driver's reciprocal cannot tip a whole quotient.
// A float source takes the CPU's float steps with the levels over 255.
#version 120
struct Stage {
  vec2 vScaleTEXi;
  vec2 vShiftTEXi;
  vec2 vRT2TEXi_Scale;
  vec2 vRT2TEXi_Shift;
};
uniform Stage Texture0;
uniform Stage Texture1;
uniform sampler2D Texture0_texture;
uniform sampler2D Texture1_texture;
uniform int SwapChannelsSrc0;
uniform int bEightBit;
uniform float fVibVal;
uniform float fSign;
varying vec2 rt;

// trunc(a / b) for whole numbers a and b > 0.
float WholeQuotient(float a, float b) {
  float q = floor((abs(a) + 0.5) / b);
  return a < 0.0 ? -q : q;
}

// (a * q) >> 10 for whole numbers, q at most 1024, without leaving the exact range.
float ShiftedProduct(float a, float q) {
  float high = floor(a / 1024.0);
  float low = a - high * 1024.0;
  return high * q + floor(low * q / 1024.0);
}

vec3 EightBit(vec3 x, float black, float white) {
  float d = white == black ? 1.0 : white - black;
  float gain = WholeQuotient(65280.0, abs(d)) * sign(d);
  vec3 c = floor((x - black) * gain / 256.0);
  float mean = WholeQuotient(c.r + c.g + c.b, 3.0);
  float q = floor(fVibVal * 1024.0);
  vec3 delta = vec3(ShiftedProduct(c.r - mean, q), ShiftedProduct(c.g - mean, q),
                    ShiftedProduct(c.b - mean, q));
  return clamp(c + fSign * delta, 0.0, 255.0) / 255.0;
}

vec3 Float(vec3 x, float black, float white) {
  float range = max(white - black, 0.0000001);
  vec3 c = (x - black) / range;
  float mean = (c.r + c.g + c.b) * 0.33333;
  return clamp(c + fSign * (c - mean) * fVibVal, 0.0, 1.0);
}

void main() {
  vec2 texel = floor(rt * Texture0.vRT2TEXi_Scale + Texture0.vRT2TEXi_Shift + 0.5);
  vec4 s = texture2D(Texture0_texture, texel * Texture0.vScaleTEXi + Texture0.vShiftTEXi);
  if (SwapChannelsSrc0 == 1) s = s.grab;
  // Every texel of the levels target holds the same pair.
  vec2 levels = texture2D(Texture1_texture, Texture1.vShiftTEXi).rg;
  vec3 graded = bEightBit == 1
                    ? EightBit(floor(s.rgb * 255.0 + 0.5), levels.x, levels.y)
                    : Float(s.rgb, levels.x / 255.0, levels.y / 255.0);
  gl_FragColor = vec4(graded, s.a);
}
