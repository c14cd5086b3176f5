// Spotlight's soft ellipse and the mix: stage 0 (the graded inside) over stage 1 (the
// graded background) through the mask, with alpha from the mask or from stage 2 (the
// source). Pixel coordinates; y is scaled by fYScale before the centre is taken off.
#version 120
struct Stage {
  vec2 vScaleTEXi;
  vec2 vShiftTEXi;
  vec2 vRT2TEXi_Scale;
  vec2 vRT2TEXi_Shift;
};
uniform Stage Texture0;
uniform Stage Texture1;
uniform Stage Texture2;
uniform sampler2D Texture0_texture;
uniform sampler2D Texture1_texture;
uniform sampler2D Texture2_texture;
uniform int SwapChannelsSrc0;
uniform int bSpotAsAlpha;
uniform float fCos;
uniform float fSin;
uniform float fFeather;
uniform float fFeatherRange;
uniform float Size22;
uniform float Size12;
uniform float Size2;
uniform float fYScale;
uniform vec2 PictureSize;
uniform vec2 Center;
varying vec2 rt;

vec4 Fetch(sampler2D image, Stage stage) {
  vec2 texel = floor(rt * stage.vRT2TEXi_Scale + stage.vRT2TEXi_Shift + 0.5);
  return texture2D(image, texel * stage.vScaleTEXi + stage.vShiftTEXi);
}

float Mask() {
  // Semi-axes of 0 leave the mask empty; so does a flat ellipse.
  if (Size12 == 0.0) return 0.0;
  vec2 pixel = floor(rt * PictureSize);
  float x = pixel.x - Center.x;
  float y = pixel.y * fYScale - Center.y;
  float u = x * fCos - y * fSin;
  float v = x * fSin + y * fCos;
  // Signed distance from the edge, scaled to the vertical semi-axis.
  float e = sqrt(Size22 * u * u / Size12 + v * v) - Size2;
  if (!(e < fFeather)) return 0.0;
  if (e <= -0.5 * fFeather) return 1.0;
  float t = (e + fFeather * 0.5) * fFeatherRange * 1.1;
  return pow(2.71828, -(t * t));
}

void main() {
  vec4 inside = Fetch(Texture0_texture, Texture0);
  vec4 background = Fetch(Texture1_texture, Texture1);
  vec4 source = Fetch(Texture2_texture, Texture2);
  if (SwapChannelsSrc0 == 1) source = source.grab;
  float m = Mask();
  // Non-premultiplied over: the background counts through its own alpha.
  float t = background.a * (1.0 - m);
  vec3 colour = min(inside.rgb * m + background.rgb * t, 1.0);
  gl_FragColor = vec4(colour, bSpotAsAlpha == 1 ? m : source.a);
}
