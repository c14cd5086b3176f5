#include "effects/image_mapper.h"

#include <algorithm>
#include <cmath>

#include "core/frame_buffer.h"
#include "core/frame_ops.h"
#include "core/render_setup.h"

namespace vitrella {
namespace {

constexpr ParamDef kParams[] = {
    GroupOpen("Corner Positions", 11, 15, "Adjust four corners of the image"),
    PointParam("Top Left", 0.0f, 0.0f, {11, 21, 180, 30}, "Top Left"),
    PointParam("Top Right", 1.0f, 0.0f, {241, 21, 180, 30}, "Top Right"),
    PointParam("Bottom Left", 0.0f, 1.0f, {11, 111, 180, 30}, "Bottom Left"),
    PointParam("Bottom Right", 1.0f, 1.0f, {241, 111, 180, 30}, "Bottom Right"),
    // The closing labels differ from the opening ones, as the panel has always had them.
    GroupClose("Corner Position", {0, 0, 432, 208}, "Adjust four corners of the image"),
    GroupOpen("Edge Curves", 11, 236, "Create variable shape inserts"),
    SliderParam("Top", -100, 100, 0.5f, {7, 236, 48, 30}, "Adjust curve of top edge"),
    // Bottom is wider than its neighbours.
    SliderParam("Bottom", -100, 100, 0.5001f, {67, 236, 60, 30}, "Adjust curve of bottom edge"),
    SliderParam("Left", -100, 100, 0.5001f, {127, 236, 48, 30}, "Adjust curve of left edge"),
    SliderParam("Right", -100, 100, 0.5001f, {187, 236, 48, 30}, "Adjust curve of right edge"),
    GroupClose("Edge Curve", {0, 216, 243, 114}),
    // The defaults a hair off neutral lead every render through all of its stages.
    SliderParam("Crop", 0, 100, 0.0001f, {447, 21, 48, 30}, "Change size of image"),
    SliderParam("Aspect Ratio", -100, 100, 0.5001f, {447, 111, 48, 30}, "Fine tune dimensions"),
    SliderParam("Edge Blur", 0, 100, 0.0f, {447, 236, 48, 30}, "Softens edges of image"),
    // Name and tooltip end in a blank.
    PointParam("Shift ", 0.5f, 0.5f, {257, 236, 180, 30}, "Move entire image "),
};

constexpr PointId kTopLeft{1, "Top Left"};
constexpr PointId kTopRight{2, "Top Right"};
constexpr PointId kBottomLeft{3, "Bottom Left"};
constexpr PointId kBottomRight{4, "Bottom Right"};
constexpr SliderId kTop{7, "Top"};
constexpr SliderId kBottom{8, "Bottom"};
constexpr SliderId kLeft{9, "Left"};
constexpr SliderId kRight{10, "Right"};
constexpr SliderId kCrop{12, "Crop"};
constexpr SliderId kAspect{13, "Aspect Ratio"};
constexpr SliderId kEdgeBlur{14, "Edge Blur"};
constexpr PointId kShift{15, "Shift "};
static_assert(NamesMatch(kParams, kTopLeft, kTopRight, kBottomLeft, kBottomRight, kTop, kBottom,
                         kLeft, kRight, kCrop, kAspect, kEdgeBlur, kShift));

constexpr KindedValue kShiftRest = PointValue(0.5f, 0.5f);

// Each row: Top Left, Top Right, Bottom Left, Bottom Right, Top, Bottom, Left, Right, Crop,
// Aspect Ratio, Edge Blur, Shift. The names are kept as they were saved, misspellings
// included, and the Edge Blur of 1.0001 is used as it stands.
// clang-format off
constexpr PresetDef kPresets[] = {
    {"Alien View Screeen",
     {PointValue(0.07495f, 0.07495f), PointValue(0.92505f, 0.07495f), PointValue(0.0f, 0.95005f), PointValue(1.0f, 0.95005f), SliderValue(1.0f), SliderValue(1.0f), SliderValue(1.0f), SliderValue(1.0f), SliderValue(0.1001f), SliderValue(0.2251f), SliderValue(0.1001f), kShiftRest}},
    {"Apparition",
     {PointValue(0.104651f, 0.11995f), PointValue(0.91505f, 0.069767f), PointValue(0.00995f, 0.790698f), PointValue(0.965116f, 0.90505f), SliderValue(0.5851f), SliderValue(0.7751f), SliderValue(0.3951f), SliderValue(0.7601f), SliderValue(0.7001f), SliderValue(0.8701f), SliderValue(1.0001f), kShiftRest}},
    {"Cape",
     {PointValue(0.44995f, 0.0f), PointValue(0.55005f, 0.0f), PointValue(0.0f, 1.0f), PointValue(1.0f, 1.0f), SliderValue(0.5f), SliderValue(0.7001f), SliderValue(0.7001f), SliderValue(0.7001f), SliderValue(0.0001f), SliderValue(0.5f), SliderValue(0.0f), kShiftRest}},
    {"Claw",
     {PointValue(0.04995f, 0.04995f), PointValue(0.95005f, 0.04995f), PointValue(0.04995f, 0.95005f), PointValue(0.95005f, 0.95005f), SliderValue(1.0f), SliderValue(0.0f), SliderValue(1.0f), SliderValue(1.0f), SliderValue(0.0f), SliderValue(0.5f), SliderValue(0.0801f), kShiftRest}},
    {"Dark Theater",
     {PointValue(0.24995f, 0.24995f), PointValue(0.75005f, 0.24995f), PointValue(0.24995f, 0.75005f), PointValue(0.75005f, 0.75005f), SliderValue(0.5001f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.0f), SliderValue(0.5f), SliderValue(1.0f), kShiftRest}},
    {"Flag",
     {PointValue(0.174419f, 0.18495f), PointValue(0.75505f, 0.18495f), PointValue(0.19995f, 0.72093f), PointValue(0.860465f, 0.79005f), SliderValue(0.5101f), SliderValue(0.3751f), SliderValue(0.4251f), SliderValue(0.5551f), SliderValue(0.0001f), SliderValue(0.5f), SliderValue(0.0101f), kShiftRest}},
    {"Galazey Far Far Away",
     {PointValue(0.3604651f, 0.023255814f), PointValue(0.59302324f, 0.023255814f), PointValue(0.0f, 1.0f), PointValue(1.0f, 1.0f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.0f), SliderValue(0.5f), SliderValue(0.0f), kShiftRest}},
    {"Hirozintal Streaks",
     {PointValue(0.0f, 0.0f), PointValue(1.0f, 0.0f), PointValue(0.0f, 1.0f), PointValue(1.0f, 1.0f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.0f), SliderValue(1.0f), SliderValue(0.0f), kShiftRest}},
    {"Inner X",
     {PointValue(0.0f, 0.0f), PointValue(1.0f, 0.0f), PointValue(0.0f, 1.0f), PointValue(1.0f, 1.0f), SliderValue(0.0f), SliderValue(0.0f), SliderValue(0.0f), SliderValue(0.0f), SliderValue(1.0f), SliderValue(0.5f), SliderValue(0.0101f), kShiftRest}},
    {"Jumbotron",
     {PointValue(0.19995f, 0.12495f), PointValue(0.80005f, 0.12495f), PointValue(0.19995f, 0.65005f), PointValue(0.80005f, 0.65005f), SliderValue(0.5001f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.0201f), SliderValue(0.2501f), SliderValue(0.0301f), kShiftRest}},
    {"Off",
     {PointValue(0.49495f, 0.49495f), PointValue(0.50505f, 0.49495f), PointValue(0.49495f, 0.50505f), PointValue(0.50505f, 0.50505f), SliderValue(0.0001f), SliderValue(0.0f), SliderValue(0.0f), SliderValue(0.0f), SliderValue(1.0f), SliderValue(0.0f), SliderValue(0.0501f), kShiftRest}},
    {"Reset to None",
     {PointValue(0.0f, 0.0f), PointValue(1.0f, 0.0f), PointValue(0.0f, 1.0f), PointValue(1.0f, 1.0f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.0f), SliderValue(0.5f), SliderValue(0.0f), kShiftRest}},
    {"Rotate Left",
     {PointValue(0.0f, 0.4883721f), PointValue(0.4883721f, 0.0f), PointValue(0.47674417f, 1.0f), PointValue(1.0f, 0.55813956f), SliderValue(0.5001f), SliderValue(0.5001f), SliderValue(0.5001f), SliderValue(0.5001f), SliderValue(1.0f), SliderValue(0.5f), SliderValue(0.0101f), kShiftRest}},
    {"Rotate Right",
     {PointValue(0.5232558f, 0.0f), PointValue(1.0f, 0.53488374f), PointValue(0.0f, 0.53488374f), PointValue(0.5f, 1.0f), SliderValue(0.5001f), SliderValue(0.5001f), SliderValue(0.5001f), SliderValue(0.5001f), SliderValue(1.0f), SliderValue(0.5f), SliderValue(0.0101f), kShiftRest}},
    {"Sideways Cone",
     {PointValue(0.0f, 0.0f), PointValue(1.0f, 0.49495f), PointValue(0.0f, 1.0f), PointValue(1.0f, 0.50505f), SliderValue(0.5001f), SliderValue(0.5001f), SliderValue(0.6501f), SliderValue(0.5001f), SliderValue(0.0001f), SliderValue(0.5f), SliderValue(0.0f), kShiftRest}},
    {"Simple PiP",
     {PointValue(0.24995f, 0.24995f), PointValue(0.75005f, 0.24995f), PointValue(0.24995f, 0.75005f), PointValue(0.75005f, 0.75005f), SliderValue(0.5001f), SliderValue(0.5001f), SliderValue(0.5001f), SliderValue(0.5001f), SliderValue(0.0001f), SliderValue(0.5f), SliderValue(0.0501f), kShiftRest}},
    {"Skewed Rhombus",
     {PointValue(0.0f, 0.0f), PointValue(0.75005f, 0.24995f), PointValue(0.24995f, 0.75005f), PointValue(1.0f, 1.0f), SliderValue(0.5001f), SliderValue(0.5f), SliderValue(0.5001f), SliderValue(0.5f), SliderValue(0.0f), SliderValue(0.5f), SliderValue(0.2501f), kShiftRest}},
    {"Television",
     {PointValue(0.12495f, 0.12495f), PointValue(0.87505f, 0.12495f), PointValue(0.12495f, 0.87505f), PointValue(0.87505f, 0.87505f), SliderValue(0.5501f), SliderValue(0.5501f), SliderValue(0.5501f), SliderValue(0.5501f), SliderValue(0.0001f), SliderValue(0.5f), SliderValue(0.0101f), kShiftRest}},
    {"Tilted Plane",
     {PointValue(0.34995f, 0.14995f), PointValue(0.80005f, 0.24995f), PointValue(0.34995f, 0.75005f), PointValue(0.80005f, 0.85005f), SliderValue(0.5001f), SliderValue(0.5001f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.0f), SliderValue(0.5001f), SliderValue(0.1001f), kShiftRest}},
    {"Vertical Streaks",
     {PointValue(0.0f, 0.0f), PointValue(1.0f, 0.0f), PointValue(0.0f, 1.0f), PointValue(1.0f, 1.0f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.0f), SliderValue(0.0f), SliderValue(0.0f), kShiftRest}},
    {"Windswept Paper",
     {PointValue(0.15495f, 0.37495f), PointValue(0.90505f, 0.0f), PointValue(0.16495f, 0.72093f), PointValue(0.790698f, 0.79505f), SliderValue(0.1251f), SliderValue(0.6951f), SliderValue(0.2651f), SliderValue(0.6551f), SliderValue(0.0001f), SliderValue(0.5f), SliderValue(0.0101f), kShiftRest}},
};
// clang-format on

static_assert(TableIsWellFormed(kParams, kPresets));
static_assert(std::size(kParams) == 16 && std::size(kPresets) == 21);

constexpr EffectTable kTable{"Image Mapper", kTraitsPositional, kParams, kPresets};

template <typename T>
bool RenderFrame(RenderSetup& setup, const ImageMapperValues& v) {
  const FrameBuffer& src = setup.src();
  FrameBuffer& dst = setup.dst();
  const int32_t w = setup.width();
  const int32_t h = setup.height();
  if (w < 16 || h < 16) return false;
  // The crop writes into the destination, which serves as scratch until the last stage.
  const FrameBuffer* picture = &src;
  if (v.crop != 0.0f || v.aspect != 0.0f) {
    const CropMargins margins = CropMarginsOf(w, h, v.crop, v.aspect);
    // A crop of no margin is the picture itself, which the next stage can read where it is.
    if (margins.cx != 0 || margins.cy != 0) {
      (void)CropStage(src, dst, margins);
      picture = &dst;
    }
  }
  const auto wd = static_cast<float>(dst.width);
  const auto hd = static_cast<float>(dst.height);
  const double shiftX = wd * v.sx;
  const double shiftY = hd * v.sy;
  kernels::Quad corners;
  for (int i = 0; i < 4; ++i) {
    corners[i][0] = v.corners[i][0] * (dst.width - 1) + shiftX;
    corners[i][1] = v.corners[i][1] * (dst.height - 1) + shiftY;
  }
  // Straight edges, no blur and the frame's own corners leave the picture as it is: it goes
  // to the destination at once (where the crop put it already).
  if (EdgesStayStraight(v.curves, w, h) && v.blur == 0.0f && w == dst.width && h == dst.height &&
      CornersOfTheFrame(corners, w, h)) {
    return picture == &dst || CopyFrame(src, dst);
  }
  FrameBuffer scratch;
  if (!scratch.Allocate(w, h, src.pixelBytes, &setup.memory(), src.format, false)) return false;
  if (!EdgeStage(*picture, scratch, v.curves, &setup.memory())) return false;
  if (v.blur != 0.0f &&
      !BlurStage(scratch, v.blur, setup.info().fieldMode != kFieldModeFrame, &setup.memory())) {
    return false;
  }
  return CornerStage(scratch, dst, corners);
}

}  // namespace

ImageMapperValues ReadImageMapper(IEffectHost* host, bool flipped) {
  const ParamReader params(host);
  const auto curve = [](float value) { return (value - 0.5f) * 2.0f; };
  ImageMapperValues v{};
  const float top = curve(params.Read(kTop));
  const float bottom = curve(params.Read(kBottom));
  v.curves = {flipped ? top : bottom, flipped ? bottom : top, curve(params.Read(kLeft)),
              curve(params.Read(kRight))};
  v.crop = params.Read(kCrop) * 0.2f;
  v.aspect = curve(params.Read(kAspect));
  v.blur = params.Read(kEdgeBlur) * 0.2f;
  const ParamReader::Point shift = params.Read(kShift);
  v.sx = curve(shift.x);
  v.sy = curve(flipped ? shift.y : 1.0f - shift.y);
  // Memory corners from row 0 on: the picture's top corners when rows run top down.
  const PointId order[4] = {flipped ? kTopLeft : kBottomLeft, flipped ? kTopRight : kBottomRight,
                            flipped ? kBottomRight : kTopRight, flipped ? kBottomLeft : kTopLeft};
  for (int i = 0; i < 4; ++i) {
    const ParamReader::Point p = params.Read(order[i]);
    v.corners[i][0] = p.x;
    v.corners[i][1] = flipped ? p.y : 1.0f - p.y;
  }
  return v;
}

CImageMapper::CImageMapper() : EffectBase(kTable, kImageMapperSetupPrograms) {}

bool CImageMapper::Render(IEffectHost* host, const HostFrame* source, uintptr_t /*unused*/,
                          HostFrame* destination, const RenderInfo* info) {
  RenderSetup setup(host, source, destination, info);
  if (!setup) return false;
  const ImageMapperValues v = ReadImageMapper(host, setup.src().flipped != 0);
  return BySampleType(setup.srcLayout().isFloat,
                      [&]<typename T>(Samples<T>) { return RenderFrame<T>(setup, v); });
}

}  // namespace vitrella
