// Documents near and over the store's quotas for one module: the boundaries come from the
// store's own numbers.
#include <gtest/gtest.h>
#include <json/json.h>

#include <string>
#include <vector>

#include "LibraryReader.h"
#include "ModuleQuota.h"
#include "QuotaCheck.h"
#include "ValidateDocument.h"
#include "ValidateInProcess.h"

namespace {

std::vector<PT_VALIDATE_FINDING> QuotaFindings(const PT_VALIDATE_RESULT& result)
{
    return FindingsOfKind(result, ValidateKind::QUOTA);
}

// The smallest count that comes to the warning share of a quota.
long long WarnedFrom(long long llLimit)
{
    return (llLimit * kQuotaWarnPercent + 99) / 100;
}

// A document of llSections sections with llTiles tiles spread over them.
std::string Document(long long llSections, long long llTiles, size_t uTitleBytes = 1)
{
    Json::Value root(Json::objectValue);
    root["sections"] = Json::Value(Json::arrayValue);
    for (long long i = 0; i < llSections; ++i) {
        Json::Value section;
        section["section_id"] = static_cast<Json::Int64>(i + 1);
        section["section_title"] = "S" + std::to_string(i);
        root["sections"].append(section);
    }
    for (long long i = 0; i < llTiles; ++i) {
        Json::Value tile;
        tile["tile_title"] = std::to_string(i) + std::string(uTitleBytes, 't');
        root["sections"][static_cast<Json::ArrayIndex>(i % llSections)]["tiles"].append(tile);
    }
    return Json::FastWriter().write(root);
}

bool Contains(const std::string& sText, const std::string& sPart)
{
    return sText.find(sPart) != std::string::npos;
}

}  // namespace

TEST(ModuleQuota, SectionsWarnFromTheWarningShareOfTheQuotaOn)
{
    const PT_MODULE_QUOTA quota;
    const long long llWarned = WarnedFrom(quota.llSections);
    const std::vector<PT_VALIDATE_FINDING> vecAt = QuotaFindings(Validate(Document(llWarned, 0)));
    ASSERT_EQ(vecAt.size(), 1u);
    EXPECT_FALSE(vecAt[0].bError);
    EXPECT_EQ(vecAt[0].sPath, "sections");
    EXPECT_EQ(vecAt[0].iLine, 1);
    EXPECT_TRUE(Contains(vecAt[0].sMessage, std::to_string(llWarned) + " sections")) << vecAt[0].sMessage;
    EXPECT_TRUE(Contains(vecAt[0].sMessage, "quota of " + std::to_string(quota.llSections) + " sections"))
        << vecAt[0].sMessage;
    EXPECT_TRUE(Contains(vecAt[0].sMessage, "refuses whole every write that would put the module over it"))
        << vecAt[0].sMessage;
    EXPECT_TRUE(Contains(vecAt[0].sMessage, "missing")) << vecAt[0].sMessage;

    EXPECT_TRUE(QuotaFindings(Validate(Document(llWarned - 1, 0))).empty());
}

TEST(ModuleQuota, SectionsOverTheQuotaAreAnErrorAtTheFirstOneOver)
{
    const PT_MODULE_QUOTA quota;
    const PT_VALIDATE_RESULT result = Validate(Document(quota.llSections + 1, 0));
    const std::vector<PT_VALIDATE_FINDING> vecOver = QuotaFindings(result);
    ASSERT_EQ(vecOver.size(), 1u);
    EXPECT_TRUE(vecOver[0].bError);
    EXPECT_EQ(vecOver[0].sPath, "sections[" + std::to_string(quota.llSections) + "]");
    EXPECT_EQ(result.ErrorCount(), 1);
    // Exactly at the quota the store still holds them all.
    const std::vector<PT_VALIDATE_FINDING> vecAt = QuotaFindings(Validate(Document(quota.llSections, 0)));
    ASSERT_EQ(vecAt.size(), 1u);
    EXPECT_FALSE(vecAt[0].bError);
}

