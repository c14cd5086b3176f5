// Clips written through FFmpeg's libraries by `vitrella render`: every codec keeps the
// frames, rate and timestamps of its input, the sound is copied packet for packet, deep
// input stays deep, alpha stays, and a variable rate keeps its times.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <set>

#include <opencv2/core.hpp>

extern "C" {
#include <libavformat/avformat.h>
}

#include "host/clip_reader.h"
#include "host/clip_writer.h"
#include "host/host_error.h"
#include "host/run_vitrella.h"
#include "host/synthetic_clip.h"
#include "host/video_files.h"

namespace vitrella::testing {
namespace {

using ::testing::HasSubstr;

const std::string kMegamind = std::string(VITRELLA_TESTDATA_DIR) + "/Megamind.avi";
// Leaves every pixel as it is, in 8 bits and in float.
const std::vector<std::string> kUnchanged = {"--effect", "Edge Smoother", "--preset",
                                             "Reset to None", "--quiet"};

RunResult Render(std::vector<std::string> options, const std::string& input,
                 const std::string& output) {
  std::vector<std::string> args = {"render"};
  args.insert(args.end(), options.begin(), options.end());
  args.push_back(input);
  args.push_back(output);
  return RunVitrella(args);
}

// The mean difference of two frames, per channel of 8 bits.
double MeanDifference(const cv::Mat& a, const cv::Mat& b) {
  cv::Mat a8 = a, b8 = b;
  if (a.depth() == CV_16U) a.convertTo(a8, CV_8U, 1.0 / 257);
  if (b.depth() == CV_16U) b.convertTo(b8, CV_8U, 1.0 / 257);
  return cv::norm(a8, b8, cv::NORM_L1) / static_cast<double>(a8.total() * 4);
}

void ExpectSamePackets(const std::vector<std::string>& written,
                       const std::vector<std::string>& expected) {
  EXPECT_EQ(written.size(), expected.size());
  EXPECT_TRUE(written == expected) << "the packets differ";
}

// Frame times as the input had them: a container that cannot store the sound's start
// before the first frame (AC-3's encoder delay) may move the whole clip by as much.
void ExpectSameTimes(const ProbedVideo& written, const ProbedVideo& expected) {
  ASSERT_FALSE(written.times.empty());
  ASSERT_EQ(written.times.size(), expected.times.size());
  const double moved = written.times[0] - expected.times[0];
  EXPECT_LT(std::abs(moved), 0.01);
  for (size_t i = 0; i < written.times.size(); ++i)
    EXPECT_NEAR(written.times[i] - moved, expected.times[i], 0.001) << "frame " << i;
}

// The sound starts where it did against the frames; AVI, which times sound by its bytes,
// starts it with the first frame.
void ExpectSameSync(const ProbedVideo& written, const ProbedVideo& expected) {
  ASSERT_FALSE(written.audioTimes.empty());
  ASSERT_FALSE(expected.audioTimes.empty());
  EXPECT_NEAR(written.audioTimes[0] - written.times[0], expected.audioTimes[0] - expected.times[0],
              0.001);
}

class ClipCodecs : public ::testing::Test {
 protected:
  std::string Path(const std::string& name) const { return folder_.Path(name); }

  // Ten frames of 320x180 at 25 per second with a tone in AC-3, as a camera's H.264 file.
  std::string Source() const {
    const std::string path = Path("source.mp4");
    if (!std::filesystem::exists(path)) {
      EXPECT_TRUE(
          RunFfmpeg("-f lavfi -i testsrc2=s=320x180:r=25:d=0.4 -f lavfi -i "
                    "sine=f=440:d=0.4 -c:v libx264 -pix_fmt yuv420p -c:a ac3 -shortest " +
                    path));
    }
    return path;
  }

