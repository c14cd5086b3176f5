#include "param_mapping.h"

#include <frei0r.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace vitrella::frei0r {
namespace {

// Points may lie off the frame (a corner dragged outside); beyond this they mean nothing
// and only risk overflow in an effect's arithmetic.
constexpr double kPointLimit = 1000.0;

uint8_t ColorByte(float channel) {
  return static_cast<uint8_t>(std::lround(std::clamp(channel, 0.0f, 1.0f) * 255.0f));
}

// A float slider value as the short decimal it was set from: 0.3f reads back as 0.3, not
// 0.30000001192092896, in a host's listing of defaults.
double Tidy(float value) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.7g", static_cast<double>(value));
  return std::strtod(text.data(), nullptr);
}

}  // namespace

int Frei0rType(ParamKind kind) {
  switch (kind) {
    case ParamPoint:
      return F0R_PARAM_POSITION;
    case ParamColor:
      return F0R_PARAM_COLOR;
    case ParamCheck:
      return F0R_PARAM_BOOL;
    default:
      return F0R_PARAM_DOUBLE;
  }
}

int32_t ChoiceFromFraction(double fraction, int32_t count) {
  if (count <= 1) return 0;
  const double at = std::clamp(fraction, 0.0, 1.0) * (count - 1);
  return static_cast<int32_t>(std::lround(at));
}

double FractionOfChoice(int32_t choice, int32_t count) {
  if (count <= 1) return 0.0;
  return static_cast<double>(std::clamp(choice, 0, count - 1)) / (count - 1);
}

void SetFromFrei0r(const MappedParam& param, const void* value, ParamValue& target) {
  if (value == nullptr) return;
  switch (param.kind) {
    case ParamSlider: {
      const double fraction = *static_cast<const f0r_param_double*>(value);
      if (!std::isnan(fraction)) target.slider = static_cast<float>(std::clamp(fraction, 0.0, 1.0));
      break;
    }
    case ParamChoice: {
      const double fraction = *static_cast<const f0r_param_double*>(value);
      if (!std::isnan(fraction)) target.choice = ChoiceFromFraction(fraction, param.choiceCount);
      break;
    }
    case ParamCheck: {
      const double on = *static_cast<const f0r_param_bool*>(value);
      if (!std::isnan(on)) target.check = on >= 0.5 ? 1 : 0;
      break;
    }
    case ParamPoint: {
      const auto& position = *static_cast<const f0r_param_position_t*>(value);
      if (std::isnan(position.x) || std::isnan(position.y)) break;
      target.point[0] = static_cast<float>(std::clamp(position.x, -kPointLimit, kPointLimit));
      target.point[1] = static_cast<float>(std::clamp(position.y, -kPointLimit, kPointLimit));
      break;
    }
    case ParamColor: {
      const auto& color = *static_cast<const f0r_param_color_t*>(value);
      if (std::isnan(color.r) || std::isnan(color.g) || std::isnan(color.b)) break;
      target.color = uint32_t{ColorByte(color.r)} | uint32_t{ColorByte(color.g)} << 8 |
                     uint32_t{ColorByte(color.b)} << 16;
      break;
    }
    default:
      break;
  }
}

void GetAsFrei0r(const MappedParam& param, const ParamValue& value, void* out) {
  if (out == nullptr) return;
  switch (param.kind) {
    case ParamSlider:
      *static_cast<f0r_param_double*>(out) = Tidy(value.slider);
      break;
    case ParamChoice:
      *static_cast<f0r_param_double*>(out) = FractionOfChoice(value.choice, param.choiceCount);
      break;
    case ParamCheck:
      *static_cast<f0r_param_bool*>(out) = value.check != 0 ? 1.0 : 0.0;
      break;
    case ParamPoint: {
      auto& position = *static_cast<f0r_param_position_t*>(out);
      position.x = Tidy(value.point[0]);
      position.y = Tidy(value.point[1]);
      break;
    }
    case ParamColor: {
      auto& color = *static_cast<f0r_param_color_t*>(out);
      color.r = static_cast<float>(value.color & 0xFF) / 255.0f;
      color.g = static_cast<float>(value.color >> 8 & 0xFF) / 255.0f;
      color.b = static_cast<float>(value.color >> 16 & 0xFF) / 255.0f;
      break;
    }
    default:
      break;
  }
}

}  // namespace vitrella::frei0r