TEST(ModuleQuota, TilesWarnLikeSectionsAlthoughTheTileLimitComesFirst)
{
    const PT_MODULE_QUOTA quota;
    const long long llWarned = WarnedFrom(quota.llTiles);
    const PT_VALIDATE_RESULT result = Validate(Document(8, llWarned));
    const std::vector<PT_VALIDATE_FINDING> vecAt = QuotaFindings(result);
    ASSERT_EQ(vecAt.size(), 1u);
    EXPECT_FALSE(vecAt[0].bError);
    EXPECT_TRUE(Contains(vecAt[0].sMessage, std::to_string(llWarned) + " tiles")) << vecAt[0].sMessage;
    EXPECT_TRUE(Contains(vecAt[0].sMessage, "quota of " + std::to_string(quota.llTiles) + " tiles"))
        << vecAt[0].sMessage;
    // The library refuses such a document anyway.
    EXPECT_FALSE(result.bReaderAccepts);

    EXPECT_TRUE(QuotaFindings(Validate(Document(8, llWarned - 1))).empty());
}

TEST(ModuleQuota, BytesOfABigTextWarnAsAnEstimate)
{
    const PT_MODULE_QUOTA quota;
    // Titles of two sections that alone come to the warning share.
    const long long llTiles = 20;
    const size_t uTitle = static_cast<size_t>(WarnedFrom(quota.llBytes) / llTiles + 1);
    const PT_VALIDATE_RESULT result = Validate(Document(2, llTiles, uTitle));
    const std::vector<PT_VALIDATE_FINDING> vecFinding = QuotaFindings(result);
    ASSERT_EQ(vecFinding.size(), 1u);
    EXPECT_FALSE(vecFinding[0].bError);
    EXPECT_EQ(vecFinding[0].sPath, "$");
    EXPECT_TRUE(Contains(vecFinding[0].sMessage, "estimate")) << vecFinding[0].sMessage;
    EXPECT_TRUE(Contains(vecFinding[0].sMessage, "quota of " + std::to_string(quota.llBytes) + " bytes"))
        << vecFinding[0].sMessage;
    EXPECT_EQ(result.ErrorCount(), 0);
}

TEST(ModuleQuota, EstimateCountsEveryValueTheReaderMakesOfSectionsAndTiles)
{
    const std::string sText = Document(3, 10, 1000);
    CLibraryReader reader("");
    CPreviewAccelerator accelerator;
    std::string sReason;
    ASSERT_TRUE(reader.Read(sText, accelerator, sReason)) << sReason;
    const long long llEstimate = EstimatedStoredBytes(accelerator);
    // At least the titles; beyond them, no more than a few hundred bytes for each of the 13
    // items (their ids and the values the reader adds, such as public_extra's defaults).
    EXPECT_GE(llEstimate, 10 * 1000) << llEstimate;
    EXPECT_LT(llEstimate, 10 * 1000 + 13 * 200) << llEstimate;
}

TEST(ModuleQuota, BytesOverTheQuotaAreAnError)
{
    // A quota the test can exceed cheaply: the store's own, scaled down.
    PT_MODULE_QUOTA quota;
    quota.llBytes /= 1024 * 1024;
    CLibraryReader reader("");
    CPreviewAccelerator accelerator;
    std::string sReason;
    ASSERT_TRUE(reader.Read(Document(1, 2, static_cast<size_t>(quota.llBytes)), accelerator, sReason)) << sReason;
    std::vector<PT_SECTION_PLACE> vecSection(1);
    vecSection[0].vecTile.resize(2);
    std::vector<PT_VALIDATE_FINDING> vecFinding;
    CheckModuleQuota(accelerator, vecSection, PT_ITEM_PLACE{"sections", 1}, quota, vecFinding);
    ASSERT_EQ(vecFinding.size(), 1u);
    EXPECT_TRUE(vecFinding[0].bError);
    EXPECT_TRUE(Contains(vecFinding[0].sMessage, "over the store's quota")) << vecFinding[0].sMessage;
}
