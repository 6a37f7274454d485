// The reader's entry point for bytes that are already a private copy, so that GetCursor can
// read the shared object once into memory of its own and check that copy without copying again.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "pelmo/ISQLiteCursor.h"

// Checks vecBytes as a serialised result; a cursor that owns them, or null with a one-line reason.
std::shared_ptr<ISQLiteCursor> SharedResultCursorFromCopy(std::vector<unsigned char>&& vecBytes, std::string& sError);
