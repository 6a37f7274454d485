// Every exported function logs under its own name and the name of its unit, PelmoAPI, whichever
// of the unit's files holds it; the line in the prefix is that of the log call.
#include "LogPrefix.h"
#include "TransportFixture.h"

namespace {
const char* const kUnit = "src/client/PelmoAPI.cpp";
const char* const kTiles = "content://org.orvik.pelmo/tiles";

class LogPrefixTest : public TransportTest {
protected:
    // One line of the function whose body starts with sBodyStart has the full prefix of the unit.
    void ExpectLine(const std::string& sFunction, const std::string& sBodyStart, const std::string& sSourceFile,
                    const std::string& sFormatStart)
    {
        EXPECT_EQ(CheckFunctionLine(m_log, kUnit, sFunction, sBodyStart, sSourceFile, sFormatStart), "");
    }
};
}  // namespace

TEST_F(LogPrefixTest, DataRequestsLogUnderTheirOwnNamesInTheUnit)
{
    m_service.AnswerAlways(false, "");
    ExpectEveryDataRequestFails(kTiles);
    const std::string sFile = "src/client/PelmoDataRequests.cpp";
    for (const char* sFunction :
         {"insert_request", "insert_request_for_bulk_data", "update_request_for_bulk_data", "delete_request"}) {
        ExpectLine(sFunction, "TableName: ", sFile, "TableName: %s");
        ExpectLine(sFunction, "dbus call fail in ", sFile, "dbus call fail in ");
    }
}

TEST_F(LogPrefixTest, SharedPiecesLogUnderTheirOwnNamesInTheUnit)
{
    EXPECT_EQ(GetAppID(), "org.example.caller");
    ExpectLine("GetAppID", "AppID : ", "src/client/PelmoAPI.cpp", "AppID : %s");
    // An envelope cannot be made on a JSON array.
    Json::Value notAnObject(Json::arrayValue);
    PT_JSON_IN_PARAM param = MakeParam(kTiles, "");
    EXPECT_EQ(CreateInputJsonStr(notAnObject, param), "");
    ExpectLine("CreateInputJsonStr", "Error in json: ", "src/client/PelmoAPI.cpp", "Error in json: %s");
    finalize_json_bytes(nullptr);
    ExpectLine("finalize_json_bytes", "finalized adress : ", "src/client/PelmoAPI.cpp", "finalized adress : %p");
}

TEST_F(LogPrefixTest, SelectLogsUnderItsOwnNameInTheUnit)
{
    m_service.AnswerAlways(false, "");
    PT_CONSUMER_SELECT_IN_PARAM in;
    in.table_name = kTiles;
    PT_CONSUMER_SELECT_OUT_PARAM out;
    EXPECT_FALSE(select_request(in, out, "m"));
    ExpectLine("select_request", "TableName: ", "src/client/PelmoSelectRequest.cpp", "TableName: %s");
    ExpectLine("select_request", "dbus call fail in select_request", "src/client/PelmoSelectRequest.cpp",
               "dbus call fail in select_request");
}

TEST_F(LogPrefixTest, ControlRequestsLogUnderTheirOwnNamesInTheUnit)
{
    const std::string sFile = "src/client/PelmoControlRequests.cpp";
    EXPECT_TRUE(start_preview_scheduler("org.example.pkg"));
    EXPECT_TRUE(stop_preview_scheduler("org.example.pkg"));
    EXPECT_FALSE(terminate_service_app("org.example.svc", "1"));
    ExpectLine("start_preview_scheduler", "PkgName: [org.example.pkg]", sFile, "PkgName: [%s]");
    ExpectLine("stop_preview_scheduler", "PkgName: [org.example.pkg]", sFile, "PkgName: [%s]");
    ExpectLine("terminate_service_app", "AppID: [org.example.svc]", sFile, "AppID: [%s]");
    ExpectLine("terminate_service_app", "No permission.", sFile, "No permission.");
}

TEST_F(LogPrefixTest, SchedulerFailuresLogUnderTheSchedulerFunctionsOwnNames)
{
    const std::string sFile = "src/client/PelmoControlRequests.cpp";
    EXPECT_FALSE(start_preview_scheduler(nullptr));
    EXPECT_FALSE(stop_preview_scheduler(nullptr));
    ExpectLine("start_preview_scheduler", "Package name cannot be empty", sFile, "Package name cannot be empty");
    ExpectLine("stop_preview_scheduler", "Package name cannot be empty", sFile, "Package name cannot be empty");

    // Without a store on the bus every call ends with no reply.
    m_service.Stop();
    EXPECT_FALSE(start_preview_scheduler("p"));
    EXPECT_FALSE(stop_preview_scheduler("p"));
    ExpectLine("start_preview_scheduler", "ppOutputData is wrong", sFile, "ppOutputData is wrong");
    ExpectLine("stop_preview_scheduler", "ppOutputData is wrong", sFile, "ppOutputData is wrong");
    for (const CLogLine& line : m_log.Lines()) {
        EXPECT_EQ(line.sMessage.find("SendSchedulerRequest"), std::string::npos) << line.sMessage;
    }
}

TEST_F(LogPrefixTest, PreviewEntryPointsLogUnderTheirOwnNamesInTheUnit)
{
    const std::string sFile = "src/client/PelmoPreviewRequests.cpp";
    // set_preview_metadata only hands its texts on; the publish's lines are those of
    // update_json_str_to_preview_db.
    EXPECT_EQ(set_preview_metadata("[]", ""), 0);
    ExpectLine("update_json_str_to_preview_db", "sModuleName : , sJsonStr : []", sFile, "sModuleName : %s");
    ExpectLine("update_json_str_to_preview_db", "ERROR: module name is empty", sFile, "ERROR: module name is empty");
    m_service.AnswerAlways(false, "");
    char* pJson = get_preview_metadata("org.example.pkg");
    ASSERT_NE(pJson, nullptr);
    finalize_json_bytes(pJson);
    ExpectLine("get_preview_metadata", "pkgName : org.example.pkg", sFile, "pkgName : %s");
}
