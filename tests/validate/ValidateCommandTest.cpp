// `pelmoctl validate` run as a process: the planted problems of the documents in documents/
// are found at their paths and lines, every example validates without error, and bad input
// ends with status 1 (2 for bad usage) and one clear line.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "ChildProcess.h"

namespace {

const std::string kPelmoctl = PELMOCTL_PATH;
const std::string kDocuments = PELMO_VALIDATE_DOCUMENTS;
const std::string kExamples = PELMO_EXAMPLES_DIR;

struct PT_EXPECTED_FINDING {
    std::string sSeverity, sKind, sPath;
    int iLine = 0;
    std::string sText;
};

struct PT_DOCUMENT_CASE {
    std::string sFile;
    std::vector<std::string> vecArgs;
    int iExit = -1;
    bool bUnusable = false;
    std::string sUnusable;
    std::vector<PT_EXPECTED_FINDING> vecFinding;
};

// Test names and failure messages show the document, not the record's bytes.
void PrintTo(const PT_DOCUMENT_CASE& documentCase, std::ostream* pOut)
{
    *pOut << documentCase.sFile;
}

struct PT_PRINTED_FINDING {
    std::string sSeverity, sPath;
    int iLine = 0;
    std::string sKind, sLine;
};

std::string Trim(const std::string& sText)
{
    const size_t iBegin = sText.find_first_not_of(" \t");
    if (iBegin == std::string::npos) return std::string();
    return sText.substr(iBegin, sText.find_last_not_of(" \t") - iBegin + 1);
}

std::vector<PT_DOCUMENT_CASE> ReadManifest()
{
    std::vector<PT_DOCUMENT_CASE> vecCase;
    std::ifstream in(kDocuments + "/MANIFEST");
    std::string sLine;
    while (std::getline(in, sLine)) {
        sLine = Trim(sLine);
        if (sLine.empty() || sLine[0] == '#') continue;
        if (sLine.front() == '[' && sLine.back() == ']') {
            vecCase.emplace_back();
            vecCase.back().sFile = sLine.substr(1, sLine.size() - 2);
            continue;
        }
        if (vecCase.empty()) continue;
        PT_DOCUMENT_CASE& current = vecCase.back();
        std::istringstream words(sLine);
        std::string sWord;
        words >> sWord;
        if (sWord == "args") {
            while (words >> sWord) current.vecArgs.push_back(sWord);
        } else if (sWord == "exit") {
            words >> current.iExit;
        } else if (sWord == "unusable") {
            current.bUnusable = true;
            current.sUnusable = Trim(sLine.substr(sWord.size()));
        } else {
            PT_EXPECTED_FINDING finding;
            finding.sSeverity = sWord;
            words >> finding.sKind >> finding.sPath >> finding.iLine;
            const size_t iBar = sLine.find(" | ");
            if (iBar != std::string::npos) finding.sText = sLine.substr(iBar + 3);
            current.vecFinding.push_back(finding);
        }
    }
    return vecCase;
}

// One finding line: "SEVERITY: PATH[ (line N)]: MESSAGE [KIND]"; false when it is not one.
bool ParseFindingLine(const std::string& sLine, PT_PRINTED_FINDING& finding)
{
    size_t iRest;
    if (sLine.compare(0, 7, "error: ") == 0) {
        finding.sSeverity = "error";
        iRest = 7;
    } else if (sLine.compare(0, 9, "warning: ") == 0) {
        finding.sSeverity = "warning";
        iRest = 9;
    } else {
        return false;
    }
    const size_t iKind = sLine.rfind(" [");
    if (iKind == std::string::npos || sLine.back() != ']' || iKind < iRest) return false;
    finding.sKind = sLine.substr(iKind + 2, sLine.size() - iKind - 3);
    const size_t iColon = sLine.find(": ", iRest);
    if (iColon == std::string::npos || iColon > iKind) return false;
    std::string sHead = sLine.substr(iRest, iColon - iRest);
    finding.iLine = 0;
    const size_t iLineAt = sHead.rfind(" (line ");
    if (iLineAt != std::string::npos && sHead.back() == ')') {
        finding.iLine = std::atoi(sHead.c_str() + iLineAt + 7);
        sHead.erase(iLineAt);
    }
    finding.sPath = sHead;
    finding.sLine = sLine;
    return !finding.sPath.empty() && !finding.sKind.empty();
}

// Reads the finding lines of the output; the last line is the summary.
std::vector<PT_PRINTED_FINDING> PrintedFindings(const std::vector<std::string>& vecLine)
{
    std::vector<PT_PRINTED_FINDING> vecFinding;
    for (size_t i = 0; i + 1 < vecLine.size(); ++i) {
        PT_PRINTED_FINDING finding;
        if (!ParseFindingLine(vecLine[i], finding)) {
            ADD_FAILURE() << "not a finding line: " << vecLine[i];
            continue;
        }
        vecFinding.push_back(finding);
    }
    return vecFinding;
}

std::vector<std::string> RunPelmoctl(const std::vector<std::string>& vecArgs, const std::string& sStdin,
                                     PT_CHILD_RESULT& result)
{
    std::vector<std::string> vecCommand{kPelmoctl};
    vecCommand.insert(vecCommand.end(), vecArgs.begin(), vecArgs.end());
    PT_CHILD_OPTIONS options;
    options.sInput = sStdin;
    result = RunChild(vecCommand, options);
    return SplitLines(result.sOut);
}

void CollectJson(const std::string& sDir, std::vector<std::string>& vecFile)
{
    DIR* pDir = opendir(sDir.c_str());
    if (pDir == nullptr) return;
    while (dirent* pEntry = readdir(pDir)) {
        const std::string sName = pEntry->d_name;
        if (sName == "." || sName == "..") continue;
        const std::string sPath = sDir + "/" + sName;
        struct stat info;
        if (stat(sPath.c_str(), &info) != 0) continue;
        if (S_ISDIR(info.st_mode)) {
            CollectJson(sPath, vecFile);
        } else if (sName.size() > 5 && sName.compare(sName.size() - 5, 5, ".json") == 0) {
            vecFile.push_back(sPath);
        }
    }
    closedir(pDir);
    std::sort(vecFile.begin(), vecFile.end());
}

class ValidateDocument : public ::testing::TestWithParam<PT_DOCUMENT_CASE> {};

TEST_P(ValidateDocument, FindsEachPlantedProblemAtItsPathAndLine)
{
    const PT_DOCUMENT_CASE& documentCase = GetParam();
    std::vector<std::string> vecArgs{"validate", kDocuments + "/" + documentCase.sFile};
    vecArgs.insert(vecArgs.end(), documentCase.vecArgs.begin(), documentCase.vecArgs.end());
    PT_CHILD_RESULT result;
    const std::vector<std::string> vecLine = RunPelmoctl(vecArgs, "", result);
    ASSERT_NE(documentCase.iExit, -1) << "the manifest gives no exit status for " << documentCase.sFile;
    EXPECT_EQ(documentCase.iExit, result.iExit) << result.sOut << result.sErr;

    if (documentCase.bUnusable) {
        EXPECT_TRUE(result.sOut.empty()) << result.sOut;
        const std::vector<std::string> vecErr = SplitLines(result.sErr);
        ASSERT_EQ(1u, vecErr.size()) << result.sErr;
        EXPECT_NE(std::string::npos, vecErr[0].find(documentCase.sUnusable)) << vecErr[0];
        EXPECT_EQ(0u, vecErr[0].find("pelmoctl validate: ")) << vecErr[0];
        return;
    }

    EXPECT_TRUE(result.sErr.empty()) << result.sErr;
    ASSERT_FALSE(vecLine.empty());
    const std::vector<PT_PRINTED_FINDING> vecPrinted = PrintedFindings(vecLine);
    std::vector<bool> vecMatched(vecPrinted.size(), false);
    for (const PT_EXPECTED_FINDING& expected : documentCase.vecFinding) {
        bool bFound = false;
        for (size_t i = 0; i < vecPrinted.size() && !bFound; ++i) {
            const PT_PRINTED_FINDING& printed = vecPrinted[i];
            if (vecMatched[i] || printed.sSeverity != expected.sSeverity || printed.sKind != expected.sKind ||
                printed.sPath != expected.sPath || printed.iLine != expected.iLine) {
                continue;
            }
            EXPECT_NE(std::string::npos, printed.sLine.find(expected.sText)) << printed.sLine;
            vecMatched[i] = bFound = true;
        }
        EXPECT_TRUE(bFound) << "missing: " << expected.sSeverity << " " << expected.sKind << " " << expected.sPath
                            << " line " << expected.iLine << "\noutput:\n"
                            << result.sOut;
    }
    for (size_t i = 0; i < vecPrinted.size(); ++i) {
        EXPECT_TRUE(vecMatched[i]) << "not planted: " << vecPrinted[i].sLine;
    }

    // The summary counts what was printed.
    const long iErrors = std::count_if(vecPrinted.begin(), vecPrinted.end(),
                                       [](const PT_PRINTED_FINDING& f) { return f.sSeverity == "error"; });
    const long iWarnings = static_cast<long>(vecPrinted.size()) - iErrors;
    const std::string sName = kDocuments + "/" + documentCase.sFile;
    if (vecPrinted.empty()) {
        EXPECT_EQ(sName + ": no problems found", vecLine.back());
    } else {
        EXPECT_EQ(sName + ": " + std::to_string(iErrors) + (iErrors == 1 ? " error, " : " errors, ") +
                      std::to_string(iWarnings) + (iWarnings == 1 ? " warning" : " warnings"),
                  vecLine.back());
    }
}

std::string CaseName(const ::testing::TestParamInfo<PT_DOCUMENT_CASE>& info)
{
    std::string sName = info.param.sFile;
    for (char& c : sName) {
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    }
    return sName;
}

INSTANTIATE_TEST_SUITE_P(Documents, ValidateDocument, ::testing::ValuesIn(ReadManifest()), CaseName);

TEST(ValidateDocuments, ManifestCoversEveryDocument)
{
    const std::vector<PT_DOCUMENT_CASE> vecCase = ReadManifest();
    EXPECT_GE(vecCase.size(), 20u);
    DIR* pDir = opendir(kDocuments.c_str());
    ASSERT_NE(nullptr, pDir);
    size_t iFiles = 0;
    while (dirent* pEntry = readdir(pDir)) {
        const std::string sName = pEntry->d_name;
        if (sName == "." || sName == ".." || sName == "MANIFEST") continue;
        ++iFiles;
        EXPECT_TRUE(
            std::any_of(vecCase.begin(), vecCase.end(), [&](const PT_DOCUMENT_CASE& c) { return c.sFile == sName; }))
            << sName << " has no block in MANIFEST";
    }
    closedir(pDir);
    EXPECT_EQ(iFiles, vecCase.size());
}

TEST(ValidateExamples, EveryExampleDocumentHasNoError)
{
    std::vector<std::string> vecFile;
    CollectJson(kExamples, vecFile);
    ASSERT_GE(vecFile.size(), 3u);
    for (const std::string& sFile : vecFile) {
        PT_CHILD_RESULT result;
        const std::vector<std::string> vecLine = RunPelmoctl({"validate", sFile}, "", result);
        EXPECT_EQ(0, result.iExit) << sFile << "\n" << result.sOut << result.sErr;
        ASSERT_FALSE(vecLine.empty()) << sFile;
        for (const PT_PRINTED_FINDING& finding : PrintedFindings(vecLine)) {
            EXPECT_NE("error", finding.sSeverity) << sFile << ": " << finding.sLine;
        }
        EXPECT_NE(std::string::npos, vecLine.back().find(" 0 errors")) << vecLine.back();
    }
}

void ExpectOneLineFailure(const std::vector<std::string>& vecArgs, int iStatus, const std::string& sText)
{
    PT_CHILD_RESULT result;
    RunPelmoctl(vecArgs, "", result);
    EXPECT_EQ(iStatus, result.iExit) << result.sErr;
    EXPECT_TRUE(result.sOut.empty()) << result.sOut;
    const std::vector<std::string> vecErr = SplitLines(result.sErr);
    ASSERT_EQ(1u, vecErr.size()) << result.sErr;
    EXPECT_NE(std::string::npos, vecErr[0].find(sText)) << vecErr[0];
}

TEST(ValidateInput, MissingFileEndsWithStatusOneAndOneLine)
{
    ExpectOneLineFailure({"validate", kDocuments + "/no-such-document.json"}, 1,
                         "cannot read " + kDocuments + "/no-such-document.json: No such file or directory");
}

TEST(ValidateInput, DirectoryEndsWithStatusOneAndOneLine)
{
    ExpectOneLineFailure({"validate", kDocuments}, 1, "is a directory");
}

TEST(ValidateInput, BadUsageEndsWithStatusTwoAndOneLine)
{
    ExpectOneLineFailure({"validate"}, 2, "missing FILE");
    ExpectOneLineFailure({"validate", "a.json", "b.json"}, 2, "one FILE only");
    ExpectOneLineFailure({"validate", "a.json", "--modul", "x"}, 2, "unknown option --modul");
    ExpectOneLineFailure({"validate", "a.json", "--module"}, 2, "--module needs a value");
    ExpectOneLineFailure({"validate", "a.json", "--now", "tomorrow"}, 2, "--now takes seconds");
}

TEST(ValidateInput, HelpExplainsTheCommandAndExitsZero)
{
    PT_CHILD_RESULT result;
    RunPelmoctl({"validate", "--help"}, "", result);
    EXPECT_EQ(0, result.iExit);
    EXPECT_TRUE(result.sErr.empty()) << result.sErr;
    EXPECT_EQ(0u, result.sOut.find("usage: pelmoctl validate FILE")) << result.sOut;
    EXPECT_NE(std::string::npos, result.sOut.find("exit status: 0 no errors")) << result.sOut;
}

TEST(ValidateInput, ReadsStandardInputForDash)
{
    PT_CHILD_RESULT result;
    const std::vector<std::string> vecLine =
        RunPelmoctl({"validate", "-"}, "{\"sections\": [\n  {\"section_title\": [1]}\n]}\n", result);
    EXPECT_EQ(1, result.iExit) << result.sOut << result.sErr;
    ASSERT_EQ(2u, vecLine.size()) << result.sOut;
    EXPECT_EQ(0u, vecLine[0].find("error: sections[0].section_title (line 2): ")) << vecLine[0];
    EXPECT_EQ("<stdin>: 1 error, 0 warnings", vecLine[1]);
}

TEST(ValidateInput, ReaderLogStaysOffStandardErrorEvenAtDebugLevel)
{
    // The reader logs its refusal ("Exception Caught") and every member it reads; validate
    // says it in its own words instead.
    setenv("PELMO_LOG_LEVEL", "debug", 1);
    PT_CHILD_RESULT result;
    const std::vector<std::string> vecLine =
        RunPelmoctl({"validate", kDocuments + "/tile_title_array.json"}, "", result);
    unsetenv("PELMO_LOG_LEVEL");
    EXPECT_EQ(1, result.iExit);
    EXPECT_TRUE(result.sErr.empty()) << result.sErr;
    EXPECT_EQ(2u, vecLine.size()) << result.sOut;
}

}  // namespace
