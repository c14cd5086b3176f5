#include "effects/spotlight.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/frame_blur.h"
#include "core/frame_buffer.h"
#include "core/frame_math.h"
#include "core/frame_ops.h"

namespace vitrella {
namespace {

enum Param : uint32_t {
  kCenter = 1,
  kAngle = 2,
  kTracks = 3,
  kSize = 4,
  kFeather = 5,
  kTransparent = 6,
  kSpotTint = 9,   // then strength, colour, brightness, clarity, blur
  kBackTint = 17,  // the same for the background
};

constexpr ParamDef kParams[] = {
    GroupOpen("Shape", 0, 0, "Controls position and dimensions of spotlight"),
    PointParam("Center", 0.5f, 0.5f, {11, 19, 180, 30}, "Moves spotlight within image"),
    PointParam("Angle", 0.5f, 0.5f, {11, 224, 180, 30}, "Changes tilt of spotlight "),
    CheckParam("Angle Tracks Center", false, {11, 330, 190, 10},
               "Ensures center and angle will always have same relative size"),
    SliderParam("Size", 0, 100, 0.3f, {11, 116, 48, 30}, "Changes size of spotlight"),
    SliderParam("Feather", 0, 100, 0.2f, {77, 116, 48, 30}, "Softens edges of spotlight"),
    CheckParam("Transparent Background", false, {11, 357, 180, 10},
               "Clears everything around spotlight so it can be used as overlay"),
    GroupClose("Shape", 200, 405),
    GroupOpen("Spotlight", 225, 20, "Adjusts inside the borders of spotlight"),
    ColorParam("Tint", 0x00550000, {225, 19, 48, 30}, "Sets tint"),
    SliderParam("Tint", -100, 100, 0.5f, {291, 19, 48, 30}, "Adjusts strength of tint"),
    SliderParam("Color", -100, 100, 0.5f, {357, 19, 48, 30}, "Adjusts saturation"),
    SliderParam("Brightness", -100, 100, 0.5f, {225, 109, 48, 30}, "Adjusts brightness"),
    SliderParam("Clarity", 0, 100, 0.0f, {291, 109, 48, 30}, "Sets contrast for dynamic range"),
    SliderParam("Blur", 0, 100, 0.0f, {357, 109, 48, 30}, "Adjusts blur and focus"),
    GroupClose("Spotlight", 200, 200),
    GroupOpen("Background", 205, 310),
    ColorParam("Tint", 0x00005500, {225, 222, 48, 30}, "Sets tint"),
    SliderParam("Tint", -100, 100, 0.5f, {291, 222, 48, 30}, "Adjusts strength of tint"),
    SliderParam("Color", -100, 100, 0.5f, {357, 222, 48, 30}, "Adjusts saturation"),
    SliderParam("Brightness", -100, 100, 0.5f, {225, 312, 48, 30}, "Adjusts brightness"),
    SliderParam("Clarity", 0, 100, 0.0f, {291, 312, 48, 30}, "Sets contrast for dynamic range"),
    SliderParam("Blur", 0, 100, 0.0f, {357, 312, 48, 30}, "Adjusts blur and focus"),
    GroupClose("Background", 200, 200, "Adjusts outside the borders of spotlight"),
};

// One preset row: the shape, then tint colour, strength, colour, brightness, clarity and
// blur of the spot and of the background; group records hold no value.
#define SPOT_ROW(cx, cy, ax, ay, tracks, size, feather, transparent, st, s1, s2, s3, s4, s5, bt, \
                 b1, b2, b3, b4, b5)                                                             \
  {                                                                                              \
    NoValue(), PointValue(cx, cy), PointValue(ax, ay), CheckValue(tracks), SliderValue(size),    \
        SliderValue(feather), CheckValue(transparent), NoValue(), NoValue(), ColorValue(st),     \
        SliderValue(s1), SliderValue(s2), SliderValue(s3), SliderValue(s4), SliderValue(s5),     \
        NoValue(), NoValue(), ColorValue(bt), SliderValue(b1), SliderValue(b2), SliderValue(b3), \
        SliderValue(b4), SliderValue(b5), NoValue()                                              \
  }

// clang-format off
constexpr PresetDef kPresets[] = {
    {"Arthouse Dreams", SPOT_ROW(0.0f, 1.0f, 0.6395f, 0.6512f, 0, 0.6501f, 0.3601f, 0, 0x0000FFFF, 0.3701f, 0.4501f, 0.6101f, 0.8201f, 0.0001f, 0x00404080, 0.8401f, 0.0001f, 0.0f, 0.5401f, 0.1801f)},
    {"Black N White Center", SPOT_ROW(0.5f, 0.4999f, 0.5f, 0.5f, 1, 0.2701f, 0.175f, 0, 0x00FFFFFF, 0.5001f, 0.0f, 0.57f, 1.0f, 0.0f, 0x00FFFFFF, 0.5001f, 0.6351f, 0.5001f, 0.0f, 0.0f)},
    {"Blind Spot", SPOT_ROW(0.5f, 0.5f, 0.5f, 0.5f, 0, 0.4001f, 0.6001f, 0, 0x00FFFFFF, 0.0001f, 0.5001f, 0.4751f, 0.0001f, 1.0f, 0x00FFFFFF, 0.5f, 0.5001f, 0.5001f, 0.0f, 0.0f)},
    {"Blurred Spot", SPOT_ROW(0.5f, 0.5f, 0.5f, 0.5f, 0, 0.3f, 0.26f, 0, 0x00550000, 0.5f, 0.5f, 0.5f, 0.0f, 0.5112f, 0x00005500, 0.5f, 0.5f, 0.5f, 0.326f, 0.0f)},
    {"Bright Oval Spot", SPOT_ROW(0.5f, 0.5f, 0.1047f, 0.4884f, 0, 0.3f, 0.2131f, 0, 0x00FFFFFF, 0.5f, 0.8956f, 1.0f, 0.0f, 0.0f, 0x00000000, 0.7121f, 0.4067f, 0.3715f, 0.2963f, 0.0f)},
    {"Bright Spot", SPOT_ROW(0.5f, 0.5f, 0.5f, 0.5f, 1, 0.3f, 0.2131f, 0, 0x00FFFFFF, 0.5f, 0.8956f, 1.0f, 0.0f, 0.0f, 0x00000000, 0.7121f, 0.4067f, 0.3715f, 0.2963f, 0.0f)},
    {"Burnt Peephole", SPOT_ROW(0.5f, 0.5f, 0.5f, 0.5f, 0, 0.2351f, 0.1751f, 1, 0x00FFFFFF, 0.5001f, 0.5001f, 0.5f, 0.0f, 0.0f, 0x000000DF, 1.0f, 0.5001f, 0.5001f, 0.0001f, 0.0f)},
    {"Ceiling Light", SPOT_ROW(0.5f, 0.0f, 1.0f, 0.4999f, 1, 0.3001f, 0.7001f, 0, 0x0075FFFF, 1.0f, 1.0f, 1.0f, 1.0f, 0.1001f, 0x00FFFFFF, 0.4751f, 0.4751f, 0.0001f, 0.0f, 0.0f)},
    {"Center Boost", SPOT_ROW(0.5f, 0.5f, 0.5f, 0.5f, 0, 0.4001f, 0.5101f, 0, 0x00FFFFFF, 0.5201f, 0.77f, 0.5501f, 0.7601f, 0.0f, 0x00FFFFFF, 0.45f, 0.5f, 0.5f, 0.0f, 0.0f)},
    {"Circle Overlay", SPOT_ROW(0.5f, 0.5f, 0.5f, 0.5f, 0, 0.3651f, 0.2501f, 1, 0x00FFFFFF, 0.5001f, 0.5001f, 0.5f, 0.0f, 0.0f, 0x00FFFFFF, 0.5f, 0.5f, 0.5f, 0.0f, 0.0f)},
    {"Classic Portrait", SPOT_ROW(0.5f, 0.5f, 0.8605f, 0.5116f, 0, 0.5051f, 0.695f, 0, 0x0082060D, 0.6251f, 0.0001f, 0.5501f, 0.1951f, 0.0001f, 0x00FFFFFF, 0.5f, 0.0f, 0.5f, 0.0f, 1.0f)},
    {"Classy Emphasis", SPOT_ROW(0.5f, 0.5f, 0.5f, 0.5f, 0, 0.4001f, 0.3451f, 0, 0x0000FFFF, 0.5001f, 0.5251f, 0.5001f, 0.1001f, 0.0001f, 0x00FFFFFF, 0.4701f, 0.1251f, 0.0001f, 0.0f, 0.1001f)},
    {"Clear Spot", SPOT_ROW(0.5f, 0.5f, 0.5f, 0.5f, 0, 0.3f, 0.36f, 0, 0x00550000, 0.5f, 0.5f, 0.5f, 0.3947f, 0.0f, 0x00005500, 0.5f, 0.5f, 0.5f, 0.0f, 0.5866f)},
    {"Cross Band", SPOT_ROW(0.5001f, 0.4999f, 0.0f, 0.0f, 1, 0.4001f, 0.0501f, 0, 0x0000FFFF, 0.0f, 0.5501f, 0.8751f, 1.0001f, 0.0001f, 0x00000000, 1.0f, 0.0f, 0.5001f, 0.0001f, 0.0f)},
    {"Dark Spot", SPOT_ROW(0.5f, 0.5f, 0.5f, 0.5f, 0, 0.3f, 0.2f, 0, 0x00000000, 0.7605f, 0.6485f, 0.3406f, 0.0f, 0.0f, 0x00FFFFFF, 0.5001f, 0.5f, 0.5001f, 0.0f, 0.0f)},
    {"Dark Vignette", SPOT_ROW(0.5f, 0.5f, 0.7907f, 0.5116f, 0, 0.6051f, 0.7501f, 0, 0x00FFFFFF, 0.5001f, 0.5501f, 0.5501f, 0.2501f, 0.0f, 0x00000000, 1.0f, 0.4501f, 0.4501f, 0.2501f, 0.4001f)},
    {"Focus Attention", SPOT_ROW(0.5f, 0.5f, 0.5f, 0.5f, 0, 0.3f, 0.32f, 0, 0x00FFFFFF, 0.55f, 0.62f, 0.5f, 0.58f, 0.0f, 0x00FFFFFF, 0.5f, 0.27f, 0.405f, 0.0f, 0.0f)},
    {"Frosted Snow Globe", SPOT_ROW(0.5001f, 0.8751f, 0.5f, 0.4999f, 1, 0.6001f, 0.1151f, 0, 0x00FFFFFF, 1.0f, 0.4751f, 0.6001f, 0.6001f, 0.5001f, 0x00FFFFFF, 0.5001f, 0.5001f, 0.5001f, 0.0001f, 0.0f)},
    {"Glowing Orb", SPOT_ROW(0.8001f, 0.3499f, 0.5f, 0.5f, 1, 0.2001f, 0.4101f, 0, 0x0005C2FA, 1.0001f, 0.455f, 0.77f, 0.0f, 1.0f, 0x00FFFFFF, 0.5f, 0.5f, 0.5f, 0.0f, 0.0f)},
    {"Home  Movies", SPOT_ROW(0.5f, 0.5f, 0.5f, 0.5f, 0, 0.8801f, 0.4401f, 0, 0x00FFFFFF, 0.7501f, 1.0001f, 0.7501f, 1.0f, 0.0f, 0x00000000, 1.0f, 1.0f, 0.0f, 1.0f, 0.9801f)},
    {"Isolate", SPOT_ROW(0.7501f, 0.6f, 0.65f, 0.25f, 1, 0.2001f, 0.0501f, 0, 0x00FFFFFF, 0.5001f, 0.5251f, 0.7501f, 1.0001f, 0.0001f, 0x00000000, 0.0f, 0.0f, 0.0f, 0.0f, 0.0201f)},
    {"Lava Lamp", SPOT_ROW(0.5f, 0.5f, 0.5f, 0.0f, 1, 0.5001f, 0.4501f, 0, 0x008000FF, 1.0001f, 0.6251f, 0.6251f, 0.0f, 0.6101f, 0x00FFFFFF, 0.5001f, 0.5001f, 0.3151f, 0.0001f, 0.0001f)},
    {"Light Vignette", SPOT_ROW(0.5f, 0.5f, 0.8488f, 0.4419f, 1, 0.5001f, 0.7501f, 0, 0x00FFFFFF, 0.5001f, 0.5101f, 0.5051f, 0.52f, 0.0f, 0x00FFFFFF, 1.0f, 0.0001f, 1.0f, 0.0091f, 0.2551f)},
    {"Monochrome Band", SPOT_ROW(0.0f, 1.0f, 1.0f, 0.3953f, 0, 0.3f, 0.2151f, 0, 0x00FFFFFF, 0.52f, 0.0f, 0.5001f, 0.5001f, 0.0001f, 0x00FFFFFF, 0.5f, 0.6251f, 0.5001f, 0.2501f, 0.0001f)},
    {"Rack Focus", SPOT_ROW(0.0f, 0.6047f, 1.0f, 0.6047f, 0, 0.3001f, 0.4151f, 0, 0x00FFFFFF, 0.5001f, 0.5501f, 0.5251f, 0.2501f, 0.0f, 0x00FFFFFF, 0.5f, 0.4751f, 0.4751f, 0.1001f, 0.9001f)},
    {"Red Ball", SPOT_ROW(0.1999f, 0.7f, 0.5001f, 0.4999f, 1, 0.1151f, 0.0501f, 0, 0x000000FF, 1.0001f, 1.0f, 0.0f, 0.0f, 1.0f, 0x00FFFFFF, 0.5001f, 0.5001f, 0.5001f, 0.0001f, 0.0001f)},
    {"Reset to None", SPOT_ROW(0.5f, 0.5f, 0.5f, 0.5f, 0, 0.3f, 0.165f, 0, 0x00FFFFFF, 0.5f, 0.5f, 0.5f, 0.0f, 0.0f, 0x00000000, 0.5f, 0.5f, 0.5f, 0.0f, 0.0f)},
    {"Searchlight", SPOT_ROW(0.4302f, 0.4419f, 0.0698f, 0.1395f, 0, 0.2501f, 0.2401f, 0, 0x00FFFFFF, 0.5051f, 0.5251f, 0.5001f, 0.2501f, 0.0001f, 0x00000000, 1.0f, 0.0f, 0.0f, 0.0f, 0.1001f)},
    {"Sepia Sides", SPOT_ROW(0.5f, 0.5f, 0.5f, 0.0f, 1, 0.3501f, 0.2501f, 0, 0x00FFFFFF, 0.5001f, 0.5251f, 0.5f, 0.0501f, 0.0f, 0x00144270, 1.0f, 0.1251f, 0.2001f, 0.0001f, 0.0501f)},
    {"Show Must Go On", SPOT_ROW(0.5f, 1.0f, 0.5001f, 0.2558f, 0, 0.5201f, 0.2601f, 0, 0x0000FFFF, 0.5851f, 0.5151f, 0.6851f, 0.7251f, 0.0001f, 0x00FFFFFF, 0.425f, 0.0f, 0.0051f, 0.0001f, 0.1551f)},
    {"Soft Soother", SPOT_ROW(0.5f, 0.4999f, 0.7907f, 0.4186f, 0, 0.4051f, 1.0f, 0, 0x00C08000, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 0x00FFFFFF, 0.5001f, 0.5001f, 0.5001f, 0.0001f, 0.0001f)},
    {"Subtle Accent", SPOT_ROW(0.5f, 0.4999f, 0.5f, 0.5f, 1, 0.3201f, 0.21f, 0, 0x00FFFFFF, 0.5001f, 0.5001f, 0.5f, 0.44f, 0.0f, 0x00FFFFFF, 0.5001f, 0.4501f, 0.5001f, 0.0001f, 0.0f)},
    {"Swamp Alien Eye", SPOT_ROW(0.5f, 0.5f, 0.95f, 0.4999f, 0, 0.2001f, 0.3001f, 1, 0x0000FF00, 1.0001f, 0.5001f, 0.4751f, 0.5001f, 0.0201f, 0x00000000, 1.0001f, 0.0f, 0.0f, 0.0f, 1.0f)},
    {"Sword Slice", SPOT_ROW(0.5f, 0.5f, 1.0f, 0.0f, 1, 0.2001f, 0.0501f, 1, 0x000000FF, 1.0f, 0.0f, 0.2501f, 0.5001f, 0.0f, 0x00000000, 1.0001f, 0.0f, 0.0f, 0.0f, 1.0f)},
};
// clang-format on
#undef SPOT_ROW

static_assert(TableIsWellFormed(kParams, kPresets));
static_assert(std::size(kParams) == 24 && std::size(kPresets) == 34);

constexpr EffectTable kTable{"Spotlight", 965, kParams, kPresets};

// The parameters of one region's grade.
struct GradeValues {
  uint32_t tint;
  float strength, color, brightness, clarity, blur;
};

// Everything both paths compute from the parameters before they draw.
struct Values {
  float cx, cy, ax, ay;
  float r;      // radius
  float f;      // feather in pixels
  float d2;     // squared distance from Center to Angle: the stretch
  float theta;  // tilt
  bool transparent;
  GradeValues spot, back;
};

GradeValues ReadGrade(const ParamReader& params, uint32_t first) {
  return {params.Color(first),      params.Slider(first + 1), params.Slider(first + 2),
          params.Slider(first + 3), params.Slider(first + 4), params.Slider(first + 5)};
}

// W is the picture's width; flipped turns the y of Center and Angle over once more.
Values ReadValues(IEffectHost* host, int32_t width, bool flipped) {
  const ParamReader params(host);
  const ParamValue center = params.Read(kCenter, ParamPoint);
  const ParamValue angle = params.Read(kAngle, ParamPoint);
  const bool tracks = params.Check(kTracks);
  const float size = params.Slider(kSize);
  const float feather = params.Slider(kFeather);
  Values v{};
  v.spot = ReadGrade(params, kSpotTint);
  v.back = ReadGrade(params, kBackTint);
  v.transparent = params.Check(kTransparent);

  v.cx = center.point[0];
  v.cy = 1.0f - center.point[1];
  v.ax = angle.point[0];
  v.ay = 1.0f - angle.point[1];
  if (flipped) {
    v.cy = 1.0f - v.cy;
    v.ay = 1.0f - v.ay;
  }
  if (tracks) {
    v.ax += v.cx - 0.5f;
    v.ay += v.cy - 0.5f;
  }
  v.r = size * 0.6f;
  v.f = static_cast<float>(width) * feather * feather * 0.7f;
  const float dx = v.cx - v.ax;
  const float dy = v.cy - v.ay;
  const float d = std::pow(dy * dy + dx * dx, 0.5f);
  v.d2 = d * d;
  v.theta = std::atan2(dx, dy) + 1.5707964f;
  return v;
}

// The grade's three stages as numbers; both pixel depths build on these.
struct Grade {
  float saturation;  // S
  float range;       // R
  float amounts[3];  // tint per red, green, blue
  float clarity, brightness;
  bool curve;

