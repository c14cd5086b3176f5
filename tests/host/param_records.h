// Parameter records made in the test, shaped like those an effect returns.
#pragma once

#include <cstring>
#include <initializer_list>
#include <string>

#include "vitrella/records.h"

namespace vitrella::testing {

inline ParamInfo Record(ParamKind kind, const char* name) {
  ParamInfo info{};
  info.kind = kind;
  std::strncpy(info.name, name, kParamNameBytes - 1);
  info.enabled = 1;
  return info;
}

inline ParamInfo Slider(const char* name, float minimum, float maximum) {
  ParamInfo info = Record(ParamSlider, name);
  info.minimum = minimum;
  info.slider.maximum = maximum;
  info.slider.sliderFlag = 1;
  return info;
}

inline ParamInfo Choice(const char* name, std::initializer_list<const char*> entries) {
  ParamInfo info = Record(ParamChoice, name);
  for (const char* entry : entries) {
    std::strncpy(info.choiceText[info.choiceCount++], entry, kChoiceTextBytes - 1);
  }
  return info;
}

inline ParamInfo Group(const char* name, bool closes) {
  ParamInfo info = Record(ParamGroup, name);
  info.groupClose = closes ? 1 : 0;
  return info;
}

}  // namespace vitrella::testing
