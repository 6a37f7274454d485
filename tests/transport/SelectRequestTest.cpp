// The read request against the scripted service; results are real shared-memory objects made
// with the store library's writer, as the store service makes them.
#include <pelmo/SharedResult.h>
#include <unistd.h>

#include <atomic>

#include "TransportFixture.h"

namespace {
const char* kTiles = "content://org.orvik.pelmo/tiles";

PT_CONSUMER_SELECT_IN_PARAM MakeSelect(const std::string& sWhere, std::vector<std::string> vecArgs)
{
    PT_CONSUMER_SELECT_IN_PARAM in;
    in.table_name = kTiles;
    in.where = sWhere;
    in.where_args = std::move(vecArgs);
    return in;
}

// Publishes a result of `iRows` rows of one text column and returns the reply the store gives.
std::string PublishRows(int iRows, const std::string& sReqId, std::string* pKey = nullptr)
{
    static std::atomic<int> s_iCounter{0};
    CResultTable table;
    table.vecColumns = {"tile_title"};
    for (int i = 0; i < iRows; ++i) table.vecRows.push_back({CResultCell::Text("title " + std::to_string(i))});
    const std::string sBytes = CSharedResultWriter::Serialize(table);
    const std::string sKey = "/pelmo-select-test-" + std::to_string(getpid()) + "-" + std::to_string(++s_iCounter);
    std::string sError;
    EXPECT_TRUE(CSharedResultWriter::Publish(sKey, sBytes, sError)) << sError;
    if (pKey) *pKey = sKey;
    return "{\"key\":\"" + sKey + "\",\"memory_size\":\"" + std::to_string(sBytes.size()) + "\",\"req_id\":\"" +
           sReqId + "\"}";
}
}  // namespace

TEST_F(TransportTest, SelectSendsTheEnvelopeWithModuleOrderAndColumnsInKeyOrder)
{
    m_service.AnswerAlways(true, PublishRows(1, "r1"));
    PT_CONSUMER_SELECT_IN_PARAM in = MakeSelect("tile_section_raw_id = ?", {"12"});
    in.order = "tile_position";
    in.column_list = {"_id", "tile_title"};
    PT_CONSUMER_SELECT_OUT_PARAM out;
    ASSERT_TRUE(select_request(in, out, "org.example.module"));
    auto calls = m_service.Calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].sBusName, "org.orvik.Feltrix.dbus");
    EXPECT_EQ(calls[0].sMethod, "select");
    EXPECT_EQ(calls[0].sPackage, "org.example.module");
    EXPECT_EQ(calls[0].sInput,
              "{\n   \"column_list\" : [ \"_id\", \"tile_title\" ],\n   \"group_by\" : \"\",\n"
              "   \"module_name\" : \"org.example.module\",\n   \"order\" : \"tile_position\",\n"
              "   \"table_name\" : \"content://org.orvik.pelmo/tiles\",\n"
              "   \"where\" : \"tile_section_raw_id = ?\",\n   \"where_args\" : [ \"12\" ]\n}\n");
    EXPECT_TRUE(m_log.Has(DLOG_INFO, std::string("TableName: ") + kTiles +
                                         ", ModuleName: org.example.module,  AppID: org.example.module"));
}

TEST_F(TransportTest, SelectWithoutColumnsSendsNoColumnListAndAnEmptyOrder)
{
    m_service.AnswerAlways(true, PublishRows(1, "r1"));
    PT_CONSUMER_SELECT_IN_PARAM in = MakeSelect("", {});
    PT_CONSUMER_SELECT_OUT_PARAM out;
    ASSERT_TRUE(select_request(in, out, "m"));
    ASSERT_EQ(m_service.CallCount(), 1u);
    EXPECT_EQ(m_service.Calls()[0].sInput,
              "{\n   \"group_by\" : \"\",\n   \"module_name\" : \"m\",\n   \"order\" : \"\",\n"
              "   \"table_name\" : \"content://org.orvik.pelmo/tiles\",\n   \"where\" : \"\"\n}\n");
}

TEST_F(TransportTest, SelectWithArgumentsButNoConditionSendsTheArguments)
{
    m_service.AnswerAlways(true, PublishRows(0, "r1"));
    PT_CONSUMER_SELECT_IN_PARAM in = MakeSelect("", {"a", "b"});
    PT_CONSUMER_SELECT_OUT_PARAM out;
    ASSERT_TRUE(select_request(in, out, "m"));
    ASSERT_EQ(m_service.CallCount(), 1u);
    Json::Value root;
    ASSERT_TRUE(Json::Reader().parse(m_service.Calls()[0].sInput, root));
    ASSERT_EQ(root["where_args"].size(), 2u);
    EXPECT_EQ(root["where_args"][0].asString(), "a");
    EXPECT_EQ(root["where_args"][1].asString(), "b");
    EXPECT_FALSE(root.isMember("column_list"));
}

