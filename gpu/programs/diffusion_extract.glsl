// Diffusion, stage 1: the bright mask of the dimmed picture with the two thresholds, on
// floats as the CPU's float path has it: v = 0 below fThrLow, s - fThrLow below fThrHigh,
// else (s - fThrHigh) * 2 + fThrHigh, with s the sum of the colour channels; the mask is
// v * 0.33333 limited to 1, written to every channel.
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
uniform float fMul;
uniform float fThrLow;
uniform float fThrHigh;
varying vec2 rt;

void main() {
  vec2 texel = floor(rt * Texture0.vRT2TEXi_Scale + Texture0.vRT2TEXi_Shift + 0.5);
  vec4 c = texture2D(Texture0_texture, texel * Texture0.vScaleTEXi + Texture0.vShiftTEXi);
  if (SwapChannelsSrc == 1) c = c.grab;
  vec3 dimmed = c.rgb * fMul;
  float s = dimmed.r + dimmed.g + dimmed.b;
  float v = 0.0;
  if (s >= fThrHigh) {
    v = (s - fThrHigh) * 2.0 + fThrHigh;
  } else if (s >= fThrLow) {
    v = s - fThrLow;
  }
  float mask = clamp(v * 0.33333, 0.0, 1.0);
  gl_FragColor = vec4(mask, mask, mask, 1.0);
}
