// Texts in a document that are not valid UTF-8, and what the store makes of them.
//
// The library's reader keeps such bytes, but every request to the store is written by the JSON
// writer, which puts U+FFFD in their place. The store then holds other text than the document:
// in a column that is part of an item's content key (a tile's title, a section's id, ...), the
// item read back from the store never matches the document again, so every publish, even an
// unchanged one, deletes it and inserts it anew.
//
// The texts are found in the document's own bytes, member names included and at any depth,
// because the parsed document no longer shows how an escape was written. What happens to each
// one is asked of the library's reader with small documents that hold the text at the same
// place: once as written, once as the store would give it back, and once with the bad bytes
// replaced by other text.
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

#include "DocumentPositions.h"
#include "LibraryReader.h"
#include "ValidateFinding.h"

// sText is a document the library's JSON reader accepted, root what it read from it. Adds one
// warning for every string (name or value) whose text is not valid UTF-8.
void CheckTextEncoding(const std::string& sText, const Json::Value& root, const CDocumentPositions& positions,
                       CLibraryReader& reader, std::vector<PT_VALIDATE_FINDING>& vecFinding);
