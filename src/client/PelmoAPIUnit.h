// The request interface is one source unit, PelmoAPI, split by concern over the files of this
// folder. Its files include this header for logging, so that every line names the unit
// whichever of them holds the function.
#pragma once

#undef PELMO_LOG_UNIT
#define PELMO_LOG_UNIT "src/client/PelmoAPI.cpp"
#include "PelmoLog.h"
