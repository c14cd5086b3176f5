// Image Mapper: the second half of the edge blur, a box of 2 size + 1 texels along the
// columns on the alpha channel alone, texels beyond the picture counting as 0; a result
// below fTreshold becomes 0, which erodes the shape before the second round softens it.
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
uniform float fTreshold;
varying vec2 rt;

void main() {
  vec2 texel = floor(rt * Texture0.vRT2TEXi_Scale + Texture0.vRT2TEXi_Shift + 0.5);
  float last = Texture0.vTEX2TEXi_Scale.y - 1.0;
  vec4 here = texture2D(Texture0_texture, texel * Texture0.vScaleTEXi + Texture0.vShiftTEXi);
  float sum = 0.0;
  for (int k = -size; k <= size; ++k) {
    vec2 at = texel;
    at.y = texel.y + float(k);
    if (at.y >= 0.0 && at.y <= last) {
      sum += texture2D(Texture0_texture, at * Texture0.vScaleTEXi + Texture0.vShiftTEXi).a;
    }
  }
  float a = sum / float(2 * size + 1);
  gl_FragColor = vec4(here.rgb, a < fTreshold ? 0.0 : a);
}
