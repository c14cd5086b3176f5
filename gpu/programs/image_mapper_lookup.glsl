// Image Mapper: the picture of stage 0 sampled through the coordinate map of stage 1, in
// unit coordinates of stage 0's rectangle; where the map holds the marker 10 (no strip
// drew there), transparent black, as the CPU leaves there.
#version 120
struct Stage {
  vec2 vScale;
  vec2 vShift;
  vec2 vRT2TEX_Scale;
  vec2 vRT2TEX_Shift;
  vec2 vTEX2NORM_Scale;
  vec2 vTEX2NORM_Shift;
};

// Unit coordinates of a stage's rectangle, edge to edge, to texture coordinates: through
// the rectangle's own coordinates and those of its texel centres.
vec2 At(Stage s, vec2 unit) {
  vec2 tex = unit * s.vRT2TEX_Scale + s.vRT2TEX_Shift;
  return (tex * s.vTEX2NORM_Scale + s.vTEX2NORM_Shift) * s.vScale + s.vShift;
}
uniform Stage Texture0;
uniform Stage Texture1;
uniform sampler2D Texture0_texture;
uniform sampler2D Texture1_texture;
uniform int SwapChannelsSrc0;
varying vec2 rt;

void main() {
  vec4 m = texture2D(Texture1_texture, At(Texture1, rt));
  if (m.a > 1.5 || m.a < 0.5) {
    gl_FragColor = vec4(0.0);
  } else {
    vec4 c = texture2D(Texture0_texture, At(Texture0, m.xy));
    gl_FragColor = SwapChannelsSrc0 == 1 ? c.grab : c;
  }
}
