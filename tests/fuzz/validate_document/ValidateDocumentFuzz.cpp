// Feeds arbitrary text to `pelmoctl validate`'s document check. Beyond not crashing, the check
// must agree with the library's reader: every refusal is explained by a finding of its own,
// none is claimed for a document the reader accepts, and every finding stays on one line.
// The first byte picks the module whose rules apply; the rest is the document.
#include <cstddef>
#include <cstdint>
#include <string>

#include "ValidateDocument.h"
#include "ValidateReport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const char* kModules[] = {"", "org.orvik.plinth-app", "com.quenor.tv.Skyvane", "org.example.livetv_news"};
    if (size == 0) return 0;
    PT_VALIDATE_OPTIONS options;
    options.sModuleName = kModules[data[0] % (sizeof kModules / sizeof kModules[0])];
    options.llNow = 1767225600;
    const std::string sDocument(reinterpret_cast<const char*>(data + 1), size - 1);
    const PT_VALIDATE_RESULT result = ValidateDocumentText(sDocument, options);

    if (!result.bUsable) {
        if (result.sUnusable.empty() || result.sUnusable.find('\n') != std::string::npos) __builtin_trap();
        if (!result.vecFinding.empty()) __builtin_trap();
        return 0;
    }
    bool bExplained = false;
    for (const PT_VALIDATE_FINDING& finding : result.vecFinding) {
        if (finding.sKind == "refused") __builtin_trap();
        if (finding.bError &&
            (finding.sKind == "root" || finding.sKind == "value-kind" || finding.sKind == "tile-limit")) {
            bExplained = true;
        }
        if (finding.sPath.empty() || FormatFinding(finding).find('\n') != std::string::npos) __builtin_trap();
    }
    if (bExplained == result.bReaderAccepts) __builtin_trap();
    return 0;
}
