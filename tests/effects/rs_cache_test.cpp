// The rolling-shutter frame cache: sets per instance key, forgetting idle sets on a driven
// clock, the ring of frame slots and its search rules.
#include <gtest/gtest.h>

#include <cstring>

#include "common/fake_host.h"
#include "effects/rs_ring.h"

namespace vitrella {
namespace {

uint32_t gNow = 0;
uint32_t DrivenClock() {
  return gNow;
}

class RsCacheTest : public ::testing::Test {
 protected:
  void SetUp() override { gNow = 1000; }

  // A 4 by 3 frame whose every byte is `value`; the last four made stay alive.
  FrameBuffer& Frame(uint8_t value, int32_t width = 4, int32_t height = 3) {
    FrameBuffer& frame = frames_[next_++ % 4];
    frame.Clear();
    EXPECT_TRUE(frame.Allocate(width, height, 4, nullptr, PixelFormat8BGRA, false));
    for (int32_t y = 0; y < height; ++y)
      std::memset(frame.Row(y), value, width * 4);
    return frame;
  }
  static CRsInfo Record(int32_t frameNumber, bool valid = true) {
    CRsInfo info;
    info.frameNumber = frameNumber;
    info.invalid = valid ? 0 : 1;
    info.quality = 0.55f;
    info.motionX = static_cast<float>(frameNumber);
    return info;
  }
  int32_t SlotOf(int32_t frameNumber) {
    for (int32_t slot = 0; slot < kRsSlotCount - 1; ++slot) {
      const CRsInfo info = cache.GetInfo(slot);
      if (info.used != 0 && info.frameNumber == frameNumber) return slot;
    }
    return -1;
  }

