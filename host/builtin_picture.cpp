#include "builtin_picture.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include <opencv2/imgproc.hpp>

namespace vitrella::host {
namespace {

constexpr int kBlack = 16;
constexpr int kWhite = 235;
constexpr int kBarLevel = 180;  // 75 % bars

cv::Scalar Bgr(int b, int g, int r) {
  return cv::Scalar(b, g, r, 255);
}

uint8_t Level(double fraction) {
  return static_cast<uint8_t>(
      std::lround(kBlack + std::clamp(fraction, 0.0, 1.0) * (kWhite - kBlack)));
}

void ColourBars(cv::Mat& picture, cv::Rect area) {
  // White, yellow, cyan, green, magenta, red, blue, black, as blue-green-red switches.
  constexpr int kBars[8][3] = {{1, 1, 1}, {0, 1, 1}, {1, 1, 0}, {0, 1, 0},
                               {1, 0, 1}, {0, 0, 1}, {1, 0, 0}, {0, 0, 0}};
  const int width = area.width / 8;
  for (int i = 0; i < 8; ++i) {
    const auto on = [&](int c) { return kBars[i][c] != 0 ? kBarLevel : kBlack; };
    cv::rectangle(picture, cv::Rect(area.x + i * width, area.y, width, area.height),
                  Bgr(on(0), on(1), on(2)), cv::FILLED);
  }
}

void Gradients(cv::Mat& picture, cv::Rect area) {
  const int half = area.height / 2;
  for (int y = 0; y < area.height; ++y) {
    auto* row = picture.ptr<cv::Vec4b>(area.y + y);
    for (int x = 0; x < area.width; ++x) {
      const double u = static_cast<double>(x) / (area.width - 1);
      cv::Vec4b& pixel = row[area.x + x];
      if (y < half) {
        // A grey ramp, black to white.
        pixel = cv::Vec4b(Level(u), Level(u), Level(u), 255);
      } else {
        // A soft sweep of hues that fades to grey towards the bottom.
        const double fade = static_cast<double>(y - half) / (area.height - half);
        const auto wave = [&](double phase) {
          const double c = 0.5 + 0.5 * std::cos(2.0 * M_PI * (u - phase));
          return Level(c * (1.0 - fade) + 0.5 * fade);
        };
        pixel = cv::Vec4b(wave(2.0 / 3.0), wave(1.0 / 3.0), wave(0.0), 255);
      }
    }
  }
}

void SkinTones(cv::Mat& picture, cv::Rect area) {
  // From fair to deep, blue-green-red.
  constexpr int kTones[6][3] = {{189, 208, 235}, {150, 180, 224}, {120, 160, 198},
                                {90, 130, 176},  {60, 95, 141},   {40, 62, 96}};
  const int width = area.width / 6;
  for (int i = 0; i < 6; ++i) {
    for (int y = 0; y < area.height; ++y) {
      // Light from above: the patch darkens smoothly towards its lower edge.
      const double shade = 1.05 - 0.3 * y / area.height;
      auto* row = picture.ptr<cv::Vec4b>(area.y + y);
      for (int x = 0; x < width; ++x) {
        cv::Vec4b& pixel = row[area.x + i * width + x];
        for (int c = 0; c < 3; ++c)
          pixel[c] = Level((kTones[i][c] * shade - kBlack) / (kWhite - kBlack));
        pixel[3] = 255;
      }
    }
  }
}

void Diagonals(cv::Mat& picture, cv::Rect area) {
  cv::rectangle(picture, area, Bgr(225, 225, 225), cv::FILLED);
  const cv::Point origin(area.x + 8, area.y + area.height - 8);
  // A fan of one-pixel lines without anti-aliasing: every angle has its own stair-steps.
  for (int i = 0; i <= 24; ++i) {
    const double angle = (i / 24.0) * (M_PI / 2.0);
    const cv::Point end(
        origin.x + static_cast<int>(std::lround(std::cos(angle) * (area.width - 24))),
        origin.y - static_cast<int>(std::lround(std::sin(angle) * (area.height - 24))));
    cv::line(picture, origin, end, Bgr(kBlack, kBlack, kBlack), 1, cv::LINE_8);
  }
  // A tilted solid square: long hard edges at a shallow angle.
  const cv::RotatedRect square(
      cv::Point2f(area.x + area.width * 0.72f, area.y + area.height * 0.3f),
      cv::Size2f(area.height * 0.35f, area.height * 0.35f), 17.0f);
  cv::Point2f corners[4];
  square.points(corners);
  cv::Point polygon[4];
  for (int i = 0; i < 4; ++i)
    polygon[i] = corners[i];
  cv::fillConvexPoly(picture, polygon, 4, Bgr(40, 40, 200), cv::LINE_8);
}

// Five by seven glyphs, top row first, '#' for a block.
struct Glyph {
  char letter;
  std::string_view rows[7];
};
constexpr Glyph kGlyphs[] = {
    {'0', {" ### ", "#   #", "#  ##", "# # #", "##  #", "#   #", " ### "}},
    {'1', {"  #  ", " ##  ", "  #  ", "  #  ", "  #  ", "  #  ", " ### "}},
    {'2', {" ### ", "#   #", "    #", "   # ", "  #  ", " #   ", "#####"}},
    {'3', {"#####", "   # ", "  #  ", "   # ", "    #", "#   #", " ### "}},
    {'4', {"   # ", "  ## ", " # # ", "#  # ", "#####", "   # ", "   # "}},
    {'5', {"#####", "#    ", "#### ", "    #", "    #", "#   #", " ### "}},
    {'6', {"  ## ", " #   ", "#    ", "#### ", "#   #", "#   #", " ### "}},
    {'7', {"#####", "    #", "   # ", "  #  ", " #   ", " #   ", " #   "}},
    {'8', {" ### ", "#   #", "#   #", " ### ", "#   #", "#   #", " ### "}},
    {'9', {" ### ", "#   #", "#   #", " ####", "    #", "   # ", " ##  "}},
    {'A', {" ### ", "#   #", "#   #", "#####", "#   #", "#   #", "#   #"}},
    {'E', {"#####", "#    ", "#    ", "#### ", "#    ", "#    ", "#####"}},
    {'I', {" ### ", "  #  ", "  #  ", "  #  ", "  #  ", "  #  ", " ### "}},
    {'K', {"#   #", "#  # ", "# #  ", "##   ", "# #  ", "#  # ", "#   #"}},
    {'L', {"#    ", "#    ", "#    ", "#    ", "#    ", "#    ", "#####"}},
    {'M', {"#   #", "## ##", "# # #", "# # #", "#   #", "#   #", "#   #"}},
    {'R', {"#### ", "#   #", "#   #", "#### ", "# #  ", "#  # ", "#   #"}},
    {'T', {"#####", "  #  ", "  #  ", "  #  ", "  #  ", "  #  ", "  #  "}},
    {'V', {"#   #", "#   #", "#   #", "#   #", "#   #", " # # ", "  #  "}},
    {'W', {"#   #", "#   #", "#   #", "# # #", "# # #", "## ##", "#   #"}},
    {'X', {"#   #", "#   #", " # # ", "  #  ", " # # ", "#   #", "#   #"}},
    {'Z', {"#####", "    #", "   # ", "  #  ", " #   ", "#    ", "#####"}},
};

void Letters(cv::Mat& picture, cv::Point origin, std::string_view text, int scale,
             const cv::Scalar& colour) {
  int x = origin.x;
  for (char letter : text) {
    for (const Glyph& glyph : kGlyphs) {
      if (glyph.letter != letter) continue;
      for (int row = 0; row < 7; ++row) {
        for (int column = 0; column < 5; ++column) {
          if (glyph.rows[row][column] != '#') continue;
          cv::rectangle(picture, cv::Rect(x + column * scale, origin.y + row * scale, scale, scale),
                        colour, cv::FILLED);
        }
      }
    }
    x += 6 * scale;
  }
}

void Lettering(cv::Mat& picture, cv::Rect area) {
  cv::rectangle(picture, area, Bgr(kWhite, kWhite, kWhite), cv::FILLED);
  const cv::Scalar ink = Bgr(kBlack, kBlack, kBlack);
  Letters(picture, {area.x + 12, area.y + 12}, "VITRELLA 2024", 2, ink);
  Letters(picture, {area.x + 12, area.y + 36}, "0123456789 AZ", 3, ink);
  Letters(picture, {area.x + 12, area.y + 72}, "WAVE 7", 6, Bgr(150, 40, 30));
  // Light text on a dark field, with a bright highlight beside it.
  const cv::Rect dark(area.x, area.y + area.height / 2, area.width, area.height / 2);
  cv::rectangle(picture, dark, Bgr(30, 24, 20), cv::FILLED);
  Letters(picture, {dark.x + 12, dark.y + 16}, "MIX 42", 8, Bgr(kWhite, kWhite, kWhite));
  cv::circle(picture, {dark.x + dark.width - 60, dark.y + dark.height / 2}, 34,
             Bgr(kWhite, kWhite, kWhite), cv::FILLED, cv::LINE_8);
}

}  // namespace

cv::Mat BuiltinPicture() {
  cv::Mat picture(kBuiltinHeight, kBuiltinWidth, CV_8UC4, cv::Scalar(128, 128, 128, 255));
  const int barHeight = 200;
  const int middleHeight = 180;
  const int lowerTop = barHeight + middleHeight;
  const int half = kBuiltinWidth / 2;
  ColourBars(picture, {0, 0, kBuiltinWidth, barHeight});
  Gradients(picture, {0, barHeight, half, middleHeight});
  SkinTones(picture, {half, barHeight, half, middleHeight});
  Diagonals(picture, {0, lowerTop, half, kBuiltinHeight - lowerTop});
  Lettering(picture, {half, lowerTop, half, kBuiltinHeight - lowerTop});
  return picture;
}

}  // namespace vitrella::host
