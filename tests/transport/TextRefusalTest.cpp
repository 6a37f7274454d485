// Texts that D-Bus cannot carry as they are (not UTF-8, or a NUL inside) are refused by every
// exported function before anything is sent: GLib would otherwise print a critical and send a
// placeholder or a cut text in their place. GLib's criticals abort this test process.
#include <glib.h>

#include <cstdlib>
#include <string>

#include "TransportFixture.h"

namespace {
const char* kTiles = "content://org.orvik.pelmo/tiles";
const std::string kNotUtf8 = "org.example.\xff\xfe";
const std::string kCutByNul = std::string("org.example.a\0evil", 18);
const std::string kBrokenSequence = "org.example.caf\xc3";

class TextRefusalTest : public TransportTest {
protected:
    void SetUp() override
    {
        TransportTest::SetUp();
        m_previousFatal = g_log_set_always_fatal(
            static_cast<GLogLevelFlags>(G_LOG_FATAL_MASK | G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING));
    }
    void TearDown() override
    {
        g_log_set_always_fatal(m_previousFatal);
        TransportTest::TearDown();
    }

    // Nothing reached the service, and the refusal was logged as an error.
    void ExpectRefusedUnsent(const std::string& sWhat)
    {
        EXPECT_EQ(m_service.CallCount(), 0u) << sWhat;
        bool bRefused = false;
        for (const std::string& sBody : m_log.Bodies(DLOG_ERROR)) {
            bRefused |= sBody.rfind("Refusing to send [", 0) == 0 || sBody.rfind("Error in json: ", 0) == 0;
        }
        EXPECT_TRUE(bRefused) << sWhat << "\n" << m_log.Dump();
        m_service.ClearCalls();
        m_log.Clear();
    }

    GLogLevelFlags m_previousFatal = static_cast<GLogLevelFlags>(G_LOG_FATAL_MASK);
};
}  // namespace

TEST_F(TextRefusalTest, DataRequestsRefuseAModuleNameThatIsNotUtf8OrHasANul)
{
    for (const std::string& sModule : {kNotUtf8, kCutByNul, kBrokenSequence}) {
        PT_JSON_IN_PARAM param = MakeParam(kTiles, "{}");
        long long llOut = 7;
        EXPECT_EQ(insert_request(param, &llOut, sModule), -1);
        ExpectRefusedUnsent("insert_request");
        EXPECT_EQ(insert_request_for_bulk_data(param, &llOut, sModule), -1);
        ExpectRefusedUnsent("insert_request_for_bulk_data");
        EXPECT_EQ(update_request_for_bulk_data(param, &llOut, sModule), -1);
        ExpectRefusedUnsent("update_request_for_bulk_data");
        EXPECT_EQ(llOut, 7);
        EXPECT_EQ(delete_request(param, sModule), -1);
        ExpectRefusedUnsent("delete_request");
        PT_CONSUMER_SELECT_IN_PARAM in;
        in.table_name = kTiles;
        PT_CONSUMER_SELECT_OUT_PARAM out;
        EXPECT_FALSE(select_request(in, out, sModule));
        EXPECT_EQ(out.cursor, nullptr);
        ExpectRefusedUnsent("select_request");
    }
}

