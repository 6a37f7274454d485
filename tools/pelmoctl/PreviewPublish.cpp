#include "PreviewPublish.h"

#include <cstdio>
#include <ctime>

#include "PelmoAPI.h"
#include "ValidateDocument.h"

using namespace StoreCommand;

namespace {
// Why the library refused a document, in the document's terms: the first error the offline
// check finds (the library's own log says no more than that it gave up).
std::string RefusalReason(const std::string& sModule, const std::string& sDocument)
{
    PT_VALIDATE_OPTIONS options;
    options.sModuleName = sModule;
    options.llNow = static_cast<long long>(std::time(nullptr));
    const PT_VALIDATE_RESULT result = ValidateDocumentText(sDocument, options);
    if (!result.bUsable) return "the document is " + result.sUnusable;
    for (const PT_VALIDATE_FINDING& finding : result.vecFinding) {
        if (!finding.bError) continue;
        return finding.sPath + (finding.iLine > 0 ? " (line " + std::to_string(finding.iLine) + ")" : "") + ": " +
               finding.sMessage;
    }
    return std::string();
}

std::string Delta(const CTableDelta& delta, long long llStored)
{
    return "+" + std::to_string(delta.llInserted) + " -" + std::to_string(delta.llDeleted) + " ~" +
           std::to_string(delta.llUpdated) + " =" + std::to_string(llStored);
}
}  // namespace

int PublishAndReport(const std::string& sCommand, const std::string& sModule, const std::string& sDocument,
                     const Json::Value& stats, bool bShowRequests, CLibraryLog& log, bool bSummary)
{
    std::string sError;
    const long long llBefore = stats["journal_seq"].asInt64();
    Json::Value before;
    if (!FetchJournal(sModule, llBefore, before, sError, log)) return Fail(sCommand, sError);

    log.Clear();
    const int iResult = set_preview_metadata(sDocument.c_str(), sModule.c_str());
    const std::string sLibraryError = log.FirstError();

    Json::Value after;
    if (!FetchJournal(sModule, llBefore, after, sError, log)) return Fail(sCommand, sError);
    // The totals are counted since the service started; a journal that restarted in between
    // (the service forgot the module to make room) cannot be compared.
    if (after["last_seq"].asInt64() < llBefore) {
        return Fail(sCommand, "the store's journal of " + sModule + " restarted during the publish; counts unknown");
    }

    const Json::Value& entries = after["entries"];
    for (const Json::Value& entry : entries) {
        // Another connection wrote this module while this publish ran.
        if (entry.isMember("note")) {
            std::fprintf(stderr, "pelmoctl %s: warning: %s\n", sCommand.c_str(), entry["note"].asCString());
        }
    }
    if (bShowRequests) {
        for (const Json::Value& entry : entries) {
            if (entry.isMember("note")) continue;
            std::printf("request %lld: %s%s%s %s rows=%lld\n", static_cast<long long>(entry["seq"].asInt64()),
                        entry["method"].asCString(), entry["table"].asString().empty() ? "" : " ",
                        entry["table"].asCString(), entry["ok"].asBool() ? "ok" : "refused",
                        static_cast<long long>(entry["rows"].asInt64()));
        }
    }
    const CTableDelta sections = TotalsDelta(before, after, "sections");
    const CTableDelta tiles = TotalsDelta(before, after, "tiles");
    const bool bChanged = sections.llInserted || sections.llUpdated || sections.llDeleted || tiles.llInserted ||
                          tiles.llUpdated || tiles.llDeleted;
    // A refused document changed nothing and gets no counts; a publish that failed after it
    // changed rows (a store that could not be read back is cleared) shows what it did.
    if ((iResult == 1 || bChanged) && !bSummary) {
        std::fputs(FormatCounts(sections, tiles).c_str(), stdout);
        std::fflush(stdout);
    } else if (iResult == 1 || bChanged) {
        Json::Value now;
        if (!FetchStats(sModule, now, sError, log)) return Fail(sCommand, sError);
        const long long llRequests = after["last_seq"].asInt64() - llBefore;
        std::printf("sections %s, tiles %s: %lld request%s\n", Delta(sections, now["sections"].asInt64()).c_str(),
                    Delta(tiles, now["tiles"].asInt64()).c_str(), llRequests, llRequests == 1 ? "" : "s");
        std::fflush(stdout);
    }

    if (iResult != 1) {
        if (bChanged) {
            return Fail(sCommand, "the publish failed after changing the store" +
                                      (sLibraryError.empty() ? std::string() : ": " + sLibraryError));
        }
        const std::string sReason = RefusalReason(sModule, sDocument);
        if (!sReason.empty()) return Fail(sCommand, "the document was refused, nothing was changed: " + sReason);
        return Fail(sCommand, "the library refused the document" +
                                  (sLibraryError.empty() ? std::string() : " (" + sLibraryError + ")") +
                                  "; nothing was changed ('pelmoctl validate' explains documents)");
    }
    // The library reports success even when single requests of the synchronisation failed;
    // the journal tells.
    int iRefused = 0;
    std::string sFirstRefusal;
    for (const Json::Value& entry : entries) {
        if (entry["ok"].asBool()) continue;
        if (iRefused++ == 0) {
            sFirstRefusal =
                entry["method"].asString() + " " + entry["table"].asString() + ": " + entry["reason"].asString();
        }
    }
    if (iRefused > 0) {
        return Fail(sCommand, std::to_string(iRefused) + " of " + std::to_string(entries.size()) +
                                  " requests were refused by the store, the first: " + sFirstRefusal);
    }
    if (after["first_kept_seq"].asInt64() > llBefore + 1 && !bShowRequests) {
        // Counts stay exact; only the refusal check could not see every request.
        std::fprintf(stderr, "pelmoctl: %s: note: the store kept only the last %u requests of this publish\n",
                     sCommand.c_str(), static_cast<unsigned>(entries.size()));
    }
    return kExitOk;
}
