// Gradient Tint, stage 4: the tint picture laid over the picture (stage 0) through the
// blend mode, weakened by the strength (each tint's Blend, mixed by the gradient), then
// through the blurred colour mask (stage 1, red). Float formulas of the ten modes; Hue
// mode mixes hues as plain numbers on the channels in the source's stored order, as the
// CPU does.
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
uniform vec2 TextureSize;
uniform vec3 LineABC;
uniform float fCrossfade;
uniform vec3 Color1;
uniform vec3 Color2;
uniform int iBlendMode;
uniform float fBlend1;
uniform float fBlend2;
varying vec2 rt;

vec4 Fetch(sampler2D image, Stage stage) {
  vec2 texel = floor(rt * stage.vRT2TEXi_Scale + stage.vRT2TEXi_Shift + 0.5);
  return texture2D(image, texel * stage.vScaleTEXi + stage.vShiftTEXi);
}

float Gradient() {
  vec2 pixel = floor(rt * TextureSize);
  float d = dot(vec3(pixel, 1.0), LineABC);
  return clamp(0.5 + d / (2.0 * fCrossfade), 0.0, 1.0);
}

// The mode's value for one channel, A the picture's and B the tint's.
float Blend(float a, float b) {
  if (iBlendMode == 1) return clamp(2.0 * a + b - 1.0, 0.0, 1.0);
  if (iBlendMode == 2) return 1.0 - (1.0 - a) * (1.0 - b);
  if (iBlendMode == 3) return a * b;
  if (iBlendMode == 4) return max(a, b);
  if (iBlendMode == 5) return min(a, b);
  if (iBlendMode == 6) return b >= 1.0 ? 1.0 : min(a / (1.0 - b), 1.0);
  if (iBlendMode == 7) return b > 0.0 ? max(1.0 - (1.0 - a) / b, 0.0) : 0.0;
  if (iBlendMode == 8) return 1.0 - abs(1.0 - a - b);
  return b;
}

// HSV with hue in 0..1, the first channel counted as red.
vec3 ToHsv(vec3 c) {
  float high = max(c.x, max(c.y, c.z));
  float delta = high - min(c.x, min(c.y, c.z));
  float s = high > 0.0 ? delta / high : 0.0;
  if (!(delta > 0.0)) return vec3(0.0, s, high);
  float h;
  if (c.x == high) {
    h = (c.y - c.z) / delta;
    if (h < 0.0) h += 6.0;
  } else if (c.y == high) {
    h = (c.z - c.x) / delta + 2.0;
  } else {
    h = (c.x - c.y) / delta + 4.0;
  }
  return vec3(h / 6.0, s, high);
}

vec3 FromHsv(vec3 hsv) {
  float sector = hsv.x * 6.0;
  if (!(sector >= 0.0) || sector >= 6.0) sector = 0.0;
  float i = floor(sector);
  float f = sector - i;
  float v = hsv.z;
  float p = v * (1.0 - hsv.y);
  float q = v * (1.0 - hsv.y * f);
  float t = v * (1.0 - hsv.y * (1.0 - f));
  if (i < 0.5) return vec3(v, t, p);
  if (i < 1.5) return vec3(q, v, p);
  if (i < 2.5) return vec3(p, v, t);
  if (i < 3.5) return vec3(p, q, v);
  if (i < 4.5) return vec3(t, p, v);
  return vec3(v, p, q);
}

void main() {
  vec4 picture = Fetch(Texture0_texture, Texture0);
  if (SwapChannelsSrc0 == 1) picture = picture.grab;
  float mask = Fetch(Texture1_texture, Texture1).r;
  float g = Gradient();
  vec3 tint = Color1 * g + Color2 * (1.0 - g);
  float strength = g * fBlend1 + (1.0 - g) * fBlend2;
  vec3 tinted;
  if (iBlendMode == 9) {
    // Blue-first sources count their blue as red on the CPU: the same order here.
    bool stored = SwapChannelsSrc0 == 0;
    vec3 a = ToHsv(stored ? picture.bgr : picture.rgb);
    vec3 b = ToHsv(stored ? tint.bgr : tint);
    vec3 c = FromHsv(vec3(b.x * strength + a.x * (1.0 - strength), a.y, a.z));
    tinted = stored ? c.bgr : c;
  } else {
    vec3 blended = vec3(Blend(picture.r, tint.r), Blend(picture.g, tint.g),
                        Blend(picture.b, tint.b));
    tinted = min(blended * strength + picture.rgb * (1.0 - strength), 1.0);
  }
  gl_FragColor = vec4(min(tinted * mask + picture.rgb * (1.0 - mask), 1.0), picture.a);
}
