// Image Mapper: the first half of the edge blur, a box of 2 size + 1 texels along the rows
// on the alpha channel alone; texels beyond the picture count as 0, as the CPU's zero
// border does. The colours pass as they are.
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
  vec4 here = texture2D(Texture0_texture, texel * Texture0.vScaleTEXi + Texture0.vShiftTEXi);
  float sum = 0.0;
  for (int k = -size; k <= size; ++k) {
    vec2 at = texel;
    at.x = texel.x + float(k);
    if (at.x >= 0.0 && at.x <= last) {
      sum += texture2D(Texture0_texture, at * Texture0.vScaleTEXi + Texture0.vShiftTEXi).a;
    }
  }
  gl_FragColor = vec4(here.rgb, sum / float(2 * size + 1));
}
