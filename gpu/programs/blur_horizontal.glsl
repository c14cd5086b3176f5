// One stage of the triangular blur, along the horizontal axis. A kernel of n taps has the
// weights 1, 2, ..., m, ..., 2, 1 (the peak twice for an even n) and is anchored at n / 2;
// the program gets blurSize = n / 2 and isOdd = n mod 2. As on the CPU, the outer two
// texels of each edge give way to the third where the kernel reads; every texel is
// written from its own place. Alpha is not blurred: it is the input's at the texel, moved
// in from the outer two as the reads are. Sizes of 0 pass the input through. GLSL 1.20 has no integer min: the weights are
// taken in floats.
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
uniform int blurSize;
uniform int isOdd;
varying vec2 rt;

vec4 Texel(vec2 texel) {
  return texture2D(Texture0_texture, texel * Texture0.vScaleTEXi + Texture0.vShiftTEXi);
}

void main() {
  vec2 texel = floor(rt * Texture0.vRT2TEXi_Scale + Texture0.vRT2TEXi_Shift + 0.5);
  if (blurSize == 0 && isOdd == 0) {
    gl_FragColor = Texel(texel);
    return;
  }
  float n = Texture0.vTEX2TEXi_Scale.x;
  float low = min(2.0, floor((n - 1.0) * 0.5));
  float high = n - 1.0 - low;
  int last = isOdd == 1 ? blurSize : blurSize - 1;
  vec4 sum = vec4(0.0);
  float total = 0.0;
  for (int k = -blurSize; k <= last; ++k) {
    float w = isOdd == 1 ? float(blurSize + 1 - (k < 0 ? -k : k))
                         : min(float(k + blurSize + 1), float(blurSize - k));
    vec2 at = texel;
    at.x = clamp(texel.x + float(k), low, high);
    sum += w * Texel(at);
    total += w;
  }
  vec2 anchor = texel;
  anchor.x = clamp(texel.x, low, high);
  gl_FragColor = vec4(sum.rgb / total, Texel(anchor).a);
}
