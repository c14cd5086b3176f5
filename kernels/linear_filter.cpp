#include "kernels/linear_filter.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "kernels/byte_division.h"
#include "kernels/dispatch.h"
#include "kernels/linear_filter_hwy.h"
#include "kernels/running_sums_hwy.h"
#include "kernels/trapezoid.h"

namespace vitrella::kernels {
namespace {

// Trapezoids up to this long cost less as plain sums than as running sums.
constexpr int32_t kLongestDirect8u = 9;
constexpr int32_t kLongestDirect32f = 7;

// Values of one strip of the plain running sums, whose state lives on the stack.
constexpr int32_t kPlainStrip = 64;

template <typename T>
const T* Advance(const T* p, ptrdiff_t bytes) {
  return reinterpret_cast<const T*>(reinterpret_cast<const uint8_t*>(p) + bytes);
}
template <typename T>
T* Advance(T* p, ptrdiff_t bytes) {
  return reinterpret_cast<T*>(reinterpret_cast<uint8_t*>(p) + bytes);
}

// ---- The plain loops, which the vector code must match.

void ConvolveLine8u(const uint8_t* first, ptrdiff_t tapStep, const int32_t* weights, int32_t taps,
                    const ByteDivision& division, uint8_t* out, int32_t count) {
  for (int32_t j = 0; j < count; ++j) {
    int64_t sum = 0;
    for (int32_t i = 0; i < taps; ++i)
      sum += int64_t{weights[i]} * first[i * tapStep + j];
    out[j] = RoundToByte(sum, division);
  }
}

void ConvolveLine32f(const float* first, ptrdiff_t tapStep, const float* weights, int32_t taps,
                     float* out, int32_t count) {
  for (int32_t j = 0; j < count; ++j) {
    float sum = weights[0] * first[j];
    for (int32_t i = 1; i < taps; ++i)
      sum += weights[i] * Advance(first, i * tapStep)[j];
    out[j] = sum;
  }
}

// Output line k < lines gets the trapezoid over input lines k .. k + length - 1; lines lie
// inStep and outStep bytes apart and hold `values` values each. With D(k) = T(k) - T(k-1),
// the second difference D(k) - D(k-1) needs only four input lines, whatever the length.
template <typename T, typename Acc, typename Finish>
void RunningTrapezoid(const T* in, ptrdiff_t inStep, T* out, ptrdiff_t outStep, int32_t values,
                      int32_t lines, const Trapezoid& shape, Finish finish) {
  const int32_t a = shape.shortBox;
  const int32_t b = shape.longBox;
  const int32_t n = shape.Length();
  const auto line = [&](int32_t p) { return Advance(in, p * inStep); };
  Acc box[kPlainStrip], total[kPlainStrip], diff[kPlainStrip], firstBox[kPlainStrip];
  for (int32_t v0 = 0; v0 < values; v0 += kPlainStrip) {
    const int32_t w = std::min(kPlainStrip, values - v0);
    for (int32_t v = 0; v < w; ++v) {
      box[v] = 0;
      total[v] = 0;
      for (int32_t j = 0; j < a; ++j)
        box[v] += line(j)[v0 + v];
      firstBox[v] = box[v];
    }
    // T(0) sums the short box at its first b positions.
    for (int32_t p = 0; p < b; ++p) {
      for (int32_t v = 0; v < w; ++v) {
        total[v] += box[v];
        if (p + 1 < b) box[v] = (box[v] + line(p + a)[v0 + v]) - line(p)[v0 + v];
      }
    }
    for (int32_t v = 0; v < w; ++v)
      out[v0 + v] = finish(total[v]);
    if (lines < 2) continue;
    T* row = Advance(out, outStep);
    for (int32_t v = 0; v < w; ++v) {
      const Acc lastBox = (box[v] + line(n)[v0 + v]) - line(b - 1)[v0 + v];
      diff[v] = lastBox - firstBox[v];
      total[v] += diff[v];
      row[v0 + v] = finish(total[v]);
    }
    for (int32_t k = 2; k < lines; ++k) {
      const T* lead = line(k + n - 1);
      const T* lagLong = line(k + b - 2);
      const T* lagShort = line(k + a - 2);
      const T* tail = line(k - 2);
      row = Advance(out, k * outStep);
      for (int32_t v = v0; v < v0 + w; ++v) {
        diff[v - v0] += ((Acc{lead[v]} - lagLong[v]) - lagShort[v]) + tail[v];
        total[v - v0] += diff[v - v0];
        row[v] = finish(total[v - v0]);
      }
    }
  }
}

// ---- Choice of loop, shared by both directions.

enum class Along { kRows, kColumns };

Status CheckArguments(ConstImageView src, ImageView dst, int32_t channels, const void* kernel,
                      int32_t length, int32_t anchor, int32_t divisor, int32_t copiedChannel) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  if (int64_t{std::min(src.width, dst.width)} * channels > INT32_MAX) return kBadSize;
  if (kernel == nullptr) return kNullPointer;
  if (length < 1 || anchor < 0 || anchor >= length || divisor < 1) return kBadMaskSize;
  if (copiedChannel < kFilterAllChannels || copiedChannel > 3) return kBadChannel;
  return kOk;
}

// One channel of four-channel bytes, moved in whole pixels through a mask: compilers turn
// that into vector blends, and leave a byte-by-byte copy scalar.
void CopyChannel8u(ConstImageView src, ImageView dst, Size size, int32_t channel) {
  uint8_t bytes[4] = {};
  bytes[channel] = 0xFF;
  uint32_t mask;
  std::memcpy(&mask, bytes, sizeof(mask));
  for (int32_t y = 0; y < size.height; ++y) {
    const uint8_t* from = src.Row(y);
    uint8_t* to = dst.Row(y);
    for (int32_t x = 0; x < size.width; ++x) {
      uint32_t s, d;
      std::memcpy(&s, from + 4 * x, sizeof(s));
      std::memcpy(&d, to + 4 * x, sizeof(d));
      d = (d & ~mask) | (s & mask);
      std::memcpy(to + 4 * x, &d, sizeof(d));
    }
  }
}

void CopyChannel32f(ConstImageView src, ImageView dst, Size size, int32_t channel) {
  for (int32_t y = 0; y < size.height; ++y) {
    const float* from = src.Row<const float>(y) + channel;
    float* to = dst.Row<float>(y) + channel;
    for (int32_t x = 0; x < size.width; ++x)
      to[4 * x] = from[4 * x];
  }
}

Status Filter8u(Along along, ConstImageView src, ImageView dst, const int32_t* kernel,
                int32_t length, int32_t anchor, int32_t divisor, int32_t channels,
                int32_t copiedChannel) {
  if (Status s = CheckArguments(src, dst, channels, kernel, length, anchor, divisor, copiedChannel);
      s != kOk) {
    return s;
  }
  const Size size = MinSize(src.Extent(), dst.Extent());
  const int32_t values = size.width * channels;
  ByteDivision division = MakeByteDivision(divisor);
  int64_t magnitude = 0;  // sum of |weights|, capped far above every bound tested below
  bool positive = true;
  for (int32_t i = 0; i < length; ++i) {
    magnitude = std::min(magnitude + std::abs(int64_t{kernel[i]}), int64_t{1} << 40);
    positive = positive && kernel[i] >= 0;
  }
  division.inRange = positive && 255 * magnitude + division.half <= division.limit;
  // Bounds of the vector loops' 32-bit and 16-bit sums.
  const bool vector = !UseReferenceKernels() && 255 * magnitude + divisor < (int64_t{1} << 30);
  const bool narrow = vector && positive && divisor <= 0xFFFF &&
                      255 * magnitude + division.half < (int64_t{1} << 16);
  Trapezoid shape;
  int32_t scale = 0;
  const bool running = length > kLongestDirect8u && FindTrapezoid(kernel, length, &shape, &scale);
  const auto finish = [&](int64_t sum) { return RoundToByte(sum * scale, division); };
  if (along == Along::kRows) {
    // Groups of rows; the last group repeats its last row where it runs short.
    const int32_t group = kByteRowLine / channels;
    if (running && vector && length <= kRingLongestKernel) {
      for (int32_t y = 0; y < size.height; y += group) {
        const uint8_t* in[kByteRowLine];
        uint8_t* out[kByteRowLine];
        for (int32_t r = 0; r < group; ++r) {
          const int32_t row = std::min(y + r, size.height - 1);
          in[r] = src.Row(row) - anchor * channels;
          out[r] = dst.Row(row);
        }
        vector::TrapezoidRows8u(in, out, channels, size.width, shape, scale, division);
      }
    } else {
      for (int32_t y = 0; y < size.height; ++y) {
        const uint8_t* first = src.Row(y) - anchor * channels;
        if (running) {
          RunningTrapezoid<uint8_t, int64_t>(first, channels, dst.Row(y), channels, channels,
                                             size.width, shape, finish);
        } else if (narrow) {
          vector::ConvolveLineNarrow8u(first, channels, kernel, length, division, dst.Row(y),
                                       values);
        } else if (vector) {
          vector::ConvolveLine8u(first, channels, kernel, length, division, dst.Row(y), values);
        } else {
          ConvolveLine8u(first, channels, kernel, length, division, dst.Row(y), values);
        }
      }
    }
  } else if (running) {
    const uint8_t* first = src.Row(-anchor);
    if (vector) {
      vector::TrapezoidColumns8u(first, src.pitch, dst.data, dst.pitch, values, size.height, shape,
                                 scale, division);
    } else {
      RunningTrapezoid<uint8_t, int64_t>(first, src.pitch, dst.data, dst.pitch, values, size.height,
                                         shape, finish);
    }
  } else {
    for (int32_t y = 0; y < size.height; ++y) {
      const uint8_t* first = src.Row(y - anchor);
      if (narrow) {
        vector::ConvolveLineNarrow8u(first, src.pitch, kernel, length, division, dst.Row(y),
                                     values);
      } else if (vector) {
        vector::ConvolveLine8u(first, src.pitch, kernel, length, division, dst.Row(y), values);
      } else {
        ConvolveLine8u(first, src.pitch, kernel, length, division, dst.Row(y), values);
      }
    }
  }
  if (channels == 4 && copiedChannel != kFilterAllChannels) {
    CopyChannel8u(src, dst, size, copiedChannel);
  }
  return kOk;
}

Status Filter32f(Along along, ConstImageView src, ImageView dst, const float* kernel,
                 int32_t length, int32_t anchor, int32_t channels, int32_t copiedChannel) {
  if (Status s = CheckArguments(src, dst, channels, kernel, length, anchor, 1, copiedChannel);
      s != kOk) {
    return s;
  }
  const Size size = MinSize(src.Extent(), dst.Extent());
  const int32_t values = size.width * channels;
  const bool vector = !UseReferenceKernels();
  Trapezoid shape;
  double scale = 0.0;
  const bool running = length > kLongestDirect32f && FindTrapezoid(kernel, length, &shape, &scale);
  const auto finish = [scale](double sum) { return static_cast<float>(sum * scale); };
  const ptrdiff_t pixel = channels * static_cast<ptrdiff_t>(sizeof(float));
  if (along == Along::kRows) {
    const int32_t group = kFloatRowLine / channels;
    if (running && vector && length <= kRingLongestKernel) {
      for (int32_t y = 0; y < size.height; y += group) {
        const float* in[kFloatRowLine];
        float* out[kFloatRowLine];
        for (int32_t r = 0; r < group; ++r) {
          const int32_t row = std::min(y + r, size.height - 1);
          in[r] = src.Row<const float>(row) - anchor * channels;
          out[r] = dst.Row<float>(row);
        }
        vector::TrapezoidRows32f(in, out, channels, size.width, shape, scale);
      }
    } else {
      for (int32_t y = 0; y < size.height; ++y) {
        const float* first = src.Row<const float>(y) - anchor * channels;
        float* out = dst.Row<float>(y);
        if (running) {
          RunningTrapezoid<float, double>(first, pixel, out, pixel, channels, size.width, shape,
                                          finish);
        } else if (vector) {
          vector::ConvolveLine32f(first, pixel, kernel, length, out, values);
        } else {
          ConvolveLine32f(first, pixel, kernel, length, out, values);
        }
      }
    }
  } else if (running) {
    const float* first = src.Row<const float>(-anchor);
    float* out = dst.Row<float>(0);
    if (vector) {
      vector::TrapezoidColumns32f(first, src.pitch, out, dst.pitch, values, size.height, shape,
                                  scale);
    } else {
      RunningTrapezoid<float, double>(first, src.pitch, out, dst.pitch, values, size.height, shape,
                                      finish);
    }
  } else {
    for (int32_t y = 0; y < size.height; ++y) {
      const float* first = src.Row<const float>(y - anchor);
      if (vector) {
        vector::ConvolveLine32f(first, src.pitch, kernel, length, dst.Row<float>(y), values);
      } else {
        ConvolveLine32f(first, src.pitch, kernel, length, dst.Row<float>(y), values);
      }
    }
  }
  if (channels == 4 && copiedChannel != kFilterAllChannels) {
    CopyChannel32f(src, dst, size, copiedChannel);
  }
  return kOk;
}

}  // namespace

