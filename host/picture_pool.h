// Pictures of a clip's size, reused from frame to frame. Fresh memory for each 1080p frame
// costs a page fault every 4 KB, more than many an effect's whole render; a picture handed
// out comes back to the pool once every copy of it has gone, on whichever thread.
#pragma once

#include <cstddef>
#include <mutex>
#include <vector>

#include <opencv2/core.hpp>

namespace vitrella::host {

class PicturePool {
 public:
  // Keeps at most `most` pictures; beyond that, pictures are made fresh and not kept.
  explicit PicturePool(size_t most) : most_(most) {}

  // A picture of this size and type that nobody else holds, its contents undefined.
  // Pictures of another size or type are let go. Safe from several threads.
  cv::Mat Take(int rows, int cols, int type);

 private:
  std::mutex mutex_;
  size_t most_;
  std::vector<cv::Mat> kept_;
};

}  // namespace vitrella::host
