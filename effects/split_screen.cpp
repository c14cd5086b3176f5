#include "effects/split_screen.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <utility>

#include "core/colour_ops.h"
#include "core/frame_buffer.h"
#include "core/frame_ops.h"
#include "core/render_setup.h"
#include "core/strip_rotation.h"
#include "effects/split_profiles.h"
#include "kernels/resize.h"
#include "kernels/scaled_multiply.h"

namespace vitrella {
namespace {

constexpr ParamDef kParams[] = {
    PointParam("Split Center", 0.5f, 0.5f, {0, 0, 180, 30}, "Adjusts center position for split"),
    SliderParam("Split Angle", 0, 360, 0.0f, {198, 0, 48, 30}, "Adjusts angle of the split line"),
    PointParam("Shift", 0.5f, 0.5f, {0, 90, 180, 30}, "Offsets image"),
    SliderParam("Crop", 0, 100, 0.0f, {198, 90, 48, 30}, "Zooms image to adjust borders"),
    // A check box of no height, as the panel has always had it.
    CheckParam("Lock Image to Split", false, {0, 180, 180, 0},
               "Forces image position to split center"),
    SliderParam("Line Width", 0, 100, 0.0f, {0, 210, 48, 30}, "Adjusts thickness of split line"),
    ColorParam("Line Color", 0x000000FF, {66, 210, 48, 30}, "Adjusts color of split line"),
    SliderParam("Feather", 0, 100, 0.4f, {132, 210, 48, 30},
                "Adjust softness and transition of split line"),
};

constexpr PointId kCenter{0, "Split Center"};
constexpr SliderId kAngle{1, "Split Angle"};
constexpr PointId kShift{2, "Shift"};
constexpr SliderId kCrop{3, "Crop"};
constexpr CheckId kLock{4, "Lock Image to Split"};
constexpr SliderId kLineWidth{5, "Line Width"};
constexpr ColorId kLineColor{6, "Line Color"};
constexpr SliderId kFeather{7, "Feather"};
static_assert(NamesMatch(kParams, kCenter, kAngle, kShift, kCrop, kLock, kLineWidth, kLineColor,
                         kFeather));

// A slider cell given by the bits of its float.
constexpr KindedValue SliderBits(uint32_t bits) {
  return SliderValue(std::bit_cast<float>(bits));
}

// Each row: Split Center, Split Angle, Shift, Crop, Lock Image to Split, Line Width, Line
// Color, Feather. "Reset to None" was saved with its last three values one place to the
// right, so that its colour word holds the bits of 0.4 and its width those of a colour; it
// is delivered as it was saved.
// clang-format off
constexpr PresetDef kPresets[] = {
    {"Bottom Half",
     {PointValue(0.5f, 0.5f), SliderValue(0.7501f), PointValue(0.5f, 0.5f), SliderValue(0.0f), kOff, SliderValue(0.0f), ColorValue(0x00C0C0C0), SliderValue(0.155f)}},
    {"Bottom Third",
     {PointValue(0.5001f, 0.6651f), SliderValue(0.7501f), PointValue(0.5f, 0.4999f), SliderValue(0.0f), kOff, SliderValue(0.0f), ColorValue(0x00C0C0C0), SliderValue(0.4f)}},
    {"Bottom Two Thirds",
     {PointValue(0.5001f, 0.335f), SliderValue(0.7501f), PointValue(0.5f, 0.4999f), SliderValue(0.0f), kOff, SliderValue(0.0f), ColorValue(0x00C0C0C0), SliderValue(0.335f)}},
    {"Censor Bar",
     {PointValue(0.51f, 0.51f), SliderValue(0.2751f), PointValue(0.5f, 0.5f), SliderValue(0.0f), kOff, SliderValue(1.0f), ColorValue(0x00000000), SliderValue(0.0f)}},
    {"Clean Horizontal",
     {PointValue(0.5f, 0.5f), SliderValue(0.2501f), PointValue(0.5001f, 0.4999f), SliderValue(0.0001f), kOff, SliderValue(0.0201f), ColorValue(0x00000000), SliderValue(0.0001f)}},
    {"Clean Vertical",
     {PointValue(0.5f, 0.5f), SliderValue(0.0f), PointValue(0.5001f, 0.4999f), SliderValue(0.0001f), kOff, SliderValue(0.0201f), ColorValue(0x00000000), SliderValue(0.0001f)}},
    {"Close Up",
     {PointValue(0.5001f, 0.4999f), SliderValue(0.0001f), PointValue(0.7907f, 0.4884f), SliderValue(1.0f), kOn, SliderValue(0.0101f), ColorValue(0x00000000), SliderValue(0.0001f)}},
    {"Diagonal Dynamic",
     {PointValue(0.5001f, 0.4999f), SliderValue(0.1251f), PointValue(0.3161f, 0.5009f), SliderValue(0.0f), kOn, SliderValue(0.0301f), ColorValue(0x00FFFFFF), SliderValue(0.0101f)}},
    {"Diagonal Lower Left",
     {PointValue(0.5001f, 0.4999f), SliderValue(0.8333f), PointValue(0.5f, 0.4999f), SliderValue(0.0f), kOff, SliderValue(0.0f), ColorValue(0x0062806E), SliderValue(0.27f)}},
    {"Diagonal Lower Right",
     {PointValue(0.5001f, 0.4999f), SliderValue(0.6668f), PointValue(0.5f, 0.4999f), SliderValue(0.0f), kOff, SliderValue(0.0f), ColorValue(0x00C0C0C0), SliderValue(0.23f)}},
    {"Diagonal Upper Left",
     {PointValue(0.5001f, 0.4999f), SliderValue(0.1667f), PointValue(0.5f, 0.4999f), SliderValue(0.0f), kOff, SliderValue(0.0f), ColorValue(0x00C0C0C0), SliderValue(0.29f)}},
    {"Diagonal Upper Right",
     {PointValue(0.5001f, 0.4999f), SliderValue(0.3334f), PointValue(0.5f, 0.4999f), SliderValue(0.0f), kOff, SliderValue(0.0f), ColorValue(0x00C0C0C0), SliderValue(0.24f)}},
    {"Dramatic Reveal",
     {PointValue(0.7501f, 0.7501f), SliderValue(0.1251f), PointValue(0.7442f, 0.3256f), SliderValue(0.5001f), kOff, SliderValue(0.0101f), ColorValue(0x00FFFFFF), SliderValue(0.2501f)}},
    {"Drop Down Start",
     {PointValue(0.5233f, 0.0f), SliderValue(0.2501f), PointValue(0.4767f, 0.0f), SliderValue(0.0001f), kOn, SliderValue(0.0201f), ColorValue(0x00C6CDB4), SliderValue(0.0301f)}},
    {"Left Half",
     {PointValue(0.5f, 0.5f), SliderValue(0.0f), PointValue(0.5f, 0.5f), SliderValue(0.0f), kOff, SliderValue(0.0f), ColorValue(0x00C0C0C0), SliderValue(0.26f)}},
    {"Left One Third",
     {PointValue(0.335f, 0.4999f), SliderValue(0.0001f), PointValue(0.5f, 0.4999f), SliderValue(0.0f), kOff, SliderValue(0.0f), ColorValue(0x00C0C0C0), SliderValue(0.245f)}},
    {"Left Two Thirds",
     {PointValue(0.6651f, 0.4999f), SliderValue(0.0001f), PointValue(0.5f, 0.4999f), SliderValue(0.0f), kOff, SliderValue(0.0f), ColorValue(0x00C0C0C0), SliderValue(0.18f)}},
    {"Montage",
     {PointValue(0.5f, 0.5f), SliderValue(0.1251f), PointValue(0.5f, 0.5f), SliderValue(0.0f), kOff, SliderValue(0.0f), ColorValue(0x00000000), SliderValue(1.0f)}},
    {"Mow the Lawn",
     {PointValue(0.6251f, 0.4999f), SliderValue(0.0001f), PointValue(0.3749f, 0.4999f), SliderValue(0.0f), kOn, SliderValue(1.0f), ColorValue(0x00008000), SliderValue(1.0f)}},
    {"Pink Dynamo",
     {PointValue(0.5001f, 0.25f), SliderValue(0.9807f), PointValue(0.3999f, 0.7501f), SliderValue(0.0001f), kOn, SliderValue(0.1501f), ColorValue(0x008000FF), SliderValue(0.0401f)}},
    {"Red Laser",
     {PointValue(0.5f, 0.5f), SliderValue(0.1251f), PointValue(0.3999f, 0.4999f), SliderValue(0.0f), kOn, SliderValue(0.2001f), ColorValue(0x000000FF), SliderValue(0.2501f)}},
    {"Reset to None",
     {PointValue(0.5f, 0.5f), SliderValue(0.0f), PointValue(0.5f, 0.5f), SliderValue(0.0f), kOff, SliderBits(0x00C0C0C0), ColorValue(0x3ECCCCCD), SliderValue(1.0f)}},
    {"Revolving Door Wipe",
     {PointValue(0.0f, 1.0f), SliderValue(0.0f), PointValue(1.0f, 0.0f), SliderValue(0.5f), kOff, SliderValue(0.18f), ColorValue(0x00000080), SliderValue(0.0101f)}},
    {"Right Half",
     {PointValue(0.5f, 0.5f), SliderValue(0.5001f), PointValue(0.5f, 0.5f), SliderValue(0.0f), kOff, SliderValue(0.0f), ColorValue(0x00C0C0C0), SliderValue(0.255f)}},
    {"Right One Third",
     {PointValue(0.6651f, 0.4999f), SliderValue(0.5001f), PointValue(0.5f, 0.4999f), SliderValue(0.0f), kOff, SliderValue(0.0f), ColorValue(0x00C0C0C0), SliderValue(0.26f)}},
    {"Right Two Thirds",
     {PointValue(0.335f, 0.4999f), SliderValue(0.5001f), PointValue(0.5f, 0.4999f), SliderValue(0.0f), kOff, SliderValue(0.0f), ColorValue(0x00C0C0C0), SliderValue(0.175f)}},
    {"Top Half",
     {PointValue(0.5f, 0.5f), SliderValue(0.2501f), PointValue(0.5f, 0.5f), SliderValue(0.0f), kOff, SliderValue(0.0f), ColorValue(0x00C0C0C0), SliderValue(0.435f)}},
    {"Top One Third",
     {PointValue(0.5001f, 0.335f), SliderValue(0.2501f), PointValue(0.5f, 0.4999f), SliderValue(0.0f), kOff, SliderValue(0.0f), ColorValue(0x00C0C0C0), SliderValue(0.2f)}},
    {"Top Two Thirds",
     {PointValue(0.5001f, 0.6651f), SliderValue(0.2501f), PointValue(0.5f, 0.4999f), SliderValue(0.0f), kOff, SliderValue(0.0f), ColorValue(0x00C0C0C0), SliderValue(0.255f)}},
    {"Triangle Insert",
     {PointValue(1.0f, 0.8605f), SliderValue(0.3751f), PointValue(0.4419f, 0.5814f), SliderValue(0.0f), kOff, SliderValue(0.0f), ColorValue(0x00C0C0C0), SliderValue(0.0101f)}},
};
// clang-format on

static_assert(TableIsWellFormed(kParams, kPresets));
static_assert(std::size(kParams) == 8 && std::size(kPresets) == 30);

constexpr EffectTable kTable{"Split Screen", kTraitsPositional, kParams, kPresets};

constexpr ProgramPair kSetupPrograms[] = {{kProgramQuadVertex, kProgramSplitScreenZoom}};

// The frame's pixel aspect: 1 when the host gives none.
float PixelAspectOf(const RenderInfo& info) {
  const bool known = (info.infoFlags & kInfoPixelAspectValid) != 0 && info.pixelAspect > 0.0;
  return known ? static_cast<float>(info.pixelAspect) : 1.0f;
}

// Truncation toward 0 that a host's wild value cannot make undefined: NaN gives 0, and
// the result stays within +-2^30.
int32_t Trunc(float v) {
  constexpr float kLimit = 1073741824.0f;
  return std::isnan(v) ? 0 : static_cast<int32_t>(std::clamp(v, -kLimit, kLimit));
}

// What the CPU render computes from the parameters and the frame before it allocates.
struct Plan {
  int32_t width, height;  // W, and H: twice the rows of a field
  bool field;
  float theta;  // degrees, below 360
  int32_t cx, cy;
  double xs, ys;  // where the zoomed picture's origin lies
  double zoom;
  int32_t f, l;  // feather and line width in pixels
  float opacity;
  bool line;
  uint32_t colour;
};

Plan MakePlan(const SplitScreenValues& v, int32_t width, int32_t rows, const RenderInfo& info,
              bool flipped) {
  Plan p{};
  p.field = info.fieldMode != kFieldModeFrame;
  p.width = width;
  p.height = p.field ? 2 * rows : rows;
  const int32_t m = std::min(p.width, p.height);
  p.colour = v.lineColor;

  // The angle on a frame of square pixels; the aspect divides here where Gradient Tint
  // multiplies, and both are as the effects have always drawn.
  const float aspect = PixelAspectOf(info);
  const float turn = 6.2831855f * v.angle;
  float theta = std::atan2(std::sin(turn), std::cos(turn) / aspect);
  if (theta < 0.0f) theta += 6.2831855f;
  theta *= 57.295776f;

  float yUp = 1.0f - v.centerY;
  float s = v.shiftX - 0.5f;
  float t = (1.0f - v.shiftY) - 0.5f;
  if (v.lock) {
    s += v.centerX - 0.5f;
    t += yUp - 0.5f;
  }
  if (flipped) {
    yUp = 1.0f - yUp;
    t = -t;
    theta = 360.0f - theta;
  }
  // The rotation is never asked for a whole turn.
  if (theta == 360.0f) theta = 359.999f;
  p.theta = theta;

  const auto q = static_cast<float>(m >> 2);
  p.l = std::max(0, Trunc(q * v.lineWidth));
  p.f = std::max(0, Trunc(q * v.feather));
  p.cx = Trunc(static_cast<float>(p.width - 1) * v.centerX);
  p.cy = Trunc(static_cast<float>(p.height - 1) * yUp);
  const float z = v.crop * 4.0f + 1.0f;

  // A sliver of the picture always stays in view.
  s = std::clamp(s, -0.99f, 0.99f);
  t = std::clamp(t, -0.99f, 0.99f);
  const double w = p.width;
  const double h = p.height;
  p.zoom = z;
  p.xs = s * w - (p.zoom - 1.0) * w * 0.5;
  p.ys = t * h - h * (p.zoom - 1.0) * 0.5;

  p.opacity = SplitLineOpacity(q, v.lineWidth, p.l);
  p.line = p.opacity > 0.0f;
  if (p.line) {
    // The thinnest line is one pixel, with a feather that keeps its profile whole.
    if (p.l == 0) p.l = 1;
    const int32_t least = (p.l & 1) != 0 ? 1 : 2;
    p.f = std::max(p.f, least);
  }
  // Values past the sliders' ends could ask for strips of any length; the sliders' own
  // reach a quarter of the frame.
  const int32_t most = std::max(p.width, p.height);
  p.l = std::min(p.l, most);
  p.f = std::min(p.f, most);
  return p;
}

// A view of every second row of a frame from `first` on: the rows of one field.
void FieldRows(const FrameBuffer& frame, int32_t first, FrameBuffer& view) {
  view.Attach(frame.data + static_cast<ptrdiff_t>(first) * frame.pitch, frame.width,
              frame.height / 2, frame.pitch * 2, frame.pixelBytes, frame.format,
              frame.flipped != 0);
}

// A view of the top left width x height of a frame.
void Corner(const FrameBuffer& frame, int32_t width, int32_t height, FrameBuffer& view) {
  view.Attach(frame.data, width, height, frame.pitch, frame.pixelBytes, frame.format,
              frame.flipped != 0);
}

template <typename T>
constexpr T kFull = sizeof(T) == 1 ? T(255) : T(1);

template <typename T>
void FillRows(FrameBuffer& frame, T value) {
  for (int32_t y = 0; y < frame.height; ++y) {
    T* row = frame.Row<T>(y);
    std::fill(row, row + static_cast<ptrdiff_t>(frame.width) * (frame.pixelBytes / sizeof(T)),
              value);
  }
}

// The line's strip: its colour with full alpha, then the colour weight U as alpha along
// each row.
template <typename T>
void FillLineStrip(FrameBuffer& strip, const PixelLayout& l, uint32_t colour,
                   const std::vector<T>& weight) {
  T pixel[4];
  const auto channel = [&](int shift) {
    const auto byte = static_cast<uint8_t>((colour >> shift) & 0xFF);
    if constexpr (sizeof(T) == 1) {
      return byte;
    } else {
      return static_cast<T>(static_cast<float>(byte) * 0.003921568f);
    }
  };
  pixel[l.red] = channel(0);
  pixel[l.green] = channel(8);
  pixel[l.blue] = channel(16);
  T* first = strip.Row<T>(0);
  for (int32_t x = 0; x < strip.width; ++x) {
    pixel[l.alpha] = weight[static_cast<size_t>(x)];
    std::copy(pixel, pixel + 4, first + 4 * x);
  }
  for (int32_t y = 1; y < strip.height; ++y)
    std::copy(first, first + 4 * static_cast<ptrdiff_t>(strip.width), strip.Row<T>(y));
}

// Columns of zeros after the profile in the edge's strip: the strip's own far edge, which
// the rotation smooths, lies that far beyond the profile, and ZeroBeyondStrip starts half
// way there, where the rotated zeros already stand.
constexpr int32_t kStripTail = 8;

// Where the rotation puts the strip's columns: pixel (x, y) lies at u = (x - sx) cos θ -
// (y - sy) sin θ along the strip, by the rotation's own map.
struct StripAxis {
  double c, s, sx, sy;
  StripAxis(float theta, StripShift shift) : sx(shift.x), sy(shift.y) {
    constexpr double kDegrees = 3.14159265358979323846 / 180.0;
    c = std::cos(theta * kDegrees);
    s = std::sin(theta * kDegrees);
  }
  // The pixels [begin, end) of row y, of `width`, with lo <= u < hi. A pixel that rounding
  // puts on the other side of a bound lies within a pixel of it.
  std::pair<int32_t, int32_t> Span(int32_t y, double lo, double hi, int32_t width) const {
    const double at0 = -sx * c - (y - sy) * s;
    const auto w = static_cast<double>(width);
    double begin = 0.0;
    double end = w;
    if (c > 0.0) {
      begin = std::ceil((lo - at0) / c);
      end = std::ceil((hi - at0) / c);
    } else if (c < 0.0) {
      begin = std::floor((hi - at0) / c) + 1.0;
      end = std::floor((lo - at0) / c) + 1.0;
    } else if (at0 < lo || at0 >= hi) {
      end = 0.0;
    }
    begin = std::clamp(begin, 0.0, w);
    end = std::clamp(end, begin, w);
    return {static_cast<int32_t>(begin), static_cast<int32_t>(end)};
  }
};

// Sets to 0 the pixels from u = `from` on: where a strip as long as the frame's diagonal
// would have put its zeros. The strip that was rotated has zeros from before `from` to
// beyond it, so the pixels that rounding moves across the bound are 0 either way.
template <typename T>
void ZeroBeyondStrip(FrameBuffer& edge, const StripAxis& axis, int32_t from) {
  for (int32_t y = 0; y < edge.height; ++y) {
    const auto [begin, end] = axis.Span(y, from, HUGE_VAL, edge.width);
    T* row = edge.Row<T>(y);
    std::fill(row + begin, row + end, T{});
  }
}

// The rotated line over the picture by the line's alpha, with each format's rule of the
// mix. Blue-first bytes and floats come out as the picture where the line is clear, but
// alpha-first bytes do not (their shift by 8 darkens a level), nor floats above 1 (which
// the mix limits). So blue-first bytes are mixed only in the band around the line's
// columns, u from -2 to n + 2, and copied elsewhere. Row y of the frames is row
// y * rowStep of the rotation.
bool MixLine(const FrameBuffer& line, const FrameBuffer& picture, FrameBuffer& dst,
             const StripAxis& axis, int32_t n, int32_t rowStep) {
  if (line.format != PixelFormat8BGRA) return MixFramesByAlpha(line, picture, dst);
  const int32_t width = std::min({line.width, picture.width, dst.width});
  const int32_t height = std::min({line.height, picture.height, dst.height});
  for (int32_t y = 0; y < height; ++y) {
    // Plain names, not a structured binding: the lambda below captures them.
    const std::pair<int32_t, int32_t> span = axis.Span(y * rowStep, -2.0, n + 2.0, width);
    const int32_t begin = span.first;
    const int32_t end = span.second;
    const uint8_t* in = picture.Row<const uint8_t>(y);
    uint8_t* out = dst.Row<uint8_t>(y);
    std::copy(in, in + 4 * static_cast<ptrdiff_t>(begin), out);
    std::copy(in + 4 * static_cast<ptrdiff_t>(end), in + 4 * static_cast<ptrdiff_t>(width),
              out + 4 * static_cast<ptrdiff_t>(end));
    if (begin == end) continue;
    const auto part = [&](const FrameBuffer& frame, FrameBuffer& view) {
      view.Attach(frame.Row<uint8_t>(y) + static_cast<ptrdiff_t>(begin) * 4, end - begin, 1,
                  frame.pitch, 4, frame.format, false);
    };
    FrameBuffer a;
    FrameBuffer b;
    FrameBuffer o;
    part(line, a);
    part(picture, b);
    part(dst, o);
    if (!MixFramesByAlpha(a, b, o)) return false;
  }
  return true;
}

template <typename T>
bool RenderFrame(RenderSetup& setup) {
  const FrameBuffer& source = setup.src();
  FrameBuffer& dst = setup.dst();
  const PixelLayout& layout = setup.srcLayout();
  MemoryAllocator& memory = setup.memory();
  const Plan p = MakePlan(ReadSplitScreen(setup.host()), setup.width(), setup.height(),
                          setup.info(), source.flipped != 0);
  const int32_t w = p.width;
  const int32_t h = p.height;
  const int32_t n = p.f + p.l;
  const int32_t biggest = std::max(w, h);
  const auto d = static_cast<int32_t>(std::sqrt(2.0 * biggest * biggest));
  const int32_t pixelBytes = source.pixelBytes;
  const auto sample = static_cast<int32_t>(sizeof(T));
  const PixelFormat grey = sizeof(T) == 1 ? PixelFormat8Gray : PixelFormat32FGray;

  // The picture's frames, the strip of the edge, the edge and the coverage. The edge's
  // strip holds the profile and a few columns of zeros: the rest of a strip that covers
  // the frame would be zeros too, which ZeroBeyondStrip writes without a rotation.
  FrameBuffer zoomed;
  FrameBuffer strip;
  FrameBuffer edge;
  FrameBuffer coverage;
  if (!zoomed.Allocate(w, h, pixelBytes, &memory, source.format, false) ||
      !strip.Allocate(std::min(n + kStripTail, d + (d >> 1)), 2 * d, sample, &memory, grey,
                      false) ||
      !edge.Allocate(w, h, sample, &memory, grey, false) ||
      !coverage.Allocate(w, h, sample, &memory, grey, false)) {
    return false;
  }
  // The work picture holds the doubled field and, later, the rotated line.
  FrameBuffer work;
  if ((p.field || p.line) && !work.Allocate(w, h, pixelBytes, &memory, source.format, false)) {
    return false;
  }

  // A field's rows each fill two rows, so its geometry is the frame's.
  FrameBuffer input;
  Corner(source, w, setup.height(), input);
  if (p.field) {
    FrameBuffer even;
    FrameBuffer odd;
    FieldRows(work, 0, even);
    FieldRows(work, 1, odd);
    if (!CopyFrame(input, even) || !CopyFrame(input, odd)) return false;
    input.AttachFrame(work);
  }

  // The zoomed and moved picture; where it does not reach, alpha stays 0, and that alpha
  // is the picture's coverage. The colours there are cleared too, so that a frame's
  // transparent part never shows what the memory held before.
  const bool covered =
      p.xs <= 0.0 && p.ys <= 0.0 && p.xs + p.zoom * w >= w && p.ys + p.zoom * h >= h;
  if (!covered && !ClearFrame(zoomed)) return false;
  const auto resize = sizeof(T) == 1 ? kernels::ResizeShifted8u_C4 : kernels::ResizeShifted32f_C4;
  if (resize(input.View(), zoomed.View(), p.zoom, p.zoom, p.xs, p.ys, kernels::kInterLinear) !=
          kernels::kOk ||
      !CopyChannel(zoomed, coverage, layout.alpha, 0)) {
    return false;
  }

  const SplitProfiles<T> profiles = MakeSplitProfiles<T>(p.f, p.l, p.opacity);
  const StripShift shift = StripRotationShift(w, h, p.cx, p.cy, p.theta, n);
  const StripAxis axis(p.theta, shift);

  // The colour channels: the picture, with the rotated line over it. A field gives back its
  // even rows, whichever field it is.
  FrameBuffer picture;
  if (p.field) {
    FieldRows(zoomed, 0, picture);
  } else {
    picture.AttachFrame(zoomed);
  }
  if (!p.line) {
    if (!CopyFrame(picture, dst)) return false;
  } else {
    FrameBuffer band;
    if (!band.Allocate(n, d + (d >> 2), pixelBytes, &memory, source.format, false)) return false;
    FillLineStrip<T>(band, layout, p.colour, profiles.colour);
    if (!ClearFrame(work) ||
        !StripRotated(RotateStrip(band, work, p.theta, shift.x, shift.y, kStripLinearSmooth))) {
      return false;
    }
    FrameBuffer line;
    if (p.field) {
      FieldRows(work, 0, line);
    } else {
      line.AttachFrame(work);
    }
    if (!MixLine(line, picture, dst, axis, n, p.field ? 2 : 1)) return false;
  }

  // The edge: full on the picture's side, V across the strip's first n columns, 0 beyond;
  // rotated onto a full frame and multiplied by the coverage.
  FillRows<T>(edge, kFull<T>);
  for (int32_t y = 0; y < strip.height; ++y) {
    T* row = strip.Row<T>(y);
    const int32_t begin = std::min(n, strip.width);
    std::copy(profiles.alpha.begin(), profiles.alpha.begin() + begin, row);
    std::fill(row + begin, row + strip.width, T{});
  }
  if (!StripRotated(RotateStrip(strip, edge, p.theta, shift.x, shift.y, kStripLinearSmooth))) {
    return false;
  }
  if (strip.width < d + (d >> 1)) ZeroBeyondStrip<T>(edge, axis, n + kStripTail / 2);
  const auto multiply =
      sizeof(T) == 1 ? kernels::MultiplyScaled8u_C1 : kernels::MultiplyScaled32f_C1;
  if (multiply(coverage.View(), edge.View()) != kernels::kOk) return false;
  FrameBuffer alpha;
  if (p.field) {
    FieldRows(edge, 0, alpha);
  } else {
    alpha.AttachFrame(edge);
  }
  return CopyChannel(alpha, dst, 0, layout.alpha);
}

}  // namespace

SplitScreenValues ReadSplitScreen(IEffectHost* host) {
  const ParamReader params(host);
  const ParamReader::Point center = params.Read(kCenter);
  const ParamReader::Point shift = params.Read(kShift);
  return {center.x,
          center.y,
          params.Read(kAngle),
          shift.x,
          shift.y,
          params.Read(kCrop),
          params.Read(kLock),
          params.Read(kLineWidth),
          params.Read(kLineColor),
          params.Read(kFeather)};
}

float SplitLineOpacity(float q, float lineWidth, int32_t l) {
  const float thin = q * 0.03f;
  if (l > Trunc(thin)) return 1.0f;
  // A frame too small for any width has no line.
  if (!(thin > 0.0f)) return 0.0f;
  const float o = (q * lineWidth) / thin;
  if (o >= 1.0f) return 1.0f;
  return o >= 0.01f ? o : 0.0f;
}

CSplitScreen::CSplitScreen() : EffectBase(kTable, kSetupPrograms) {}

bool CSplitScreen::Render(IEffectHost* host, const HostFrame* source, uintptr_t /*unused*/,
                          HostFrame* destination, const RenderInfo* info) {
  RenderSetup setup(host, source, destination, info);
  return setup && BySampleType(setup.srcLayout().isFloat,
                               [&]<typename T>(Samples<T>) { return RenderFrame<T>(setup); });
}

}  // namespace vitrella
