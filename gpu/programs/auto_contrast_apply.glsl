// Auto Contrast's stretch and vibrance with levels measured on the CPU: c = (x - fMin) *
// fNewRange, then each channel moves away from (fSign 1) or toward (fSign -1) the mean of
// the three by fVibVal of its distance, limited to 0..1. Alpha is the source's.
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
uniform float fMin;
uniform float fNewRange;
uniform float fVibVal;
uniform float fSign;
varying vec2 rt;

void main() {
  vec2 texel = floor(rt * Texture0.vRT2TEXi_Scale + Texture0.vRT2TEXi_Shift + 0.5);
  vec4 s = texture2D(Texture0_texture, texel * Texture0.vScaleTEXi + Texture0.vShiftTEXi);
  if (SwapChannelsSrc == 1) s = s.grab;
  vec3 c = (s.rgb - fMin) * fNewRange;
  float mean = (c.r + c.g + c.b) * 0.33333;
  gl_FragColor = vec4(clamp(c + fSign * (c - mean) * fVibVal, 0.0, 1.0), s.a);
}
