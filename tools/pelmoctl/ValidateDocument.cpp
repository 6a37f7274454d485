#include "ValidateDocument.h"

#include <json/json.h>

#include <algorithm>
#include <exception>

#include "ContentKeyCheck.h"
#include "DocumentChecks.h"
#include "DocumentPositions.h"
#include "IntegerColumnCheck.h"
#include "LibraryReader.h"
#include "QuotaCheck.h"
#include "RequestSizeCheck.h"
#include "TextEncodingCheck.h"

int PT_VALIDATE_RESULT::ErrorCount() const
{
    return static_cast<int>(std::count_if(vecFinding.begin(), vecFinding.end(),
                                          [](const PT_VALIDATE_FINDING& finding) { return finding.bError; }));
}

int PT_VALIDATE_RESULT::WarningCount() const
{
    return static_cast<int>(vecFinding.size()) - ErrorCount();
}

namespace {
// Findings whose error alone explains why the reader refuses the whole document.
bool ExplainsRefusal(const PT_VALIDATE_FINDING& finding)
{
    return finding.bError && (finding.sKind == ValidateKind::ROOT || finding.sKind == ValidateKind::VALUE_KIND ||
                              finding.sKind == ValidateKind::TILE_LIMIT);
}

std::string OneLine(std::string sText)
{
    for (char& c : sText) {
        if (c == '\n' || c == '\r' || c == '\t') c = ' ';
    }
    while (!sText.empty() && sText.back() == ' ') sText.pop_back();
    return sText;
}
}  // namespace

PT_VALIDATE_RESULT ValidateDocumentText(const std::string& sText, const PT_VALIDATE_OPTIONS& options)
{
    PT_VALIDATE_RESULT result;
    const CDocumentPositions positions(sText);

    // The same reader with the same settings as the publish, so that both agree on what is JSON.
    Json::Value root;
    try {
        Json::Reader reader;
        if (!reader.parse(sText, root, true)) {
            result.bUsable = false;
            const std::vector<Json::Reader::StructuredError> vecError = reader.getStructuredErrors();
            if (vecError.empty()) {
                result.sUnusable = "not JSON: " + OneLine(reader.getFormattedErrorMessages());
            } else {
                const PT_TEXT_POSITION at = positions.PositionOf(vecError.front().offset_start);
                result.sUnusable = "not JSON: line " + std::to_string(at.iLine) + ", column " +
                                   std::to_string(at.iColumn) + ": " + OneLine(vecError.front().message);
            }
            return result;
        }
    } catch (const std::exception& e) {
        // The reader gives up on nesting deeper than it allows.
        result.bUsable = false;
        result.sUnusable = "not usable JSON: " + OneLine(e.what());
        return result;
    }

    if (sText == "{}") {
        // A publish of exactly this text is not read as a document: it withdraws the preview.
        PT_VALIDATE_FINDING finding;
        finding.sPath = JsonPathRoot();
        finding.iLine = 1;
        finding.sKind = ValidateKind::ROOT;
        finding.sMessage = "the text {} withdraws the module's whole preview instead of publishing one";
        result.vecFinding.push_back(finding);
    }

    CLibraryReader libraryReader(options.sModuleName);
    CDocumentChecker checker(positions, libraryReader, options, result.vecFinding);
    checker.Check(root);
    CheckIntegerColumns(root, sText, positions, libraryReader, result.vecFinding);

    CPreviewAccelerator accelerator;
    std::string sReason;
    result.bReaderAccepts = libraryReader.Read(sText, accelerator, sReason);
    if (result.bReaderAccepts && options.llMaxMessage > 0) {
        CheckRequestSizes(accelerator, checker.Sections(), options.llMaxMessage, result.vecFinding);
    }
    // The reader stops at the first refused value; then the document is read once more without
    // them, so that every section and tile can be compared and counted.
    CPreviewAccelerator rest;
    if (!checker.RefusedValues().empty() && root.isObject()) {
        Json::FastWriter writer;
        std::string sRestReason;
        libraryReader.Read(writer.write(CopyWithoutMembers(root, checker.RefusedValues())), rest, sRestReason);
    }
    const CPreviewAccelerator& whole = checker.RefusedValues().empty() || !root.isObject() ? accelerator : rest;
    CheckSharedContentKeys(whole, checker.Sections(), result.vecFinding);
    PT_ITEM_PLACE sectionsPlace{JsonPathRoot(), 1};
    if (root.isObject() && root.isMember("sections")) {
        sectionsPlace = PT_ITEM_PLACE{JsonPathMember(JsonPathRoot(), "sections"), positions.LineOf(root["sections"])};
    }
    CheckModuleQuota(whole, checker.Sections(), sectionsPlace, PT_MODULE_QUOTA(), result.vecFinding);
    CheckTextEncoding(sText, root, positions, libraryReader, result.vecFinding);

    // The reader has the last word: a refusal that no finding explains is still an error.
    if (!result.bReaderAccepts && std::none_of(result.vecFinding.begin(), result.vecFinding.end(), ExplainsRefusal)) {
        PT_VALIDATE_FINDING finding;
        finding.bError = true;
        finding.sPath = JsonPathRoot();
        finding.iLine = 1;
        finding.sKind = ValidateKind::REFUSED;
        finding.sMessage =
            "the preview reader refuses the document" + (sReason.empty() ? std::string() : ": " + sReason);
        result.vecFinding.push_back(finding);
    }

    std::stable_sort(result.vecFinding.begin(), result.vecFinding.end(),
                     [](const PT_VALIDATE_FINDING& a, const PT_VALIDATE_FINDING& b) { return a.iLine < b.iLine; });
    return result;
}
