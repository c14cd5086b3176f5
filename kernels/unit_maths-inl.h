// The steps of unit_maths.h lane by lane, on kN vectors at once and step by step, so that
// their chains of dependent steps interleave. Included by each *_hwy.cpp inside its
// foreach_target loop.
#if defined(VITRELLA_KERNELS_UNIT_MATHS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VITRELLA_KERNELS_UNIT_MATHS_INL_H_
#undef VITRELLA_KERNELS_UNIT_MATHS_INL_H_
#else
#define VITRELLA_KERNELS_UNIT_MATHS_INL_H_
#endif

#include <hwy/highway.h>

#include "kernels/unit_maths.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#define VITRELLA_EACH _Pragma("GCC unroll 8") for (int j = 0; j < kN; ++j)

// Log2 of each lane, in place; every lane must hold a normal float in (0, 1].
template <int kN, class D>
HWY_INLINE void Log2Lanes(D d, hn::Vec<D> (&v)[kN]) {
  using namespace unit_maths;
  using V = hn::Vec<D>;
  const hn::RebindToSigned<D> di;
  using VI = hn::Vec<decltype(di)>;
  const V one = hn::Set(d, 1.0f);
  V k[kN], t[kN], t2[kN], series[kN];
  VI bits[kN], mantissa[kN], halve[kN];
  VITRELLA_EACH bits[j] = hn::BitCast(di, v[j]);
  VITRELLA_EACH mantissa[j] = hn::And(bits[j], hn::Set(di, 0x7FFFFF));
  VITRELLA_EACH halve[j] =
      hn::IfThenElseZero(hn::Gt(mantissa[j], hn::Set(di, kSqrt2Mantissa)), hn::Set(di, 1));
  VITRELLA_EACH {
    const V m = hn::BitCast(
        d, hn::Or(mantissa[j], hn::Sub(hn::Set(di, 0x3F800000), hn::ShiftLeft<23>(halve[j]))));
    t[j] = hn::Div(hn::Sub(m, one), hn::Add(m, one));
  }
  VITRELLA_EACH k[j] =
      hn::ConvertTo(d, hn::Add(hn::Sub(hn::ShiftRight<23>(bits[j]), hn::Set(di, 127)), halve[j]));
  VITRELLA_EACH t2[j] = hn::Mul(t[j], t[j]);
  VITRELLA_EACH series[j] = hn::Mul(t2[j], hn::Set(d, kLog[4]));
  for (int i = 3; i >= 1; --i) {
    VITRELLA_EACH series[j] = hn::Mul(t2[j], hn::Add(hn::Set(d, kLog[i]), series[j]));
  }
  VITRELLA_EACH v[j] =
      hn::Add(k[j], hn::Mul(hn::Mul(t[j], hn::Set(d, kLog[0])), hn::Add(one, series[j])));
}

// Exp2 of each lane, in place; every lane must be at most 0.
template <int kN, class D>
HWY_INLINE void Exp2Lanes(D d, hn::Vec<D> (&v)[kN]) {
  using namespace unit_maths;
  using V = hn::Vec<D>;
  const hn::RebindToSigned<D> di;
  const V roundAt = hn::Set(d, kRound);
  V rounded[kN], f[kN], e2[kN];
  VITRELLA_EACH rounded[j] = hn::Add(v[j], roundAt);
  VITRELLA_EACH f[j] = hn::Sub(v[j], hn::Sub(rounded[j], roundAt));
  VITRELLA_EACH e2[j] = hn::Set(d, kExp[7]);
  for (int i = 6; i >= 0; --i) {
    VITRELLA_EACH e2[j] = hn::Add(hn::Set(d, kExp[i]), hn::Mul(f[j], e2[j]));
  }
  VITRELLA_EACH {
    const auto n = hn::Sub(hn::BitCast(di, rounded[j]), hn::Set(di, kRoundBits));
    const V scaled = hn::BitCast(d, hn::Add(hn::BitCast(di, e2[j]), hn::ShiftLeft<23>(n)));
    v[j] = hn::IfThenElseZero(hn::Ge(v[j], hn::Set(d, kLowestExponent)), scaled);
  }
}

#undef VITRELLA_EACH

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // VITRELLA_KERNELS_UNIT_MATHS_INL_H_
