// Per-target pieces shared by the filters' vector loops: steps between lines in bytes,
// bytes widened to vectors, and the exact division of 32-bit sums (with the half added) to
// the bytes that RoundToByte defines. Included by each *_hwy.cpp inside its foreach_target
// loop.
#if defined(VITRELLA_KERNELS_BYTE_DIVISION_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VITRELLA_KERNELS_BYTE_DIVISION_INL_H_
#undef VITRELLA_KERNELS_BYTE_DIVISION_INL_H_
#else
#define VITRELLA_KERNELS_BYTE_DIVISION_INL_H_
#endif

#include <hwy/highway.h>

#include "kernels/byte_division.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

template <typename T>
HWY_INLINE const T* Advance(const T* p, ptrdiff_t bytes) {
  return reinterpret_cast<const T*>(reinterpret_cast<const uint8_t*>(p) + bytes);
}

template <class DI>
HWY_INLINE hn::Vec<DI> LoadBytes(DI di, const uint8_t* HWY_RESTRICT p) {
  return hn::PromoteTo(di, hn::LoadU(hn::Rebind<uint8_t, DI>(), p));
}

// The division's constants as vectors, made once before a loop.
template <class DI>
struct DivisionVectors {
  using DF = hn::Rebind<float, DI>;
  DivisionVectors(DI di, const ByteDivision& division)
      : limit(hn::Set(di, division.limit)),
        divisor(hn::Set(di, division.divisor)),
        divisorLessOne(hn::Set(di, division.divisor - 1)),
        reciprocal(hn::Set(DF(), division.reciprocal)),
        centre(hn::Set(DF(), 0.5f - 0.5f * static_cast<float>(division.divisor))),
        divisorFloat(hn::Set(DF(), static_cast<float>(division.divisor))),
        magic(hn::Set(DF(), 12582912.0f)) {}
  hn::Vec<DI> limit, divisor, divisorLessOne;
  hn::Vec<DF> reciprocal, centre, divisorFloat;
  // Adding 1.5 * 2^23 rounds a float to an integer that fills the low mantissa bits.
  hn::Vec<DF> magic;
};

template <ByteDivision::Method kMethod, bool kInRange>
struct Divide {
  template <class DI>
  HWY_INLINE hn::Vec<hn::Rebind<uint8_t, DI>> operator()(DI di, hn::Vec<DI> t,
                                                         const DivisionVectors<DI>& c) const {
    const hn::Rebind<float, DI> df;
    const hn::Rebind<uint32_t, DI> du;
    const hn::Rebind<uint8_t, DI> du8;
    if constexpr (!kInRange) t = hn::Min(hn::Max(t, hn::Zero(di)), c.limit);
    if constexpr (kMethod == ByteDivision::kCorrected) {
      auto q = hn::ConvertTo(di, hn::Mul(hn::ConvertTo(df, t), c.reciprocal));
      // The estimate is within one of the quotient; the remainder (exact modulo 2^32, and
      // small) says which way.
      const auto r = hn::Sub(t, hn::Mul(q, c.divisor));
      q = hn::Add(q, hn::VecFromMask(di, hn::Lt(r, hn::Zero(di))));
      q = hn::Sub(q, hn::VecFromMask(di, hn::Gt(r, c.divisorLessOne)));
      return hn::TruncateTo(du8, hn::BitCast(du, q));
    } else {
      const auto f = hn::ConvertTo(df, t);
      hn::Vec<decltype(df)> g;
      if constexpr (kMethod == ByteDivision::kQuick) {
        // floor((t + 0.5) / d) is round((t + 0.5 - d / 2) / d), never a tie.
        g = hn::MulAdd(hn::Add(f, c.centre), c.reciprocal, c.magic);
      } else {
        g = hn::MulAdd(f, c.reciprocal, c.magic);
        const auto remainder = hn::NegMulAdd(hn::Sub(g, c.magic), c.divisorFloat, f);
        g = hn::Sub(g, hn::IfThenElseZero(hn::Lt(remainder, hn::Zero(df)), hn::Set(df, 1.0f)));
      }
      // The quotient is now the low byte of g's bits.
      return hn::TruncateTo(du8, hn::BitCast(du, g));
    }
  }
};

// Runs `run` with the Divide that fits the divisor and the kernel.
template <class Run>
HWY_INLINE void WithDivision(const ByteDivision& division, const Run& run) {
  ByteDivision::Method method = division.method;
#if HWY_NATIVE_FMA
  // Fused, the quick division's one rounding keeps it exact up to 2^15.
  if (division.divisor < (1 << 15)) method = ByteDivision::kQuick;
#endif
  switch (method) {
    case ByteDivision::kQuick:
      if (division.inRange) return run(Divide<ByteDivision::kQuick, true>());
      return run(Divide<ByteDivision::kQuick, false>());
    case ByteDivision::kResidual:
      if (division.inRange) return run(Divide<ByteDivision::kResidual, true>());
      return run(Divide<ByteDivision::kResidual, false>());
    case ByteDivision::kCorrected:
      if (division.inRange) return run(Divide<ByteDivision::kCorrected, true>());
      return run(Divide<ByteDivision::kCorrected, false>());
  }
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // VITRELLA_KERNELS_BYTE_DIVISION_INL_H_
