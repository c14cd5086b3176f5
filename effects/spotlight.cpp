#include "effects/spotlight.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <type_traits>
#include <vector>

#include "core/frame_blur.h"
#include "core/frame_buffer.h"
#include "core/frame_math.h"
#include "core/frame_ops.h"
#include "core/render_setup.h"
#include "effects/spotlight_mask.h"
#include "gpu/gpu_frame_objects.h"
#include "kernels/channel_grade.h"
#include "kernels/channels.h"
#include "kernels/composite.h"

namespace vitrella {
namespace {

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
    GroupClose("Shape", {0, 0, 200, 405}),
    GroupOpen("Spotlight", 225, 20, "Adjusts inside the borders of spotlight"),
    ColorParam("Tint", 0x00550000, {225, 19, 48, 30}, "Sets tint"),
    SliderParam("Tint", -100, 100, 0.5f, {291, 19, 48, 30}, "Adjusts strength of tint"),
    SliderParam("Color", -100, 100, 0.5f, {357, 19, 48, 30}, "Adjusts saturation"),
    SliderParam("Brightness", -100, 100, 0.5f, {225, 109, 48, 30}, "Adjusts brightness"),
    SliderParam("Clarity", 0, 100, 0.0f, {291, 109, 48, 30}, "Sets contrast for dynamic range"),
    SliderParam("Blur", 0, 100, 0.0f, {357, 109, 48, 30}, "Adjusts blur and focus"),
    GroupClose("Spotlight", {214, 0, 200, 200}),
    GroupOpen("Background", 205, 310),
    ColorParam("Tint", 0x00005500, {225, 222, 48, 30}, "Sets tint"),
    SliderParam("Tint", -100, 100, 0.5f, {291, 222, 48, 30}, "Adjusts strength of tint"),
    SliderParam("Color", -100, 100, 0.5f, {357, 222, 48, 30}, "Adjusts saturation"),
    SliderParam("Brightness", -100, 100, 0.5f, {225, 312, 48, 30}, "Adjusts brightness"),
    SliderParam("Clarity", 0, 100, 0.0f, {291, 312, 48, 30}, "Sets contrast for dynamic range"),
    SliderParam("Blur", 0, 100, 0.0f, {357, 312, 48, 30}, "Adjusts blur and focus"),
    GroupClose("Background", {214, 205, 200, 200}, "Adjusts outside the borders of spotlight"),
};

constexpr PointId kCenter{1, "Center"};
constexpr PointId kAngle{2, "Angle"};
constexpr CheckId kTracks{3, "Angle Tracks Center"};
constexpr SliderId kSize{4, "Size"};
constexpr SliderId kFeather{5, "Feather"};
constexpr CheckId kTransparent{6, "Transparent Background"};

// The six parameters of one region's grade.
struct GradeIds {
  ColorId tint;
  SliderId strength, color, brightness, clarity, blur;
};
constexpr GradeIds kSpotGrade{{9, "Tint"},        {10, "Tint"},    {11, "Color"},
                              {12, "Brightness"}, {13, "Clarity"}, {14, "Blur"}};
constexpr GradeIds kBackGrade{{17, "Tint"},       {18, "Tint"},    {19, "Color"},
                              {20, "Brightness"}, {21, "Clarity"}, {22, "Blur"}};

consteval bool GradeNamesMatch(const GradeIds& g) {
  return NamesMatch(kParams, g.tint, g.strength, g.color, g.brightness, g.clarity, g.blur);
}
static_assert(NamesMatch(kParams, kCenter, kAngle, kTracks, kSize, kFeather, kTransparent));
static_assert(GradeNamesMatch(kSpotGrade) && GradeNamesMatch(kBackGrade));

// Each row: the shape (Center, Angle, Angle Tracks Center, Size, Feather, Transparent
// Background), then tint colour, strength, colour, brightness, clarity and blur of the
// spot, and the same of the background.
// clang-format off
constexpr PresetDef kPresets[] = {
    {"Arthouse Dreams",
     {PointValue(0.0f, 1.0f), PointValue(0.6395f, 0.6512f), kOff, SliderValue(0.6501f), SliderValue(0.3601f), kOff,
      ColorValue(0x0000FFFF), SliderValue(0.3701f), SliderValue(0.4501f), SliderValue(0.6101f), SliderValue(0.8201f), SliderValue(0.0001f),
      ColorValue(0x00404080), SliderValue(0.8401f), SliderValue(0.0001f), SliderValue(0.0f), SliderValue(0.5401f), SliderValue(0.1801f)}},
    {"Black N White Center",
     {PointValue(0.5f, 0.4999f), PointValue(0.5f, 0.5f), kOn, SliderValue(0.2701f), SliderValue(0.175f), kOff,
      ColorValue(0x00FFFFFF), SliderValue(0.5001f), SliderValue(0.0f), SliderValue(0.57f), SliderValue(1.0f), SliderValue(0.0f),
      ColorValue(0x00FFFFFF), SliderValue(0.5001f), SliderValue(0.6351f), SliderValue(0.5001f), SliderValue(0.0f), SliderValue(0.0f)}},
    {"Blind Spot",
     {PointValue(0.5f, 0.5f), PointValue(0.5f, 0.5f), kOff, SliderValue(0.4001f), SliderValue(0.6001f), kOff,
      ColorValue(0x00FFFFFF), SliderValue(0.0001f), SliderValue(0.5001f), SliderValue(0.4751f), SliderValue(0.0001f), SliderValue(1.0f),
      ColorValue(0x00FFFFFF), SliderValue(0.5f), SliderValue(0.5001f), SliderValue(0.5001f), SliderValue(0.0f), SliderValue(0.0f)}},
    {"Blurred Spot",
     {PointValue(0.5f, 0.5f), PointValue(0.5f, 0.5f), kOff, SliderValue(0.3f), SliderValue(0.26f), kOff,
      ColorValue(0x00550000), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.0f), SliderValue(0.5112f),
      ColorValue(0x00005500), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.326f), SliderValue(0.0f)}},
    {"Bright Oval Spot",
     {PointValue(0.5f, 0.5f), PointValue(0.1047f, 0.4884f), kOff, SliderValue(0.3f), SliderValue(0.2131f), kOff,
      ColorValue(0x00FFFFFF), SliderValue(0.5f), SliderValue(0.8956f), SliderValue(1.0f), SliderValue(0.0f), SliderValue(0.0f),
      ColorValue(0x00000000), SliderValue(0.7121f), SliderValue(0.4067f), SliderValue(0.3715f), SliderValue(0.2963f), SliderValue(0.0f)}},
    {"Bright Spot",
     {PointValue(0.5f, 0.5f), PointValue(0.5f, 0.5f), kOn, SliderValue(0.3f), SliderValue(0.2131f), kOff,
      ColorValue(0x00FFFFFF), SliderValue(0.5f), SliderValue(0.8956f), SliderValue(1.0f), SliderValue(0.0f), SliderValue(0.0f),
      ColorValue(0x00000000), SliderValue(0.7121f), SliderValue(0.4067f), SliderValue(0.3715f), SliderValue(0.2963f), SliderValue(0.0f)}},
    {"Burnt Peephole",
     {PointValue(0.5f, 0.5f), PointValue(0.5f, 0.5f), kOff, SliderValue(0.2351f), SliderValue(0.1751f), kOn,
      ColorValue(0x00FFFFFF), SliderValue(0.5001f), SliderValue(0.5001f), SliderValue(0.5f), SliderValue(0.0f), SliderValue(0.0f),
      ColorValue(0x000000DF), SliderValue(1.0f), SliderValue(0.5001f), SliderValue(0.5001f), SliderValue(0.0001f), SliderValue(0.0f)}},
    {"Ceiling Light",
     {PointValue(0.5f, 0.0f), PointValue(1.0f, 0.4999f), kOn, SliderValue(0.3001f), SliderValue(0.7001f), kOff,
      ColorValue(0x0075FFFF), SliderValue(1.0f), SliderValue(1.0f), SliderValue(1.0f), SliderValue(1.0f), SliderValue(0.1001f),
      ColorValue(0x00FFFFFF), SliderValue(0.4751f), SliderValue(0.4751f), SliderValue(0.0001f), SliderValue(0.0f), SliderValue(0.0f)}},
    {"Center Boost",
     {PointValue(0.5f, 0.5f), PointValue(0.5f, 0.5f), kOff, SliderValue(0.4001f), SliderValue(0.5101f), kOff,
      ColorValue(0x00FFFFFF), SliderValue(0.5201f), SliderValue(0.77f), SliderValue(0.5501f), SliderValue(0.7601f), SliderValue(0.0f),
      ColorValue(0x00FFFFFF), SliderValue(0.45f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.0f), SliderValue(0.0f)}},
    {"Circle Overlay",
     {PointValue(0.5f, 0.5f), PointValue(0.5f, 0.5f), kOff, SliderValue(0.3651f), SliderValue(0.2501f), kOn,
      ColorValue(0x00FFFFFF), SliderValue(0.5001f), SliderValue(0.5001f), SliderValue(0.5f), SliderValue(0.0f), SliderValue(0.0f),
      ColorValue(0x00FFFFFF), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.0f), SliderValue(0.0f)}},
    {"Classic Portrait",
     {PointValue(0.5f, 0.5f), PointValue(0.8605f, 0.5116f), kOff, SliderValue(0.5051f), SliderValue(0.695f), kOff,
      ColorValue(0x0082060D), SliderValue(0.6251f), SliderValue(0.0001f), SliderValue(0.5501f), SliderValue(0.1951f), SliderValue(0.0001f),
      ColorValue(0x00FFFFFF), SliderValue(0.5f), SliderValue(0.0f), SliderValue(0.5f), SliderValue(0.0f), SliderValue(1.0f)}},
    {"Classy Emphasis",
     {PointValue(0.5f, 0.5f), PointValue(0.5f, 0.5f), kOff, SliderValue(0.4001f), SliderValue(0.3451f), kOff,
      ColorValue(0x0000FFFF), SliderValue(0.5001f), SliderValue(0.5251f), SliderValue(0.5001f), SliderValue(0.1001f), SliderValue(0.0001f),
      ColorValue(0x00FFFFFF), SliderValue(0.4701f), SliderValue(0.1251f), SliderValue(0.0001f), SliderValue(0.0f), SliderValue(0.1001f)}},
    {"Clear Spot",
     {PointValue(0.5f, 0.5f), PointValue(0.5f, 0.5f), kOff, SliderValue(0.3f), SliderValue(0.36f), kOff,
      ColorValue(0x00550000), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.3947f), SliderValue(0.0f),
      ColorValue(0x00005500), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.0f), SliderValue(0.5866f)}},
    {"Cross Band",
     {PointValue(0.5001f, 0.4999f), PointValue(0.0f, 0.0f), kOn, SliderValue(0.4001f), SliderValue(0.0501f), kOff,
      ColorValue(0x0000FFFF), SliderValue(0.0f), SliderValue(0.5501f), SliderValue(0.8751f), SliderValue(1.0001f), SliderValue(0.0001f),
      ColorValue(0x00000000), SliderValue(1.0f), SliderValue(0.0f), SliderValue(0.5001f), SliderValue(0.0001f), SliderValue(0.0f)}},
    {"Dark Spot",
     {PointValue(0.5f, 0.5f), PointValue(0.5f, 0.5f), kOff, SliderValue(0.3f), SliderValue(0.2f), kOff,
      ColorValue(0x00000000), SliderValue(0.7605f), SliderValue(0.6485f), SliderValue(0.3406f), SliderValue(0.0f), SliderValue(0.0f),
      ColorValue(0x00FFFFFF), SliderValue(0.5001f), SliderValue(0.5f), SliderValue(0.5001f), SliderValue(0.0f), SliderValue(0.0f)}},
    {"Dark Vignette",
     {PointValue(0.5f, 0.5f), PointValue(0.7907f, 0.5116f), kOff, SliderValue(0.6051f), SliderValue(0.7501f), kOff,
      ColorValue(0x00FFFFFF), SliderValue(0.5001f), SliderValue(0.5501f), SliderValue(0.5501f), SliderValue(0.2501f), SliderValue(0.0f),
      ColorValue(0x00000000), SliderValue(1.0f), SliderValue(0.4501f), SliderValue(0.4501f), SliderValue(0.2501f), SliderValue(0.4001f)}},
    {"Focus Attention",
     {PointValue(0.5f, 0.5f), PointValue(0.5f, 0.5f), kOff, SliderValue(0.3f), SliderValue(0.32f), kOff,
      ColorValue(0x00FFFFFF), SliderValue(0.55f), SliderValue(0.62f), SliderValue(0.5f), SliderValue(0.58f), SliderValue(0.0f),
      ColorValue(0x00FFFFFF), SliderValue(0.5f), SliderValue(0.27f), SliderValue(0.405f), SliderValue(0.0f), SliderValue(0.0f)}},
    {"Frosted Snow Globe",
     {PointValue(0.5001f, 0.8751f), PointValue(0.5f, 0.4999f), kOn, SliderValue(0.6001f), SliderValue(0.1151f), kOff,
      ColorValue(0x00FFFFFF), SliderValue(1.0f), SliderValue(0.4751f), SliderValue(0.6001f), SliderValue(0.6001f), SliderValue(0.5001f),
      ColorValue(0x00FFFFFF), SliderValue(0.5001f), SliderValue(0.5001f), SliderValue(0.5001f), SliderValue(0.0001f), SliderValue(0.0f)}},
    {"Glowing Orb",
     {PointValue(0.8001f, 0.3499f), PointValue(0.5f, 0.5f), kOn, SliderValue(0.2001f), SliderValue(0.4101f), kOff,
      ColorValue(0x0005C2FA), SliderValue(1.0001f), SliderValue(0.455f), SliderValue(0.77f), SliderValue(0.0f), SliderValue(1.0f),
      ColorValue(0x00FFFFFF), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.0f), SliderValue(0.0f)}},
    {"Home  Movies",
     {PointValue(0.5f, 0.5f), PointValue(0.5f, 0.5f), kOff, SliderValue(0.8801f), SliderValue(0.4401f), kOff,
      ColorValue(0x00FFFFFF), SliderValue(0.7501f), SliderValue(1.0001f), SliderValue(0.7501f), SliderValue(1.0f), SliderValue(0.0f),
      ColorValue(0x00000000), SliderValue(1.0f), SliderValue(1.0f), SliderValue(0.0f), SliderValue(1.0f), SliderValue(0.9801f)}},
    {"Isolate",
     {PointValue(0.7501f, 0.6f), PointValue(0.65f, 0.25f), kOn, SliderValue(0.2001f), SliderValue(0.0501f), kOff,
      ColorValue(0x00FFFFFF), SliderValue(0.5001f), SliderValue(0.5251f), SliderValue(0.7501f), SliderValue(1.0001f), SliderValue(0.0001f),
      ColorValue(0x00000000), SliderValue(0.0f), SliderValue(0.0f), SliderValue(0.0f), SliderValue(0.0f), SliderValue(0.0201f)}},
    {"Lava Lamp",
     {PointValue(0.5f, 0.5f), PointValue(0.5f, 0.0f), kOn, SliderValue(0.5001f), SliderValue(0.4501f), kOff,
      ColorValue(0x008000FF), SliderValue(1.0001f), SliderValue(0.6251f), SliderValue(0.6251f), SliderValue(0.0f), SliderValue(0.6101f),
      ColorValue(0x00FFFFFF), SliderValue(0.5001f), SliderValue(0.5001f), SliderValue(0.3151f), SliderValue(0.0001f), SliderValue(0.0001f)}},
    {"Light Vignette",
     {PointValue(0.5f, 0.5f), PointValue(0.8488f, 0.4419f), kOn, SliderValue(0.5001f), SliderValue(0.7501f), kOff,
      ColorValue(0x00FFFFFF), SliderValue(0.5001f), SliderValue(0.5101f), SliderValue(0.5051f), SliderValue(0.52f), SliderValue(0.0f),
      ColorValue(0x00FFFFFF), SliderValue(1.0f), SliderValue(0.0001f), SliderValue(1.0f), SliderValue(0.0091f), SliderValue(0.2551f)}},
    {"Monochrome Band",
     {PointValue(0.0f, 1.0f), PointValue(1.0f, 0.3953f), kOff, SliderValue(0.3f), SliderValue(0.2151f), kOff,
      ColorValue(0x00FFFFFF), SliderValue(0.52f), SliderValue(0.0f), SliderValue(0.5001f), SliderValue(0.5001f), SliderValue(0.0001f),
      ColorValue(0x00FFFFFF), SliderValue(0.5f), SliderValue(0.6251f), SliderValue(0.5001f), SliderValue(0.2501f), SliderValue(0.0001f)}},
    {"Rack Focus",
     {PointValue(0.0f, 0.6047f), PointValue(1.0f, 0.6047f), kOff, SliderValue(0.3001f), SliderValue(0.4151f), kOff,
      ColorValue(0x00FFFFFF), SliderValue(0.5001f), SliderValue(0.5501f), SliderValue(0.5251f), SliderValue(0.2501f), SliderValue(0.0f),
      ColorValue(0x00FFFFFF), SliderValue(0.5f), SliderValue(0.4751f), SliderValue(0.4751f), SliderValue(0.1001f), SliderValue(0.9001f)}},
    {"Red Ball",
     {PointValue(0.1999f, 0.7f), PointValue(0.5001f, 0.4999f), kOn, SliderValue(0.1151f), SliderValue(0.0501f), kOff,
      ColorValue(0x000000FF), SliderValue(1.0001f), SliderValue(1.0f), SliderValue(0.0f), SliderValue(0.0f), SliderValue(1.0f),
      ColorValue(0x00FFFFFF), SliderValue(0.5001f), SliderValue(0.5001f), SliderValue(0.5001f), SliderValue(0.0001f), SliderValue(0.0001f)}},
    {"Reset to None",
     {PointValue(0.5f, 0.5f), PointValue(0.5f, 0.5f), kOff, SliderValue(0.3f), SliderValue(0.165f), kOff,
      ColorValue(0x00FFFFFF), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.0f), SliderValue(0.0f),
      ColorValue(0x00000000), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.5f), SliderValue(0.0f), SliderValue(0.0f)}},
    {"Searchlight",
     {PointValue(0.4302f, 0.4419f), PointValue(0.0698f, 0.1395f), kOff, SliderValue(0.2501f), SliderValue(0.2401f), kOff,
      ColorValue(0x00FFFFFF), SliderValue(0.5051f), SliderValue(0.5251f), SliderValue(0.5001f), SliderValue(0.2501f), SliderValue(0.0001f),
      ColorValue(0x00000000), SliderValue(1.0f), SliderValue(0.0f), SliderValue(0.0f), SliderValue(0.0f), SliderValue(0.1001f)}},
    {"Sepia Sides",
     {PointValue(0.5f, 0.5f), PointValue(0.5f, 0.0f), kOn, SliderValue(0.3501f), SliderValue(0.2501f), kOff,
      ColorValue(0x00FFFFFF), SliderValue(0.5001f), SliderValue(0.5251f), SliderValue(0.5f), SliderValue(0.0501f), SliderValue(0.0f),
      ColorValue(0x00144270), SliderValue(1.0f), SliderValue(0.1251f), SliderValue(0.2001f), SliderValue(0.0001f), SliderValue(0.0501f)}},
    {"Show Must Go On",
     {PointValue(0.5f, 1.0f), PointValue(0.5001f, 0.2558f), kOff, SliderValue(0.5201f), SliderValue(0.2601f), kOff,
      ColorValue(0x0000FFFF), SliderValue(0.5851f), SliderValue(0.5151f), SliderValue(0.6851f), SliderValue(0.7251f), SliderValue(0.0001f),
      ColorValue(0x00FFFFFF), SliderValue(0.425f), SliderValue(0.0f), SliderValue(0.0051f), SliderValue(0.0001f), SliderValue(0.1551f)}},
    {"Soft Soother",
     {PointValue(0.5f, 0.4999f), PointValue(0.7907f, 0.4186f), kOff, SliderValue(0.4051f), SliderValue(1.0f), kOff,
      ColorValue(0x00C08000), SliderValue(1.0f), SliderValue(1.0f), SliderValue(1.0f), SliderValue(1.0f), SliderValue(1.0f),
      ColorValue(0x00FFFFFF), SliderValue(0.5001f), SliderValue(0.5001f), SliderValue(0.5001f), SliderValue(0.0001f), SliderValue(0.0001f)}},
    {"Subtle Accent",
     {PointValue(0.5f, 0.4999f), PointValue(0.5f, 0.5f), kOn, SliderValue(0.3201f), SliderValue(0.21f), kOff,
      ColorValue(0x00FFFFFF), SliderValue(0.5001f), SliderValue(0.5001f), SliderValue(0.5f), SliderValue(0.44f), SliderValue(0.0f),
      ColorValue(0x00FFFFFF), SliderValue(0.5001f), SliderValue(0.4501f), SliderValue(0.5001f), SliderValue(0.0001f), SliderValue(0.0f)}},
    {"Swamp Alien Eye",
     {PointValue(0.5f, 0.5f), PointValue(0.95f, 0.4999f), kOff, SliderValue(0.2001f), SliderValue(0.3001f), kOn,
      ColorValue(0x0000FF00), SliderValue(1.0001f), SliderValue(0.5001f), SliderValue(0.4751f), SliderValue(0.5001f), SliderValue(0.0201f),
      ColorValue(0x00000000), SliderValue(1.0001f), SliderValue(0.0f), SliderValue(0.0f), SliderValue(0.0f), SliderValue(1.0f)}},
    {"Sword Slice",
     {PointValue(0.5f, 0.5f), PointValue(1.0f, 0.0f), kOn, SliderValue(0.2001f), SliderValue(0.0501f), kOn,
      ColorValue(0x000000FF), SliderValue(1.0f), SliderValue(0.0f), SliderValue(0.2501f), SliderValue(0.5001f), SliderValue(0.0f),
      ColorValue(0x00000000), SliderValue(1.0001f), SliderValue(0.0f), SliderValue(0.0f), SliderValue(0.0f), SliderValue(1.0f)}},
};
// clang-format on

