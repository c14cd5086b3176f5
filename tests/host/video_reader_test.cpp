// Videos read through FFmpeg's libraries: what the host's writer made reads back as OpenCV
// decodes it, in any order, and damaged or truncated files fail at the frame concerned.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>

#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include "host/clip_reader.h"
#include "host/clip_writer.h"
#include "host/host_error.h"
#include "host/run_vitrella.h"
#include "host/synthetic_clip.h"
#include "host/video_files.h"

namespace vitrella::host {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using testing::TempFolder;
using testing::WriteRawVideo;

constexpr int kFrames = 10;
constexpr const char* kVideo = VITRELLA_TESTDATA_DIR "/vtest.avi";

bool Same(const cv::Mat& a, const cv::Mat& b) {
  return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0;
}

// OpenCV repeats each chroma sample over its 2x2 block where the reader interpolates it, so
// the two agree on luma and differ on sharp colour edges: on these small frames, whose
// diagonal line is all edge, by a mean of up to 2 levels. The frame's own number is told
// exactly by FrameCode.
constexpr double kChromaUpsamplingTolerance = 2.5;

double MeanDifference(const cv::Mat& a, const cv::Mat& b) {
  if (a.size() != b.size() || a.type() != b.type()) return 255;
  return cv::norm(a, b, cv::NORM_L1) / static_cast<double>(a.total() * a.channels());
}

void WriteClip(const std::string& path, double rate) {
  ClipOutput output;
  output.name = path;
  ClipSource source;
  source.rate = rate;
  const std::unique_ptr<ClipWriter> writer = OpenClipWriter(output, source);
  for (int k = 0; k < kFrames; ++k)
    writer->Write(k, testing::SyntheticFrame(k), std::nullopt);
  writer->Commit();
}

std::vector<cv::Mat> OpenCvFrames(const std::string& path, size_t most = kFrames) {
  cv::VideoCapture video(path, cv::CAP_FFMPEG);
  std::vector<cv::Mat> frames;
  for (cv::Mat frame; frames.size() < most && video.read(frame);) {
    cv::cvtColor(frame, frames.emplace_back(), cv::COLOR_BGR2BGRA);
  }
  return frames;
}

std::string Bytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void Store(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

// Where each video frame's data lies in an AVI's movi list: the offset of its chunk header.
std::vector<size_t> VideoChunks(const std::string& avi) {
  std::vector<size_t> chunks;
  size_t at = avi.find("movi");
  if (at == std::string::npos) return chunks;
  for (at += 4; at + 8 <= avi.size();) {
    uint32_t size = 0;
    std::memcpy(&size, avi.data() + at + 4, 4);
    if (avi.compare(at, 4, "00dc") == 0) chunks.push_back(at);
    if (avi.compare(at, 4, "idx1") == 0) break;
    at += 8 + size + (size & 1);
  }
  return chunks;
}

std::string ThrownBy(ClipReader& clip, int64_t n) {
  try {
    clip.Read(n);
  } catch (const HostError& error) {
    return error.what();
  }
  return "nothing thrown";
}

class VideoReader : public ::testing::Test {
 protected:
  std::string Path(const std::string& name) const { return folder_.Path(name); }

  // A Motion JPEG AVI of the synthetic frames with frame 4's compressed picture data
  // overwritten, or cut off inside frame 6 (`cut`) or before it.
  std::string Damaged(const std::string& how) const {
    WriteClip(Path("clean.avi"), 25);
    std::string avi = Bytes(Path("clean.avi"));
    const std::vector<size_t> chunks = VideoChunks(avi);
    EXPECT_EQ(chunks.size(), static_cast<size_t>(kFrames));
    if (how == "corrupt") {
      const size_t scan = avi.find("\xff\xda", chunks[4]);
      avi.replace(scan + 40, 20, std::string(20, '\x55'));
    } else {
      avi.resize(how == "cut" ? chunks[6] + 200 : chunks[6]);
    }
    Store(Path(how + ".avi"), avi);
    return Path(how + ".avi");
  }

  TempFolder folder_;
};

class WrittenClip : public VideoReader, public ::testing::WithParamInterface<const char*> {};

TEST_P(WrittenClip, ReadsBackAsOpenCvDecodesItAndTheSameInAnyOrder) {
  const std::string path = Path(std::string("clip") + GetParam());
  WriteClip(path, 12.5);
  const std::vector<cv::Mat> expected = OpenCvFrames(path);
  ASSERT_EQ(expected.size(), static_cast<size_t>(kFrames));

  std::unique_ptr<ClipReader> clip = OpenClip(path);
  EXPECT_EQ(clip->FrameCount(), cv::VideoCapture(path).get(cv::CAP_PROP_FRAME_COUNT));
  EXPECT_EQ(clip->FrameCount(), kFrames);
  EXPECT_DOUBLE_EQ(clip->FrameRate().value_or(0), 12.5);
  std::vector<cv::Mat> sequential;
  for (int k = 0; k < kFrames; ++k) {
    const cv::Mat frame = sequential.emplace_back(clip->Read(k));
    EXPECT_LT(MeanDifference(frame, expected[k]), kChromaUpsamplingTolerance) << "frame " << k;
    EXPECT_EQ(testing::FrameCode(frame), k);
  }
  EXPECT_TRUE(clip->Read(kFrames).empty());

  std::unique_ptr<ClipReader> jumping = OpenClip(path);
  for (const int k : {7, 2, 3, 9, 0, 5, 5, 1}) {
    EXPECT_TRUE(Same(jumping->Read(k), sequential[k])) << "frame " << k;
  }
}

// ProRes, the default of .mov, reads back in 10 bits, deeper than OpenCV gives them.
INSTANTIATE_TEST_SUITE_P(Containers, WrittenClip, ::testing::Values(".avi", ".mkv", ".mp4"),
                         [](const auto& container) {
                           return std::string(container.param).substr(1);
                         });

// Inter-coded: a seek lands on a key frame before the one asked for and decodes forward.
TEST(VideoReaderRealVideo, SeeksToTheFramesThatSequentialReadsGive) {
  std::unique_ptr<ClipReader> clip = OpenClip(kVideo);
  EXPECT_EQ(clip->FrameCount(), 795);
  EXPECT_DOUBLE_EQ(clip->FrameRate().value_or(0), 10.0);
  const std::set<int> wanted = {0, 1, 12, 13, 399, 400, 401, 700};
  std::map<int, cv::Mat> sequential;
  for (int k = 0; k <= 700; ++k) {
    cv::Mat frame = clip->Read(k);
    if (wanted.count(k) != 0) sequential[k] = frame;
  }
  EXPECT_LT(MeanDifference(sequential[0], OpenCvFrames(kVideo, 1)[0]), kChromaUpsamplingTolerance);
  for (const int k : {700, 12, 13, 399, 400, 1, 0, 401})
    EXPECT_TRUE(Same(clip->Read(k), sequential[k])) << "frame " << k;
}

TEST(VideoReaderRealVideo, AFrameThatTheFileDropsRepeatsTheOneBefore) {
  // 68 frames over 444 frame times; the second is at time 11.
  const std::string path = VITRELLA_TESTDATA_DIR "/tree.avi";
  std::unique_ptr<ClipReader> clip = OpenClip(path);
  ASSERT_EQ(clip->FrameCount(), 444);
  const cv::Mat first = clip->Read(0);
  for (int k = 1; k < 11; ++k)
    EXPECT_TRUE(Same(clip->Read(k), first)) << "frame " << k;
  EXPECT_FALSE(Same(clip->Read(11), first));
  EXPECT_TRUE(Same(OpenClip(path)->Read(7), first));
  EXPECT_FALSE(clip->Read(443).empty());
}

TEST_F(VideoReader, ATruncatedVideoFailsWhereItEndsNamingTheCountItAnnounced) {
  for (const std::string how : {"cut", "short"}) {
    const std::string path = Damaged(how);
    std::unique_ptr<ClipReader> clip = OpenClip(path);
    EXPECT_EQ(clip->FrameCount(), kFrames);
    for (int k = 0; k < 6; ++k)
      EXPECT_EQ(testing::FrameCode(clip->Read(k)), k) << how;
    const std::string expected =
        "cannot decode frame 6 of " + path + ": the file ends " +
        (how == "cut" ? "inside it" : "there") +
        ", though it says it holds 10 frames; --frames A-5 renders frames before it";
    EXPECT_EQ(ThrownBy(*clip, 6), expected);
    // Straight to a frame beyond the end: the same place is named.
    EXPECT_THAT(ThrownBy(*OpenClip(path), 8),
                AllOf(HasSubstr(how == "cut" ? "frame 6 of" : "ends at frame 6"),
                      HasSubstr("10 frames; --frames A-5")))
        << how;
  }
}

TEST_F(VideoReader, ADamagedFrameFailsAloneAndNamesItself) {
  const std::string path = Damaged("corrupt");
  std::vector<cv::Mat> clean;
  std::unique_ptr<ClipReader> whole = OpenClip(Path("clean.avi"));
  for (int k = 0; k < kFrames; ++k)
    clean.push_back(whole->Read(k));
  std::unique_ptr<ClipReader> clip = OpenClip(path);
  for (int k = 0; k < 4; ++k)
    EXPECT_TRUE(Same(clip->Read(k), clean[k])) << "frame " << k;
  const std::string message = "cannot decode frame 4 of " + path + ": its data is damaged (";
  EXPECT_THAT(ThrownBy(*clip, 4), StartsWith(message));
  EXPECT_TRUE(Same(clip->Read(5), clean[5]));
  EXPECT_THAT(ThrownBy(*clip, 4), StartsWith(message));
  EXPECT_THAT(ThrownBy(*OpenClip(path), 4), StartsWith(message));
}

TEST_F(VideoReader, WhatIsNoVideoFailsOnOpen) {
  Store(Path("text.avi"), "not a video");
  Store(Path("empty.mp4"), "");
  Store(Path("noise.mkv"), std::string(4096, '\x5a'));
  for (const std::string name : {"text.avi", "empty.mp4", "noise.mkv"}) {
    try {
      OpenClip(Path(name));
      ADD_FAILURE() << name << " opened";
    } catch (const HostError& error) {
      EXPECT_EQ(std::string(error.what()),
                "cannot read " + Path(name) + ": not a video we can decode");
    }
  }
}

TEST_F(VideoReader, DeepVideoReadsAsSixteenBitsAndAlphaIsKept) {
  // NUT's duration ends where the last frame starts, so the clip counts one frame fewer.
  std::vector<cv::Mat> gray;
  for (const int level : {1023, 341, 0})
    gray.emplace_back(8, 16, CV_16UC1, cv::Scalar(level));
  WriteRawVideo(Path("gray10.nut"), AV_PIX_FMT_GRAY10LE, gray);
  std::unique_ptr<ClipReader> deep = OpenClip(Path("gray10.nut"));
  for (const int k : {1, 0}) {
    const cv::Mat frame = deep->Read(k);
    ASSERT_EQ(frame.type(), CV_16UC4);
    const double level = k == 0 ? 65535 : 21845;
    const cv::Mat expected(8, 16, CV_16UC4, cv::Scalar(level, level, level, 65535));
    // Ten bits hold a sixteen-bit value to within one of their steps.
    EXPECT_LE(cv::norm(frame, expected, cv::NORM_INF), 64) << "frame " << k;
  }
  const cv::Mat seeThrough(8, 16, CV_8UC4, cv::Scalar(200, 100, 50, 128));
  WriteRawVideo(Path("alpha.nut"), AV_PIX_FMT_BGRA, {seeThrough, seeThrough, seeThrough});
  EXPECT_TRUE(Same(OpenClip(Path("alpha.nut"))->Read(1), seeThrough));
}

TEST_F(VideoReader, ARenderOfADamagedVideoSaysWhichFrameInOneLineAndWritesNothing) {
  const std::string input = Damaged("corrupt");
  std::filesystem::remove(Path("clean.avi"));
  const testing::RunResult run =
      testing::RunVitrella({"render", "--effect", "3", "--quiet", input, Path("out.avi")});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(run.err, StartsWith("vitrella: cannot decode frame 4 of " + input + ": "));
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(Path("")))
    files.push_back(entry.path().filename().string());
  EXPECT_EQ(files, std::vector<std::string>{"corrupt.avi"});
}

}  // namespace
}  // namespace vitrella::host
