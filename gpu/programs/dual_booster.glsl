// Dual Booster in one pass: the luminance mask steepened about its centre, the dark and
// light band matrices (rows red, green, blue, the offset in the fourth column), and the
// light picture over the dark one through the mask, the dark one weighed by the picture's
// alpha as the CPU's over rule does. bTestMask shows the mask in grey instead.
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
uniform int bTestMask;
uniform float fOffset;
uniform float fSmooth;
uniform mat4 MatA;
uniform mat4 MatB;
varying vec2 rt;

void main() {
  vec2 texel = floor(rt * Texture0.vRT2TEXi_Scale + Texture0.vRT2TEXi_Shift + 0.5);
  vec4 c = texture2D(Texture0_texture, texel * Texture0.vScaleTEXi + Texture0.vShiftTEXi);
  if (SwapChannelsSrc == 1) c = c.grab;
  float luma = 0.298 * c.r + 0.586 * c.g + 0.113 * c.b;
  float mask = clamp((luma - fOffset) * fSmooth + fOffset, 0.0, 1.0);
  if (bTestMask == 1) {
    gl_FragColor = vec4(mask, mask, mask, c.a);
    return;
  }
  vec3 dark = clamp((MatA * vec4(c.rgb, 1.0)).rgb, 0.0, 1.0);
  vec3 light = clamp((MatB * vec4(c.rgb, 1.0)).rgb, 0.0, 1.0);
  float under = min(1.0, clamp(c.a, 0.0, 1.0) * (1.0 - mask));
  gl_FragColor = vec4(min(light * mask + dark * under, 1.0), c.a);
}