TEST_F(TransportTest, SelectConditionWithoutArgumentsReturnsTrueWithoutSending)
{
    PT_CONSUMER_SELECT_IN_PARAM in = MakeSelect("_id = ?", {});
    PT_CONSUMER_SELECT_OUT_PARAM out;
    out.req_id = "before";
    EXPECT_TRUE(select_request(in, out, "m"));
    EXPECT_EQ(m_service.CallCount(), 0u);
    EXPECT_EQ(out.req_id, "before");
    EXPECT_EQ(out.cursor, nullptr);
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "Invalid where_args."));
}

TEST_F(TransportTest, SelectOpensTheResultAsACursorAndCopiesTheRequestId)
{
    std::string sKey;
    m_service.AnswerAlways(true, PublishRows(3, "req-7", &sKey));
    PT_CONSUMER_SELECT_IN_PARAM in = MakeSelect("", {});
    PT_CONSUMER_SELECT_OUT_PARAM out;
    ASSERT_TRUE(select_request(in, out, "m"));
    EXPECT_EQ(out.req_id, "req-7");
    ASSERT_NE(out.cursor, nullptr);
    int iRows = 0;
    std::string sText;
    while (out.cursor->MoveNext() == 0) {
        ASSERT_EQ(out.cursor->GetString(0, sText), 0);
        EXPECT_EQ(sText, "title " + std::to_string(iRows));
        ++iRows;
    }
    EXPECT_EQ(iRows, 3);
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "SQL Key " + sKey));
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "Response ID req-7"));
    // The consumer removes the name once it has the memory.
    EXPECT_FALSE(CSharedResultWriter::Remove(sKey));
}

TEST_F(TransportTest, SelectReplacesTheCursorOfAReusedOutRecord)
{
    PT_CONSUMER_SELECT_IN_PARAM in = MakeSelect("", {});
    PT_CONSUMER_SELECT_OUT_PARAM out;
    m_service.AnswerAlways(true, PublishRows(1, "first"));
    ASSERT_TRUE(select_request(in, out, "m"));
    std::weak_ptr<ISQLiteCursor> first = out.cursor;
    m_service.AnswerAlways(true, PublishRows(2, "second"));
    ASSERT_TRUE(select_request(in, out, "m"));
    EXPECT_TRUE(first.expired());
    ASSERT_NE(out.cursor, nullptr);
    EXPECT_EQ(out.cursor->GetRowCount(), 2);
    EXPECT_EQ(out.req_id, "second");
}

TEST_F(TransportTest, SelectReplyWithoutMemorySizeFailsWithAParsingError)
{
    m_service.AnswerAlways(true, "{\"key\":\"/x\",\"req_id\":\"1\"}");
    PT_CONSUMER_SELECT_IN_PARAM in = MakeSelect("", {});
    PT_CONSUMER_SELECT_OUT_PARAM out;
    EXPECT_FALSE(select_request(in, out, "m"));
    EXPECT_EQ(out.cursor, nullptr);
    EXPECT_EQ(out.req_id, "");
    auto vecErrors = m_log.Bodies(DLOG_ERROR);
    ASSERT_EQ(vecErrors.size(), 1u) << m_log.Dump();
    EXPECT_EQ(vecErrors[0].rfind("Error in json parsing: ", 0), 0u) << vecErrors[0];
}

TEST_F(TransportTest, SelectReplyThatIsNotJsonFailsWithAParsingError)
{
    m_service.AnswerAlways(true, "not json at all");
    PT_CONSUMER_SELECT_IN_PARAM in = MakeSelect("", {});
    PT_CONSUMER_SELECT_OUT_PARAM out;
    EXPECT_FALSE(select_request(in, out, "m"));
    auto vecErrors = m_log.Bodies(DLOG_ERROR);
    ASSERT_EQ(vecErrors.size(), 1u) << m_log.Dump();
    EXPECT_EQ(vecErrors[0].rfind("Error in json parsing: ", 0), 0u);
}

TEST_F(TransportTest, SelectReplyWithAnObjectAsKeyFailsWithAParsingError)
{
    m_service.AnswerAlways(true, "{\"key\":{\"a\":1},\"memory_size\":\"10\",\"req_id\":\"1\"}");
    PT_CONSUMER_SELECT_IN_PARAM in = MakeSelect("", {});
    PT_CONSUMER_SELECT_OUT_PARAM out;
    EXPECT_FALSE(select_request(in, out, "m"));
    ASSERT_EQ(m_log.Bodies(DLOG_ERROR).size(), 1u) << m_log.Dump();
    EXPECT_EQ(m_log.Bodies(DLOG_ERROR)[0].rfind("Error in json parsing: ", 0), 0u);
}

TEST_F(TransportTest, SelectMemorySizeIsReadWithLeadingBlanksAndTrailingTextIgnored)
{
    std::string sKey;
    std::string sReply = PublishRows(1, "r", &sKey);
    CResultTable table;
    table.vecColumns = {"tile_title"};
    table.vecRows.push_back({CResultCell::Text("title 0")});
    const size_t size = CSharedResultWriter::Serialize(table).size();
    m_service.AnswerAlways(
        true, "{\"key\":\"" + sKey + "\",\"memory_size\":\"  " + std::to_string(size) + "bytes\",\"req_id\":\"r\"}");
    PT_CONSUMER_SELECT_IN_PARAM in = MakeSelect("", {});
    PT_CONSUMER_SELECT_OUT_PARAM out;
    ASSERT_TRUE(select_request(in, out, "m")) << m_log.Dump();
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "Memory size " + std::to_string(size)));
}

