// The module's stored tree as one JSON text, nested like the document an application pushes.
#include <pelmo/TilesModel.h>

#include <stdexcept>

#include "StoredRows.h"

using namespace readback;

namespace {
const std::string kModule = "org.example.app";

StoredRow AcceleratorRow(long long llId, const std::string& sModule = kModule)
{
    return {{"_id", Integer(llId)}, {"app_pkg_name", Text(sModule)}, {"accelerator_title", Text("App")}};
}

Json::Value Parse(const std::string& sText)
{
    Json::Value root;
    EXPECT_TRUE(Json::Reader().parse(sText, root)) << sText;
    return root;
}
}  // namespace

class ExportTest : public ReadbackTest {};

TEST_F(ExportTest, OneSectionWithOneTileIsWrittenByTheStyledWriter)
{
    Store(kAccelerators, "m", {{{"_id", Integer(1)}, {"app_pkg_name", Text("m")}}});
    Store(kSections, "1", {{{"_id", Integer(2)}, {"section_title", Text("S")}}});
    Store(kTiles, "2", {{{"_id", Integer(3)}, {"tile_title", Text("T")}}});
    EXPECT_EQ(m_util.GetMetaDataByJson("m"),
              "{\n"
              "   \"_id\" : 1,\n"
              "   \"app_pkg_name\" : \"m\",\n"
              "   \"sections\" : [\n"
              "      {\n"
              "         \"_id\" : 2,\n"
              "         \"section_title\" : \"S\",\n"
              "         \"tiles\" : [\n"
              "            {\n"
              "               \"_id\" : 3,\n"
              "               \"public_extra\" : \"{\\\"video_url\\\":\\\"\\\",\\\"is_resumable\\\":false}\",\n"
              "               \"tile_title\" : \"T\"\n"
              "            }\n"
              "         ]\n"
              "      }\n"
              "   ]\n"
              "}\n")
        << m_log.Dump();
    EXPECT_EQ(EntryLines("GetMetaDataByJson"), 1u) << m_log.Dump();
    EXPECT_EQ(EntryLines("GetAcceleratorItems"), 1u);
    EXPECT_EQ(EntryLines("GetSectionItems"), 1u);
    EXPECT_EQ(EntryLines("GetTileItems"), 1u);
}

TEST_F(ExportTest, TheWholeTreeComesBackInStoredOrderWithTypedMembers)
{
    using namespace TilesModel::Tiles;
    Store(kAccelerators, kModule, {AcceleratorRow(4)});
    Store(kSections, "4",
          {{{"_id", Integer(10)}, {"section_title", Text("First")}, {"section_title_display_mode", Text("always")}},
           {{"_id", Integer(11)}, {"section_title", Text("Second")}}});
    Store(kTiles, "10",
          {{{"_id", Integer(100)},
            {TILE_TITLE, Text("one")},
            {TILE_ACTION_PLAY, Text("play://1")},
            {TILE_ACTION_PRE_PLAY, Text("{\"is_resumable\":true,\"video_url\":\"v\"}\n")},
            {TILE_IMAGE_RATIO, Real(1.5)},
            {TILE_ACTION_TYPE, Text("app_launch")}},
           {{"_id", Integer(101)}, {TILE_TITLE, Text("two")}}});
    Store(kTiles, "11", {{{"_id", Integer(110)}, {TILE_TITLE, Text("three")}}});
    const std::string sText = m_util.GetMetaDataByJson(kModule);
    ASSERT_FALSE(sText.empty()) << m_log.Dump();
    Json::Value root = Parse(sText);
    EXPECT_EQ(root.getMemberNames(), (std::vector<std::string>{"_id", "accelerator_title", "app_pkg_name", "sections"}));
    EXPECT_EQ(root["_id"], Json::Value(4));
    EXPECT_EQ(root["app_pkg_name"], Json::Value(kModule));
    ASSERT_EQ(root["sections"].size(), 2u);
    const Json::Value& first = root["sections"][0];
    EXPECT_EQ(first["section_title"], Json::Value("First"));
    EXPECT_EQ(first["section_title_display_mode"], Json::Value("always"));
    ASSERT_EQ(first["tiles"].size(), 2u);
    const Json::Value& tile = first["tiles"][0];
    EXPECT_EQ(tile.getMemberNames(), (std::vector<std::string>{"_id", "public_extra", TILE_ACTION_PLAY,
                                                                TILE_ACTION_TYPE, TILE_IMAGE_RATIO, TILE_TITLE}));
    EXPECT_EQ(tile["_id"], Json::Value(100));
    EXPECT_TRUE(tile[TILE_IMAGE_RATIO].isDouble());
    EXPECT_DOUBLE_EQ(tile[TILE_IMAGE_RATIO].asDouble(), 1.5);
    EXPECT_EQ(tile["public_extra"], Json::Value("{\"is_resumable\":true,\"video_url\":\"v\"}\n"));
    EXPECT_EQ(first["tiles"][1][TILE_TITLE], Json::Value("two"));
    EXPECT_EQ(first["tiles"][1]["public_extra"], Json::Value("{\"video_url\":\"\",\"is_resumable\":false}"));
    EXPECT_EQ(root["sections"][1]["tiles"][0][TILE_TITLE], Json::Value("three"));
    // The export logs no tile counts.
    for (const std::string& sBody : m_log.Bodies()) {
        EXPECT_EQ(sBody.find("numTiles"), std::string::npos) << sBody;
        EXPECT_EQ(sBody.find("Total tiles in DB"), std::string::npos) << sBody;
    }
}

