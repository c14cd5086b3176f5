// One byte of one pixel as a point on the histogram target of nBuckets by 1: the point
// falls on the centre of the pixel whose index is the byte's value. Counting runs without
// the depth test, so z is free.
#version 120
attribute float Color;
uniform float nBuckets;
void main() {
  gl_Position = vec4((Color + 0.5) / nBuckets * 2.0 - 1.0, 0.0, 0.0, 1.0);
}
