// The preview logic is one source unit, PreviewDataUtil, split by concern over the
// PreviewDataUtil*.cpp files. They include this header for logging, so that every line names
// the unit whichever of them holds the function.
#pragma once

#undef PELMO_LOG_UNIT
#define PELMO_LOG_UNIT "src/common/PreviewDataUtil.cpp"
#include "PelmoLog.h"
