// The checks that every effect joins, with one line in kEffects below: every preset on
// every format and memory layout, bad calls, golden hashes of pictures made here on every
// kernel path, and a clip rendered through one instance on several threads, as the
// reference host renders it, frame for frame the same as each frame rendered alone.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "common/clip_host.h"
#include "common/effect_checks.h"
#include "common/fake_host.h"
#include "common/kernel_variants.h"
#include "common/test_frame.h"
#include "effects/auto_contrast.h"
#include "effects/diffusion.h"
#include "effects/dual_booster.h"
#include "effects/edge_smoother.h"
#include "effects/gradient_tint.h"
#include "effects/image_mapper.h"
#include "effects/proportion_helper.h"
#include "effects/rolling_shutter.h"
#include "effects/split_screen.h"
#include "effects/spotlight.h"
#include "vitrella/pixel_format.h"

namespace vitrella::testing {
namespace {

// Settings whose picture is pinned by a golden hash: a built-in preset and how the host
// describes the frame.
struct GoldenSetting {
  const char* preset;
  uint16_t fieldMode = kFieldModeFrame;
  double pixelAspect = 0.0;  // 0: the host gives none

  std::string Label() const {
    std::string label = preset;
    if (fieldMode != kFieldModeFrame) label += ", field " + std::to_string(fieldMode);
    if (pixelAspect > 0.0) label += ", aspect " + std::to_string(pixelAspect).substr(0, 4);
    return label;
  }
  RenderInfo Info() const {
    RenderInfo info = WholeFrameInfo();
    info.fieldMode = fieldMode;
    if (pixelAspect > 0.0) {
      info.infoFlags |= kInfoPixelAspectValid;
      info.pixelAspect = pixelAspect;
    }
    return info;
  }
};

struct EffectCase {
  std::string name;
  IVideoEffect* (*make)();
  // The first setting also renders the threaded clip.
  std::vector<GoldenSetting> goldens;
};

template <typename Effect>
EffectCase Case(std::string name, std::vector<GoldenSetting> goldens) {
  return {std::move(name), []() -> IVideoEffect* { return new Effect(); }, std::move(goldens)};
}

// Every effect, one line each.
const EffectCase kEffects[] = {
    Case<CAutoContrast>("Auto Contrast",
                        {{"Big Boost"}, {"Stark Gray"}, {"Flat"}, {"Reset to None"}}),
    Case<CDiffusionFilter>("Diffusion", {{"Blacklight Night"},
                                         {"Toxic Crush", 2},
                                         {"Crimson Aura", kFieldModeFrame, 1.4587},
                                         {"Rich Sunlight"}}),
    Case<CDualBooster>("Dual Booster",
                       {{"Add Pop"}, {"Negatron"}, {"Monochrome Madness"}, {"Reset to None"}}),
    Case<CEdgeSmoother>(
        "Edge Smoother",
        {{"Font Smoothing - Strong"}, {"Smooth SD to HD Upres"}, {"Font Smoothing - Weak"}}),
    Case<CGradientTint>("Gradient Tint", {{"Bluer Skies"},
                                          {"Desert Victory"},
                                          {"Faux 3D Glasses", 2},
                                          {"Fading Film 3", kFieldModeFrame, 1.4587},
                                          {"Technicolor Divide", 1, 0.9}}),
    Case<CImageMapper>("Image Mapper", {{"Apparition"},
                                        {"Windswept Paper", 2},
                                        {"Claw", kFieldModeFrame, 1.4587},
                                        {"Off"},
                                        {"Hirozintal Streaks"}}),
    Case<PropHelper>("Proportion Helper", {{"Golden Spiral"},
                                           {"Diagonals", 2},
                                           {"Golden Triangles", kFieldModeFrame, 1.4587},
                                           {"Rule of Thirds", 1, 0.9},
                                           {"Spiral Sections"}}),
    Case<CRollingShutterFixer>("Rolling Shutter", {{"Reset to None"}}),
    Case<CSplitScreen>("Split Screen", {{"Red Laser"},
                                        {"Left Half"},
                                        {"Pink Dynamo", 2},
                                        {"Diagonal Dynamic", kFieldModeFrame, 1.4587},
                                        {"Close Up"}}),
    Case<CSpotlight>("Spotlight", {{"Classic Portrait"},
                                   {"Isolate", 2},
                                   {"Swamp Alien Eye", kFieldModeFrame, 1.4587},
                                   {"Sword Slice", 1, 0.9},
                                   {"Blurred Spot"},
                                   {"Glowing Orb", 2},
                                   {"Lava Lamp", kFieldModeFrame, 0.7},
                                   {"Home  Movies"}}),
};

std::string FormatLabel(PixelFormat format) {
  switch (format) {
    case PixelFormat8BGRA:
      return "bgra8";
    case PixelFormat8ARGB:
      return "argb8";
    case PixelFormat32FBGRA:
      return "bgra32f";
    default:
      return "argb32f";
  }
}

class EffectSuite : public ::testing::TestWithParam<EffectCase> {
 protected:
  void SetUp() override {
    effect_ = GetParam().make();
    ASSERT_NE(effect_, nullptr);
    ASSERT_EQ(GetParam().name, effect_->GetEffectName());
  }
  void TearDown() override {
    if (effect_ != nullptr) effect_->Release();
  }

