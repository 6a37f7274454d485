#include "ValidateJsonReport.h"

#include <json/json.h>

#include <cstdlib>
#include <exception>

#include "DocumentPositions.h"

namespace {

// The member a quoted path segment names. A name that is not UTF-8 is written with replacement
// characters, so it is found by its quoted form.
const Json::Value* MemberQuotedAs(const Json::Value& object, const std::string& sName, const std::string& sQuoted)
{
    if (object.isMember(sName)) return &object[sName];
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (JsonQuoted(it.name()) == sQuoted) return &*it;
    }
    return nullptr;
}

// Walks a path as findings write it ($, name.name, [3], ["any name"]) through the parsed
// document; null when it leads nowhere.
const Json::Value* ValueAt(const Json::Value& root, const std::string& sPath)
{
    const Json::Value* pValue = &root;
    size_t u = sPath.rfind('$', 0) == 0 ? 1 : 0;
    while (u < sPath.size() && pValue != nullptr) {
        if (sPath[u] == '.') ++u;
        if (sPath.compare(u, 2, "[\"") == 0) {
            // A quoted name: read the JSON string literal.
            Json::Value name;
            size_t uEnd = u + 2;
            while (uEnd < sPath.size() && sPath[uEnd] != '"') uEnd += sPath[uEnd] == '\\' ? 2 : 1;
            if (uEnd >= sPath.size() || !Json::Reader().parse(sPath.substr(u + 1, uEnd - u), name) ||
                !name.isString()) {
                return nullptr;
            }
            pValue =
                pValue->isObject() ? MemberQuotedAs(*pValue, name.asString(), sPath.substr(u + 1, uEnd - u)) : nullptr;
            u = uEnd + 2;
        } else if (sPath[u] == '[') {
            const size_t uEnd = sPath.find(']', u);
            if (uEnd == std::string::npos) return nullptr;
            const Json::ArrayIndex uIndex =
                static_cast<Json::ArrayIndex>(std::strtoul(sPath.c_str() + u + 1, nullptr, 10));
            pValue = pValue->isArray() && uIndex < pValue->size() ? &(*pValue)[uIndex] : nullptr;
            u = uEnd + 1;
        } else {
            const size_t uEnd = sPath.find_first_of(".[", u);
            const std::string sName = sPath.substr(u, uEnd == std::string::npos ? std::string::npos : uEnd - u);
            pValue = pValue->isObject() && pValue->isMember(sName) ? &(*pValue)[sName] : nullptr;
            u = uEnd == std::string::npos ? sPath.size() : uEnd;
        }
    }
    return pValue;
}

// The name a finding proposes (did you mean "tile_title"?), or null.
Json::Value Suggestion(const std::string& sMessage)
{
    const std::string sCue = "did you mean \"";
    const size_t uAt = sMessage.find(sCue);
    if (uAt == std::string::npos) return Json::Value();
    const size_t uStart = uAt + sCue.size();
    const size_t uEnd = sMessage.find("\"?", uStart);
    if (uEnd == std::string::npos) return Json::Value();
    return sMessage.substr(uStart, uEnd - uStart);
}

}  // namespace

std::string FormatFindingsJson(const std::string& sFileName, const std::string& sText, const PT_VALIDATE_RESULT& result)
{
    Json::Value report(Json::objectValue);
    report["file"] = sFileName;
    report["usable"] = result.bUsable;
    report["findings"] = Json::Value(Json::arrayValue);
    if (!result.bUsable) {
        Json::Value finding(Json::objectValue);
        finding["path"] = "$";
        // "not JSON: line 5, column 7: ..." names where the reader stopped.
        int iLine = 0, iColumn = 0;
        const size_t uLine = result.sUnusable.find("line ");
        const size_t uColumn = result.sUnusable.find("column ");
        if (uLine != std::string::npos && uColumn != std::string::npos) {
            iLine = std::atoi(result.sUnusable.c_str() + uLine + 5);
            iColumn = std::atoi(result.sUnusable.c_str() + uColumn + 7);
        }
        finding["line"] = iLine;
        finding["column"] = iColumn;
        finding["kind"] = "syntax";
        finding["level"] = "error";
        finding["message"] = "the document is " + result.sUnusable;
        finding["suggestion"] = Json::Value();
        report["findings"].append(finding);
        report["errors"] = 1;
        report["warnings"] = 0;
    } else {
        Json::Value root;
        bool bParsed = false;
        try {
            bParsed = Json::Reader().parse(sText, root, false);
        } catch (const std::exception&) {
        }
        const CDocumentPositions positions(sText);
        for (const PT_VALIDATE_FINDING& found : result.vecFinding) {
            Json::Value finding(Json::objectValue);
            finding["path"] = found.sPath;
            finding["line"] = found.iLine;
            int iColumn = found.iColumn;
            const Json::Value* pValue = bParsed && iColumn == 0 ? ValueAt(root, found.sPath) : nullptr;
            if (pValue != nullptr && found.iLine > 0 &&
                (pValue->getOffsetStart() != 0 || pValue->getOffsetLimit() != 0)) {
                const PT_TEXT_POSITION at = positions.PositionOf(pValue->getOffsetStart());
                if (at.iLine == found.iLine) iColumn = at.iColumn;
            }
            finding["column"] = iColumn;
            finding["kind"] = found.sKind;
            finding["level"] = found.bError ? "error" : "warning";
            finding["message"] = found.sMessage;
            finding["suggestion"] = Suggestion(found.sMessage);
            report["findings"].append(finding);
        }
        report["errors"] = result.ErrorCount();
        report["warnings"] = result.WarningCount();
    }
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, report) + "\n";
}
