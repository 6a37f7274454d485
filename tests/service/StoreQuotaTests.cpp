// Per-module quotas: a write that would leave a module over its sections, tiles or bytes is
// refused whole, other modules are untouched, and "stats" tells what the module holds.
#include "StoreTestSupport.h"

namespace {
Json::Value BulkTiles(long long llSection, int iCount, const std::string& sTitle)
{
    Json::Value root;
    root["table_name"] = StoreUris::kTiles;
    for (int i = 0; i < iCount; ++i) root["arrayitem"].append(TileRow(llSection, sTitle + std::to_string(i)));
    return root;
}
}  // namespace

class StoreQuota : public CStoreFixture {
protected:
    void SetUp() override
    {
        CStoreFixture::SetUp();
        PT_MODULE_QUOTA quota;
        quota.llSections = 2;
        quota.llTiles = 3;
        quota.llBytes = 4096;
        m_pHandler->SetModuleQuota(quota);
    }
    Json::Value Stats(const std::string& sModule)
    {
        const CStoreReply reply = CallText("stats", sModule, "");
        EXPECT_TRUE(reply.bResult) << reply.sOutput;
        return ParseJsonText(reply.sOutput);
    }
};

TEST_F(StoreQuota, SectionOverTheQuotaIsRefusedWithItsReasonAndOtherModulesGoOn)
{
    const long long llAccelerator = AddAccelerator("org.example.big");
    AddSection("org.example.big", llAccelerator);
    AddSection("org.example.big", llAccelerator);
    Json::Value row;
    row["table_name"] = StoreUris::kSections;
    row["section_title"] = "third";
    row["section_accelerator_raw_id"] = std::to_string(llAccelerator);
    const CRowCounts before = Counts();
    const CStoreReply reply = Call("insert", "org.example.big", row);
    EXPECT_FALSE(reply.bResult);
    EXPECT_EQ(reply.sOutput,
              "module org.example.big would hold 3 sections, over its quota of 2; nothing of this request was stored");
    EXPECT_EQ(Counts(), before);
    // Another module has a quota of its own.
    const long long llOther = AddAccelerator("org.example.small");
    AddSection("org.example.small", llOther);
    AddSection("org.example.small", llOther);
}

TEST_F(StoreQuota, BulkInsertOverTheTileQuotaStoresNoneOfItsRows)
{
    const long long llSection = AddSection("org.example.big", AddAccelerator("org.example.big"));
    AddTile("org.example.big", llSection, "kept");
    const CRowCounts before = Counts();
    const CStoreReply reply = Call("insert_bulk", "org.example.big", BulkTiles(llSection, 3, "new"));
    EXPECT_FALSE(reply.bResult);
    EXPECT_NE(reply.sOutput.find("would hold 4 tiles, over its quota of 3"), std::string::npos) << reply.sOutput;
    EXPECT_EQ(Counts(), before);
    // Up to the quota is fine: a count equal to it is accepted.
    EXPECT_TRUE(Call("insert_bulk", "org.example.big", BulkTiles(llSection, 2, "new")).bResult);
    EXPECT_EQ(Counts().llTiles, 3);
}

TEST_F(StoreQuota, UpdateThatGrowsTheModulePastItsBytesIsRefusedAndDeleteStillWorks)
{
    const long long llSection = AddSection("org.example.big", AddAccelerator("org.example.big"));
    const long long llTile = AddTile("org.example.big", llSection, "small");
    const CStoreReply reply = Call("update", "org.example.big",
                                   UpdateOfOneRow(StoreUris::kTiles, llTile, {{"tile_title", std::string(5000, 'x')}}));
    EXPECT_FALSE(reply.bResult);
    EXPECT_NE(reply.sOutput.find("bytes, over its quota of 4096"), std::string::npos) << reply.sOutput;
    EXPECT_EQ(Stats("org.example.big")["quota"]["usage"]["tiles"].asInt64(), 1);
    EXPECT_TRUE(
        Call("delete", "org.example.big", Envelope(StoreUris::kTiles, "_id = ?", {std::to_string(llTile)})).bResult);
}

TEST_F(StoreQuota, StatsCountEveryValueOfTheModulesRowsAsTextAndTheRefusals)
{
    const long long llAccelerator = AddAccelerator("org.example.big", "Accel");
    const long long llSection = AddSection("org.example.big", llAccelerator, "Section");
    const long long llTile = AddTile("org.example.big", llSection, "Ünïcödé");
    AddAccelerator("org.example.other", "not counted for big");
    EXPECT_FALSE(Call("insert_bulk", "org.example.big", BulkTiles(llSection, 5, "t")).bResult);

    const Json::Value quota = Stats("org.example.big")["quota"];
    // Every value as SQLite keeps it: the ids and numbers as their decimal digits, the texts in
    // UTF-8 bytes ("Ünïcödé" is 11 of them).
    const auto Digits = [](long long llValue) { return static_cast<long long>(std::to_string(llValue).size()); };
    const long long llModule = static_cast<long long>(std::string("org.example.big").size());
    const long long llExpected = (Digits(llAccelerator) + 5 + 1 + llModule) +  // _id, "Accel", enabled 1, app_pkg_name
                                 (Digits(llSection) + 7 + Digits(llAccelerator)) +  // _id, "Section", parent
                                 (Digits(llTile) + 11 + Digits(llSection));         // _id, title, parent
    EXPECT_EQ(quota["usage"]["bytes"].asInt64(), llExpected) << quota;
    EXPECT_EQ(quota["usage"]["sections"].asInt64(), 1);
    EXPECT_EQ(quota["usage"]["tiles"].asInt64(), 1);
    EXPECT_EQ(quota["limit"]["tiles"].asInt64(), 3);
    EXPECT_EQ(quota["refused"].asInt64(), 1);
    EXPECT_NE(quota["last_refusal"].asString().find("over its quota of 3"), std::string::npos);
    EXPECT_TRUE(quota["last_refusal_time"].isIntegral());
}

TEST(StoreQuotaDefaults, LeaveRoomForTwoFullPreviewsOfTheLargestTileLimit)
{
    // While a publish runs the store can hold the old and the new document's tiles at once.
    const PT_MODULE_QUOTA quota;
    EXPECT_GE(quota.llTiles, 2 * 300);
    EXPECT_GE(quota.llSections, 300);
}
