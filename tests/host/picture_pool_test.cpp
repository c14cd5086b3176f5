// Pictures come back to the pool only once every copy of them has gone, on any thread.
#include "host/picture_pool.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace vitrella::host {
namespace {

// A small picture, and a 1080p one, which lies in memory of large pages of the pool's own.
TEST(PicturePool, APictureReturnsOnlyOnceNobodyHoldsIt) {
  for (const cv::Size size : {cv::Size(16, 8), cv::Size(1920, 1080)}) {
    SCOPED_TRACE(size);
    PicturePool pool(4);
    cv::Mat first = pool.Take(size.height, size.width, CV_8UC4);
    first.setTo(cv::Scalar(1, 2, 3, 4));
    EXPECT_TRUE(first.isContinuous());
    const uchar* memory = first.data;
    cv::Mat view = first(cv::Rect(0, 0, 4, 4));  // a part of it still holds the whole
    first.release();
    cv::Mat second = pool.Take(size.height, size.width, CV_8UC4);
    EXPECT_NE(second.data, memory);
    view.release();
    second.release();
    const cv::Mat again = pool.Take(size.height, size.width, CV_8UC4);
    EXPECT_EQ(again.data, memory);
    EXPECT_EQ(again.at<cv::Vec4b>(size.height - 1, size.width - 1), cv::Vec4b(1, 2, 3, 4));

    // Let go on another thread, as the writer does with the render threads' pictures.
    cv::Mat held = pool.Take(size.height, size.width, CV_8UC4);
    const uchar* heldMemory = held.data;
    std::thread([moved = std::move(held)]() mutable { moved.release(); }).join();
    EXPECT_EQ(pool.Take(size.height, size.width, CV_8UC4).data, heldMemory);
  }
}

TEST(PicturePool, OtherSizesAreMadeFreshAndTheBoundHolds) {
  PicturePool pool(2);
  cv::Mat bytes = pool.Take(8, 16, CV_8UC4);
  bytes.release();
  const cv::Mat floats = pool.Take(8, 16, CV_32FC4);
  EXPECT_EQ(floats.type(), CV_32FC4);
  EXPECT_EQ(floats.rows, 8);
  EXPECT_EQ(floats.cols, 16);

  // Beyond the bound, pictures are still handed out, only not kept.
  std::vector<cv::Mat> taken;
  for (int i = 0; i < 5; ++i)
    taken.push_back(pool.Take(4, 4, CV_8UC4));
  for (size_t i = 0; i < taken.size(); ++i) {
    for (size_t j = 0; j < i; ++j)
      EXPECT_NE(taken[i].data, taken[j].data);
  }
  const uchar* kept = taken[0].data;
  taken.clear();
  EXPECT_EQ(pool.Take(4, 4, CV_8UC4).data, kept);
}

}  // namespace
}  // namespace vitrella::host
