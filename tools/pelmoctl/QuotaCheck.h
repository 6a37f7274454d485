// How near a document comes to what the store holds of one module at most: sections, tiles and
// bytes. The store refuses whole a write that would put the module over its quota, and the rest
// of the publish goes on, so what that write carries would be missing.
#pragma once

#include <vector>

#include "DocumentChecks.h"
#include "ModuleQuota.h"
#include "PreviewAccelerator.h"
#include "ValidateFinding.h"

// Warns for a count at kQuotaWarnPercent % of its quota or more, and reports an error for one
// over it. The sections and tiles are counted in vecSection, where the reader's items are in
// the document; sectionsPlace is where the document's sections start. The bytes are estimated
// from the accelerator the reader made of the document.
void CheckModuleQuota(const CPreviewAccelerator& accelerator, const std::vector<PT_SECTION_PLACE>& vecSection,
                      const PT_ITEM_PLACE& sectionsPlace, const PT_MODULE_QUOTA& quota,
                      std::vector<PT_VALIDATE_FINDING>& vecFinding);

// The bytes of every value the publish writes into the module's section and tile rows, as the
// reader made them. The store counts those and a few more: the module's accelerator row, and
// the row ids and module names that the library and the store add to every row.
long long EstimatedStoredBytes(const CPreviewAccelerator& accelerator);
