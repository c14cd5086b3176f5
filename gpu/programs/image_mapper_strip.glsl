// Image Mapper: one strip of a coordinate map. The quad covers the bounding box of the
// quadrilateral dstQuad in unit coordinates of the target; each pixel inside it finds the
// point (u, v) of the rectangle srcRectLT..srcRectRB that the bilinear map
// x = a uv + b u + c v + d (xTransform, and yTransform for y) carries to it, by Newton's
// steps from the rectangle's middle, and writes it as (u, v, 0, 1). Where the input map
// holds coordinates (alpha about 1), those at (u, v) are written instead, so the maps
// compose; where it holds the marker 10, the marker goes on. Pixels outside the
// quadrilateral are discarded and keep the fill.
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
uniform sampler2D Texture0_texture;
uniform vec4 xTransform;
uniform vec4 yTransform;
uniform vec2 srcRectLT;
uniform vec2 srcRectRB;
uniform vec2 dstRectLT;
uniform vec2 dstRectSIZE;
uniform vec2 dstQuad[4];
varying vec2 rt;

float Cross(vec2 a, vec2 b) {
  return a.x * b.y - a.y * b.x;
}

void main() {
  vec2 p = dstRectLT + rt * dstRectSIZE;
  // Inside when on the same side of all four edges, for either winding.
  float s0 = Cross(dstQuad[1] - dstQuad[0], p - dstQuad[0]);
  float s1 = Cross(dstQuad[2] - dstQuad[1], p - dstQuad[1]);
  float s2 = Cross(dstQuad[3] - dstQuad[2], p - dstQuad[2]);
  float s3 = Cross(dstQuad[0] - dstQuad[3], p - dstQuad[3]);
  bool inside = (s0 >= 0.0 && s1 >= 0.0 && s2 >= 0.0 && s3 >= 0.0) ||
                (s0 <= 0.0 && s1 <= 0.0 && s2 <= 0.0 && s3 <= 0.0);
  if (!inside) discard;
  vec2 uv = (srcRectLT + srcRectRB) * 0.5;
  for (int i = 0; i < 8; ++i) {
    vec2 f = vec2(xTransform.x * uv.x * uv.y + xTransform.y * uv.x + xTransform.z * uv.y + xTransform.w,
                  yTransform.x * uv.x * uv.y + yTransform.y * uv.x + yTransform.z * uv.y + yTransform.w) - p;
    float j00 = xTransform.x * uv.y + xTransform.y;
    float j01 = xTransform.x * uv.x + xTransform.z;
    float j10 = yTransform.x * uv.y + yTransform.y;
    float j11 = yTransform.x * uv.x + yTransform.z;
    float det = j00 * j11 - j01 * j10;
    if (abs(det) < 1.0e-12) break;
    uv -= vec2(j11 * f.x - j01 * f.y, j00 * f.y - j10 * f.x) / det;
  }
  uv = clamp(uv, srcRectLT, srcRectRB);
  vec4 m = texture2D(Texture0_texture, At(Texture0, uv));
  if (m.a > 1.5) {
    gl_FragColor = vec4(10.0);
  } else if (m.a > 0.5) {
    gl_FragColor = vec4(m.xy, 0.0, 1.0);
  } else {
    gl_FragColor = vec4(uv, 0.0, 1.0);
  }
}
