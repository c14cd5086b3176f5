// Pictures come back to the pool only once every copy of them has gone, on any thread.
#include "host/picture_pool.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace vitrella::host {
namespace {

TEST(PicturePool, APictureReturnsOnlyOnceNobodyHoldsIt) {
  PicturePool pool(4);
  cv::Mat first = pool.Take(8, 16, CV_8UC4);
  const uchar* memory = first.data;
  cv::Mat view = first(cv::Rect(0, 0, 4, 4));  // a part of it still holds the whole
  first.release();
  cv::Mat second = pool.Take(8, 16, CV_8UC4);
  EXPECT_NE(second.data, memory);
  view.release();
  second.release();
  EXPECT_EQ(pool.Take(8, 16, CV_8UC4).data, memory);

  // Let go on another thread, as the writer does with the render threads' pictures.
  cv::Mat held = pool.Take(8, 16, CV_8UC4);
  const uchar* heldMemory = held.data;
  std::thread([moved = std::move(held)]() mutable { moved.release(); }).join();
  EXPECT_EQ(pool.Take(8, 16, CV_8UC4).data, heldMemory);
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
