// Numbers in the store's integer columns that the store will not hold as the document wrote
// them, and what follows: for a module whose tile key includes the display period such a tile
// is deleted and inserted again on every publish, and a stored integer wider than 32 bits
// leaves the module's whole read-back empty.
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

#include "DocumentPositions.h"
#include "LibraryReader.h"
#include "ValidateFinding.h"

// Walks the sections and tiles the reader reads (object elements only) of a parsed document;
// sText is the document's text, from which numbers are quoted as written.
void CheckIntegerColumns(const Json::Value& root, const std::string& sText, const CDocumentPositions& positions,
                         CLibraryReader& reader, std::vector<PT_VALIDATE_FINDING>& vecFinding);