static_assert(TableIsWellFormed(kParams, kPresets));
static_assert(std::size(kParams) == 24 && std::size(kPresets) == 34);

constexpr EffectTable kTable{"Spotlight", kTraitsPositional, kParams, kPresets};

constexpr ProgramPair kGradeProgram{kProgramQuadVertex, kProgramSpotlightGrade};
constexpr ProgramPair kSpotProgram{kProgramQuadVertex, kProgramSpotlightSpot};
constexpr ProgramPair kHorizontalBlurProgram{kProgramQuadVertex, kProgramBlurHorizontal};
constexpr ProgramPair kVerticalBlurProgram{kProgramQuadVertex, kProgramBlurVertical};
// The capability test makes the program of the first pass, which stands for all four.
constexpr ProgramPair kSetupPrograms[] = {kGradeProgram};

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

GradeValues ReadGrade(const ParamReader& params, const GradeIds& ids) {
  return {params.Read(ids.tint),       params.Read(ids.strength), params.Read(ids.color),
          params.Read(ids.brightness), params.Read(ids.clarity),  params.Read(ids.blur)};
}

// W is the picture's width; flipped turns the y of Center and Angle over once more.
Values ReadValues(IEffectHost* host, int32_t width, bool flipped) {
  const ParamReader params(host);
  const ParamReader::Point center = params.Read(kCenter);
  const ParamReader::Point angle = params.Read(kAngle);
  const bool tracks = params.Read(kTracks);
  const float size = params.Read(kSize);
  const float feather = params.Read(kFeather);
  Values v{};
  v.spot = ReadGrade(params, kSpotGrade);
  v.back = ReadGrade(params, kBackGrade);
  v.transparent = params.Read(kTransparent);

  v.cx = center.x;
  v.cy = 1.0f - center.y;
  v.ax = angle.x;
  v.ay = 1.0f - angle.y;
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
  float exponent;  // of the curve: 0.5 to the power 2 brightness - 1
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
    exponent = std::pow(0.5f, brightness * 2.0f - 1.0f);
    // The curve's neutral brightness differs by format, by design.
    const float neutral = swapped ? 0.0f : 0.5f;
    curve = clarity != 0.0f || brightness != neutral;
  }
};

