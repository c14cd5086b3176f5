// Spotlight's grade of one region: saturation, the contrast curve and the tint, in this
// order, each skipped where it would change nothing, on values 0..1.
#version 120
struct Stage {
  vec2 vScaleTEXi;
  vec2 vShiftTEXi;
  vec2 vRT2TEXi_Scale;
  vec2 vRT2TEXi_Shift;
};
uniform Stage Texture0;
uniform sampler2D Texture0_texture;
uniform int SwapChannelsSrc;
uniform float fSaturation;
uniform float fContrast;
uniform float fBrightness;
uniform float fTintRange;
uniform vec3 TintColor;
varying vec2 rt;

float Tint(float value, float amount) {
  if (amount >= 0.0) return (1.0 - amount * 0.5) * value + amount * 0.5;
  float h = amount * -0.5;
  if (value < h) return 0.0;
  float room = 1.0 - h;
  return (value - h) / (room == 0.0 ? 0.0000001 : room);
}

void main() {
  vec2 texel = floor(rt * Texture0.vRT2TEXi_Scale + Texture0.vRT2TEXi_Shift + 0.5);
  vec4 c = texture2D(Texture0_texture, texel * Texture0.vScaleTEXi + Texture0.vShiftTEXi);
  if (SwapChannelsSrc == 1) c = c.grab;
  if (fSaturation != 0.0) {
    // Mix towards (or, for a negative amount, away from) the luma.
    float luma = c.b * 0.113 + c.g * 0.586 + c.r * 0.298;
    c.rgb = clamp((c.rgb * (0.5 - fSaturation * 0.5) + luma * fSaturation * 0.5) * 2.0, 0.0, 1.0);
  }
  // The curve's neutral brightness is 0 on the swapped formats and 0.5 on the others.
  float neutral = SwapChannelsSrc == 1 ? 0.0 : 0.5;
  if (fContrast != 0.0 || fBrightness != neutral) {
    float e = pow(0.5, fBrightness * 2.0 - 1.0);
    vec3 p = pow(c.rgb, vec3(e));
    vec3 s = (sin(p * 3.1415927 - 1.5707964) + 1.0) * 0.5;
    c.rgb = clamp(s * fContrast + (1.0 - fContrast) * p, 0.0, 1.0);
  }
  if (fTintRange != 0.0) {
    c.r = clamp(Tint(c.r, TintColor.r), 0.0, 1.0);
    c.g = clamp(Tint(c.g, TintColor.g), 0.0, 1.0);
    c.b = clamp(Tint(c.b, TintColor.b), 0.0, 1.0);
  }
  gl_FragColor = c;
}
