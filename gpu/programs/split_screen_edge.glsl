// Split Screen's second pass: the line's colour over the zoomed picture (stage 0) and the
// edge in alpha, from the profiles (stage 1: row 0 the colour weight U, row 1 the alpha V,
// n = feather + line width texels). A pixel's signed distance d from the line, positive on
// the picture's side, places it at i = floor(n / 2) - d along the profiles, as the CPU's
// strip has its column n / 2 on the centre. Before the profiles the picture is whole
// (U 0, V 1), after them it is gone (U 0, V 0); the last step into each is linear, as the
// CPU's smoothed strip edges are. Stage 0 is the effect's own target, already in plain
// order, so the input's channel swap does not apply here.
#version 120
struct Stage {
  vec2 vScaleTEXi;
  vec2 vShiftTEXi;
  vec2 vRT2TEXi_Scale;
  vec2 vRT2TEXi_Shift;
};
uniform Stage Texture0;
uniform Stage Texture1;
uniform sampler2D Texture0_texture;
uniform sampler2D Texture1_texture;
uniform vec3 LineABC;
uniform float fFeather;
uniform float fLineWidth;
uniform vec3 Color;
uniform vec2 TextureSize;
varying vec2 rt;

// Entry k of a profile row; outside the table the values before and after it.
vec2 Entry(float k, float n) {
  if (k < 0.0) return vec2(0.0, 1.0);
  if (k >= n) return vec2(0.0, 0.0);
  float s = (k + 0.5) * Texture1.vScaleTEXi.x;
  float u = texture2D(Texture1_texture, vec2(s, 0.5 * Texture1.vScaleTEXi.y)).r;
  float v = texture2D(Texture1_texture, vec2(s, 1.5 * Texture1.vScaleTEXi.y)).r;
  return vec2(u, v);
}

void main() {
  vec2 texel = floor(rt * Texture0.vRT2TEXi_Scale + Texture0.vRT2TEXi_Shift + 0.5);
  vec4 picture = texture2D(Texture0_texture, texel * Texture0.vScaleTEXi + Texture0.vShiftTEXi);
  vec2 pixel = floor(rt * TextureSize);
  float d = LineABC.x * pixel.x + LineABC.y * pixel.y + LineABC.z;
  float n = floor(fFeather) + floor(fLineWidth);
  float i = floor(n * 0.5) - d;
  float k = floor(i);
  vec2 weights = mix(Entry(k, n), Entry(k + 1.0, n), i - k);
  gl_FragColor = vec4(mix(picture.rgb, Color, weights.x), weights.y * picture.a);
}
