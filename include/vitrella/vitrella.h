// Everything a host includes to load the effect library and drive its effects.
#pragma once

#include "vitrella/base.h"
#include "vitrella/effect.h"
#include "vitrella/frame_processor.h"
#include "vitrella/gpu.h"
#include "vitrella/language.h"
#include "vitrella/library.h"
#include "vitrella/preset.h"
#include "vitrella/records.h"
