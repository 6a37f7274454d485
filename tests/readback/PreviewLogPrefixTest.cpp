// The preview logic logs as one unit, PreviewDataUtil, from each of the files it is split into;
// the preview model and the transport are units of their own. Every line names its function,
// and its line is that of the log call in the file that holds the function.
#include "LogPrefix.h"
#include "StoredRows.h"

using namespace readback;

namespace {
const char* const kUnit = "src/common/PreviewDataUtil.cpp";
const char* const kModule = "org.example.prefix";

class PreviewLogPrefixTest : public ReadbackTest {
protected:
    void ExpectLine(const std::string& sUnit, const std::string& sFunction, const std::string& sBodyStart,
                    const std::string& sSourceFile, const std::string& sFormatStart)
    {
        EXPECT_EQ(CheckFunctionLine(m_log, sUnit, sFunction, sBodyStart, sSourceFile, sFormatStart), "");
    }
};
}  // namespace

TEST_F(PreviewLogPrefixTest, ReadingADocumentLogsAsTheUnit)
{
    CPreviewAccelerator accelerator;
    ASSERT_TRUE(m_util.GetPreviewDataUsingJsonStr("{\"sections\":[]}", accelerator, kModule));
    ExpectLine(kUnit, "GetPreviewDataUsingJsonStr", "sJsonStr : ", "src/common/PreviewDataUtilParse.cpp",
               "sJsonStr : %s");
}

TEST_F(PreviewLogPrefixTest, ReadingStoredRowsLogsAsTheUnit)
{
    CResultTable table = MakeTable({"tile_title"}, {{{"tile_title", Text("Stored")}}});
    std::shared_ptr<ISQLiteCursor> cursor = CursorOver(table);
    ASSERT_NE(cursor, nullptr);
    ASSERT_EQ(cursor->MoveNext(), 0);
    PropertyMap mapProperty;
    m_util.GetItemValues(cursor, 1, mapProperty);
    ExpectLine(kUnit, "GetItemValues", "ColumnName : tile_title", "src/common/PreviewDataUtilRowValues.cpp",
               "ColumnName : %s");
}

TEST_F(PreviewLogPrefixTest, LoadingAndExportingLogAsTheUnit)
{
    CPreviewAccelerator accelerator;
    EXPECT_FALSE(m_util.GetMetaDataFromDB(kModule, accelerator));
    ExpectLine(kUnit, "GetMetaDataFromDB", "ERROR, sAcceleratorRawID is empty.", "src/common/PreviewDataUtilLoad.cpp",
               "ERROR, sAcceleratorRawID is empty.");
    ExpectLine(kUnit, "GetAcceleratorItems", "", "src/common/PreviewDataUtilLoad.cpp", "\")");

    Json::Value object;
    m_util.SetPropertyInJson(object, "tile_id", PropertyValue{JSON_VALUE_INT, "7"});
    ExpectLine(kUnit, "SetPropertyInJson", "iValueType : 1, sValue : 7", "src/common/PreviewDataUtilExport.cpp",
               "iValueType : %d");
    EXPECT_EQ(m_util.GetMetaDataByJson(kModule), "");
    ExpectLine(kUnit, "GetMetaDataByJson", "ERROR, sAcceleratorRawID is empty.", "src/common/PreviewDataUtilExport.cpp",
               "ERROR, sAcceleratorRawID is empty.");
}

TEST_F(PreviewLogPrefixTest, WritingRowsLogsAsTheUnit)
{
    // The scripted store answers only selects: every write is refused and says so.
    EXPECT_FALSE(m_util.DeleteAcceleratorItem(kModule));
    ExpectLine(kUnit, "DeleteAcceleratorItem", "Error. failed to delete tiles.",
               "src/common/PreviewDataUtilStoredRows.cpp", "Error. failed to delete tiles.");

    CPreviewAccelerator parsed;
    ASSERT_TRUE(m_util.GetPreviewDataUsingJsonStr("{\"sections\":[{\"section_title\":\"S\",\"tiles\":[{}]}]}", parsed,
                                                  kModule));
    m_util.CreateTiles("5", parsed.m_vecSection.at(0)->m_vecTile, kModule);
    ExpectLine(kUnit, "CreateTiles", "Error. Faile to create tile.", "src/common/PreviewDataUtilTiles.cpp",
               "Error. Faile to create tile.");

    CPreviewAccelerator stored;
    m_util.ComparedDBUpdate(kModule, stored, parsed);
    ExpectLine(kUnit, "UpdateOldSectionItem", std::string(kModule) + ":Duplicated sections size:0",
               "src/common/PreviewDataUtilSections.cpp", "%s:Duplicated sections size:%zu");
}

TEST_F(PreviewLogPrefixTest, TheModelAndTheTransportAreUnitsOfTheirOwn)
{
    CPreviewAccelerator accelerator;
    accelerator.AddProperty("x", JSON_VALUE_STRING, "y", 9);
    ExpectLine("src/common/PreviewAccelerator.cpp", "AddProperty", "ERROR, Invalid depth value.",
               "src/common/PreviewAccelerator.cpp", "ERROR, Invalid depth value.");
    CPreviewAccelerator loaded;
    EXPECT_TRUE(m_util.GetAcceleratorItems(kModule, loaded));
    ExpectLine("src/common/PelmoGDBusUtil.cpp", "SendMessageViaDBUS", "Function = [select]",
               "src/common/PelmoGDBusUtil.cpp", "Function = [%s]");
}