  TempFolder folder_;
};

struct CodecCase {
  const char* codec;
  const char* output;
  const char* videoCodec;
  const char* pixelFormat;
  // The mean difference of a frame, in 8-bit steps. 4:2:0 and 4:2:2 lose colour detail on
  // this picture's sharp colour edges, and the reader interpolates 4:2:0 chroma where
  // swscale repeats 4:2:2 samples: up to about 2 steps, where a wrong matrix makes several.
  double tolerance;
};

class EveryCodec : public ClipCodecs, public ::testing::WithParamInterface<CodecCase> {};

TEST_P(EveryCodec, KeepsFramesRateTimestampsAndTheSoundBitForBit) {
  const CodecCase& c = GetParam();
  const std::string input = Source();
  const std::string output = Path(c.output);
  std::vector<std::string> options = kUnchanged;
  if (*c.codec != '\0') options.insert(options.end(), {"--codec", c.codec});
  const RunResult run = Render(options, input, output);
  ASSERT_EQ(run.exitCode, 0) << run.err;

  const ProbedVideo in = Probe(input);
  const ProbedVideo out = Probe(output);
  EXPECT_EQ(out.videoCodec, c.videoCodec);
  EXPECT_EQ(out.pixelFormat, c.pixelFormat);
  EXPECT_DOUBLE_EQ(out.rate, 25.0);
  ExpectSameTimes(out, in);
  if (std::string(c.videoCodec) != "mjpeg") ExpectSameSync(out, in);
  EXPECT_EQ(out.audioCodec, "ac3");
  ExpectSamePackets(out.audio, in.audio);

  std::unique_ptr<host::ClipReader> source = host::OpenClip(input);
  std::unique_ptr<host::ClipReader> written = host::OpenClip(output);
  for (const int k : {0, 9, 4})
    EXPECT_LT(MeanDifference(written->Read(k), source->Read(k)), c.tolerance) << "frame " << k;
}

INSTANTIATE_TEST_SUITE_P(
    Codecs, EveryCodec,
    ::testing::Values(CodecCase{"", "out.mp4", "h264", "yuv420p", 2.0},
                      CodecCase{"", "out.mov", "prores", "yuv422p10le", 2.0},
                      CodecCase{"prores4444", "alpha.mov", "prores", "yuva444p12le", 1.0},
                      CodecCase{"", "out.mkv", "ffv1", "bgra", 0.5},
                      CodecCase{"", "out.avi", "mjpeg", "yuvj420p", 2.5},
                      CodecCase{"h264", "out.mkv", "h264", "yuv420p", 2.0}),
    [](const auto& test) {
      return std::string(*test.param.codec != '\0' ? test.param.codec : "default") + "_" +
             std::filesystem::path(test.param.output).extension().string().substr(1);
    });

TEST_F(ClipCodecs, SpotlightToProRes4444KeepsAlphaSoundAndTimes) {
  const std::string input = Source();
  const RunResult run = Render({"--effect", "Spotlight", "--set", "Transparent Background=on",
                                "--codec", "prores4444", "--quiet"},
                               input, Path("out.mov"));
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.err, "");
  const ProbedVideo out = Probe(Path("out.mov"));
  // FFmpeg's decoder of ProRes 4444 gives 12 bits.
  EXPECT_EQ(out.pixelFormat, "yuva444p12le");
  EXPECT_EQ(out.times.size(), 10u);
  ExpectSamePackets(out.audio, Probe(input).audio);
  const cv::Mat frame = host::OpenClip(Path("out.mov"))->Read(3);
  double least = 0, most = 0;
  cv::Mat alpha;
  cv::extractChannel(frame, alpha, 3);
  cv::minMaxLoc(alpha, &least, &most);
  EXPECT_LT(least, 1000) << "the background is transparent";
  EXPECT_GT(most, 65000) << "the spot is opaque";
}

TEST_F(ClipCodecs, ColourTagsAndTheMatrixAreKept) {
  // HD colours at full range, as a phone records them; the picture must not shift.
  const std::string input = Path("hd.mp4");
  ASSERT_TRUE(
      RunFfmpeg("-f lavfi -i testsrc2=s=320x180:r=25:d=0.2 -vf "
                "scale=out_color_matrix=bt709:out_range=full,format=yuvj420p "
                "-color_range pc -colorspace bt709 -color_primaries bt709 -color_trc "
                "bt709 -c:v libx264 " +
                input));
  ASSERT_EQ(Probe(input).colors, "pc bt709 bt709 bt709");
  for (const std::string output : {"out.mov", "out.mp4"}) {
    ASSERT_EQ(Render(kUnchanged, input, Path(output)).exitCode, 0);
    // ProRes holds limited range only, which the matrix then converts to.
    EXPECT_EQ(Probe(Path(output)).colors,
              output == "out.mov" ? "tv bt709 bt709 bt709" : "pc bt709 bt709 bt709");
    // A wrong matrix or range differs by several levels; the chroma's own round trip
    // through 4:2:0 or 4:2:2 and back, on this picture's sharp colour edges, by under 2.5.
    EXPECT_LT(MeanDifference(host::OpenClip(Path(output))->Read(2), host::OpenClip(input)->Read(2)),
              2.5)
        << output;
  }
}

TEST_F(ClipCodecs, TheEffectIsToldTheClipsPixelAspect) {
  // Pixels twice as wide as high, as anamorphic video has them; Diffusion's blur follows.
  ASSERT_TRUE(RunFfmpeg("-f lavfi -i testsrc2=s=160x90:r=25:d=0.08 -vf setsar=2 -c:v ffv1 " +
                        Path("wide.mkv")));
  const auto render = [&](std::vector<std::string> options, const std::string& output) {
    options.insert(options.begin(), {"--effect", "Diffusion", "--quiet"});
    EXPECT_EQ(Render(options, Path("wide.mkv"), Path(output)).exitCode, 0) << output;
    return host::OpenClip(Path(output))->Read(1);
  };
  const cv::Mat own = render({}, "own.mkv");
  EXPECT_EQ(MeanDifference(own, render({"--pixel-aspect", "2"}, "given.mkv")), 0);
  EXPECT_GT(MeanDifference(own, render({"--pixel-aspect", "1"}, "square.mkv")), 0);
}

// A ramp of 256 ten-bit levels, grey, with alpha falling across the rows.
std::vector<cv::Mat> DeepFrames() {
  cv::Mat frame(16, 256, CV_16UC4);
  for (int y = 0; y < frame.rows; ++y) {
    for (int x = 0; x < frame.cols; ++x) {
      const auto level = static_cast<uint16_t>((300 + x) << 6);
      frame.at<cv::Vec4w>(y, x) = {level, level, level, static_cast<uint16_t>(65535 - y * 4000)};
    }
  }
  return {frame, frame, frame};
}

int DistinctLevels(const cv::Mat& frame) {
  std::set<int> levels;
  for (int x = 0; x < frame.cols; ++x)
    levels.insert(frame.at<cv::Vec4w>(0, x)[1]);
  return static_cast<int>(levels.size());
}

TEST_F(ClipCodecs, TenBitsAndAlphaSurviveTheFloatPathInFfv1AndProRes4444) {
  // RGBA of 16 bits holding 10-bit levels: the input as a deep camera file gives them.
  WriteRawVideo(Path("deep.nut"), AV_PIX_FMT_BGRA64LE, DeepFrames());
  const cv::Mat expected = DeepFrames()[0];
  for (const std::string output : {"deep.mkv", "deep.mov"}) {
    std::vector<std::string> options = kUnchanged;
    if (output == "deep.mov") options.insert(options.end(), {"--codec", "prores4444"});
    const RunResult run = Render(options, Path("deep.nut"), Path(output));
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.err, "") << "nothing is lost";
    EXPECT_EQ(Probe(Path(output)).pixelFormat, output == "deep.mkv" ? "gbrap16le" : "yuva444p12le");
    const cv::Mat frame = host::OpenClip(Path(output))->Read(1);
    ASSERT_EQ(frame.type(), CV_16UC4);
    // FFV1 is lossless; ProRes keeps 10 bits to within a step of them.
    EXPECT_LE(cv::norm(frame, expected, cv::NORM_INF), output == "deep.mkv" ? 1 : 2 * 64) << output;
    // The ramp spans 64 levels of 8 bits; ProRes, lossy, merges a few of its 10-bit steps.
    EXPECT_GE(DistinctLevels(frame), output == "deep.mkv" ? 256 : 200) << output << " lost depth";
  }
}