// A grade in bytes: the saturation stage in integers, then the curve and the tint folded
// into one table per channel, run by the kernels on whole rows.
class ByteGrade {
 public:
  explicit ByteGrade(const Grade& g) {
    spec_.move = g.saturation != 0.0f;
    spec_.amount = static_cast<int32_t>(g.saturation * 127.0f);
    spec_.weightBlue = 30;
    spec_.weightGreen = 149;
    spec_.weightRed = 76;
    const bool tint = g.range != 0.0f;
    if (!g.curve && !tint) return;
    for (int i = 0; i < 256; ++i) {
      const float x = static_cast<float>(i) * 0.003921569f;
      int32_t curved = i;
      if (g.curve) {
        // Truncation after adding a half in floats, by definition; lround differs where the
        // float sum itself rounds up.
        const float level = kernels::ClarityCurve(x, g.exponent, g.clarity) * 255.0f;
        // NOLINTNEXTLINE(bugprone-incorrect-roundings)
        curved = std::clamp(static_cast<int32_t>(level + 0.5f), 0, 255);
      }
      for (int c = 0; c < 3; ++c) {
        int32_t out = curved;
        if (tint) {
          const float t =
              kernels::TintValue(static_cast<float>(curved) * 0.003921569f, g.amounts[c]);
          out = std::clamp(static_cast<int32_t>(t * 255.0f), 0, 255);
        }
        table_[c][i] = out;  // red, green, blue
      }
    }
    spec_.redTable = table_[0];
    spec_.greenTable = table_[1];
    spec_.blueTable = table_[2];
  }
  ByteGrade(const ByteGrade&) = delete;
  ByteGrade& operator=(const ByteGrade&) = delete;

