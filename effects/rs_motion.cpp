#include "effects/rs_motion.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <numeric>
#include <opencv2/imgproc.hpp>
#include <opencv2/video/tracking.hpp>
#include <vector>

#include "core/frame_convert.h"
#include "core/frame_ops.h"

namespace vitrella {
namespace {

// Fewer features or tracked points than this are not a measurement.
constexpr size_t kEnoughPoints = 10;
constexpr int32_t kPyramidLevels = 5;
// A horizontal motion above this that flips sign against the frame before is suspect.
constexpr float kFlipGuardMotion = 20.0f;

struct FeatureSearch {
  double qualityLevel;
  bool harris;
  double harrisK;
};
constexpr FeatureSearch kFirstSearch{0.01, true, 0.09};
constexpr FeatureSearch kSecondSearch{0.005, false, 0.04};
// When a search finds too few corners, a steep Harris measure is tried on the same image.
constexpr FeatureSearch kFallbackSearch{0.01, true, 0.9};

cv::Mat MatOf(const FrameBuffer& gray) {
  return {gray.height, gray.width, CV_8UC1, gray.data, static_cast<size_t>(gray.pitch)};
}

// A float converted to an integer as the processor's truncating conversion does it: a NaN
// or a value out of range gives the lowest integer, which no index test accepts.
int32_t TruncateToIndex(float value) {
  if (!(value >= -2147483648.0f && value < 2147483648.0f)) return INT32_MIN;
  return static_cast<int32_t>(value);
}

std::vector<cv::Point2f> SelectFeatures(const cv::Mat& gray, int32_t budget,
                                        const FeatureSearch& search) {
  constexpr double kMinDistance = 0.01;
  constexpr int kBlockSize = 3;
  std::vector<cv::Point2f> corners;
  cv::goodFeaturesToTrack(gray, corners, budget, search.qualityLevel, kMinDistance, cv::noArray(),
                          kBlockSize, search.harris, search.harrisK);
  if (corners.size() < kEnoughPoints) {
    corners.clear();
    cv::goodFeaturesToTrack(gray, corners, budget, kFallbackSearch.qualityLevel, kMinDistance,
                            cv::noArray(), kBlockSize, kFallbackSearch.harris,
                            kFallbackSearch.harrisK);
  }
  return corners;
}

struct Tracked {
  std::vector<cv::Point2f> from;
  std::vector<cv::Point2f> to;
  std::vector<uint8_t> status;
  std::vector<float> error;

  size_t Count() const {
    return static_cast<size_t>(
        std::count_if(status.begin(), status.end(), [](uint8_t s) { return s != 0; }));
  }
};

Tracked Track(const cv::Mat& first, const cv::Mat& second, std::vector<cv::Point2f> features,
              int32_t window) {
  Tracked tracked;
  tracked.from = std::move(features);
  if (tracked.from.empty()) return tracked;
  const cv::TermCriteria stop(cv::TermCriteria::COUNT | cv::TermCriteria::EPS, 20, 0.3);
  cv::calcOpticalFlowPyrLK(first, second, tracked.from, tracked.to, tracked.status, tracked.error,
                           cv::Size(window, window), kPyramidLevels, stop, 0);
  return tracked;
}

// The position in a sorted run weighted by the size of its values, counted from 1 and
// truncated. An empty or all-zero run divides zero by zero and gives no usable index.
int32_t WeightedIndex(const std::vector<float>& sorted, size_t count) {
  float weighted = 0.0f;
  float total = 0.0f;
  for (size_t i = 0; i < count; ++i) {
    const float size = std::fabs(sorted[i]);
    weighted += static_cast<float>(i + 1) * size;
    total += size;
  }
  return TruncateToIndex(weighted / total);
}

// The representative motion of the tracked points: the moves sorted by length, those far
// beyond the median cut off, then each axis sorted on its own and read at the position
// weighted by size.
void RepresentativeMotion(const Tracked& tracked, RsMotionResult& result) {
  std::vector<float> dx;
  std::vector<float> dy;
  std::vector<float> length;
  for (size_t i = 0; i < tracked.status.size(); ++i) {
    if (tracked.status[i] == 0) continue;
    const float x = tracked.to[i].x - tracked.from[i].x;
    const float y = tracked.to[i].y - tracked.from[i].y;
    dx.push_back(x);
    dy.push_back(y);
    length.push_back(std::sqrt(x * x + y * y));
  }
  size_t m = length.size();
  if (m == 0) return;

  // A stable sort of the three together by length; equal lengths keep their order.
  std::vector<size_t> order(m);
  std::iota(order.begin(), order.end(), size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](size_t a, size_t b) { return length[a] < length[b]; });
  std::vector<float> sortedX(m);
  std::vector<float> sortedY(m);
  std::vector<float> sortedLength(m);
  for (size_t i = 0; i < m; ++i) {
    sortedX[i] = dx[order[i]];
    sortedY[i] = dy[order[i]];
    sortedLength[i] = length[order[i]];
  }

