// Reading a preview document into the model straight from the caller's text: a publish's text
// is large (close to 100 KB for 200 tiles), and each copy of it, and each free of a copy, showed
// in the profile of a publish.
#pragma once

#include <cstddef>
#include <string>

#include "PreviewAccelerator.h"

class CPreviewDataUtil;

namespace PreviewDocumentRead {
// What CPreviewDataUtil::GetPreviewDataUsingJsonStr does, over uLength bytes at pText, with the
// same log lines.
bool GetPreviewDataUsingJsonStr(CPreviewDataUtil& util, const char* pText, size_t uLength,
                                CPreviewAccelerator& accelerator, const std::string& sModuleName);
}  // namespace PreviewDocumentRead
