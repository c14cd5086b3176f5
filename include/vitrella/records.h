// Plain records of the host contract: parameters, frames, timing and host facts.
// All are little-endian and of fixed size; every size and offset is checked below.
#pragma once

#include <cstddef>
#include <cstdint>

#include "vitrella/base.h"

namespace vitrella {

enum ParamKind : int32_t {
  ParamPoint = 0,   // two floats, x then y, fractions of the frame; y runs from the top
  ParamChoice = 1,  // 32-bit index into the choice texts
  ParamSlider = 2,  // float fraction 0..1 of the shown range
  ParamColor = 3,   // colour word 0x00BBGGRR
  ParamCheck = 4,   // one byte, 0 or 1
  ParamGroup = 5,   // no value; opens or closes a group box
};

// The eight-byte value of a parameter, filled as far as its kind needs. The other
// bytes may hold anything and must not be read.
union ParamValue {
  float point[2];
  int32_t choice;
  float slider;
  uint32_t color;
  uint8_t check;
  uint8_t bytes[8];
};
static_assert(sizeof(ParamValue) == 8 && alignof(ParamValue) == 4);

inline constexpr int kChoiceSlots = 10;
inline constexpr int kChoiceTextBytes = 20;
inline constexpr int kParamNameBytes = 40;

// The upper end of a slider's shown range and its flag, where a choice keeps its texts.
struct SliderLimits {
  float maximum;       // maximum shown
  int32_t sliderFlag;  // always 1
};

// Description of one parameter and its place in the host's control panel.
struct ParamInfo {
  ParamValue defaultValue;
  ParamKind kind;
  union {
    float minimum;        // slider: minimum shown
    int32_t choiceCount;  // choice: number of entries
    uint8_t groupClose;   // group: 0 opens, 1 closes
  };
  union {
    SliderLimits slider;                              // slider only
    char choiceText[kChoiceSlots][kChoiceTextBytes];  // choice: entry texts
  };
  char name[kParamNameBytes];
  int32_t panelX;
  int32_t panelY;
  int32_t panelWidth;
  int32_t panelHeight;
  int32_t enabled;
};
static_assert(sizeof(ParamInfo) == 276);
static_assert(offsetof(ParamInfo, defaultValue) == 0);
static_assert(offsetof(ParamInfo, kind) == 8);
static_assert(offsetof(ParamInfo, minimum) == 12);
static_assert(offsetof(ParamInfo, choiceCount) == 12);
static_assert(offsetof(ParamInfo, groupClose) == 12);
static_assert(offsetof(ParamInfo, slider) == 16);
static_assert(offsetof(ParamInfo, slider) + offsetof(SliderLimits, sliderFlag) == 20);
static_assert(offsetof(ParamInfo, choiceText) == 16);
static_assert(offsetof(ParamInfo, name) == 216);
static_assert(offsetof(ParamInfo, panelX) == 256);
static_assert(offsetof(ParamInfo, panelY) == 260);
static_assert(offsetof(ParamInfo, panelWidth) == 264);
static_assert(offsetof(ParamInfo, panelHeight) == 268);
static_assert(offsetof(ParamInfo, enabled) == 272);

enum PixelFormat : int32_t {
  PixelFormat8BGRA = 0,    // bytes blue, green, red, alpha
  PixelFormat8ARGB = 1,    // bytes alpha, red, green, blue
  PixelFormat32FBGRA = 3,  // floats blue, green, red, alpha
  PixelFormat32FARGB = 4,  // floats alpha, red, green, blue (also alpha, Y', Cb, Cr)
  PixelFormat8Gray = 6,    // one byte; internal masks only
  PixelFormat32FGray = 7,  // one float; internal masks only
};

// A frame as the host hands it over.
struct HostFrame {
  uint8_t* data;       // address of the first row
  int32_t width;       // pixels
  int32_t height;      // rows
  int32_t pitch;       // bytes from one row to the next; negative for bottom-up memory
  int32_t pixelBytes;  // 1, 4 or 16
  int32_t reserved[2];
  PixelFormat format;
  uint8_t flipped;  // non-zero when the picture is stored upside down
};
static_assert(sizeof(HostFrame) == 40);
static_assert(offsetof(HostFrame, data) == 0);
static_assert(offsetof(HostFrame, width) == 8);
static_assert(offsetof(HostFrame, height) == 12);
static_assert(offsetof(HostFrame, pitch) == 16);
static_assert(offsetof(HostFrame, pixelBytes) == 20);
static_assert(offsetof(HostFrame, reserved) == 24);
static_assert(offsetof(HostFrame, format) == 32);
static_assert(offsetof(HostFrame, flipped) == 36);

inline constexpr uint8_t kInfoPixelAspectValid = 0x40;
inline constexpr uint16_t kFieldModeFrame = 3;
inline constexpr uint16_t kFieldModeSecondField = 2;

// Time and sampling of the frame being rendered. The bytes that the library does not
// read travel unchanged when an effect copies the record to ask for another frame.
struct RenderInfo {
  uint8_t hostData0[4];
  uint8_t infoFlags;  // kInfoPixelAspectValid: pixelAspect is valid
  uint8_t hostData5[11];
  double time;  // seconds
  uint8_t hostData24[8];
  double frameRate;    // frames per second
  double pixelAspect;  // width of a pixel over its height
  int32_t frameNumber;
  uint16_t fieldMode;  // 3 a whole frame; any other a single field, 2 the second one
  uint8_t hostData54[10];
};
static_assert(sizeof(RenderInfo) == 64);
static_assert(offsetof(RenderInfo, infoFlags) == 4);
static_assert(offsetof(RenderInfo, time) == 16);
static_assert(offsetof(RenderInfo, frameRate) == 32);
static_assert(offsetof(RenderInfo, pixelAspect) == 40);
static_assert(offsetof(RenderInfo, frameNumber) == 48);
static_assert(offsetof(RenderInfo, fieldMode) == 52);

inline constexpr uint8_t kHostServesGetFrame = 0x01;

// Facts about the host and the running effect instance, filled by the host.
struct HostInfo {
  const char* hostName;  // null or empty: unknown
  uint8_t hostData8[8];
  uint8_t hostFlags;  // kHostServesGetFrame
  uint8_t hostData17[3];
  uint32_t instanceKey;  // stays the same for one effect instance
  uint8_t hostData24[8];
};
static_assert(sizeof(HostInfo) == 32);
static_assert(offsetof(HostInfo, hostName) == 0);
static_assert(offsetof(HostInfo, hostFlags) == 16);
static_assert(offsetof(HostInfo, instanceKey) == 20);

}  // namespace vitrella