  RsCache cache{kRsSlotCount, DrivenClock};
  testing::FakeHost host;
  FrameBuffer frames_[4];
  int next_ = 0;
};

TEST_F(RsCacheTest, TheRingCoversThirteenSlotsAndSearchesTwelve) {
  cache.Lock(&host);
  for (int32_t n = 0; n < 13; ++n)
    StoreRsFrame(cache, Frame(static_cast<uint8_t>(n)), Record(n), false);
  EXPECT_EQ(SlotOf(0), 0);
  EXPECT_EQ(SlotOf(12), 12);
  CRsInfo found;
  EXPECT_FALSE(FindRsRecord(cache, 12, 0.55f, 4, 3, &found)) << "slot 12 is never searched";
  EXPECT_TRUE(FindRsRecord(cache, 11, 0.55f, 4, 3, &found));
  EXPECT_FALSE(FindRsRecord(cache, 11, 0.5501f, 4, 3, &found)) << "quality must match exactly";

  StoreRsFrame(cache, Frame(99), Record(13), false);
  EXPECT_EQ(SlotOf(13), 0) << "the fourteenth frame reuses slot 0";
  EXPECT_EQ(SlotOf(0), -1);
  cache.Unlock();
}

TEST_F(RsCacheTest, AFramePresentIsKeptUnlessOverwritten) {
  cache.Lock(&host);
  StoreRsFrame(cache, Frame(1), Record(5, false), false);
  CRsInfo second = Record(5);
  second.motionX = 42.0f;
  StoreRsFrame(cache, Frame(2), second, false);
  CRsInfo found;
  EXPECT_FALSE(FindRsRecord(cache, 5, 0.55f, 4, 3, &found)) << "the first, invalid record stays";
  StoreRsFrame(cache, Frame(3), second, true);
  ASSERT_TRUE(FindRsRecord(cache, 5, 0.55f, 4, 3, &found));
  EXPECT_EQ(found.motionX, 42.0f);
  EXPECT_EQ(cache.GetInfo(kRsMetaSlot).ringPosition, 1) << "the overwrite did not use a new slot";
  cache.Unlock();
}

TEST_F(RsCacheTest, EarlierFramesAreFoundByDistanceAndSize) {
  cache.Lock(&host);
  StoreRsFrame(cache, Frame(10), Record(10), false);
  StoreRsFrame(cache, Frame(7), Record(7), false);
  StoreRsFrame(cache, Frame(8), Record(8), false);
  FrameBuffer& target = Frame(0);
  int32_t distance = 0;
  int32_t found = 0;
  ASSERT_TRUE(FindEarlierRsFrame(cache, 10, target, &distance, &found));
  EXPECT_EQ(distance, 1);
  EXPECT_EQ(found, 10);
  EXPECT_EQ(target.Row(0)[0], 10);
  ASSERT_TRUE(FindEarlierRsFrame(cache, 9, target, &distance, &found));
  EXPECT_EQ(distance, 1) << "frame 8 for 9: N - 1 and N - 2 both count as 1";
  EXPECT_EQ(found, 8);
  EXPECT_EQ(target.Row(0)[0], 8);
  EXPECT_FALSE(FindEarlierRsFrame(cache, 6, target, &distance, &found));
  EXPECT_FALSE(FindEarlierRsFrame(cache, 10 + kRsMaxDistance, target, &distance, &found))
      << "14 frames back is too far";
  EXPECT_TRUE(FindEarlierRsFrame(cache, 9 + kRsMaxDistance, target, &distance, &found));
  EXPECT_EQ(distance, kRsMaxDistance - 1);
  EXPECT_EQ(found, 10);

  // A new frame size: the old slots no longer fit, until frames of the new size arrive.
  FrameBuffer& wide = Frame(0, 6, 3);
  EXPECT_FALSE(FindEarlierRsFrame(cache, 11, wide, &distance, &found));
  StoreRsFrame(cache, Frame(11, 6, 3), Record(11), false);
  EXPECT_TRUE(FindEarlierRsFrame(cache, 12, wide, &distance, &found));
  EXPECT_EQ(found, 11);
  EXPECT_FALSE(HasFirstRsFrame(cache));
  StoreRsFrame(cache, Frame(0), Record(0), false);
  EXPECT_TRUE(HasFirstRsFrame(cache));
  cache.Unlock();
}

TEST_F(RsCacheTest, SetsBelongToInstanceKeysAndAreForgottenWhenIdle) {
  host.instanceKey = 7;
  cache.Lock(&host);
  EXPECT_EQ(cache.CurrentKey(), 7u);
  StoreRsFrame(cache, Frame(1), Record(1), false);
  cache.Unlock();

  cache.Lock(nullptr);
  EXPECT_EQ(cache.CurrentKey(), 0u) << "no host means key 0";
  EXPECT_EQ(SlotOf(1), -1) << "another key has its own set";
  StoreRsFrame(cache, Frame(2), Record(2), false);
  cache.Unlock();

  gNow += 9000;
  cache.Lock(&host);
  EXPECT_EQ(SlotOf(1), 0) << "used 9 s ago: still there";
  cache.Unlock();

  gNow += 10001;
  cache.Lock(nullptr);
  EXPECT_EQ(SlotOf(2), -1) << "key 0 was idle for 19 s";
  cache.Unlock();
  cache.Lock(&host);
  EXPECT_EQ(SlotOf(1), -1) << "key 7 was purged at key 0's access";
  cache.Unlock();
}

TEST_F(RsCacheTest, SlotFramesNeedATargetOfTheirSize) {
  cache.Lock(&host);
  cache.Store(Frame(5), 0, nullptr);
  FrameBuffer empty;
  EXPECT_FALSE(cache.GetSlotFrame(0, empty));
  EXPECT_FALSE(cache.GetSlotFrame(0, Frame(0, 4, 2)));
  EXPECT_FALSE(cache.GetSlotFrame(1, Frame(0))) << "an empty slot";
  EXPECT_TRUE(cache.GetSlotFrame(0, Frame(0)));
  EXPECT_EQ(cache.GetInfo(kRsSlotCount).used, 0) << "out of range reads as an empty record";
  cache.Store(empty, 0, nullptr);
  EXPECT_FALSE(cache.GetSlotFrame(0, Frame(0))) << "a frame without pixels empties the slot";
  cache.Clear();
  EXPECT_EQ(cache.GetInfo(0).used, 0);
  cache.Unlock();
}

}  // namespace
}  // namespace vitrella
