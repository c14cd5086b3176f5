// Gradient Tint, stage 2: half of the box blur of the colour mask, along the
// horizontal axis: the mean of the 2 size + 1 texels around each, the edge texels repeated
// beyond the picture.
#version 120
struct Stage {
  vec2 vScaleTEXi;
  vec2 vShiftTEXi;
  vec2 vRT2TEXi_Scale;
  vec2 vRT2TEXi_Shift;
  vec2 vTEX2TEXi_Scale;
};
uniform Stage Texture0;
uniform sampler2D Texture0_texture;
uniform int size;
varying vec2 rt;

void main() {
  vec2 texel = floor(rt * Texture0.vRT2TEXi_Scale + Texture0.vRT2TEXi_Shift + 0.5);
  float last = Texture0.vTEX2TEXi_Scale.x - 1.0;
  vec4 sum = vec4(0.0);
  for (int k = -size; k <= size; ++k) {
    vec2 at = texel;
    at.x = clamp(texel.x + float(k), 0.0, last);
    sum += texture2D(Texture0_texture, at * Texture0.vScaleTEXi + Texture0.vShiftTEXi);
  }
  gl_FragColor = sum / float(2 * size + 1);
}
