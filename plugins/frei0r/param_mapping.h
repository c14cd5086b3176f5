// frei0r values to the effect's values and back, by the kind of the effect's record:
//   slider -> double, the 0..1 fraction an effect computes with (the panel's range is in
//             the explanation)
//   point  -> position, fractions of the frame with y from the top, as our points are
//   colour -> colour, three 0..1 floats for the 0x00BBGGRR word, rounded to bytes
//   check  -> bool, on from 0.5
//   choice -> double, 0..1 spread evenly over the entries (0, 0.5, 1 for three)
// A value that is not a number is ignored; one outside its range is clamped.
#pragma once

#include <cstdint>

#include "effect_description.h"
#include "vitrella/records.h"

namespace vitrella::frei0r {

int Frei0rType(ParamKind kind);

// `value` points at the frei0r value of the record's type; null is ignored.
void SetFromFrei0r(const MappedParam& param, const void* value, ParamValue& target);
void GetAsFrei0r(const MappedParam& param, const ParamValue& value, void* out);

int32_t ChoiceFromFraction(double fraction, int32_t count);
double FractionOfChoice(int32_t choice, int32_t count);

}  // namespace vitrella::frei0r
