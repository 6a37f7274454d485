// Feeds arbitrary text to `pelmoctl validate`'s document check. Beyond not crashing, the check
// must agree with the library's reader: every refusal is explained by a finding of its own,
// none is claimed for a document the reader accepts, and every finding stays on one line.
// Its UTF-8 rule must agree with GLib's on the same bytes, and a document that is UTF-8
// throughout, without \u escapes, has no text that is not.
// The first byte picks the module whose rules apply; the rest is the document.
#include <glib.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "TextCheck.h"
#include "ValidateDocument.h"
#include "ValidateReport.h"

namespace {
void CheckUtf8RuleAgreesWithGlib(const std::string& sText)
{
    // GLib refuses NUL, which the rule allows as U+0000; compare the text without it.
    std::string sNoNul = sText;
    for (char& c : sNoNul) {
        if (c == '\0') c = ' ';
    }
    const gchar* pEnd = nullptr;
    const bool bGlib = g_utf8_validate_len(sNoNul.data(), sNoNul.size(), &pEnd);
    size_t uLength = 0;
    const size_t uAt = TextCheck::FindNotUtf8(sNoNul.data(), sNoNul.size(), uLength);
    if (bGlib != (uAt == sNoNul.size())) __builtin_trap();
    if (!bGlib && (uAt != static_cast<size_t>(pEnd - sNoNul.data()) || uLength == 0 || uLength > 3)) __builtin_trap();
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const char* kModules[] = {"", "org.orvik.plinth-app", "com.quenor.tv.Skyvane", "org.example.livetv_news"};
    if (size == 0) return 0;
    PT_VALIDATE_OPTIONS options;
    options.sModuleName = kModules[data[0] % (sizeof kModules / sizeof kModules[0])];
    options.llNow = 1767225600;
    const std::string sDocument(reinterpret_cast<const char*>(data + 1), size - 1);
    const PT_VALIDATE_RESULT result = ValidateDocumentText(sDocument, options);
    CheckUtf8RuleAgreesWithGlib(sDocument);
    const bool bPlainUtf8 = TextCheck::IsUtf8(sDocument) && sDocument.find("\\u") == std::string::npos;

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
        if (finding.sKind == "not-utf8" && (bPlainUtf8 || finding.bError || finding.iLine <= 0)) __builtin_trap();
        // Paths and messages are text, whatever bytes the document holds.
        if (!TextCheck::IsUtf8(finding.sPath) || !TextCheck::IsUtf8(finding.sMessage)) __builtin_trap();
    }
    if (bExplained == result.bReaderAccepts) __builtin_trap();
    return 0;
}
