// Loading a module's whole stored tree: the order of the selects, where it stops, what it logs.
#include <pelmo/TilesModel.h>

#include "StoredRows.h"

using namespace readback;

namespace {
const std::string kModule = "org.example.app";

StoredRow AcceleratorRow(long long llId)
{
    return {{"_id", Integer(llId)}, {"app_pkg_name", Text(kModule)}, {"accelerator_title", Text("App")}};
}

StoredRow SectionRow(const CResultCell& id, const std::string& sTitle)
{
    return {{"_id", id}, {"section_title", Text(sTitle)}, {"section_id", Text("id-" + sTitle)}};
}

StoredRow TileRow(long long llId, const std::string& sTitle)
{
    return {{"_id", Integer(llId)}, {"tile_title", Text(sTitle)}, {"tile_action_play", Text("play")}};
}

std::vector<std::pair<std::string, std::string>> TablesAndArgs(const std::vector<Json::Value>& vecSelects)
{
    std::vector<std::pair<std::string, std::string>> vecOut;
    for (const Json::Value& root : vecSelects) {
        vecOut.emplace_back(root["table_name"].asString(), root["where_args"][0].asString());
    }
    return vecOut;
}
}  // namespace

class MetaDataFromDBTest : public ReadbackTest {
protected:
    using Sent = std::vector<std::pair<std::string, std::string>>;
};

TEST_F(MetaDataFromDBTest, LoadsAcceleratorSectionsAndTilesAndCountsTheTiles)
{
    Store(kAccelerators, kModule, {AcceleratorRow(4)});
    Store(kSections, "4", {SectionRow(Integer(10), "A"), SectionRow(Integer(11), "B")});
    Store(kTiles, "10", {TileRow(100, "a1"), TileRow(101, "a2")});
    Store(kTiles, "11", {TileRow(110, "b1")});
    CPreviewAccelerator accelerator;
    ASSERT_TRUE(m_util.GetMetaDataFromDB(kModule, accelerator)) << m_log.Dump();
    EXPECT_EQ(TablesAndArgs(Selects()),
              (Sent{{kAccelerators, kModule}, {kSections, "4"}, {kTiles, "10"}, {kTiles, "11"}}));
    ASSERT_EQ(accelerator.m_vecSection.size(), 2u);
    EXPECT_EQ(accelerator.m_vecSection[0]->m_vecTile.size(), 2u);
    EXPECT_EQ(accelerator.m_vecSection[0]->m_vecTileHash.size(), 2u);
    EXPECT_EQ(accelerator.m_vecSection[1]->m_vecTile[0]->m_mapProperty["tile_title"].second, "b1");
    EXPECT_EQ(accelerator.m_mapProperty["app_pkg_name"], PropertyValue(JSON_VALUE_STRING, kModule));
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "numTiles : 2")) << m_log.Dump();
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "numTiles : 1")) << m_log.Dump();
    EXPECT_TRUE(m_log.Has(DLOG_INFO, "Total tiles in DB: 3")) << m_log.Dump();
    EXPECT_EQ(EntryLines("GetMetaDataFromDB"), 1u) << m_log.Dump();
    EXPECT_EQ(EntryLines("GetAcceleratorItems"), 1u);
    EXPECT_EQ(EntryLines("GetSectionItems"), 1u);
    EXPECT_EQ(EntryLines("GetTileItems"), 2u);
    EXPECT_TRUE(m_log.Bodies(DLOG_ERROR).empty()) << m_log.Dump();
}

TEST_F(MetaDataFromDBTest, SetsTheModuleAsTheAcceleratorsPackageBeforeLoading)
{
    Refuse(kAccelerators, kModule);
    CPreviewAccelerator accelerator;
    EXPECT_FALSE(m_util.GetMetaDataFromDB(kModule, accelerator));
    EXPECT_EQ(accelerator.m_mapProperty["app_pkg_name"], PropertyValue(JSON_VALUE_STRING, kModule));
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ERROR, GetAcceleratorItems() failed.")) << m_log.Dump();
    EXPECT_EQ(m_service.CallCount(), 1u);
}

TEST_F(MetaDataFromDBTest, WithoutAStoredAcceleratorItFailsOnTheEmptyRawId)
{
    CPreviewAccelerator accelerator;
    EXPECT_FALSE(m_util.GetMetaDataFromDB(kModule, accelerator));
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ERROR, sAcceleratorRawID is empty.")) << m_log.Dump();
    EXPECT_EQ(TablesAndArgs(Selects()), (Sent{{kAccelerators, kModule}}));
}