TEST_F(ClipCodecs, AVariableRateKeepsItsTimestamps) {
  // 20 frames a second, with frames 4 to 9 missing.
  ASSERT_TRUE(
      RunFfmpeg("-f lavfi -i testsrc2=s=320x180:r=20:d=1 -vf "
                "\"select='not(between(n,4,9))'\" -vsync vfr -c:v ffv1 " +
                Path("vfr.mkv")));
  const ProbedVideo in = Probe(Path("vfr.mkv"));
  ASSERT_EQ(in.times.size(), 14u);
  // The times the effect is told: each frame's own, the gap filled by the frame before it.
  std::unique_ptr<host::ClipReader> clip = host::OpenClip(Path("vfr.mkv"));
  std::set<double> told;
  for (int64_t n = 0; n < clip->FrameCount().value_or(0); ++n) {
    ASSERT_FALSE(clip->Read(n).empty()) << "frame " << n;
    told.insert(clip->TimeOf(n).value_or(host::FrameTime{-1, -1}).seconds);
  }
  EXPECT_THAT(std::vector<double>(told.begin(), told.end()),
              ::testing::Pointwise(::testing::DoubleNear(0.0005), in.times));
  for (const std::string output : {"out.mkv", "out.mp4"}) {
    const RunResult run = Render(kUnchanged, Path("vfr.mkv"), Path(output));
    ASSERT_EQ(run.exitCode, 0) << run.err;
    SCOPED_TRACE(output);
    ExpectSameTimes(Probe(Path(output)), in);
  }
}