TEST_F(TextRefusalTest, DataRequestsRefuseAnInputTextThatIsNotUtf8OrHasANul)
{
    for (const std::string& sBad : {std::string("{\"tile_title\":\"\xc0\xaf\"}"), std::string("{\"a\":1}\0{}", 10)}) {
        PT_JSON_IN_PARAM param = MakeParam(kTiles, sBad);
        long long llOut = 7;
        EXPECT_EQ(insert_request(param, &llOut, "m"), -1);
        ExpectRefusedUnsent("insert_request");
        EXPECT_EQ(insert_request_for_bulk_data(param, &llOut, "m"), -1);
        ExpectRefusedUnsent("insert_request_for_bulk_data");
        EXPECT_EQ(update_request_for_bulk_data(param, &llOut, "m"), -1);
        ExpectRefusedUnsent("update_request_for_bulk_data");
        EXPECT_EQ(llOut, 7);
    }
    // The condition, its arguments, the order and the columns travel inside the envelope, whose
    // writer would replace such bytes: each of them is refused as well.
    for (const std::string& sBad : {std::string("\xff"), std::string("a\0b", 3)}) {
        PT_JSON_IN_PARAM param = MakeParam(kTiles, "_id=?", {sBad});
        EXPECT_EQ(delete_request(param, "m"), -1);
        ExpectRefusedUnsent("delete_request where_args");
        param = MakeParam(kTiles, "_id=" + sBad, {"1"});
        EXPECT_EQ(delete_request(param, "m"), -1);
        ExpectRefusedUnsent("delete_request where");

        PT_CONSUMER_SELECT_IN_PARAM in;
        in.table_name = kTiles;
        in.where = "_id=?";
        in.where_args = {sBad};
        PT_CONSUMER_SELECT_OUT_PARAM out;
        EXPECT_FALSE(select_request(in, out, "m"));
        ExpectRefusedUnsent("select_request where_args");
        in.where_args = {"1"};
        in.order = sBad;
        EXPECT_FALSE(select_request(in, out, "m"));
        ExpectRefusedUnsent("select_request order");
        in.order = "";
        in.column_list = {"_id", sBad};
        EXPECT_FALSE(select_request(in, out, "m"));
        ExpectRefusedUnsent("select_request column_list");
        in.column_list.clear();
        in.table_name = sBad;
        EXPECT_FALSE(select_request(in, out, "m"));
        ExpectRefusedUnsent("select_request table_name");
        EXPECT_EQ(out.cursor, nullptr);
    }
}

TEST_F(TextRefusalTest, ControlRequestsRefuseAPackageOrCallerThatIsNotUtf8)
{
    EXPECT_FALSE(start_preview_scheduler(kNotUtf8.c_str()));
    ExpectRefusedUnsent("start_preview_scheduler");
    EXPECT_FALSE(stop_preview_scheduler(kBrokenSequence.c_str()));
    ExpectRefusedUnsent("stop_preview_scheduler");
    // The caller's own id is the input of a scheduler request.
    setenv("PELMO_APP_ID", "org.example.\xe2\x82", 1);
    EXPECT_FALSE(start_preview_scheduler("org.example.fine"));
    ExpectRefusedUnsent("start_preview_scheduler caller id");

    setenv("PELMO_APP_ID", "Feltrix", 1);
    EXPECT_FALSE(terminate_service_app(kCutByNul, "42"));
    ExpectRefusedUnsent("terminate_service_app app id");
    EXPECT_FALSE(terminate_service_app("org.example.fine", std::string("42\0 43", 6)));
    ExpectRefusedUnsent("terminate_service_app pid");
}

TEST_F(TextRefusalTest, AnAppIdThatIsNotUtf8IsRefusedLikeAGivenModuleName)
{
    setenv("PELMO_APP_ID", kNotUtf8.c_str(), 1);
    PT_JSON_IN_PARAM param = MakeParam(kTiles, "{}");
    long long llOut = 0;
    EXPECT_EQ(insert_request(param, &llOut, ""), -1);
    ExpectRefusedUnsent("insert_request under the app id");
}

