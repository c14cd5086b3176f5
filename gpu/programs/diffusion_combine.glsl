// Diffusion, stage 4: the picture (stage 0) dimmed by fMul, plus fGlow times the blurred
// mask (stage 1, red) times the glow colour's gains, limited at 1 and not below; the
// picture's own alpha, undimmed.
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
uniform int SwapChannelsSrc0;
uniform float fMul;
uniform float fGlow;
uniform vec3 fGlowColor;
varying vec2 rt;

vec4 Fetch(sampler2D image, Stage stage) {
  vec2 texel = floor(rt * stage.vRT2TEXi_Scale + stage.vRT2TEXi_Shift + 0.5);
  return texture2D(image, texel * stage.vScaleTEXi + stage.vShiftTEXi);
}

void main() {
  vec4 picture = Fetch(Texture0_texture, Texture0);
  if (SwapChannelsSrc0 == 1) picture = picture.grab;
  float mask = Fetch(Texture1_texture, Texture1).r;
  vec3 glow = fGlowColor * (fGlow * mask);
  gl_FragColor = vec4(min(picture.rgb * fMul + glow, 1.0), picture.a);
}