TEST_F(ExportTest, AnAcceleratorWithoutSectionsGivesItsMembersOnly)
{
    Store(kAccelerators, kModule, {AcceleratorRow(4)});
    Json::Value root = Parse(m_util.GetMetaDataByJson(kModule));
    EXPECT_EQ(root.getMemberNames(), (std::vector<std::string>{"_id", "accelerator_title", "app_pkg_name"}));
    EXPECT_EQ(root["accelerator_title"], Json::Value("App"));
}

TEST_F(ExportTest, ASectionWithAnEmptyRawIdIsExportedWithoutTiles)
{
    Store(kAccelerators, kModule, {AcceleratorRow(4)});
    Store(kSections, "4", {{{"section_title", Text("nameless")}}, {{"_id", Integer(12)}, {"section_title", Text("named")}}});
    Store(kTiles, "12", {{{"_id", Integer(1)}, {"tile_title", Text("t")}}});
    Store(kTiles, "", {{{"_id", Integer(2)}, {"tile_title", Text("never")}}});
    Json::Value root = Parse(m_util.GetMetaDataByJson(kModule));
    ASSERT_EQ(root["sections"].size(), 2u);
    EXPECT_EQ(root["sections"][0].getMemberNames(), std::vector<std::string>{"section_title"});
    EXPECT_EQ(root["sections"][1]["tiles"].size(), 1u);
    EXPECT_EQ(m_service.CallCount(), 3u);
}

TEST_F(ExportTest, ASectionWithoutStoredTilesIsExportedWithoutTheTilesMember)
{
    Store(kAccelerators, kModule, {AcceleratorRow(4)});
    Store(kSections, "4", {{{"_id", Integer(12)}, {"section_title", Text("empty")}}});
    Json::Value root = Parse(m_util.GetMetaDataByJson(kModule));
    ASSERT_EQ(root["sections"].size(), 1u);
    EXPECT_FALSE(root["sections"][0].isMember("tiles"));
    EXPECT_EQ(m_service.CallCount(), 3u);
}

TEST_F(ExportTest, AFailingTileSelectForTheSecondSectionGivesEmptyText)
{
    Store(kAccelerators, kModule, {AcceleratorRow(4)});
    Store(kSections, "4", {{{"_id", Integer(10)}}, {{"_id", Integer(11)}}});
    Store(kTiles, "10", {{{"_id", Integer(1)}, {"tile_title", Text("loaded")}}});
    Refuse(kTiles, "11");
    EXPECT_EQ(m_util.GetMetaDataByJson(kModule), "");
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ERROR, GetTilesItems() failed.")) << m_log.Dump();
    EXPECT_EQ(m_service.CallCount(), 4u);
}

TEST_F(ExportTest, AModuleWithoutAStoredAcceleratorGivesEmptyText)
{
    EXPECT_EQ(m_util.GetMetaDataByJson(kModule), "");
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ERROR, sAcceleratorRawID is empty.")) << m_log.Dump();
    EXPECT_EQ(m_service.CallCount(), 1u);
}

TEST_F(ExportTest, ARefusedAcceleratorSelectGivesEmptyText)
{
    Refuse(kAccelerators, kModule);
    EXPECT_EQ(m_util.GetMetaDataByJson(kModule), "");
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ERROR, GetAcceleratorItems() failed.")) << m_log.Dump();
}

TEST_F(ExportTest, ARefusedSectionSelectGivesEmptyTextAndTheMessageWithItsFullStop)
{
    Store(kAccelerators, kModule, {AcceleratorRow(4)});
    Refuse(kSections, "4");
    EXPECT_EQ(m_util.GetMetaDataByJson(kModule), "");
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ERROR, GetSectionItems() failed.")) << m_log.Dump();
}

TEST_F(ExportTest, TheAcceleratorSelectIsSentForTheModuleItself)
{
    Store(kAccelerators, "other.module", {AcceleratorRow(4, "other.module")});
    EXPECT_EQ(m_util.GetMetaDataByJson("other.module").empty(), false);
    auto calls = m_service.Calls();
    ASSERT_GE(calls.size(), 1u);
    EXPECT_EQ(calls[0].sPackage, "other.module");
    EXPECT_EQ(Selects()[0]["where_args"][0].asString(), "other.module");
}

TEST_F(ExportTest, AStoredValueWiderThan32BitsFailsTheExportWithAnErrorAndNoText)
{
    // Wide integers come back as the unsigned type, which is written as a signed 32-bit value:
    // the conversion fails, and the export gives up without letting the error escape.
    Store(kAccelerators, kModule, {{{"_id", Integer(4294967297LL)}, {"app_pkg_name", Text(kModule)}}});
    std::string sText = "unset";
    EXPECT_NO_THROW(sText = m_util.GetMetaDataByJson(kModule));
    EXPECT_EQ(sText, "");
    const auto vecErrors = m_log.Bodies(DLOG_ERROR);
    ASSERT_EQ(vecErrors.size(), 1u) << m_log.Dump();
    EXPECT_EQ(vecErrors[0].rfind("ERROR, metadata cannot be written as JSON: ", 0), 0u) << vecErrors[0];
}