  Grade(const GradeValues& g, bool swapped) {
    range = g.strength * 4.0f - 2.0f;
    for (int i = 0; i < 3; ++i) {
      const auto byte = static_cast<float>((g.tint >> (8 * i)) & 0xFF);
      amounts[i] = (byte * 0.003921569f - 0.5f) * range;
    }
    saturation = 1.0f - g.color * 2.0f;
    clarity = g.clarity;
    brightness = g.brightness;
    // The curve's neutral brightness differs by format, by design.
    const float neutral = swapped ? 0.0f : 0.5f;
    curve = clarity != 0.0f || brightness != neutral;
  }
  float Curve(float x) const {
    const float e = std::pow(0.5f, brightness * 2.0f - 1.0f);
    const float p = std::pow(x, e);
    return (std::sin(p * 3.1415927f - 1.5707964f) + 1.0f) * 0.5f * clarity + (1.0f - clarity) * p;
  }
  static float Tint(float in, float a) {
    if (a >= 0.0f) return (1.0f - a * 0.5f) * in + a * 0.5f;
    const float h = a * -0.5f;
    if (in < h) return 0.0f;
    const float room = 1.0f - h;
    return (in - h) * (1.0f / (room == 0.0f ? 0.0000001f : room));
  }
};

void GradeBytes(const FrameBuffer& src, FrameBuffer& dst, const Grade& g, const PixelLayout& l,
                int32_t width, int32_t height) {
  const int32_t m = static_cast<int32_t>(g.saturation * 127.0f);
  const int32_t n = 127 - m;
  uint8_t curve[256];
  uint8_t tint[3][256];
  for (int i = 0; i < 256; ++i) {
    const float x = static_cast<float>(i) * 0.003921569f;
    // Truncation after adding a half in floats, by definition; lround differs where the
    // float sum itself rounds up.
    curve[i] = static_cast<uint8_t>(
        // NOLINTNEXTLINE(bugprone-incorrect-roundings)
        std::clamp(static_cast<int32_t>(g.Curve(x) * 255.0f + 0.5f), 0, 255));
    for (int c = 0; c < 3; ++c) {
      const float t = Grade::Tint(x, g.amounts[c]) * 255.0f;
      tint[c][i] = static_cast<uint8_t>(std::clamp(static_cast<int32_t>(t), 0, 255));
    }
  }
  const int32_t channel[3] = {l.red, l.green, l.blue};
  for (int32_t y = 0; y < height; ++y) {
    const uint8_t* in = src.Row<const uint8_t>(y);
    uint8_t* out = dst.Row<uint8_t>(y);
    for (int32_t x = 0; x < width; ++x, in += 4, out += 4) {
      int32_t v[3] = {in[l.red], in[l.green], in[l.blue]};
      if (g.saturation != 0.0f) {
        const int32_t luma = (v[1] * 149 + v[0] * 76 + v[2] * 30) >> 8;
        for (int32_t& c : v)
          c = std::clamp((c * n + luma * m) >> 7, 0, 255);
      }
      if (g.curve) {
        for (int32_t& c : v)
          c = curve[c];
      }
      if (g.range != 0.0f) {
        for (int c = 0; c < 3; ++c)
          v[c] = tint[c][v[c]];
      }
      for (int c = 0; c < 3; ++c)
        out[channel[c]] = static_cast<uint8_t>(v[c]);
      out[l.alpha] = in[l.alpha];
    }
  }
}

void GradeFloats(const FrameBuffer& src, FrameBuffer& dst, const Grade& g, const PixelLayout& l,
                 int32_t width, int32_t height) {
  const int32_t channel[3] = {l.red, l.green, l.blue};
  for (int32_t y = 0; y < height; ++y) {
    const float* in = src.Row<const float>(y);
    float* out = dst.Row<float>(y);
    for (int32_t x = 0; x < width; ++x, in += 4, out += 4) {
      float v[3] = {in[l.red], in[l.green], in[l.blue]};
      if (g.saturation != 0.0f) {
        const float luma = v[2] * 0.113f + v[1] * 0.586f + v[0] * 0.298f;
        for (float& c : v)
          c = std::clamp((c * (0.5f - g.saturation * 0.5f) + luma * g.saturation * 0.5f) * 2.0f,
                         0.0f, 1.0f);
      }
      if (g.curve) {
        for (float& c : v)
          c = std::clamp(g.Curve(c), 0.0f, 1.0f);
      }
      if (g.range != 0.0f) {
        for (int c = 0; c < 3; ++c)
          v[c] = std::clamp(Grade::Tint(v[c], g.amounts[c]), 0.0f, 1.0f);
      }
      for (int c = 0; c < 3; ++c)
        out[channel[c]] = v[c];
      out[l.alpha] = in[l.alpha];
    }
  }
}

// One region's grade of src into dst; both of one format family and four channels.
bool GradePicture(const FrameBuffer& src, FrameBuffer& dst, const GradeValues& values) {
  PixelLayout layout{};
  PixelLayout dstLayout{};
  if (!FourChannelLayout(src, &layout) || !FourChannelLayout(dst, &dstLayout) ||
      src.format != dst.format) {
    return false;
  }
  const int32_t width = std::min(src.width, dst.width);
  const int32_t height = std::min(src.height, dst.height);
  const bool swapped = src.format == PixelFormat8ARGB || src.format == PixelFormat32FARGB;
  const Grade grade(values, swapped);
  if (layout.isFloat) {
    GradeFloats(src, dst, grade, layout, width, height);
  } else {
    GradeBytes(src, dst, grade, layout, width, height);
  }
  return true;
}

struct Ellipse {
  float cx, cy, rx, ry, theta, feather;
  bool field, secondField;
  float aspect;
};

// The soft ellipse as a one-channel mask, 1 (or 255) inside, falling off over the feather.
template <typename T>
void DrawSoftEllipse(FrameBuffer& mask, const Ellipse& e) {
  const int32_t w = mask.width;
  const int32_t h = mask.height;
  for (int32_t y = 0; y < h; ++y)
    std::memset(mask.Row(y), 0, static_cast<size_t>(w) * sizeof(T));
  const auto px = static_cast<int32_t>(static_cast<float>(w) * e.cx);
  const auto py = static_cast<int32_t>(static_cast<float>(h) * e.cy);
  const float xs = 1.0f / e.aspect;
  const float ys = e.field ? 2.0f : 1.0f;
  const auto a = static_cast<int32_t>(
      static_cast<float>(static_cast<int32_t>(static_cast<float>(w) * e.rx)) * xs);
  const auto b = static_cast<int32_t>(
      static_cast<float>(static_cast<int32_t>(static_cast<float>(h) * e.ry)) * ys);
  if (a == 0 && b == 0) return;
  const float g = e.feather > 0.0f ? 2.0f / (e.feather * 1.5f) : 0.0f;
  const auto a2 = static_cast<float>(a * a);
  const auto b2 = static_cast<float>(b * b);
  const float cosT = std::cos(e.theta);
  const float sinT = std::sin(e.theta);
  constexpr T kFull = std::is_same_v<T, uint8_t> ? T(255) : T(1);
  for (int32_t y = e.secondField ? 1 : 0; y < h; ++y) {
    T* row = mask.Row<T>(y);
    const float yy = static_cast<float>(y - py) * ys;
    for (int32_t x = 0; x < w; ++x) {
      const float xx = static_cast<float>(x - px) * xs;
      const float u = xx * cosT - yy * sinT;
      const float v = xx * sinT + yy * cosT;
      const float dist = std::sqrt(b2 * u * u / a2 + v * v) - static_cast<float>(b);
      if (!(dist < e.feather)) continue;
      if (dist <= -0.5f * e.feather) {
        row[x] = kFull;
        continue;
      }
      const float t = (dist + e.feather * 0.5f) * g * 1.1f;
      const float value = std::pow(2.71828f, -(t * t));
      if constexpr (std::is_same_v<T, uint8_t>) {
        row[x] = static_cast<uint8_t>(value * 255.0f);
      } else {
        row[x] = value;
      }
    }
  }
}

bool IsField(const RenderInfo& info) {
  return info.fieldMode != kFieldModeFrame;
}

}  // namespace