  bool Identity() const { return !spec_.move && spec_.blueTable == nullptr; }
  // Pixels [begin, end) of a row, alpha kept; in and out may be one row.
  bool Row(const uint8_t* in, uint8_t* out, int32_t begin, int32_t end,
           const PixelLayout& l) const {
    if (end <= begin) return true;
    if (Identity()) {
      if (in != out) std::copy(in + 4 * begin, in + 4 * end, out + 4 * begin);
      return true;
    }
    const int32_t count = end - begin;
    const kernels::ConstImageView from{in + 4 * begin, 4 * count, count, 1};
    const kernels::ImageView to{out + 4 * begin, 4 * count, count, 1};
    return kernels::GradeChannels8u_C4(from, to, {l.blue, l.green, l.red}, spec_) == kernels::kOk;
  }

 private:
  kernels::ByteGradeSpec spec_;
  int32_t table_[3][256] = {};
};

// The same on floats, computed per value and limited to 0..1 after each stage.
class FloatGrade {
 public:
  explicit FloatGrade(const Grade& g) {
    spec_.move = g.saturation != 0.0f;
    spec_.keep = 0.5f - g.saturation * 0.5f;
    spec_.toward = g.saturation * 0.5f;
    spec_.weightBlue = 0.113f;
    spec_.weightGreen = 0.586f;
    spec_.weightRed = 0.298f;
    spec_.curve = g.curve;
    spec_.exponent = g.exponent;
    spec_.clarity = g.clarity;
    spec_.tint = g.range != 0.0f;
    spec_.tintRed = g.amounts[0];
    spec_.tintGreen = g.amounts[1];
    spec_.tintBlue = g.amounts[2];
  }
  bool Identity() const { return !spec_.move && !spec_.curve && !spec_.tint; }
  // Pixels [begin, end) of a row, alpha kept; in and out may be one row.
  bool Row(const float* in, float* out, int32_t begin, int32_t end, const PixelLayout& l) const {
    if (end <= begin) return true;
    if (Identity()) {
      if (in != out) std::copy(in + 4 * begin, in + 4 * end, out + 4 * begin);
      return true;
    }
    const int32_t count = end - begin;
    const kernels::ConstImageView from{reinterpret_cast<const uint8_t*>(in + 4 * begin), 16 * count,
                                       count, 1};
    const kernels::ImageView to{reinterpret_cast<uint8_t*>(out + 4 * begin), 16 * count, count, 1};
    return kernels::GradeChannels32f_C4(from, to, {l.blue, l.green, l.red}, spec_) == kernels::kOk;
  }

