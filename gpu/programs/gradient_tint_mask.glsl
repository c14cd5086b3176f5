// Gradient Tint, stage 1: the colour mask. The gradient g from the line (LineABC gives the
// signed distance of a pixel, fCrossfade half the ramp), the tint picture mixed by g, the
// float colour match of each picture pixel with its tint pixel, raised to each tint's base
// and mixed by g. The mask goes to all three colour channels.
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
uniform vec2 TextureSize;
uniform vec3 LineABC;
uniform float fCrossfade;
uniform vec3 Color1;
uniform vec3 Color2;
uniform float fMaskStrength;
uniform float fMaskCuttof;
uniform float fFadeRange;
uniform float fMaskVal1;
uniform float fMaskVal2;
varying vec2 rt;

// 1 on the first tint's side, 0 on the second's, a ramp of 2 fCrossfade pixels between.
float Gradient() {
  vec2 pixel = floor(rt * TextureSize);
  float d = dot(vec3(pixel, 1.0), LineABC);
  return clamp(0.5 + d / (2.0 * fCrossfade), 0.0, 1.0);
}

// Hue in 0..1, blue tested first, then green, as the CPU's match does.
float MatchHue(vec3 c) {
  float high = max(c.r, max(c.g, c.b));
  float delta = high - min(c.r, min(c.g, c.b));
  if (!(delta > 0.0)) return 0.0;
  float h;
  if (c.b == high) {
    h = (c.g - c.r) / delta;
    if (h < 0.0) h += 6.0;
  } else if (c.g == high) {
    h = (c.r - c.b) / delta + 2.0;
  } else {
    h = (c.b - c.g) / delta + 4.0;
  }
  return h * 0.16666667;
}

void main() {
  vec2 texel = floor(rt * Texture0.vRT2TEXi_Scale + Texture0.vRT2TEXi_Shift + 0.5);
  vec4 picture = texture2D(Texture0_texture, texel * Texture0.vScaleTEXi + Texture0.vShiftTEXi);
  if (SwapChannelsSrc == 1) picture = picture.grab;
  float g = Gradient();
  vec3 tint = Color1 * g + Color2 * (1.0 - g);
  float h = abs(MatchHue(picture.rgb) - MatchHue(tint));
  if (h > 0.5) h = 1.0 - h;
  vec3 d = picture.rgb - tint;
  float s = (dot(d, d) + h * 6.0) * 0.16666667 + fMaskStrength;
  float match = s > fMaskCuttof ? 0.0 : 1.0 - fFadeRange * s;
  float c = (1.0 - g) * min(match + fMaskVal2, 1.0) + g * min(match + fMaskVal1, 1.0);
  gl_FragColor = vec4(c, c, c, 1.0);
}
