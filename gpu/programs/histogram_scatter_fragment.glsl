// Each point adds 1 to the channel of the plane being counted; blending sums them.
#version 120
uniform int nColorPlane;
void main() {
  gl_FragColor = vec4(nColorPlane == 0 ? 1.0 : 0.0, nColorPlane == 1 ? 1.0 : 0.0,
                      nColorPlane == 2 ? 1.0 : 0.0, 0.0);
}