TEST_F(TransportTest, SelectMemorySizeOutOfRangeFailsWithAParsingError)
{
    m_service.AnswerAlways(true, "{\"key\":\"/x\",\"memory_size\":\"99999999999\",\"req_id\":\"1\"}");
    PT_CONSUMER_SELECT_IN_PARAM in = MakeSelect("", {});
    PT_CONSUMER_SELECT_OUT_PARAM out;
    EXPECT_FALSE(select_request(in, out, "m"));
    ASSERT_EQ(m_log.Bodies(DLOG_ERROR).size(), 1u) << m_log.Dump();
    EXPECT_EQ(m_log.Bodies(DLOG_ERROR)[0].rfind("Error in json parsing: ", 0), 0u);
}

TEST_F(TransportTest, SelectOfAResultThatCannotBeOpenedClearsTheCursorAndKeepsTheRequestId)
{
    PT_CONSUMER_SELECT_IN_PARAM in = MakeSelect("", {});
    PT_CONSUMER_SELECT_OUT_PARAM out;
    m_service.AnswerAlways(true, PublishRows(1, "first"));
    ASSERT_TRUE(select_request(in, out, "m"));
    m_service.AnswerAlways(true, "{\"key\":\"/pelmo-no-such-result\",\"memory_size\":\"64\",\"req_id\":\"2\"}");
    EXPECT_FALSE(select_request(in, out, "m"));
    EXPECT_EQ(out.cursor, nullptr);
    EXPECT_EQ(out.req_id, "first");
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "CSharedQueryObject::GetCursor() failed."));
}

TEST_F(TransportTest, SelectRefusedByTheStoreFailsAndLeavesTheOutRecord)
{
    m_service.AnswerAlways(false, "unknown column");
    PT_CONSUMER_SELECT_IN_PARAM in = MakeSelect("", {});
    PT_CONSUMER_SELECT_OUT_PARAM out;
    out.req_id = "kept";
    EXPECT_FALSE(select_request(in, out, "m"));
    EXPECT_EQ(out.req_id, "kept");
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "dbus call fail in select_request"));
}

TEST_F(TransportTest, SelectWithoutAStoreOnTheBusFails)
{
    m_service.Stop();
    PT_CONSUMER_SELECT_IN_PARAM in = MakeSelect("", {});
    PT_CONSUMER_SELECT_OUT_PARAM out;
    EXPECT_FALSE(select_request(in, out, "m"));
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ppOutputData is wrong"));
}

TEST_F(TransportTest, SelectWithEmptyModuleSendsUnderTheCallersAppId)
{
    m_service.AnswerAlways(true, PublishRows(0, "r"));
    PT_CONSUMER_SELECT_IN_PARAM in = MakeSelect("", {});
    PT_CONSUMER_SELECT_OUT_PARAM out;
    ASSERT_TRUE(select_request(in, out, ""));
    ASSERT_EQ(m_service.CallCount(), 1u);
    EXPECT_EQ(m_service.Calls()[0].sPackage, "org.example.caller");
    Json::Value root;
    ASSERT_TRUE(Json::Reader().parse(m_service.Calls()[0].sInput, root));
    EXPECT_EQ(root["module_name"].asString(), "org.example.caller");
}

TEST_F(TransportTest, SelectWithAModuleDoesNotAskForTheAppId)
{
    m_service.AnswerAlways(true, PublishRows(0, "r"));
    PT_CONSUMER_SELECT_IN_PARAM in = MakeSelect("", {});
    PT_CONSUMER_SELECT_OUT_PARAM out;
    ASSERT_TRUE(select_request(in, out, "org.example.module"));
    // A caller without an app id (a system service) gets no error line either.
    unsetenv("PELMO_APP_ID");
    m_service.AnswerAlways(true, PublishRows(0, "r2"));  // a result is opened once
    PT_CONSUMER_SELECT_OUT_PARAM second;
    ASSERT_TRUE(select_request(in, second, "org.example.module"));
    ASSERT_EQ(m_service.CallCount(), 2u);
    EXPECT_EQ(m_service.Calls()[1].sPackage, "org.example.module");
    for (const CLogLine& line : m_log.Lines()) {
        EXPECT_EQ(line.sMessage.find("[GetAppID:"), std::string::npos) << line.sMessage;
    }
    EXPECT_EQ(m_log.Count(DLOG_INFO, std::string("TableName: ") + kTiles +
                                         ", ModuleName: org.example.module,  AppID: org.example.module"),
              2u);
    // Without a module the app id is asked for, and its absence is logged.
    m_service.AnswerAlways(true, PublishRows(0, "r3"));
    PT_CONSUMER_SELECT_OUT_PARAM third;
    ASSERT_TRUE(select_request(in, third, ""));
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "Issue in getting AppID")) << m_log.Dump();
}