Status RowFilter8u_C4(ConstImageView src, ImageView dst, const int32_t* kernel, int32_t length,
                      int32_t anchor, int32_t divisor, int32_t copiedChannel) {
  return Filter8u(Along::kRows, src, dst, kernel, length, anchor, divisor, 4, copiedChannel);
}

Status RowFilter8u_C1(ConstImageView src, ImageView dst, const int32_t* kernel, int32_t length,
                      int32_t anchor, int32_t divisor) {
  return Filter8u(Along::kRows, src, dst, kernel, length, anchor, divisor, 1, kFilterAllChannels);
}

Status RowFilter32f_C4(ConstImageView src, ImageView dst, const float* kernel, int32_t length,
                       int32_t anchor, int32_t copiedChannel) {
  return Filter32f(Along::kRows, src, dst, kernel, length, anchor, 4, copiedChannel);
}

Status RowFilter32f_C1(ConstImageView src, ImageView dst, const float* kernel, int32_t length,
                       int32_t anchor) {
  return Filter32f(Along::kRows, src, dst, kernel, length, anchor, 1, kFilterAllChannels);
}

Status ColumnFilter8u_C4(ConstImageView src, ImageView dst, const int32_t* kernel, int32_t length,
                         int32_t anchor, int32_t divisor, int32_t copiedChannel) {
  return Filter8u(Along::kColumns, src, dst, kernel, length, anchor, divisor, 4, copiedChannel);
}