 private:
  kernels::FloatGradeSpec spec_;
};

// What a sample type brings: its grade, and the kernels of the mix through the mask.
template <typename T>
struct Depth;
template <>
struct Depth<uint8_t> {
  using GradeOf = ByteGrade;
  static constexpr auto kMix = &kernels::CompositeThroughMask8u_C4;
  static constexpr auto kCopyChannel = &kernels::CopyChannel8u;
};
template <>
struct Depth<float> {
  using GradeOf = FloatGrade;
  static constexpr auto kMix = &kernels::CompositeThroughMask32f_C4;
  static constexpr auto kCopyChannel = &kernels::CopyChannel32f;
};

// One region's grade of a whole picture into another of its format, alpha kept.
template <typename T>
bool GradeFrame(const FrameBuffer& src, FrameBuffer& dst, const PixelLayout& l, int32_t width,
                int32_t height, const typename Depth<T>::GradeOf& grade) {
  for (int32_t y = 0; y < height; ++y) {
    if (!grade.Row(src.Row<const T>(y), dst.Row<T>(y), 0, width, l)) return false;
  }
  return true;
}

// One row of pixels of a sample type as a view for the kernels.
template <typename T>
kernels::ImageView RowView(T* row, int32_t width, int32_t channels) {
  const auto bytes = static_cast<int32_t>(sizeof(T)) * channels;
  return {reinterpret_cast<uint8_t*>(row), bytes * width, width, 1};
}
template <typename T>
kernels::ConstImageView RowView(const T* row, int32_t width, int32_t channels) {
  const auto bytes = static_cast<int32_t>(sizeof(T)) * channels;
  return {reinterpret_cast<const uint8_t*>(row), bytes * width, width, 1};
}

