// Split Screen's first pass: the input zoomed and moved onto the cleared target, in plain
// channel order. The quad covers the picture's place; each pixel samples the input where
// the CPU's resample does, at (index - shift) / zoom in input pixels, which is
// rt * TextureSize - 0.5 / fZoom here, between texel centres by the linear filter.
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
uniform float fZoom;
uniform vec2 TextureSize;
varying vec2 rt;

void main() {
  vec2 position = rt * TextureSize - 0.5 / fZoom;
  vec4 c = texture2D(Texture0_texture, position * Texture0.vScaleTEXi + Texture0.vShiftTEXi);
  gl_FragColor = SwapChannelsSrc == 1 ? c.grab : c;
}
