// Whether each request the library sends for a document fits in one bus message: the largest
// is the bulk insert of a section's tiles, and a request the bus cannot carry loses that
// section's tiles while the publish still reports success.
#pragma once

#include <vector>

#include "DocumentChecks.h"
#include "PreviewAccelerator.h"
#include "ValidateFinding.h"

// Adds an error for every section whose tile bulk is over llLimit bytes, and a warning for one
// over three quarters of it. vecSections are the places of the reader's sections, in its order.
void CheckRequestSizes(const CPreviewAccelerator& accelerator, const std::vector<PT_SECTION_PLACE>& vecSections,
                       long long llLimit, std::vector<PT_VALIDATE_FINDING>& vecFinding);
// The size of the tile bulk request of one section, as the library writes it, with each value
// as the document gives it (never shorter than what is sent).
long long TileBulkSize(const CPreviewSection& section);