TEST_F(MetaDataFromDBTest, AnAcceleratorWithoutSectionsLoadsWithATotalOfZero)
{
    Store(kAccelerators, kModule, {AcceleratorRow(4)});
    CPreviewAccelerator accelerator;
    ASSERT_TRUE(m_util.GetMetaDataFromDB(kModule, accelerator));
    EXPECT_TRUE(accelerator.m_vecSection.empty());
    EXPECT_TRUE(m_log.Has(DLOG_INFO, "Total tiles in DB: 0")) << m_log.Dump();
    EXPECT_EQ(m_service.CallCount(), 2u);
}

TEST_F(MetaDataFromDBTest, TheLastOfTwoAcceleratorRowsGivesTheRawIdForTheSections)
{
    Store(kAccelerators, kModule, {AcceleratorRow(4), AcceleratorRow(8)});
    Store(kSections, "8", {SectionRow(Integer(20), "only")});
    CPreviewAccelerator accelerator;
    ASSERT_TRUE(m_util.GetMetaDataFromDB(kModule, accelerator));
    EXPECT_EQ(TablesAndArgs(Selects()), (Sent{{kAccelerators, kModule}, {kSections, "8"}, {kTiles, "20"}}));
    EXPECT_EQ(accelerator.m_vecSection.size(), 1u);
}

TEST_F(MetaDataFromDBTest, ARefusedSectionSelectFailsWithItsOwnMessage)
{
    Store(kAccelerators, kModule, {AcceleratorRow(4)});
    Refuse(kSections, "4");
    CPreviewAccelerator accelerator;
    EXPECT_FALSE(m_util.GetMetaDataFromDB(kModule, accelerator));
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ERROR, GetSectionItems() failed")) << m_log.Dump();
    EXPECT_FALSE(m_log.Has(DLOG_ERROR, "ERROR, GetSectionItems() failed.")) << m_log.Dump();
}

TEST_F(MetaDataFromDBTest, ASectionWithAnEmptyRawIdGetsNoTileSelectAndIsKept)
{
    Store(kAccelerators, kModule, {AcceleratorRow(4)});
    Store(kSections, "4", {SectionRow(Text(""), "nameless"), SectionRow(Integer(12), "named")});
    Store(kTiles, "12", {TileRow(1, "t")});
    Store(kTiles, "", {TileRow(2, "never")});
    CPreviewAccelerator accelerator;
    ASSERT_TRUE(m_util.GetMetaDataFromDB(kModule, accelerator)) << m_log.Dump();
    EXPECT_EQ(TablesAndArgs(Selects()), (Sent{{kAccelerators, kModule}, {kSections, "4"}, {kTiles, "12"}}));
    ASSERT_EQ(accelerator.m_vecSection.size(), 2u);
    EXPECT_TRUE(accelerator.m_vecSection[0]->m_vecTile.empty());
    EXPECT_EQ(accelerator.m_vecSection[1]->m_vecTile.size(), 1u);
    EXPECT_EQ(m_log.Count(DLOG_DEBUG, "numTiles : 1"), 1u) << m_log.Dump();
    EXPECT_TRUE(m_log.Has(DLOG_INFO, "Total tiles in DB: 1")) << m_log.Dump();
}

TEST_F(MetaDataFromDBTest, AFailingTileSelectStopsAtOnceAndKeepsWhatWasLoaded)
{
    Store(kAccelerators, kModule, {AcceleratorRow(4)});
    Store(kSections, "4", {SectionRow(Integer(10), "A"), SectionRow(Integer(11), "B"), SectionRow(Integer(12), "C")});
    Store(kTiles, "10", {TileRow(100, "a1")});
    Refuse(kTiles, "11");
    CPreviewAccelerator accelerator;
    EXPECT_FALSE(m_util.GetMetaDataFromDB(kModule, accelerator));
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ERROR, GetTilesItems() failed.")) << m_log.Dump();
    EXPECT_EQ(TablesAndArgs(Selects()),
              (Sent{{kAccelerators, kModule}, {kSections, "4"}, {kTiles, "10"}, {kTiles, "11"}}));
    ASSERT_EQ(accelerator.m_vecSection.size(), 3u);
    EXPECT_EQ(accelerator.m_vecSection[0]->m_vecTile.size(), 1u);
    EXPECT_EQ(m_log.Count(DLOG_DEBUG, "numTiles : 1"), 1u);
    for (const std::string& sBody : m_log.Bodies(DLOG_INFO)) {
        EXPECT_EQ(sBody.rfind("Total tiles in DB", 0), std::string::npos) << sBody;
    }
}