bool IsField(const RenderInfo& info) {
  return info.fieldMode != kFieldModeFrame;
}

// The frame's pixel aspect: 1 when the host gives none. It acts by dividing horizontal
// sizes. Each render takes it from its own RenderInfo and keeps it on its stack, since
// renders of one instance run on several threads at once.
float PixelAspectOf(const RenderInfo& info) {
  const bool known = (info.infoFlags & kInfoPixelAspectValid) != 0 && info.pixelAspect > 0.0;
  return known ? static_cast<float>(info.pixelAspect) : 1.0f;
}

// A region's blur, horizontally from the source's width and vertically divided by the
// aspect and halved on a field; it blurs only where both sizes reach a whole pixel.
struct RegionBlur {
  float sizeX, sizeY;
  bool active;
  RegionBlur(float amount, int32_t sourceWidth, float aspect, bool field) {
    sizeX = static_cast<float>(sourceWidth) * amount * 0.1f;
    sizeY = sizeX / aspect * (field ? 0.5f : 1.0f);
    active = amount > 0.0f && sizeX >= 1.0f && sizeY >= 1.0f;
  }
};

// The render of one sample type in one pass over the picture, row by row. Each pixel takes
// the spot's grade where the mask is set and the background's where it is not full, mixes
// them through the mask, and takes its alpha from the mask or the source. A region that is
// blurred is graded and blurred first: the background over the whole picture, the spot
// over the box where the mask is set.
template <typename T>
bool RenderFrame(RenderSetup& setup) {
  using D = Depth<T>;
  const FrameBuffer& source = setup.src();
  FrameBuffer& dst = setup.dst();
  const int32_t width = setup.width();
  const int32_t height = setup.height();
  const PixelLayout& l = setup.srcLayout();
  const RenderInfo& info = setup.info();
  const float a = PixelAspectOf(info);
  const bool field = IsField(info);
  const Values v = ReadValues(setup.host(), width, source.flipped != 0);
  const bool swapped = IsAlphaFirst(source.format);
  const typename D::GradeOf spotGrade(Grade(v.spot, swapped));
  const typename D::GradeOf backGrade(Grade(v.back, swapped));
  const RegionBlur spotBlur(v.spot.blur, source.width, a, field);
  const RegionBlur backBlur(v.back.blur, source.width, a, field);

  const float hField = static_cast<float>(field ? height * 2 : height);
  const SoftEllipse mask({v.cx, v.cy, v.d2 + v.r, ((static_cast<float>(width) / a) / hField) * v.r,
                          v.theta, v.f / a, field, info.fieldMode == kFieldModeSecondField, a},
                         width, height);

  // A host that renders in place loses its source to the blurred background: keep a copy.
  const FrameBuffer* src = &source;
  FrameBuffer pristine;
  if (backBlur.active && FramesShareMemory(source, dst)) {
    if (!pristine.Allocate(width, height, source.pixelBytes, &setup.memory(), source.format,
                           source.flipped != 0) ||
        !CopyFrame(source, pristine)) {
      return false;
    }
    src = &pristine;
  }
  // Each row's spans, and the box around every pixel that the mask sets.
  std::vector<MaskSpans> spans(static_cast<size_t>(height));
  int32_t boxLeft = width;
  int32_t boxRight = 0;
  int32_t boxTop = height;
  int32_t boxBottom = 0;
  for (int32_t y = 0; y < height; ++y) {
    const MaskSpans& row = spans[static_cast<size_t>(y)] = mask.Spans(y);
    if (row.outerBegin >= row.outerEnd) continue;
    boxLeft = std::min(boxLeft, row.outerBegin);
    boxRight = std::max(boxRight, row.outerEnd);
    boxTop = std::min(boxTop, y);
    boxBottom = y + 1;
  }

  // The spot's picture: graded a row at a time where the mask is set, or, when it is
  // blurred, graded and blurred first over the box, widened by the blur's reach and the two
  // edge pixels that a blur repeats, so that the pixels of the box come out as a blur of
  // the whole picture gives them. Rows of the mask and of the spot, and the scratch frames,
  // come from the render's allocator.
  FrameBuffer spot;
  FrameBuffer rows;
  if (!rows.Allocate(width, 2, static_cast<int32_t>(sizeof(T)) * 4, &setup.memory(), source.format,
                     false)) {
    return false;
  }
  if (spotBlur.active && boxLeft < boxRight) {
    const auto reach = [](float size) {
      return static_cast<int32_t>(std::min(size, 1000.0f)) / 2 + 3;
    };
    boxLeft = std::max(0, boxLeft - reach(spotBlur.sizeX));
    boxRight = std::min(width, boxRight + reach(spotBlur.sizeX));
    boxTop = std::max(0, boxTop - reach(spotBlur.sizeY));
    boxBottom = std::min(height, boxBottom + reach(spotBlur.sizeY));
    // A blur treats the edges of pictures under five pixels otherwise.
    if ((boxRight - boxLeft < 5 && width >= 5) || (boxBottom - boxTop < 5 && height >= 5)) {
      boxLeft = boxTop = 0;
      boxRight = width;
      boxBottom = height;
    }
    FrameBuffer from;
    from.Attach(src->data + static_cast<ptrdiff_t>(boxTop) * src->pitch +
                    static_cast<ptrdiff_t>(boxLeft) * src->pixelBytes,
                boxRight - boxLeft, boxBottom - boxTop, src->pitch, src->pixelBytes, src->format,
                src->flipped != 0);
    if (!spot.Allocate(from.width, from.height, source.pixelBytes, &setup.memory(), source.format,
                       source.flipped != 0) ||
        !GradeFrame<T>(from, spot, l, from.width, from.height, spotGrade) ||
        !FrameBlur(spot, spot, spotBlur.sizeX, spotBlur.sizeY, &setup.memory(), 0)) {
      return false;
    }
  }
  // The first step that writes to the destination: a failure before it leaves it as it was.
  if (backBlur.active) {
    if (!GradeFrame<T>(*src, dst, l, width, height, backGrade) ||
        !FrameBlur(dst, dst, backBlur.sizeX, backBlur.sizeY, &setup.memory(), 0)) {
      return false;
    }
  }

  T* maskRow = rows.Row<T>(0);
  T* spotRow = rows.Row<T>(1);
  for (int32_t y = 0; y < height; ++y) {
    const T* in = src->Row<const T>(y);
    T* out = dst.Row<T>(y);
    const MaskSpans& row = spans[static_cast<size_t>(y)];
    if (!mask.Row(y, row, maskRow)) return false;
    // The spot where the mask is set, read before a render in place overwrites the source;
    // then the background where the mask is not full, graded from the source, or the
    // blurred picture that already stands in the destination.
    const T* spotColours = spotRow + 4 * row.outerBegin;
    if (row.outerBegin < row.outerEnd && spotBlur.active) {
      spotColours = spot.Row<const T>(y - boxTop) + 4 * (row.outerBegin - boxLeft);
    }
    if ((!spotBlur.active && !spotGrade.Row(in, spotRow, row.outerBegin, row.outerEnd, l)) ||
        (!backBlur.active && (!backGrade.Row(in, out, 0, row.fullBegin, l) ||
                              !backGrade.Row(in, out, row.fullEnd, width, l)))) {
      return false;
    }
    // The mix, which weighs the background by its own alpha; where the mask is 0 the spot
    // counts for nothing, and the background stands in for it. Then the alpha of the mask
    // or of the source.
    const auto mix = [&](const T* foreground, int32_t begin, int32_t end) {
      const int32_t count = end - begin;
      return count <= 0 ||
             D::kMix(RowView(foreground, count, 4), RowView(out + 4 * begin, count, 4),
                     RowView<T>(maskRow + begin, count, 1), l.alpha) == kernels::kOk;
    };
    const kernels::ImageView outRow = RowView(out, width, 4);
    if (!mix(out, 0, row.outerBegin) || !mix(spotColours, row.outerBegin, row.outerEnd) ||
        !mix(out + 4 * row.outerEnd, row.outerEnd, width) ||
        (v.transparent ? D::kCopyChannel(RowView<T>(maskRow, width, 1), 1, 0, outRow, 4, l.alpha)
                       : D::kCopyChannel(RowView(in, width, 4), 4, l.alpha, outRow, 4, l.alpha)) !=
            kernels::kOk) {
      return false;
    }
  }
  return true;
}

}  // namespace