TEST_F(ClipCodecs, ATruncatedFileFailsAtTheFrameWhereItEnds) {
  const std::string whole = Path("whole.mkv");
  {
    host::ClipOutput output;
    output.name = whole;
    const std::unique_ptr<host::ClipWriter> writer = host::OpenClipWriter(output, {});
    for (int k = 0; k < 10; ++k)
      writer->Write(k, SyntheticFrame(k), std::nullopt);
    writer->Commit();
  }
  // Cut inside frame 6's packet, where the file says.
  const std::vector<double> times = Probe(whole).times;
  ASSERT_EQ(times.size(), 10u);
  AVFormatContext* format = nullptr;
  ASSERT_EQ(avformat_open_input(&format, whole.c_str(), nullptr, nullptr), 0);
  AVPacket* packet = av_packet_alloc();
  int64_t cut = -1;
  for (int k = 0; av_read_frame(format, packet) >= 0; ++k) {
    if (k == 6) cut = packet->pos + packet->size / 2;
    av_packet_unref(packet);
  }
  av_packet_free(&packet);
  avformat_close_input(&format);
  ASSERT_GT(cut, 0);
  std::filesystem::resize_file(whole, static_cast<uintmax_t>(cut));

  const RunResult run = Render(kUnchanged, whole, Path("out.mkv"));
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(run.err, HasSubstr("vitrella: cannot decode frame 6 of " + whole));
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
  EXPECT_FALSE(std::filesystem::exists(Path("out.mkv")));
}

TEST_F(ClipCodecs, ARealClipKeepsItsSoundAndRateInARange) {
  // One second of 23.976 frames per second with AC-3 sound.
  const RunResult run =
      Render({"--effect", "Spotlight", "--frames", "0-23", "--quiet"}, kMegamind, Path("out.mkv"));
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const ProbedVideo in = Probe(kMegamind);
  const ProbedVideo out = Probe(Path("out.mkv"));
  EXPECT_NEAR(out.rate, 2997.0 / 125, 0.001);
  EXPECT_EQ(out.times.size(), 24u);
  EXPECT_EQ(out.audioCodec, "ac3");
  // The packets up to the end of the last frame, and no more.
  std::vector<std::string> firstSecond;
  for (size_t i = 0; i < in.audio.size(); ++i) {
    if (in.audioTimes[i] < out.times.back() + 125 / 2997.0) firstSecond.push_back(in.audio[i]);
  }
  ExpectSamePackets(out.audio, firstSecond);
  EXPECT_EQ(Render({"--effect", "Spotlight", "--frames", "0-1", "--quiet", "--no-audio"}, kMegamind,
                   Path("silent.mkv"))
                .exitCode,
            0);
  EXPECT_EQ(Probe(Path("silent.mkv")).audioCodec, "");
}

TEST_F(ClipCodecs, CodecsThatCannotBeWrittenAreRefusedBeforeAnyWork) {
  const std::string input = Source();
  const struct {
    std::vector<std::string> options;
    const char* output;
    const char* message;
  } kMistakes[] = {
      {{"--codec", "prores"}, "out.mp4", "a .mp4 file does not take prores"},
      {{"--codec", "vp9"}, "out.mkv", "unknown codec 'vp9'"},
      {{"--crf", "20"}, "out.mov", "--crf applies to H.264 only"},
      {{"--crf", "52"}, "out.mp4", "bad --crf '52'"},
      {{"--encoder-preset", "quick"}, "out.mp4", "unknown encoder preset 'quick'"},
      {{"--codec", "png"}, "out.mkv", "writes numbered pictures"},
      {{}, "out.webm", "no codec goes with its extension"},
  };
  for (const auto& mistake : kMistakes) {
    std::vector<std::string> options = {"--effect", "Spotlight"};
    options.insert(options.end(), mistake.options.begin(), mistake.options.end());
    const RunResult run = Render(options, input, Path(mistake.output));
    EXPECT_EQ(run.exitCode, 2) << mistake.message;
    EXPECT_THAT(run.err, HasSubstr(mistake.message));
    EXPECT_FALSE(std::filesystem::exists(Path(mistake.output)));
  }
}

}  // namespace
}  // namespace vitrella::testing