CSpotlight::CSpotlight() : EffectBase(kTable) {}

bool CSpotlight::Render(IEffectHost* host, const HostFrame* source, uintptr_t /*unused*/,
                        HostFrame* destination, const RenderInfo* info) {
  if (host == nullptr || source == nullptr || destination == nullptr || info == nullptr) {
    return false;
  }
  aspect_.known = (info->infoFlags & kInfoPixelAspectValid) != 0 && info->pixelAspect > 0.0;
  aspect_.aspect = aspect_.known ? static_cast<float>(info->pixelAspect) : 1.0f;
  const float length = std::sqrt(aspect_.aspect * aspect_.aspect + 1.0f);
  aspect_.xScale = aspect_.aspect / length;
  aspect_.yScale = 1.0f / length;
  aspect_.divideWidth = 1;
  aspect_.fixedPoint = static_cast<int32_t>(aspect_.aspect * 1024.0f);

  MemoryAllocator memory(host);
  FrameBuffer src;
  FrameBuffer dst;
  if (!src.AttachHost(source) || !dst.AttachHost(destination)) return false;
  PixelLayout layout{};
  if (!FourChannelLayout(src, &layout)) return false;
  const int32_t width = std::min(src.width, dst.width);
  const int32_t height = std::min(src.height, dst.height);
  if (width < 1 || height < 1) return false;
  const Values v = ReadValues(host, width, src.flipped != 0);
  const bool field = IsField(*info);
  const float a = aspect_.aspect;

  FrameBuffer mask;
  FrameBuffer spot;
  const int32_t maskBytes = layout.isFloat ? 4 : 1;
  if (!mask.Allocate(width, height, maskBytes, &memory,
                     layout.isFloat ? PixelFormat32FGray : PixelFormat8Gray, src.flipped != 0)) {
    return false;
  }
  const float hField = static_cast<float>(field ? height * 2 : height);
  const Ellipse ellipse{
      v.cx,    v.cy,    v.d2 + v.r, ((static_cast<float>(width) / a) / hField) * v.r,
      v.theta, v.f / a, field,      info->fieldMode == kFieldModeSecondField,
      a};
  if (layout.isFloat) {
    DrawSoftEllipse<float>(mask, ellipse);
  } else {
    DrawSoftEllipse<uint8_t>(mask, ellipse);
  }
  if (!spot.Allocate(width, height, src.pixelBytes, &memory, src.format, src.flipped != 0)) {
    return false;
  }
  if (!GradePicture(src, spot, v.spot)) return false;
  const float spotBlur = static_cast<float>(src.width) * v.spot.blur * 0.1f;
  if (v.spot.blur > 0.0f) {
    FrameBlur(spot, spot, spotBlur, spotBlur / a * (field ? 0.5f : 1.0f), &memory, 0);
  }
  if (!GradePicture(src, dst, v.back)) return false;
  const float backBlur = static_cast<float>(src.width) * v.back.blur * 0.1f;
  if (v.back.blur > 0.0f) {
    FrameBlur(dst, dst, backBlur, backBlur / a * (field ? 0.5f : 1.0f), &memory, 0);
  }
  CopyChannel(mask, spot, 0, layout.alpha);
  CompositeFrames(spot, dst, dst, false);
  if (v.transparent) {
    CopyChannel(mask, dst, 0, layout.alpha);
  } else {
    CopyChannel(src, dst, layout.alpha, layout.alpha);
  }
  return true;
}

