// Image Mapper: fills the target with one value; the coordinate maps start as the marker
// 10 in every channel, which no strip leaves where it draws.
#version 120
uniform vec4 Color;

void main() {
  gl_FragColor = Color;
}