  std::vector<ParamValue> Values(const char* preset) const {
    return EffectValues(effect_, PresetIndex(effect_, preset));
  }

  // One render through a host of its own instance key, so that no cache of an earlier
  // render is met.
  bool Render(IVideoEffect* effect, const std::vector<ParamValue>& values, TestFrame& src,
              TestFrame& dst, const RenderInfo& info) {
    ClipHost host(values, false);
    return effect->Render(&host, src.Host(), 0, dst.Host(), &info);
  }

  IVideoEffect* effect_ = nullptr;
};

TEST_P(EffectSuite, EveryPresetRendersOnEveryFormatAndLayoutWithinItsFrames) {
  const RenderInfo info = WholeFrameInfo();
  for (uint32_t preset = 0; const char* name = effect_->GetPresetName(preset); ++preset) {
    const std::vector<ParamValue> values = EffectValues(effect_, static_cast<int>(preset));
    for (PixelFormat format : kHostFormats) {
      // Odd sizes, padded pitch; rows top first with `flipped` clear and bottom first
      // (negative pitch) with `flipped` set.
      for (bool bottomUp : {false, true}) {
        SCOPED_TRACE(std::string(name) + ", " + FormatLabel(format) +
                     (bottomUp ? ", bottom up" : ", top down"));
        TestFrame src(37, 23, format, 12, bottomUp);
        TestFrame dst(37, 23, format, 8, bottomUp);
        src.Host()->flipped = dst.Host()->flipped = bottomUp ? 1 : 0;
        FillSynthetic(src, preset);
        const std::vector<uint8_t> before = src.Pixels();
        ASSERT_TRUE(Render(effect_, values, src, dst, info));
        EXPECT_EQ(src.Pixels(), before) << "the source changed";
        EXPECT_TRUE(src.OutsideUntouched());
        EXPECT_TRUE(dst.OutsideUntouched()) << "written outside the destination";
      }
    }
  }
  // Frames of other sizes: only the common extent is rendered, and nothing outside either.
  for (PixelFormat format : kHostFormats) {
    for (auto [sw, sh, dw, dh] : {std::array{29, 17, 21, 25}, std::array{1, 1, 1, 1}}) {
      SCOPED_TRACE(FormatLabel(format) + " " + std::to_string(sw) + "x" + std::to_string(sh));
      TestFrame src(sw, sh, format, 4);
      TestFrame dst(dw, dh, format, 4);
      FillSynthetic(src, 3);
      const std::vector<uint8_t> before = src.Pixels();
      Render(effect_, EffectValues(effect_), src, dst, info);  // a render may refuse a 1x1 frame
      EXPECT_EQ(src.Pixels(), before);
      EXPECT_TRUE(dst.OutsideUntouched());
    }
  }
}

TEST_P(EffectSuite, BadCallsFailAndLeaveTheDestinationAlone) {
  const std::vector<ParamValue> values = EffectValues(effect_);
  ClipHost host(values, false);
  const RenderInfo info = WholeFrameInfo();
  TestFrame src(9, 7, PixelFormat8BGRA);
  FillSynthetic(src, 1);
  TestFrame dst(9, 7, PixelFormat8BGRA);
  TestFrame gray(9, 7, PixelFormat8Gray);
  const std::vector<uint8_t> untouched = dst.Pixels();
  EXPECT_FALSE(effect_->Render(nullptr, src.Host(), 0, dst.Host(), &info));
  EXPECT_FALSE(effect_->Render(&host, nullptr, 0, dst.Host(), &info));
  EXPECT_FALSE(effect_->Render(&host, src.Host(), 0, nullptr, &info));
  EXPECT_FALSE(effect_->Render(&host, src.Host(), 0, dst.Host(), nullptr));
  EXPECT_FALSE(effect_->Render(&host, gray.Host(), 0, dst.Host(), &info));
  EXPECT_FALSE(effect_->Render(&host, src.Host(), 0, gray.Host(), &info));
  HostFrame empty = *src.Host();
  empty.width = 0;
  EXPECT_FALSE(effect_->Render(&host, &empty, 0, dst.Host(), &info));
  HostFrame noPixels = *src.Host();
  noPixels.data = nullptr;
  EXPECT_FALSE(effect_->Render(&host, &noPixels, 0, dst.Host(), &info));
  HostFrame wrongSize = *src.Host();
  wrongSize.pixelBytes = 16;  // a byte format that claims float pixels
  EXPECT_FALSE(effect_->Render(&host, &wrongSize, 0, dst.Host(), &info));
  HostFrame shortRows = *src.Host();
  shortRows.pitch = 4;  // shorter than a row
  EXPECT_FALSE(effect_->Render(&host, &shortRows, 0, dst.Host(), &info));
  EXPECT_EQ(dst.Pixels(), untouched);
  EXPECT_TRUE(dst.OutsideUntouched());
}

// A picture made here, rendered with each golden setting on each format and on every
// kernel path: all paths give the same bytes, and those bytes are the stored ones.
TEST_P(EffectSuite, GoldenPicturesOnEveryKernelPath) {
  GoldenHashes goldens;
  for (const GoldenSetting& setting : GetParam().goldens) {
    const std::vector<ParamValue> values = Values(setting.preset);
    const RenderInfo info = setting.Info();
    for (PixelFormat format : kHostFormats) {
      const std::string key =
          GetParam().name + " | " + setting.Label() + " | " + FormatLabel(format);
      SCOPED_TRACE(key);
      TestFrame src(61, 47, format, 8);
      FillSynthetic(src, 11);
      std::vector<uint64_t> hashes;
      for (const kernels::KernelVariant& variant : kernels::KernelVariants()) {
        kernels::UseKernelVariant(variant);
        TestFrame dst(61, 47, format, 4);
        EXPECT_TRUE(Render(effect_, values, src, dst, info)) << variant.name;
        hashes.push_back(PictureHash(dst));
        EXPECT_EQ(hashes.back(), hashes.front()) << variant.name << " differs from the plain loops";
      }
      kernels::SelectKernelPath();
      goldens.Check(key, hashes.front());
    }
  }
}

// A pan across a picture of hard-edged blocks, so that there is motion to measure.
Clip PanningClip(int frames, PixelFormat format) {
  constexpr int kW = 160;
  constexpr int kH = 96;
  TestFrame world(kW + 4 * frames, kH + frames, PixelFormat8BGRA);
  std::mt19937 random(7);
  std::uniform_int_distribution<int> byte(0, 255);
  for (int y = 0; y < world.Height(); ++y) {
    for (int x = 0; x < world.Width(); ++x)
      world.SetRgba(x, y, 128, 128, 128, 255);
  }
  for (int block = 0; block < 60; ++block) {
    const int bx = byte(random) * (world.Width() - 12) / 255;
    const int by = byte(random) * (world.Height() - 12) / 255;
    const int r = byte(random), g = byte(random), b = byte(random);
    for (int y = by; y < by + 4 + block % 9; ++y) {
      for (int x = bx; x < bx + 5 + block % 7; ++x)
        world.SetRgba(x, y, r, g, b, 255);
    }
  }
  const float scale = IsFloatFormat(format) ? 1.0f / 255.0f : 1.0f;
  const ChannelPlaces to = ChannelPlacesOf(format);
  const ChannelPlaces from = ChannelPlacesOf(PixelFormat8BGRA);
  Clip clip;
  for (int n = 0; n < frames; ++n) {
    auto frame = std::make_unique<TestFrame>(kW, kH, format, 4);
    for (int y = 0; y < kH; ++y) {
      for (int x = 0; x < kW; ++x) {
        const int wx = x + 4 * n;
        const int wy = y + n;
        frame->Set(x, y, to.red, world.Get(wx, wy, from.red) * scale);
        frame->Set(x, y, to.green, world.Get(wx, wy, from.green) * scale);
        frame->Set(x, y, to.blue, world.Get(wx, wy, from.blue) * scale);
        frame->Set(x, y, to.alpha, world.Get(wx, wy, from.alpha) * scale);
      }
    }
    clip.push_back(std::move(frame));
  }
  return clip;
}

RenderInfo ClipFrameInfo(int n) {
  RenderInfo info = WholeFrameInfo();
  info.frameNumber = n;
  info.time = n / info.frameRate;
  return info;
}

TEST_P(EffectSuite, ThreadedClipRendersEachFrameAsAlone) {
  constexpr int kFrames = 8;
  constexpr int kThreads = 3;
  GoldenHashes goldens;
  const GoldenSetting& setting = GetParam().goldens.front();
  const std::vector<ParamValue> values = Values(setting.preset);
  for (PixelFormat format : {PixelFormat8BGRA, PixelFormat32FARGB}) {
    SCOPED_TRACE(FormatLabel(format));
    const Clip clip = PanningClip(kFrames, format);
    auto render = [&](IVideoEffect* effect, ClipHost& host, int n) {
      auto dst = std::make_unique<TestFrame>(clip[0]->Width(), clip[0]->Height(), format, 4);
      dst->CopyFrom(*clip[static_cast<size_t>(n)]);
      const RenderInfo info = ClipFrameInfo(n);
      EXPECT_TRUE(
          effect->Render(&host, clip[static_cast<size_t>(n)]->Host(), 0, dst->Host(), &info))
          << "frame " << n;
      return dst;
    };
    // Each frame alone: an instance, and an instance key, of its own.
    std::vector<std::unique_ptr<TestFrame>> alone;
    uint64_t clipHash = 0;
    for (int n = 0; n < kFrames; ++n) {
      IVideoEffect* effect = GetParam().make();
      ClipHost host(values, true, NewInstanceKey(), &clip);
      alone.push_back(render(effect, host, n));
      effect->Release();
      clipHash = CombineHashes(clipHash, PictureHash(*alone.back()));
    }
    goldens.Check(GetParam().name + " | clip of " + setting.Label() + " | " + FormatLabel(format),
                  clipHash);

    // The clip through one instance on several threads, frames dealt out in turn, each
    // thread with a host of its own that shares the instance's key.
    std::vector<std::unique_ptr<TestFrame>> threaded(kFrames);
    const uint32_t key = NewInstanceKey();
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        ClipHost host(values, true, key, &clip);
        for (int n = t; n < kFrames; n += kThreads)
          threaded[static_cast<size_t>(n)] = render(effect_, host, n);
      });
    }
    for (std::thread& thread : threads)
      thread.join();
    for (int n = 0; n < kFrames; ++n) {
      EXPECT_EQ(threaded[static_cast<size_t>(n)]->Pixels(), alone[static_cast<size_t>(n)]->Pixels())
          << "frame " << n;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Effects, EffectSuite, ::testing::ValuesIn(kEffects),
                         [](const ::testing::TestParamInfo<EffectCase>& param) {
                           std::string name = param.param.name;
                           std::erase(name, ' ');
                           return name;
                         });

}  // namespace
}  // namespace vitrella::testing