CSpotlight::CSpotlight() : EffectBase(kTable, kSetupPrograms) {}

bool CSpotlight::Render(IEffectHost* host, const HostFrame* source, uintptr_t /*unused*/,
                        HostFrame* destination, const RenderInfo* info) {
  RenderSetup setup(host, source, destination, info);
  return setup && BySampleType(setup.srcLayout().isFloat,
                               [&]<typename T>(Samples<T>) { return RenderFrame<T>(setup); });
}

bool CSpotlight::RenderGPUFrame(IEffectHost* host, const GPUTextureRef* source,
                                const GPUTextureRef* /*secondSource*/, GPUTextureRef* destination,
                                const RenderInfo* info) {
  if (source == nullptr || destination == nullptr || info == nullptr) return false;
  const int32_t width = source->width;
  const int32_t height = source->height;
  const Values v = ReadValues(host, width, source->flipped != 0);
  const bool field = IsField(*info);

  GpuFrameObjects objects(*this);
  GPUTextureRef& t1 = objects.Target(width, height, source->format);
  GPUTextureRef& t2 = objects.Target(width, height, source->format);
  ProgramBundle& grade = objects.Program(kGradeProgram);
  ProgramBundle& spot = objects.Program(kSpotProgram);
  ProgramBundle& horizontal = objects.Program(kHorizontalBlurProgram);
  ProgramBundle& vertical = objects.Program(kVerticalBlurProgram);
  if (!objects.made()) return false;

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

  // What the output step answers is not looked at: the frame was drawn.
  FinishFrame(&t2, source, destination);
  return true;
}

}  // namespace vitrella
