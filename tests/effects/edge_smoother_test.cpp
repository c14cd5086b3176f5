// Edge Smoother against a literal reading of its rules, on every host format and both
// orientations, plus the identities and refusals a host relies on.
#include "effects/edge_smoother.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <vector>

#include "common/effect_checks.h"
#include "common/fake_host.h"
#include "common/test_frame.h"

namespace vitrella {
namespace {

using testing::FakeHost;
using testing::TestFrame;

// ---- A literal reading of the step search, on a plain picture in memory-row order ----

using Rgb = std::array<int, 3>;

struct Picture {
  int w, h;
  std::vector<Rgb> px;
  Rgb& At(int x, int y) { return px[static_cast<size_t>(y) * w + x]; }
};

Picture Reference(Picture src, int threshold, bool show, bool soften) {
  const int W = src.w;
  const int H = src.h;
  // Reads outside the picture repeat the nearest edge pixel, as the bordered copy does.
  auto S = [&](int x, int y) { return src.At(std::clamp(x, 0, W - 1), std::clamp(y, 0, H - 1)); };
  auto match = [&](const Rgb& a, const Rgb& b) {
    for (int i = 0; i < 3; ++i) {
      if (std::abs(a[i] - b[i]) > threshold) return false;
    }
    return true;
  };
  auto differsAll = [&](const Rgb& a, const Rgb& b) {
    for (int i = 0; i < 3; ++i) {
      if (std::abs(a[i] - b[i]) <= threshold) return false;
    }
    return true;
  };
  auto blurred = [&](int x, int y) {
    Rgb out{};
    for (int i = 0; i < 3; ++i) {
      int sum = 0;
      const int k[3] = {1, 2, 1};
      for (int dy = -1; dy <= 1; ++dy) {
        for (int dx = -1; dx <= 1; ++dx)
          sum += k[dx + 1] * k[dy + 1] * S(x + dx, y + dy)[i];
      }
      out[i] = (sum + ((sum >> 4) & 1) + 7) >> 4;
    }
    return out;
  };
  Picture dst = src;
  auto mark = [&](int x, int y) { dst.At(x, y) = show ? Rgb{255, 0, 255} : blurred(x, y); };
  auto runs = [](const bool* centre, const bool* side, int a, int b, int step) {
    int n = 0;
    for (int i = a; i != b + step; i += step) {
      if (centre[i] || !side[i]) break;
      ++n;
    }
    return n;
  };

  Rgb P{0, 0, 0};
  for (int x = 1; x <= W - 2; ++x) {
    for (int y = 3; y < H - 3;) {
      const Rgb Q = S(x, y);
      if (match(Q, P)) {
        ++y;
        continue;
      }
      bool left[6], centre[6], right[6];
      for (int i = 0; i < 6; ++i) {
        const Rgb& ref = i < 3 ? P : Q;
        left[i] = !match(S(x - 1, y - 3 + i), ref);
        centre[i] = !match(S(x, y - 3 + i), ref);
        right[i] = !match(S(x + 1, y - 3 + i), ref);
      }
      int U = std::max(runs(centre, left, 2, 0, -1), runs(centre, right, 2, 0, -1));
      int D = std::max(runs(centre, left, 3, 5, 1), runs(centre, right, 3, 5, 1));
      if (U && D) {
        for (int i = 1; i <= U; ++i)
          mark(x, y - i);
        for (int i = 0; i < D; ++i)
          mark(x, y + i);
      } else {
        U = D = 0;
        if (soften && !match(S(x - 1, y), P) && !differsAll(S(x - 1, y - 1), P) &&
            !match(S(x + 1, y), P) && !differsAll(S(x + 1, y - 1), P)) {
          mark(x - 1, y - 1);
          mark(x, y - 1);
          mark(x + 1, y - 1);
        }
      }
      if (D == 0) {
        P = Q;
        y += 1;
      } else {
        P = S(x + D - 1, y);
        y += D + 1;
      }
    }
  }
  for (int y = 1; y <= H - 2; ++y) {
    for (int x = 3; x < W - 3;) {
      const Rgb Q = S(x, y);
      if (match(Q, P)) {
        ++x;
        continue;
      }
      bool left[6], centre[6], right[6];
      for (int i = 0; i < 6; ++i) {
        const Rgb& ref = i < 3 ? P : Q;
        left[i] = !match(S(x - 3 + i, y - 1), ref);
        centre[i] = !match(S(x - 3 + i, y), ref);
        right[i] = !match(S(x - 3 + i, y + 1), ref);
      }
      int U = std::max(runs(centre, left, 2, 0, -1), runs(centre, right, 2, 0, -1));
      int D = std::max(runs(centre, left, 3, 5, 1), runs(centre, right, 3, 5, 1));
      if (U && D) {
        for (int i = 1; i <= U; ++i)
          mark(x - i, y);
        for (int i = 0; i < D; ++i)
          mark(x + i, y);
      } else {
        U = D = 0;
        if (soften && !match(S(x, y - 1), P) && !differsAll(S(x - 1, y - 1), P) &&
            !match(S(x, y + 1), P) && !differsAll(S(x - 1, y + 1), P)) {
          mark(x - 1, y - 1);
          mark(x - 1, y);
          mark(x - 1, y + 1);
        }
      }
      if (D == 0) {
        P = Q;
        x += 1;
      } else {
        P = S(x + D - 1, y);
        x += D + 1;
      }
    }
  }
  return dst;
}

// ---- Frames and rendering ----

// Pictures of hard-edged shapes in a few colours, whose channel differences are 0 or at
// least 64, so that byte and float frames meet the same decisions.
Picture BlockyPicture(int w, int h, uint32_t seed) {
  std::mt19937 random(seed);
  const int levels[4] = {0, 64, 128, 255};
  auto colour = [&] {
    return Rgb{levels[random() % 4], levels[random() % 4], levels[random() % 4]};
  };
  Picture p{w, h, std::vector<Rgb>(static_cast<size_t>(w) * h, colour())};
  for (int shape = 0; shape < 6; ++shape) {
    const Rgb c = colour();
    const int x0 = static_cast<int>(random() % w);
    const int y0 = static_cast<int>(random() % h);
    const int slope = static_cast<int>(random() % 3);  // 0 a box, else a staircase
    for (int y = y0; y < h; ++y) {
      for (int x = x0; x < w; ++x) {
        if (slope == 0 ? (x < x0 + w / 3 && y < y0 + h / 3) : (x - x0) * slope <= (y - y0) * 2) {
          p.At(x, y) = c;
        }
      }
    }
  }
  return p;
}

// Blocks with one pixel in three of another level: most pixels differ from a neighbour.
// Above them two dark rows and a middle gray one: at the default strength the second row
// never leaves a running colour of black, which the search starts from, and the third
// matches the dark but not black.
Picture SpeckledPicture(int w, int h, uint32_t seed) {
  Picture p = BlockyPicture(w, h, seed);
  std::mt19937 random(seed + 1);
  for (Rgb& px : p.px) {
    if (random() % 3 == 0) px[random() % 3] = static_cast<int>(random() % 4) * 64;
  }
  for (int x = 0; x < w; ++x) {
    p.At(x, 0) = p.At(x, 1) = Rgb{40, 40, 40};
    p.At(x, 2) = Rgb{120, 120, 120};
  }
  return p;
}

// The frame's memory row m holds picture row m, whatever the orientation.
int HostRowOf(const TestFrame& f, int m, bool bottomUp) {
  return bottomUp ? f.Height() - 1 - m : m;
}

void Store(TestFrame& f, const Picture& p, bool bottomUp, int alphaSeed) {
  std::mt19937 random(alphaSeed);
  for (int m = 0; m < p.h; ++m) {
    for (int x = 0; x < p.w; ++x) {
      const Rgb& c = p.px[static_cast<size_t>(m) * p.w + x];
      f.SetRgba(x, HostRowOf(f, m, bottomUp), c[0], c[1], c[2], static_cast<int>(random() % 256));
    }
  }
}

std::vector<ParamValue> Params(float strength, bool show, bool soften) {
  CEdgeSmoother* effect = new CEdgeSmoother();
  std::vector<ParamValue> values = testing::EffectValues(effect);
  auto at = [&](const char* label) -> ParamValue& {
    return values[static_cast<size_t>(testing::ParamIndex(effect, label))];
  };
  at("Strength").slider = strength;
  at("Show changed pixels").check = show ? 1 : 0;
  at("Soften straight lines").check = soften ? 1 : 0;
  effect->Release();
  return values;
}

bool Render(TestFrame& src, TestFrame& dst, const std::vector<ParamValue>& params,
            bool lendAllocator = false) {
  FakeHost host(params);
  host.lendAllocator = lendAllocator;
  const RenderInfo info = testing::WholeFrameInfo();
  CEdgeSmoother* effect = new CEdgeSmoother();
  const bool ok = effect->Render(&host, src.Host(), 0, dst.Host(), &info);
  effect->Release();
  return ok;
}

struct Case {
  PixelFormat format;
  bool bottomUp;
};
void PrintTo(const Case& c, std::ostream* out) {
  *out << "format " << c.format << (c.bottomUp ? " bottom-up" : " top-down");
}

class EdgeSmootherFormats : public ::testing::TestWithParam<Case> {};

TEST_P(EdgeSmootherFormats, FollowsTheStepRulesExactly) {
  const auto [format, bottomUp] = GetParam();
  const bool isFloat = IsFloatFormat(format);
  const ChannelPlaces ch = ChannelPlacesOf(format);
  struct Setting {
    float strength;
    int threshold;
  };
  int changed = 0;
  for (const Setting s : {Setting{0.605f, 100}, Setting{0.9f, 25}, Setting{1.0f, 0}}) {
    for (int flags = 0; flags < 4; ++flags) {
      const bool show = flags & 1;
      const bool soften = flags & 2;
      // The last picture changes at most pixels, which the search meets with rows of bits.
      for (auto [w, h] : {std::pair{23, 17}, std::pair{7, 7}, std::pair{3, 9}, std::pair{40, 12},
                          std::pair{90, 50}}) {
        const auto seed = static_cast<uint32_t>(w * 131 + h + flags);
        const Picture picture = w == 90 ? SpeckledPicture(w, h, seed) : BlockyPicture(w, h, seed);
        TestFrame src(w, h, format, 8, bottomUp);
        TestFrame dst(w, h, format, 4, bottomUp);
        Store(src, picture, bottomUp, 9);
        ASSERT_TRUE(Render(src, dst, Params(s.strength, show, soften)));
        const Picture expected = Reference(picture, s.threshold, show, soften);
        changed += expected.px != picture.px;
        for (int m = 0; m < h; ++m) {
          const int y = HostRowOf(src, m, bottomUp);
          for (int x = 0; x < w; ++x) {
            const Rgb& want = expected.px[static_cast<size_t>(m) * w + x];
            const float scale = isFloat ? 255.0f : 1.0f;
            const long got[3] = {std::lround(dst.Get(x, y, ch.red) * scale),
                                 std::lround(dst.Get(x, y, ch.green) * scale),
                                 std::lround(dst.Get(x, y, ch.blue) * scale)};
            for (int i = 0; i < 3; ++i) {
              // Float frames blur in floats, bytes round to a whole level.
              ASSERT_NEAR(got[i], want[i], isFloat ? 1 : 0)
                  << "strength " << s.strength << " show " << show << " soften " << soften
                  << " size " << w << "x" << h << " at " << x << "," << m << " channel " << i;
            }
            ASSERT_EQ(dst.Get(x, y, ch.alpha), src.Get(x, y, ch.alpha));
          }
        }
        ASSERT_TRUE(dst.OutsideUntouched());
      }
    }
  }
  EXPECT_GT(changed, 8) << "the pictures must give the search something to do";
}

TEST_P(EdgeSmootherFormats, StrengthZeroReturnsTheSourceBitForBit) {
  const auto [format, bottomUp] = GetParam();
  TestFrame src(37, 29, format, 12, bottomUp);
  TestFrame dst(37, 29, format, 0, bottomUp);
  src.FillRandom(5);
  for (bool show : {false, true}) {
    for (bool soften : {false, true}) {
      ASSERT_TRUE(Render(src, dst, Params(0.0f, show, soften)));
      EXPECT_EQ(dst.Pixels(), src.Pixels());
    }
  }
  EXPECT_TRUE(dst.OutsideUntouched());
}

TEST_P(EdgeSmootherFormats, FlatFramesStayFlatAtEveryStrength) {
  const auto [format, bottomUp] = GetParam();
  for (const Rgb colour : {Rgb{37, 200, 90}, Rgb{0, 0, 0}, Rgb{0, 255, 128}}) {
    TestFrame src(20, 16, format, 0, bottomUp);
    for (int y = 0; y < 16; ++y) {
      for (int x = 0; x < 20; ++x)
        src.SetRgba(x, y, colour[0], colour[1], colour[2], 77);
    }
    TestFrame dst(20, 16, format, 0, bottomUp);
    for (float strength : {0.0f, 0.3f, 0.605f, 1.0f}) {
      for (bool soften : {false, true}) {
        ASSERT_TRUE(Render(src, dst, Params(strength, false, soften)));
        EXPECT_EQ(dst.Pixels(), src.Pixels()) << strength;
      }
    }
  }
}

TEST_P(EdgeSmootherFormats, FramesTooSmallForAPassComeBackUnchanged) {
  const auto [format, bottomUp] = GetParam();
  for (auto [w, h] : {std::pair{2, 20}, std::pair{20, 2}, std::pair{6, 6}, std::pair{1, 1}}) {
    TestFrame src(w, h, format, 0, bottomUp);
    TestFrame dst(w, h, format, 0, bottomUp);
    src.FillRandom(w * 10 + h);
    ASSERT_TRUE(Render(src, dst, Params(1.0f, true, true)));
    EXPECT_EQ(dst.Pixels(), src.Pixels()) << w << "x" << h;
  }
}

TEST_P(EdgeSmootherFormats, MarksAOnePixelStairAlongItsDiagonalOnly) {
  const auto [format, bottomUp] = GetParam();
  const ChannelPlaces ch = ChannelPlacesOf(format);
  const float full = IsFloatFormat(format) ? 1.0f : 255.0f;
  const int n = 32;
  TestFrame src(n, n, format, 0, bottomUp);
  for (int y = 0; y < n; ++y) {
    for (int x = 0; x < n; ++x)
      src.SetRgba(x, y, x > y ? 255 : 0, x > y ? 255 : 0, x > y ? 255 : 0, 200);
  }
  TestFrame dst(n, n, format, 0, bottomUp);
  ASSERT_TRUE(Render(src, dst, Params(1.0f, true, false)));
  int marks = 0;
  for (int y = 0; y < n; ++y) {
    for (int x = 0; x < n; ++x) {
      const bool magenta = dst.Get(x, y, ch.red) == full && dst.Get(x, y, ch.green) == 0 &&
                           dst.Get(x, y, ch.blue) == full;
      if (!magenta) continue;
      ++marks;
      EXPECT_LE(std::abs(x - y), 1) << "a mark off the stair at " << x << "," << y;
      EXPECT_EQ(dst.Get(x, y, ch.alpha), src.Get(x, y, ch.alpha)) << "alpha is never marked";
    }
  }
  EXPECT_GT(marks, n / 2);
}

INSTANTIATE_TEST_SUITE_P(
    AllHostFormats, EdgeSmootherFormats,
    ::testing::Values(Case{PixelFormat8BGRA, false}, Case{PixelFormat8BGRA, true},
                      Case{PixelFormat8ARGB, false}, Case{PixelFormat8ARGB, true},
                      Case{PixelFormat32FBGRA, false}, Case{PixelFormat32FBGRA, true},
                      Case{PixelFormat32FARGB, false}, Case{PixelFormat32FARGB, true}),
    [](const ::testing::TestParamInfo<Case>& param) {
      return std::string("Format") + std::to_string(param.param.format) +
             (param.param.bottomUp ? "BottomUp" : "TopDown");
    });

TEST(EdgeSmoother, AlphaIsNeverWrittenEvenWhereChangesShow) {
  TestFrame src(30, 30, PixelFormat8ARGB);
  TestFrame dst(30, 30, PixelFormat8ARGB);
  src.FillRandom(17);
  ASSERT_TRUE(Render(src, dst, Params(1.0f, true, true)));
  int changed = 0;
  for (int y = 0; y < 30; ++y) {
    for (int x = 0; x < 30; ++x) {
      EXPECT_EQ(dst.Get(x, y, 0), src.Get(x, y, 0));
      changed += dst.Get(x, y, 2) == 0 && dst.Get(x, y, 1) == 255 && dst.Get(x, y, 3) == 255;
    }
  }
  EXPECT_GT(changed, 0);
}

TEST(EdgeSmoother, RendersInPlaceAsIfTheSourceWereApart) {
  TestFrame apart(25, 19, PixelFormat8BGRA);
  Store(apart, BlockyPicture(25, 19, 3), false, 1);
  TestFrame same(25, 19, PixelFormat8BGRA);
  Store(same, BlockyPicture(25, 19, 3), false, 1);
  TestFrame out(25, 19, PixelFormat8BGRA);
  ASSERT_TRUE(Render(apart, out, Params(0.9f, false, true)));
  ASSERT_TRUE(Render(same, same, Params(0.9f, false, true)));
  EXPECT_EQ(same.Pixels(), out.Pixels());
}

TEST(EdgeSmoother, WorksOnTheCommonAreaOfUnequalFrames) {
  TestFrame src(30, 20, PixelFormat8BGRA);
  src.FillRandom(2);
  TestFrame dst(40, 12, PixelFormat8BGRA);
  const std::vector<uint8_t> before = dst.Pixels();
  ASSERT_TRUE(Render(src, dst, Params(0.0f, false, false)));
  for (int y = 0; y < 12; ++y) {
    for (int x = 0; x < 40; ++x) {
      for (int c = 0; c < 4; ++c) {
        const float want = x < 30 ? src.Get(x, y, c) : before[(y * 40 + x) * 4 + c];
        ASSERT_EQ(dst.Get(x, y, c), want) << x << "," << y;
      }
    }
  }
}

TEST(EdgeSmoother, TakesScratchMemoryFromTheHostAndGivesItBack) {
  TestFrame src(16, 16, PixelFormat32FBGRA);
  TestFrame dst(16, 16, PixelFormat32FBGRA);
  src.FillRandom(8);
  FakeHost host(Params(0.7f, false, true));
  host.lendAllocator = true;
  const RenderInfo info = testing::WholeFrameInfo();
  auto* effect = new CEdgeSmoother();
  // The bordered copy of the source, its transposed copy, a row of blurred pixels and, on
  // a random frame where most rows change, the row each is put together in; odd pitches
  // from the host change nothing.
  ASSERT_TRUE(effect->Render(&host, src.Host(), 0, dst.Host(), &info));
  EXPECT_EQ(host.allocator.allocations, 4);
  EXPECT_EQ(host.allocator.frees, 4);
  TestFrame bytes(16, 16, PixelFormat8BGRA);
  bytes.FillRandom(9);
  TestFrame even(16, 16, PixelFormat8BGRA);
  TestFrame odd(16, 16, PixelFormat8BGRA);
  ASSERT_TRUE(effect->Render(&host, bytes.Host(), 0, even.Host(), &info));
  host.allocator.pitchPadding = 13;
  ASSERT_TRUE(effect->Render(&host, bytes.Host(), 0, odd.Host(), &info));
  EXPECT_EQ(odd.Pixels(), even.Pixels());
  EXPECT_EQ(host.allocator.allocations, host.allocator.frees);
  host.allocator.failAll = true;
  EXPECT_FALSE(effect->Render(&host, src.Host(), 0, dst.Host(), &info));
  effect->Release();
}

// The calls every effect refuses are the suite's; this one is Edge Smoother's own.
TEST(EdgeSmoother, RefusesFramesOfTwoFormats) {
  TestFrame src(8, 8, PixelFormat8BGRA);
  TestFrame floats(8, 8, PixelFormat32FBGRA);
  EXPECT_FALSE(Render(src, floats, Params(0.5f, false, false)));
  EXPECT_TRUE(floats.OutsideUntouched());
}

TEST(EdgeSmoother, OutOfRangeStrengthsAreHeldToTheSlider) {
  TestFrame src(20, 20, PixelFormat8BGRA);
  src.FillRandom(4);
  TestFrame clamped(20, 20, PixelFormat8BGRA);
  TestFrame edge(20, 20, PixelFormat8BGRA);
  ASSERT_TRUE(Render(src, clamped, Params(7.5f, false, true)));
  ASSERT_TRUE(Render(src, edge, Params(1.0f, false, true)));
  EXPECT_EQ(clamped.Pixels(), edge.Pixels());
  ASSERT_TRUE(Render(src, clamped, Params(std::numeric_limits<float>::quiet_NaN(), false, true)));
  EXPECT_EQ(clamped.Pixels(), src.Pixels()) << "NaN reads as strength 0";
}

}  // namespace
}  // namespace vitrella
