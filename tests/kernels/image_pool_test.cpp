// The kernels' image memory: freed images come back for images of their size, the pool
// holds no more than was once in use at one time, and what lies unused goes back to the
// system. The pool lives for the process, so each test starts by emptying it.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "kernels/memory.h"

namespace vitrella::kernels {
namespace {

std::atomic<uint32_t> gNow{0};
uint32_t TestClock() {
  return gNow.load();
}

class ImagePool : public ::testing::Test {
 protected:
  void SetUp() override {
    gNow = 1000;
    SetImagePoolClock(&TestClock);
    EmptyImagePool();
  }
  void TearDown() override {
    EmptyImagePool();
    SetImagePoolClock(nullptr);
  }

  static uint8_t* Alloc(int32_t width, int32_t height, int32_t pixelBytes = 4) {
    int32_t pitch = 0;
    uint8_t* image = AllocImage(width, height, pixelBytes, &pitch);
    EXPECT_NE(image, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(image) % kRowAlignment, 0u);
    EXPECT_EQ(pitch % kRowAlignment, 0);
    return image;
  }
};

TEST_F(ImagePool, AFreedImageServesTheNextOfItsSize) {
  uint8_t* first = Alloc(1920, 1080);
  const uint64_t fromSystem = ImagePoolNow().systemAllocations;
  FreeImage(first);
  EXPECT_EQ(ImagePoolNow().pooledImages, 1u);
  uint8_t* second = Alloc(1920, 1080);
  EXPECT_EQ(second, first);
  EXPECT_EQ(ImagePoolNow().systemAllocations, fromSystem);
  // A little smaller fits in it; much smaller or larger does not.
  FreeImage(second);
  uint8_t* smaller = Alloc(1920, 1000);
  EXPECT_EQ(smaller, first);
  FreeImage(smaller);
  uint8_t* quarter = Alloc(960, 540);
  EXPECT_NE(quarter, first);
  uint8_t* larger = Alloc(1920, 1100);
  EXPECT_NE(larger, first);
  FreeImage(quarter);
  FreeImage(larger);
}

TEST_F(ImagePool, HoldsAFewTimesWhatWasOnceInUseAtOneTime) {
  // Five sizes, each in use alone: the pool keeps the latest of them within its bound, and
  // lets the oldest go first.
  uint8_t* last = nullptr;
  for (int32_t rows : {400, 500, 600, 700, 800}) {
    last = Alloc(1000, rows);
    FreeImage(last);
  }
  const ImagePoolState state = ImagePoolNow();
  EXPECT_LE(state.pooledBytes, kImagePoolRenders * state.mostLiveBytes);
  EXPECT_LT(state.pooledImages, 5u);
  EXPECT_EQ(Alloc(1000, 800), last);
  FreeImage(last);
  // Several in use at once may all wait afterwards.
  uint8_t* a = Alloc(1000, 1000);
  uint8_t* b = Alloc(1000, 2000);
  FreeImage(a);
  FreeImage(b);
  EXPECT_GE(ImagePoolNow().pooledImages, 2u);
  EXPECT_EQ(ImagePoolNow().liveBytes, 0u);
}

TEST_F(ImagePool, ImagesUnusedForAWhileGoBackToTheSystem) {
  uint8_t* large = Alloc(640, 480);
  uint8_t* small = Alloc(32, 32);
  FreeImage(large);
  FreeImage(small);
  gNow += kImagePoolIdleMilliseconds - 1;
  FreeImage(Alloc(32, 32));  // in use again just in time
  EXPECT_EQ(ImagePoolNow().pooledImages, 2u);
  gNow += 1;
  small = Alloc(32, 32);  // the next call lets the image that lay unused go
  EXPECT_EQ(ImagePoolNow().pooledImages, 0u);
  EXPECT_EQ(ImagePoolNow().pooledBytes, 0u);
  FreeImage(small);
  EXPECT_EQ(ImagePoolNow().pooledImages, 1u);
}

TEST_F(ImagePool, RefusesWhatItCannotMake) {
  int32_t pitch = 7;
  EXPECT_EQ(AllocImage(0, 10, 4, &pitch), nullptr);
  EXPECT_EQ(pitch, 0);
  EXPECT_EQ(AllocImage(10, 10, 5, &pitch), nullptr);
  EXPECT_EQ(AllocImage(10, 10, 4, nullptr), nullptr);
  EXPECT_EQ(AllocImage(1 << 30, 4, 16, &pitch), nullptr);  // a row past 2^31 bytes
}

TEST_F(ImagePool, ThreadsShareItSafely) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 200; ++i) {
        int32_t pitch = 0;
        uint8_t* image = AllocImage(64 + (i + t) % 3 * 64, 48, 4, &pitch);
        ASSERT_NE(image, nullptr);
        image[0] = static_cast<uint8_t>(i);
        FreeImage(image);
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(ImagePoolNow().liveBytes, 0u);
  EXPECT_LE(ImagePoolNow().pooledImages, 12u);
}

}  // namespace
}  // namespace vitrella::kernels
