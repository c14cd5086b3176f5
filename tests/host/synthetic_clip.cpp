#include "host/synthetic_clip.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "host/clip_names.h"

namespace vitrella::testing {

cv::Mat SyntheticFrame(int k) {
  cv::Mat frame(kClipHeight, kClipWidth, CV_8UC4,
                cv::Scalar(10 * k, 200 - 10 * k, 40 + 5 * k, 255));
  // No anti-aliasing: the steps are what an edge smoother works on.
  cv::line(frame, cv::Point(2 * k, 0), cv::Point(2 * k + 30, kClipHeight - 1),
           cv::Scalar(255, 255, 255, 255), 3, cv::LINE_8);
  return frame;
}

int FrameCode(const cv::Mat& picture) {
  const cv::Vec4b pixel = picture.at<cv::Vec4b>(0, picture.cols - 1);
  return (pixel[0] + 5) / 10;
}

std::vector<cv::Mat> WriteSyntheticClip(const std::string& pattern, int count, int firstNumber) {
  const host::FramePattern names = *host::ParseFramePattern(pattern);
  std::vector<cv::Mat> frames;
  for (int k = 0; k < count; ++k) {
    frames.push_back(SyntheticFrame(k));
    if (!cv::imwrite(names.Name(firstNumber + k), frames.back())) {
      throw std::runtime_error("cannot write " + names.Name(firstNumber + k));
    }
  }
  return frames;
}

}  // namespace vitrella::testing
