// The host object as an effect sees it: parameter values, host facts, interfaces and
// pixel memory.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "host/effect_host.h"
#include "host/frame_server.h"
#include "host/synthetic_clip.h"

namespace vitrella::host {
namespace {

ParamValue Slider(float fraction) {
  ParamValue value{};
  value.slider = fraction;
  return value;
}

TEST(EffectHost, GivesTheCurrentValueOfEachParameter) {
  ParamValue point{};
  point.point[0] = 0.25f;
  point.point[1] = 0.5f;
  EffectHost host({Slider(0.605f), point}, 1);

  ParamValue value{};
  host.GetParamValue(0, &value, ParamSlider);
  EXPECT_EQ(value.slider, 0.605f);
  host.GetParamValue(1, &value, ParamPoint);
  EXPECT_EQ(value.point[1], 0.5f);

  // Past the last record the buffer is left alone.
  value.slider = 7.0f;
  host.GetParamValue(2, &value, ParamSlider);
  EXPECT_EQ(value.slider, 7.0f);
  host.GetParamValue(0, nullptr, ParamSlider);
}

TEST(EffectHost, TellsItsNameAndAKeyPerInstance) {
  EffectHost first({}, NextInstanceKey());
  EffectHost second({}, NextInstanceKey());
  HostInfo a{};
  HostInfo b{};
  EXPECT_EQ(first.GetHostInfo(&a), &a);
  second.GetHostInfo(&b);
  EXPECT_STREQ(a.hostName, "vitrella");
  EXPECT_EQ(a.hostFlags, 0);  // GetFrame serves nothing
  EXPECT_NE(a.instanceKey, b.instanceKey);
  EXPECT_EQ(first.GetHostInfo(nullptr), nullptr);

  HostFrame frame{};
  EXPECT_EQ(first.GetFrame(nullptr, &frame), nullptr);
}

TEST(EffectHost, LendsFramesOfTheClipLaidOutLikeTheSource) {
  FrameServer frames(std::make_unique<testing::MemoryClip>(5), 8, PixelFormat8ARGB,
                     RowOrder::kBottomFirst);
  EffectHost first({}, 77, &frames);
  EffectHost second({}, 77, &frames);
  HostInfo info{};
  first.GetHostInfo(&info);
  EXPECT_EQ(info.hostFlags & kHostServesGetFrame, kHostServesGetFrame);
  EXPECT_EQ(info.instanceKey, 77u);

  // What an effect does: the current frame's records with another number and time.
  RenderInfo which{};
  which.frameRate = 25;
  which.frameNumber = 3;
  which.time = 3 / 25.0;
  HostFrame frame{};
  frame.format = PixelFormat8ARGB;
  void* handle = first.GetFrame(&which, &frame);
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(frame.format, PixelFormat8ARGB);
  EXPECT_EQ(frame.flipped, 0);
  EXPECT_EQ(frame.width, testing::kClipWidth);
  cv::Mat upright = FrameToPicture(frame);
  EXPECT_EQ(cv::norm(upright, testing::SyntheticFrame(3), cv::NORM_INF), 0);

  // Each host gives back only what it lent, once.
  EXPECT_EQ(second.ReleaseFrame(handle, &frame), 0);
  EXPECT_EQ(first.ReleaseFrame(handle, &frame), 1);
  EXPECT_EQ(first.ReleaseFrame(handle, &frame), 0);

  for (const int32_t missing : {-1, 5, 1000}) {
    which.frameNumber = missing;
    EXPECT_EQ(first.GetFrame(&which, &frame), nullptr) << missing;
  }
  EXPECT_EQ(first.GetFrame(nullptr, &frame), nullptr);
  EXPECT_EQ(first.GetFrame(&which, nullptr), nullptr);
  // One never given back goes with the host.
  which.frameNumber = 0;
  EXPECT_NE(second.GetFrame(&which, &frame), nullptr);
}

TEST(EffectHost, OffersAnAllocatorAndNoGpuServices) {
  EffectHost host({}, 1);
  void* out = &host;
  EXPECT_EQ(host.QueryInterface(kIID_IGPUServices, &out), kNoInterface);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(host.QueryInterface(kIID_IVideoEffect, &out), kNoInterface);
  EXPECT_EQ(host.QueryInterface(kIID_IHostAllocator, nullptr), kPointerError);

  ASSERT_EQ(host.QueryInterface(kIID_IHostAllocator, &out), kOk);
  auto* allocator = static_cast<IHostAllocator*>(out);
  EXPECT_EQ(allocator, static_cast<IHostAllocator*>(&host));
  // The host's own reference and the one just given out.
  EXPECT_EQ(allocator->Release(), 1u);
  // Release never deletes the host's stack object, even past its own reference.
  EXPECT_EQ(host.AddRef(), 2u);
  EXPECT_EQ(host.Release(), 1u);
}

TEST(EffectHost, AllocatesAlignedRowsWithARoundedPitch) {
  EffectHost host({}, 1);
  uint8_t* data = nullptr;
  int32_t pitch = 0;
  host.AllocateImage(&data, 17, 3, 16, &pitch);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(pitch, 320);  // 17 * 16 = 272, rounded up to 64
  EXPECT_EQ(reinterpret_cast<uintptr_t>(data) % 64, 0u);
  std::memset(data, 0xAB, static_cast<size_t>(pitch) * 3);
  host.FreeImage(data);

  host.AllocateImage(&data, 1, 1, 1, &pitch);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(pitch, 64);
  host.FreeImage(data);
  host.FreeImage(nullptr);
}

TEST(EffectHost, RefusesBadOrOverflowingImageSizes) {
  EffectHost host({}, 1);
  constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
  struct Size {
    int32_t width, height, pixelBytes;
  };
  for (const Size size : {Size{0, 4, 4}, Size{4, -1, 4}, Size{4, 4, 0}, Size{kMax, 1, 16},
                          Size{1 << 20, 1 << 20, 16}}) {
    uint8_t* data = reinterpret_cast<uint8_t*>(&host);
    int32_t pitch = 99;
    host.AllocateImage(&data, size.width, size.height, size.pixelBytes, &pitch);
    EXPECT_EQ(data, nullptr) << size.width << "x" << size.height << "x" << size.pixelBytes;
    EXPECT_EQ(pitch, 0);
  }
  uint8_t* data = nullptr;
  host.AllocateImage(&data, 4, 4, 4, nullptr);
  EXPECT_EQ(data, nullptr);
  host.AllocateImage(nullptr, 4, 4, 4, nullptr);
}

}  // namespace
}  // namespace vitrella::host
