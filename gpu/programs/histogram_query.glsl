// Keeps the texels whose value in plane planeId lies in [fLower, fUpper), so that an
// occlusion query counts one bucket. Values are clamped to 0..1 first, as the scatter
// way's byte read-back does, so that both ways put a float picture's outliers in the end
// buckets.
#version 120
struct Stage {
  vec2 vScaleTEXi;
  vec2 vShiftTEXi;
  vec2 vRT2TEXi_Scale;
  vec2 vRT2TEXi_Shift;
};
uniform Stage Texture0;
uniform sampler2D Texture0_texture;
uniform int planeId;
uniform float fLower;
uniform float fUpper;
varying vec2 rt;

void main() {
  vec2 texel = floor(rt * Texture0.vRT2TEXi_Scale + Texture0.vRT2TEXi_Shift + 0.5);
  vec4 c = texture2D(Texture0_texture, texel * Texture0.vScaleTEXi + Texture0.vShiftTEXi);
  float v = planeId == 0 ? c.r : (planeId == 1 ? c.g : (planeId == 2 ? c.b : c.a));
  v = clamp(v, 0.0, 1.0);
  if (v < fLower || v >= fUpper) discard;
  gl_FragColor = c;
}
