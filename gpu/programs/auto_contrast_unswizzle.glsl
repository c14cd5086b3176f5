// Auto Contrast's first pass on a channel-swapped source: the picture in plain order, so
// that the histogram counts red, green and blue and not alpha.
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
varying vec2 rt;

void main() {
  vec2 texel = floor(rt * Texture0.vRT2TEXi_Scale + Texture0.vRT2TEXi_Shift + 0.5);
  vec4 c = texture2D(Texture0_texture, texel * Texture0.vScaleTEXi + Texture0.vShiftTEXi);
  gl_FragColor = SwapChannelsSrc == 1 ? c.grab : c;
}