bool CSpotlight::SetupGPUFrame(IEffectHost* host, GPUSetupInfo* info, uintptr_t /*word*/) {
  IGPUServices* services = QueryGPUServices(host);
  if (services == nullptr) return false;
  // The pair of the first pass stands for all four.
  const StoredProgram* vertex[] = {&StoredProgramAt(kProgramQuadVertex), nullptr};
  const StoredProgram* fragment[] = {&StoredProgramAt(kProgramSpotlightGrade), nullptr};
  const bool usable = TestPrograms(services, vertex, fragment);
  if (info != nullptr) info->gpuUsable = usable ? 1 : 0;
  services->Release();
  return true;
}

bool CSpotlight::RenderGPUFrame(IEffectHost* host, const GPUTextureRef* source,
                                const GPUTextureRef* /*secondSource*/, GPUTextureRef* destination,
                                const RenderInfo* info) {
  if (source == nullptr || destination == nullptr || info == nullptr) return false;
  const int32_t width = source->width;
  const int32_t height = source->height;
  const Values v = ReadValues(host, width, source->flipped != 0);
  const bool field = IsField(*info);

  GPUTextureRef t1{};
  GPUTextureRef t2{};
  ProgramBundle grade(true);
  ProgramBundle spot(true);
  ProgramBundle horizontal(true);
  ProgramBundle vertical(true);
  const bool made = CreateTarget(&t1, width, height, source->format) &&
                    CreateTarget(&t2, width, height, source->format) &&
                    CreateProgram(grade, kProgramQuadVertex, kProgramSpotlightGrade) &&
                    CreateProgram(spot, kProgramQuadVertex, kProgramSpotlightSpot) &&
                    CreateProgram(horizontal, kProgramQuadVertex, kProgramBlurHorizontal) &&
                    CreateProgram(vertical, kProgramQuadVertex, kProgramBlurVertical);
  if (made) {
    t1.flipped = t2.flipped = source->flipped;
    SetupView(10.0, 10.0);
    const int32_t swap = SwapFlag(source->format);
    auto gradePass = [&](const GPUTextureRef* target, const GradeValues& g) {
      SetRenderTarget(target, false);
      BeginPass(grade);
      const Grade numbers(g, swap == 1);
      grade.SetInt("SwapChannelsSrc", swap);
      grade.SetFloat("fSaturation", numbers.saturation);
      grade.SetFloat("fContrast", g.clarity);
      grade.SetFloat("fBrightness", g.brightness);
      grade.SetFloat("fTintRange", numbers.range);
      grade.SetVec3("TintColor", numbers.amounts[0], numbers.amounts[1], numbers.amounts[2]);
      DrawQuad(source, false, nullptr);
    };
    // The blur runs at size 0 too, and passes its input through there.
    auto blur = [&](const GPUTextureRef* image, const GPUTextureRef* scratch, float amount) {
      const float z = static_cast<float>(width) * amount * 0.1f;
      const auto sizeX = static_cast<int32_t>(z);
      const auto sizeY = static_cast<int32_t>(field ? z * 0.5f : z);
      SeparableBlur(sizeX, sizeY, image, scratch, image, horizontal, vertical);
    };
    gradePass(&t1, v.spot);
    blur(&t1, destination, v.spot.blur);
    gradePass(destination, v.back);
    blur(destination, &t2, v.back.blur);

    SetRenderTarget(&t2, false);
    BeginPass(spot);
    const auto w = static_cast<float>(width);
    const auto h = static_cast<float>(height);
    const float yScale = field ? 2.0f : 1.0f;
    const auto a = static_cast<float>(static_cast<int32_t>((v.d2 + v.r) * w));
    const auto b = static_cast<float>(static_cast<int32_t>(((w * v.r) / h) * h));
    spot.SetInt("SwapChannelsSrc0", swap);
    spot.SetInt("bSpotAsAlpha", v.transparent ? 1 : 0);
    spot.SetFloat("fCos", std::cos(v.theta));
    spot.SetFloat("fSin", std::sin(v.theta));
    spot.SetFloat("fFeather", v.f);
    spot.SetFloat("fFeatherRange", v.f > 0.0f ? 2.0f / (v.f * 1.5f) : 0.0f);
    spot.SetFloat("Size12", a * a);
    spot.SetFloat("Size2", b);
    spot.SetFloat("Size22", b * b);
    spot.SetFloat("fYScale", yScale);
    spot.SetVec2("PictureSize", w, h);
    spot.SetVec2("Center", static_cast<float>(static_cast<int32_t>(w * v.cx)),
                 static_cast<float>(static_cast<int32_t>(yScale * h * v.cy)));
    DrawQuad3(&t1, destination, source);

    t2.flipped = source->flipped;
    if (context() != nullptr) context()->UseProgram(0);
    SetRenderTarget(nullptr, false);
    OutputStep(&t2, destination);
  }
  ReleaseTarget(&t1);
  ReleaseTarget(&t2);
  ReleaseProgram(grade);
  ReleaseProgram(spot);
  ReleaseProgram(horizontal);
  ReleaseProgram(vertical);
  return made;
}

}  // namespace vitrella
