// Every stage of a quad shares texture coordinate 0: a position on the render target,
// edge to edge (the RT system); fragment programs map it into each texture themselves.
#version 120
varying vec2 rt;
void main() {
  gl_Position = gl_ModelViewProjectionMatrix * gl_Vertex;
  rt = gl_MultiTexCoord0.xy;
}