Status ColumnFilter8u_C1(ConstImageView src, ImageView dst, const int32_t* kernel, int32_t length,
                         int32_t anchor, int32_t divisor) {
  return Filter8u(Along::kColumns, src, dst, kernel, length, anchor, divisor, 1,
                  kFilterAllChannels);
}

Status ColumnFilter32f_C4(ConstImageView src, ImageView dst, const float* kernel, int32_t length,
                          int32_t anchor, int32_t copiedChannel) {
  return Filter32f(Along::kColumns, src, dst, kernel, length, anchor, 4, copiedChannel);
}

Status ColumnFilter32f_C1(ConstImageView src, ImageView dst, const float* kernel, int32_t length,
                          int32_t anchor) {
  return Filter32f(Along::kColumns, src, dst, kernel, length, anchor, 1, kFilterAllChannels);
}

namespace {

// The trapezoid and the division of a kernel that the transposed column filter takes.
bool TransposedShape(const int32_t* kernel, int32_t length, int32_t divisor, Trapezoid* shape,
                     int32_t* scale, ByteDivision* division) {
  if (kernel == nullptr || length <= kLongestDirect8u || divisor < 1 || UseReferenceKernels() ||
      !FindTrapezoid(kernel, length, shape, scale) || *scale < 1) {
    return false;
  }
  // The sums, all of positive weights, stay within the 32-bit bounds of the vector code.
  const int64_t magnitude = int64_t{*scale} * shape->shortBox * shape->longBox;
  if (255 * magnitude + divisor >= (int64_t{1} << 30)) return false;
  *division = MakeByteDivision(divisor);
  division->inRange = 255 * magnitude + division->half <= division->limit;
  return true;
}

bool TransposedShape32f(const float* kernel, int32_t length, Trapezoid* shape, double* scale) {
  return kernel != nullptr && length > kLongestDirect32f && !UseReferenceKernels() &&
         FindTrapezoid(kernel, length, shape, scale);
}

// What both transposed filters refuse.
bool BadTransposedArguments(const void* rows, int32_t width, int32_t height, ImageView dst,
                            int32_t length, int32_t anchor, int32_t copiedChannel) {
  return rows == nullptr || CheckView(dst) != kOk || width < 1 || height < 1 ||
         dst.width < height || dst.height < width || anchor < 0 || anchor >= length ||
         copiedChannel < kFilterAllChannels || copiedChannel > 3 ||
         int64_t{height} + length > INT32_MAX;
}

}  // namespace