TEST_F(TextRefusalTest, PreviewEntryPointsRefuseAModuleNameThatIsNotUtf8OrHasANul)
{
    const char* sDocument =
        "{\"sections\":[{\"section_id\":1,\"section_title\":\"s\",\"tiles\":[{\"tile_title\":\"t\"}]}]}";
    EXPECT_EQ(set_preview_metadata(sDocument, kNotUtf8.c_str()), 0);
    ExpectRefusedUnsent("set_preview_metadata");
    EXPECT_EQ(set_preview_metadata("{}", kBrokenSequence.c_str()), 1);  // a withdrawal reports done, as always
    ExpectRefusedUnsent("set_preview_metadata withdrawal");
    std::string sJson = sDocument;
    std::string sModule = kCutByNul;
    EXPECT_EQ(update_json_str_to_preview_db(sJson, sModule), 0);
    ExpectRefusedUnsent("update_json_str_to_preview_db");
    char* pText = get_preview_metadata(kNotUtf8.c_str());
    ASSERT_NE(pText, nullptr);
    EXPECT_STREQ(pText, "");  // what a read-back gives when the store cannot be read
    finalize_json_bytes(pText);
    ExpectRefusedUnsent("get_preview_metadata");
}

TEST_F(TextRefusalTest, TransportRefusesEachOfItsThreeTexts)
{
    CPelmoGDBusUtil* pUtil = CPelmoGDBusUtil::GetInstance();
    EXPECT_EQ(pUtil->SendMessageViaDBUS("org.orvik.Feltrix.dbus", "ins\xffrt", "m", "{}"), nullptr);
    EXPECT_TRUE(m_log.Has(DLOG_ERROR,
                          "Refusing to send [ins\xffrt]: the function name is not valid UTF-8 text without "
                          "NUL (byte 3 of 6)"))
        << m_log.Dump();
    ExpectRefusedUnsent("function name");
    EXPECT_EQ(pUtil->SendMessageViaDBUS("org.orvik.Feltrix.dbus", "insert", kCutByNul, "{}"), nullptr);
    EXPECT_TRUE(m_log.Has(DLOG_ERROR,
                          "Refusing to send [insert]: the module name is not valid UTF-8 text without NUL "
                          "(byte 13 of 18)"))
        << m_log.Dump();
    ExpectRefusedUnsent("module name");
    EXPECT_EQ(pUtil->SendMessageViaDBUS("org.orvik.Feltrix.dbus", "insert", "m", "{\"a\":\"\xed\xa0\x80\"}"), nullptr);
    EXPECT_TRUE(m_log.Has(DLOG_ERROR,
                          "Refusing to send [insert]: the input is not valid UTF-8 text without NUL "
                          "(byte 6 of 11)"))
        << m_log.Dump();
    ExpectRefusedUnsent("input");
}

TEST_F(TextRefusalTest, ValidUtf8BeyondAsciiStillGoesOutUnchanged)
{
    const std::string sModule = "org.example.caf\xc3\xa9.\xf0\x9f\x8e\xac";
    const std::string sBody = "{\"tile_title\":\"\xe2\x82\xac 5\"}";
    PT_JSON_IN_PARAM param = MakeParam(kTiles, sBody);
    long long llOut = 0;
    ASSERT_EQ(insert_request(param, &llOut, sModule), 0) << m_log.Dump();
    PT_CONSUMER_SELECT_IN_PARAM in;
    in.table_name = kTiles;
    in.where = "tile_title=?";
    in.where_args = {"\xe2\x82\xac 5"};
    PT_CONSUMER_SELECT_OUT_PARAM out;
    m_service.AnswerAlways(false, "no result here");
    EXPECT_FALSE(select_request(in, out, sModule));  // refused by the service, not by the library
    const auto calls = m_service.Calls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].sPackage, sModule);
    EXPECT_EQ(calls[0].sInput, sBody);
    EXPECT_EQ(calls[1].sPackage, sModule);
    EXPECT_NE(calls[1].sInput.find("\"module_name\" : \"org.example.caf\\u00e9.\\ud83c\\udfac\""), std::string::npos)
        << calls[1].sInput;
    EXPECT_NE(calls[1].sInput.find("\\u20ac 5"), std::string::npos) << calls[1].sInput;
    EXPECT_FALSE(m_log.Has(DLOG_ERROR, "input json is wrong"));
}
