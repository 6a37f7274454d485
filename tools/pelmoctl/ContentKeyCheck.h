// Sections, and tiles of one section, that share a content key. The synchronisation recognises
// items only by these keys, so of two items with one key only the first is stored as itself.
#pragma once

#include <vector>

#include "DocumentChecks.h"
#include "DocumentPositions.h"
#include "PreviewAccelerator.h"
#include "ValidateFinding.h"

// Reports every later section and tile whose key an earlier one of the same list already has.
// The keys are those the library's reader computed into the accelerator; vecSection tells where
// each of its sections and tiles is in the document. Items the reader did not reach (it stopped
// at a refused value) are not compared.
void CheckSharedContentKeys(const CPreviewAccelerator& accelerator, const std::vector<PT_SECTION_PLACE>& vecSection,
                            std::vector<PT_VALIDATE_FINDING>& vecFinding);