bool TakesTransposedColumnFilter8u(const int32_t* kernel, int32_t length, int32_t divisor) {
  Trapezoid shape;
  int32_t scale = 0;
  ByteDivision division;
  return TransposedShape(kernel, length, divisor, &shape, &scale, &division);
}

bool TransposedColumnFilter8u_C4(const uint8_t* const* rows, int32_t width, int32_t height,
                                 ImageView dst, const int32_t* kernel, int32_t length,
                                 int32_t anchor, int32_t divisor, int32_t copiedChannel) {
  Trapezoid shape;
  int32_t scale = 0;
  ByteDivision division;
  if (BadTransposedArguments(rows, width, height, dst, length, anchor, copiedChannel) ||
      !TransposedShape(kernel, length, divisor, &shape, &scale, &division)) {
    return false;
  }
  vector::TrapezoidColumnsTransposed8u(rows, width, height, dst.data, dst.pitch, shape, scale,
                                       division, anchor, copiedChannel);
  return true;
}

bool TakesTransposedColumnFilter32f(const float* kernel, int32_t length) {
  Trapezoid shape;
  double scale = 0.0;
  return TransposedShape32f(kernel, length, &shape, &scale);
}

bool TransposedColumnFilter32f_C4(const uint8_t* const* rows, int32_t width, int32_t height,
                                  ImageView dst, const float* kernel, int32_t length,
                                  int32_t anchor, int32_t copiedChannel) {
  Trapezoid shape;
  double scale = 0.0;
  if (BadTransposedArguments(rows, width, height, dst, length, anchor, copiedChannel) ||
      !TransposedShape32f(kernel, length, &shape, &scale)) {
    return false;
  }
  vector::TrapezoidColumnsTransposed32f(rows, width, height, dst.data, dst.pitch, shape, scale,
                                        anchor, copiedChannel);
  return true;
}

}  // namespace vitrella::kernels