  const size_t middle = m >> 1;
  const float limit = 3.0f * sortedLength[middle];
  for (size_t i = middle; i < m; ++i) {
    if (sortedLength[i] > limit) {
      m = i;
      break;
    }
  }

  // Each axis on its own from here: the pairing of x and y is given up on purpose.
  std::sort(sortedX.begin(), sortedX.begin() + static_cast<ptrdiff_t>(m));
  std::sort(sortedY.begin(), sortedY.begin() + static_cast<ptrdiff_t>(m));
  const int32_t ix = WeightedIndex(sortedX, m);
  const int32_t iy = WeightedIndex(sortedY, m);
  const auto inRun = [m](int32_t index) { return index >= 0 && static_cast<size_t>(index) < m; };
  if (inRun(ix)) result.motionX = sortedX[static_cast<size_t>(ix)];
  // The vertical motion is read at the horizontal position: the estimate has always
  // worked this way, and its corrections are tuned to it.
  if (inRun(iy) && inRun(ix)) result.motionY = sortedY[static_cast<size_t>(ix)];
}

// A large horizontal motion that reverses the previous frame's by more than half again
// its size is taken for a tracking error, and the previous motion stands.
void GuardAgainstFlip(const RsMotionHistory& history, int32_t frameNumber, RsMotionResult& result) {
  RsMotionResult previous;
  if (!history.Find(frameNumber - 1, &previous)) return;
  if (!(std::fabs(result.motionX) > kFlipGuardMotion)) return;
  const float p = previous.motionX;
  const auto reversed = [&](float now) { return std::fabs(p - now) > 1.5f * std::fabs(p); };
  if (result.motionX > 0.0f && p < 0.0f && reversed(result.motionX)) result.motionX = p;
  if (result.motionX < 0.0f && p > 0.0f && reversed(result.motionX)) result.motionX = p;
}

RsMotionResult Estimate(const FrameBuffer& a, FrameBuffer& b, MemoryAllocator* memory,
                        float quality, int32_t frameNumber, RsMotionHistory& history) {
  RsMotionResult result;
  const int32_t window = static_cast<int32_t>(std::max(quality * 40.0f, 5.0f));
  const int32_t grid = static_cast<int32_t>(std::max(quality * 50.0f, 5.0f));
  const int32_t budget = grid * grid;

  // The tracker works on bytes: float frames are rounded to eight bits first.
  const FrameBuffer* colour = &a;
  FrameBuffer bytes;
  if (IsFloatFormat(a.format)) {
    if (!bytes.Allocate(a.width, a.height, 4, memory, OtherDepthOf(a.format), a.flipped != 0) ||
        !ConvertFrame(a, bytes)) {
      return result;
    }
    colour = &bytes;
  }
  FrameBuffer gray;
  if (!gray.Allocate(b.width, b.height, 1, memory, PixelFormat8Gray, false) ||
      !ScaleToGray(*colour, gray, memory, kernels::kInterLinear)) {
    return result;
  }

  const cv::Mat first = MatOf(gray);
  const cv::Mat second = MatOf(b);
  Tracked tracked = Track(first, second, SelectFeatures(first, budget, kFirstSearch), window);
  if (tracked.Count() < kEnoughPoints) {
    tracked = Track(first, second, SelectFeatures(first, budget, kSecondSearch), window);
  }
  // From here on b holds a's gray image, which the next measurement starts from; a motion
  // whose image could not be kept is not counted.
  if (!CopyFrame(gray, b)) return RsMotionResult{};
  RepresentativeMotion(tracked, result);
  GuardAgainstFlip(history, frameNumber, result);
  result.motionFrame = frameNumber;
  result.invalid = 0;
  history.Append(result);
  return result;
}

}  // namespace

bool MakeRsAnalysisImage(const FrameBuffer& frame, FrameBuffer& image, MemoryAllocator* memory) {
  if (frame.width < 1 || frame.height < 1) return false;
  const double scale = static_cast<double>(kRsAnalysisWidth) / frame.width;
  const auto height = static_cast<int32_t>(frame.height * scale);
  return height >= 1 &&
         image.Allocate(kRsAnalysisWidth, height, 1, memory, PixelFormat8Gray, false) &&
         ScaleToGray(frame, image, memory, kernels::kInterNearest);
}

RsMotionResult EstimateRsMotion(const FrameBuffer& a, FrameBuffer& b, MemoryAllocator* memory,
                                float quality, int32_t frameNumber, RsMotionHistory& history) {
  if (a.data == nullptr || b.data == nullptr || b.pixelBytes != 1) return {};
  // Nothing may escape into the host: OpenCV reports trouble, memory included, by throwing.
  try {
    return Estimate(a, b, memory, quality, frameNumber, history);
  } catch (const std::exception&) {
    return {};
  }
}

}  // namespace vitrella
