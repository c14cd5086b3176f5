#include "kernels/projective.h"

#include <cmath>

namespace vitrella::kernels {
namespace {

// z of the cross product of the edges into and out of corner i.
double TurnAt(const Quad q, int i, double* lengths) {
  const double* a = q[(i + 3) % 4];
  const double* b = q[i];
  const double* c = q[(i + 1) % 4];
  const double ex = b[0] - a[0], ey = b[1] - a[1];
  const double fx = c[0] - b[0], fy = c[1] - b[1];
  *lengths = std::hypot(ex, ey) * std::hypot(fx, fy);
  return ex * fy - ey * fx;
}

// The map from the unit square's corners (0,0), (1,0), (1,1), (0,1) onto the quad's
// corners 0 to 3.
ProjectiveMap SquareToQuad(const Quad q) {
  const double x0 = q[0][0], y0 = q[0][1], x1 = q[1][0], y1 = q[1][1];
  const double x2 = q[2][0], y2 = q[2][1], x3 = q[3][0], y3 = q[3][1];
  const double sx = x0 - x1 + x2 - x3;
  const double sy = y0 - y1 + y2 - y3;
  const double dx1 = x1 - x2, dx2 = x3 - x2, dy1 = y1 - y2, dy2 = y3 - y2;
  const double det = dx1 * dy2 - dx2 * dy1;  // non-zero for a convex quad
  const double g = (sx * dy2 - dx2 * sy) / det;
  const double h = (dx1 * sy - sx * dy1) / det;
  return {{x1 - x0 + g * x1, x3 - x0 + h * x3, x0,  //
           y1 - y0 + g * y1, y3 - y0 + h * y3, y0,  //
           g, h, 1.0}};
}

// The adjugate: the inverse up to a scale, which a projective map ignores.
ProjectiveMap Adjugate(const ProjectiveMap& p) {
  const double* m = p.m;
  return {{m[4] * m[8] - m[5] * m[7], m[2] * m[7] - m[1] * m[8], m[1] * m[5] - m[2] * m[4],
           m[5] * m[6] - m[3] * m[8], m[0] * m[8] - m[2] * m[6], m[2] * m[3] - m[0] * m[5],
           m[3] * m[7] - m[4] * m[6], m[1] * m[6] - m[0] * m[7], m[0] * m[4] - m[1] * m[3]}};
}

ProjectiveMap Multiply(const ProjectiveMap& a, const ProjectiveMap& b) {
  ProjectiveMap r{};
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      r.m[3 * i + j] =
          a.m[3 * i] * b.m[j] + a.m[3 * i + 1] * b.m[3 + j] + a.m[3 * i + 2] * b.m[6 + j];
    }
  }
  return r;
}

}  // namespace

int32_t QuadWinding(const Quad quad) {
  for (int i = 0; i < 4; ++i) {
    if (!std::isfinite(quad[i][0]) || !std::isfinite(quad[i][1])) return 0;
  }
  int32_t winding = 0;
  for (int i = 0; i < 4; ++i) {
    double lengths = 0.0;
    const double turn = TurnAt(quad, i, &lengths);
    // Also false for a zero-length edge, and for products that overflowed.
    if (!(std::fabs(turn) > 1e-9 * lengths)) return 0;
    const int32_t sign = turn > 0.0 ? 1 : -1;
    if (winding != 0 && sign != winding) return 0;
    winding = sign;
  }
  return winding;
}

ProjectiveMap QuadToQuad(const Quad from, const Quad to) {
  ProjectiveMap map = Multiply(SquareToQuad(to), Adjugate(SquareToQuad(from)));
  const double cx = (from[0][0] + from[1][0] + from[2][0] + from[3][0]) * 0.25;
  const double cy = (from[0][1] + from[1][1] + from[2][1] + from[3][1]) * 0.25;
  const double w = map.m[6] * cx + map.m[7] * cy + map.m[8];
  for (double& v : map.m)
    v /= w;
  return map;
}

}  // namespace vitrella::kernels
