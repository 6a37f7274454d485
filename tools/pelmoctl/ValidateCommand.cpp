#include "ValidateCommand.h"


#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "BusMessageLimit.h"
#include "DocumentFile.h"
#include "ModuleQuota.h"
#include "PreviewDataUtil.h"
#include "ValidateDocument.h"
#include "ValidateJsonReport.h"
#include "ValidateReport.h"

namespace {
constexpr int kExitClean = 0;
constexpr int kExitProblems = 1;
constexpr int kExitUsage = 2;

void PrintHelp()
{
    std::printf(
        "usage: pelmoctl validate FILE [--module MODULE] [--now SECONDS] [--format text|json]\n"
        "\n"
        "Checks a preview document without publishing it: reads it with the library's own reader\n"
        "and explains each problem with its JSON path and line. FILE - reads standard input.\n"
        "\n"
        "errors (the publish fails, or stores less than the document says):\n"
        "  not JSON (line and column), a document that is not an object, values of a JSON kind\n"
        "  the reader cannot take, more tiles than the module may publish (%d for most modules),\n"
        "  sections or tiles of one section that share a content key, more sections, tiles or\n"
        "  bytes than the store holds of one module\n"
        "warnings (the publish goes through):\n"
        "  tile members without a column (kept only in public_extra, with the nearest known name),\n"
        "  unknown section and document members, skipped values, display windows that are\n"
        "  reversed or already over, texts that are not valid UTF-8 (stored with replacement\n"
        "  characters), a document at %d%% of what the store holds of one module or more\n"
        "\n"
        "  --module MODULE  judge by this module's rules (tile limit, content keys); default: an\n"
        "                   ordinary module\n"
        "  --now SECONDS    judge display windows at this time (seconds since 1970), not now\n"
        "  --format json    print the findings as one JSON object (file, usable, errors, warnings,\n"
        "                   findings: path, line, column, kind, level, message, suggestion), also\n"
        "                   for text that is not JSON\n"
        "\n"
        "Prints one line per finding (error: PATH (line N): what [kind]) and a summary line.\n"
        "exit status: 0 no errors (warnings allowed), 1 errors or unreadable input, 2 bad usage\n",
        CPreviewDataUtil::GetTileLimit(""), kQuotaWarnPercent);
}

int UsageError(const std::string& sMessage)
{
    std::fprintf(stderr, "pelmoctl validate: %s (see pelmoctl validate --help)\n", sMessage.c_str());
    return kExitUsage;
}

bool ParseSeconds(const char* sText, long long& llSeconds)
{
    errno = 0;
    char* pEnd = nullptr;
    llSeconds = std::strtoll(sText, &pEnd, 10);
    return errno == 0 && pEnd != sText && *pEnd == '\0';
}

}  // namespace

int RunValidateCommand(int argc, char** argv)
{
    std::string sFile;
    bool bHaveFile = false;
    PT_VALIDATE_OPTIONS options;
    bool bJson = false;
    options.llNow = static_cast<long long>(std::time(nullptr));
    // Offline, the system bus's configuration says how large a request may be.
    std::string sLimitSource;
    options.llMaxMessage = BusMessageLimit::Read("", sLimitSource);
    for (int i = 1; i < argc; ++i) {
        const std::string sArg = argv[i];
        if (sArg == "--help" || sArg == "-h") {
            PrintHelp();
            return kExitClean;
        } else if (sArg == "--format") {
            if (i + 1 >= argc) return UsageError("--format needs text or json");
            const std::string sFormat = argv[++i];
            if (sFormat != "text" && sFormat != "json")
                return UsageError("--format takes text or json, not " + sFormat);
            bJson = sFormat == "json";
        } else if (sArg == "--module" || sArg == "--now") {
            if (i + 1 >= argc) return UsageError(sArg + " needs a value");
            const char* sValue = argv[++i];
            if (sArg == "--module") {
                if (*sValue == '\0') return UsageError("--module needs a module name");
                options.sModuleName = sValue;
            } else if (!ParseSeconds(sValue, options.llNow)) {
                return UsageError(std::string("--now takes seconds since 1970, not ") + sValue);
            }
        } else if (sArg.size() > 1 && sArg[0] == '-') {
            return UsageError("unknown option " + sArg);
        } else if (bHaveFile) {
            return UsageError("one FILE only, got also " + sArg);
        } else {
            sFile = sArg;
            bHaveFile = true;
        }
    }
    if (!bHaveFile) return UsageError("missing FILE");

    std::string sText, sError;
    if (!ReadDocument(sFile, sText, sError)) {
        std::fprintf(stderr, "pelmoctl validate: %s\n", sError.c_str());
        return kExitProblems;
    }
    const std::string sName = sFile == "-" ? std::string("<stdin>") : sFile;
    const PT_VALIDATE_RESULT result = ValidateDocumentText(sText, options);
    if (bJson) {
        std::fputs(FormatFindingsJson(sName, sText, result).c_str(), stdout);
        return !result.bUsable || result.ErrorCount() > 0 ? kExitProblems : kExitClean;
    }
    if (!result.bUsable) {
        std::fprintf(stderr, "pelmoctl validate: %s is %s\n", sName.c_str(), result.sUnusable.c_str());
        return kExitProblems;
    }
    PrintReport(stdout, sName, result);
    return result.ErrorCount() > 0 ? kExitProblems : kExitClean;
}
