// The window of decoded frames: what it serves without decoding again, when it has to
// seek, and which frame numbers have no frame.
#include <gtest/gtest.h>

#include <thread>

#include "host/frame_server.h"
#include "host/host_error.h"
#include "host/synthetic_clip.h"

namespace vitrella::host {
namespace {

using testing::FrameCode;
using testing::MemoryClip;

struct Served {
  std::unique_ptr<FrameServer> server;
  MemoryClip* clip = nullptr;  // owned by the server
};

Served Serve(int frames, size_t window, bool tellsLength = true,
             PixelFormat format = PixelFormat8BGRA, RowOrder order = RowOrder::kTopFirst) {
  auto clip = std::make_unique<MemoryClip>(frames, tellsLength);
  Served served;
  served.clip = clip.get();
  served.server = std::make_unique<FrameServer>(std::move(clip), window, format, order);
  return served;
}

// Renders frames in order the way a clip renders, with an effect that looks back three.
void RenderInOrder(FrameServer& server, int64_t first, int64_t last) {
  for (int64_t n = first; n <= last; ++n) {
    ASSERT_NE(server.Picture(n), nullptr) << n;
    for (int64_t back = n - 1; back >= std::max<int64_t>(0, n - 3); --back)
      ASSERT_NE(server.Frame(back), nullptr) << back;
  }
}

TEST(FrameServer, LooksBackWithinTheWindowWithoutDecodingAgain) {
  Served served = Serve(10, 6);
  RenderInOrder(*served.server, 0, 9);
  EXPECT_EQ(served.clip->reads, 10);
  EXPECT_EQ(served.server->counts().decoded, 10);
  EXPECT_EQ(served.server->counts().seeks, 0);
  for (int64_t n : {9, 8, 7, 6}) {
    const std::shared_ptr<const cv::Mat> picture = served.server->Picture(n);
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(FrameCode(*picture), n);
  }
  EXPECT_EQ(served.clip->reads, 10);
}

TEST(FrameServer, SeeksForAFrameOutsideTheWindowAndBackAgain) {
  Served served = Serve(12, 4);
  RenderInOrder(*served.server, 0, 7);
  const int readsBefore = served.clip->reads;
  // Long gone from a window of four.
  const std::shared_ptr<const cv::Mat> old = served.server->Picture(1);
  ASSERT_NE(old, nullptr);
  EXPECT_EQ(FrameCode(*old), 1);
  EXPECT_EQ(served.clip->reads, readsBefore + 1);
  // The next frame in order needs a seek back to where decoding stood.
  const std::shared_ptr<const cv::Mat> next = served.server->Picture(8);
  ASSERT_NE(next, nullptr);
  EXPECT_EQ(FrameCode(*next), 8);
  EXPECT_EQ(served.server->counts().seeks, 2);
  // A picture still in use outlives its place in the window.
  for (int64_t n = 9; n < 12; ++n)
    served.server->Picture(n);
  EXPECT_EQ(FrameCode(*old), 1);
}

TEST(FrameServer, ARangeThatStartsMidClipStillHasTheFramesBeforeIt) {
  Served served = Serve(20, 8);
  ASSERT_NE(served.server->Picture(10), nullptr);
  for (int64_t n : {9, 8, 7}) {
    const std::unique_ptr<OwnedFrame> frame = served.server->Frame(n);
    ASSERT_NE(frame, nullptr) << n;
    EXPECT_EQ(FrameCode(FrameToPicture(frame->record())), n);
  }
  EXPECT_EQ(served.server->counts().seeks, 4);  // the first frame, then each step back
}

TEST(FrameServer, HasNoFrameBeforeTheStartOrPastTheEnd) {
  Served told = Serve(5, 4);
  EXPECT_EQ(told.server->Picture(-1), nullptr);
  EXPECT_EQ(told.server->Frame(-3), nullptr);
  EXPECT_EQ(told.server->Picture(5), nullptr);
  EXPECT_EQ(told.server->Frame(400), nullptr);
  EXPECT_EQ(told.clip->reads, 0);  // the told length answers without reading

  // A clip that does not tell its length is asked once; the end is remembered.
  Served untold = Serve(5, 4, false);
  EXPECT_EQ(untold.server->Picture(7), nullptr);
  EXPECT_EQ(untold.server->Picture(9), nullptr);
  EXPECT_EQ(untold.clip->reads, 1);
  EXPECT_NE(untold.server->Picture(4), nullptr);
}

TEST(FrameServer, ADamagedFrameFailsTheRenderButIsOnlyMissingForAnEffect) {
  Served served = Serve(6, 4);
  served.clip->broken = {3};
  EXPECT_THROW(served.server->Picture(3), HostError);
  EXPECT_EQ(served.server->Frame(3), nullptr);
  EXPECT_NE(served.server->Frame(4), nullptr);
}

TEST(FrameServer, LaysFramesOutLikeTheRendersSource) {
  Served served = Serve(3, 4, true, PixelFormat32FARGB, RowOrder::kBottomFirst);
  const std::unique_ptr<OwnedFrame> frame = served.server->Frame(2);
  ASSERT_NE(frame, nullptr);
  const HostFrame& record = frame->record();
  EXPECT_EQ(record.format, PixelFormat32FARGB);
  EXPECT_EQ(record.pixelBytes, 16);
  EXPECT_EQ(record.flipped, 0);
  EXPECT_EQ(record.width, testing::kClipWidth);
  EXPECT_EQ(record.height, testing::kClipHeight);
  cv::Mat bytes;
  FrameToPicture(record).convertTo(bytes, CV_8U, 255.0);
  EXPECT_EQ(cv::norm(bytes, testing::SyntheticFrame(2), cv::NORM_INF), 0);
}

TEST(FrameServer, ServesSeveralThreadsAtOnce) {
  Served served = Serve(24, 6);
  std::vector<std::thread> threads;
  threads.reserve(4);
  std::atomic<int> wrong{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int64_t n = t; n < 24; n += 2) {
        const std::unique_ptr<OwnedFrame> frame = served.server->Frame(n);
        if (!frame || FrameCode(FrameToPicture(frame->record())) != n) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace vitrella::host
