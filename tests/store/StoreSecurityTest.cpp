// A module sees and touches only its own rows, and text outside the store's query grammar is
// refused without changing anything; the store keeps serving afterwards.
#include "StoreFixture.h"

namespace {
const std::string kTiles = "content://org.orvik.pelmo/tiles";

struct CCounts {
    long long llAccelerators, llSections, llTiles;
    bool operator==(const CCounts& o) const
    {
        return llAccelerators == o.llAccelerators && llSections == o.llSections && llTiles == o.llTiles;
    }
};
}  // namespace

class StoreSecurityTest : public StoreTest {
protected:
    void SetUp() override
    {
        StoreTest::SetUp();
        m_llSectionA = AddModuleWithSection("org.example.a", &m_llAcceleratorA);
        m_llSectionB = AddModuleWithSection("org.example.b");
        ASSERT_GT(m_llSectionA, 0);
        ASSERT_GT(m_llSectionB, 0);
        m_llTileB = Insert("{\"table_name\":\"" + kTiles + "\",\"tile_title\":\"b\",\"tile_section_raw_id\":\"" +
                               std::to_string(m_llSectionB) + "\"}",
                           "org.example.b");
        ASSERT_GT(m_llTileB, 0);
    }
    CCounts Counts() const { return {CountRows("accelerators"), CountRows("sections"), CountRows("tiles")}; }

    // The store is still there and still answers correctly.
    void ExpectStillServing()
    {
        PT_CONSUMER_SELECT_IN_PARAM in = SelectTiles();
        PT_CONSUMER_SELECT_OUT_PARAM out;
        ASSERT_TRUE(select_request(in, out, "org.example.b"));
        ASSERT_NE(out.cursor, nullptr);
        EXPECT_EQ(out.cursor->GetRowCount(), 1);
    }

    int Delete(const std::string& sWhere, std::vector<std::string> vecArgs, const std::string& sModule)
    {
        PT_JSON_IN_PARAM del;
        del.table_name = kTiles;
        del.data = sWhere;
        del.where_args = std::move(vecArgs);
        return delete_request(del, sModule);
    }

    long long m_llAcceleratorA = -1, m_llSectionA = -1, m_llSectionB = -1, m_llTileB = -1;
};

TEST_F(StoreSecurityTest, ModuleCannotReadAnotherModulesRows)
{
    PT_CONSUMER_SELECT_IN_PARAM in = SelectTiles("_id = ?", {std::to_string(m_llTileB)});
    PT_CONSUMER_SELECT_OUT_PARAM out;
    ASSERT_TRUE(select_request(in, out, "org.example.a"));
    ASSERT_NE(out.cursor, nullptr);
    EXPECT_EQ(out.cursor->GetRowCount(), 0);
}

TEST_F(StoreSecurityTest, ModuleCannotDeleteAnotherModulesRows)
{
    const CCounts before = Counts();
    EXPECT_EQ(Delete("_id = ?", {std::to_string(m_llTileB)}, "org.example.a"), 0);  // deletes nothing
    EXPECT_EQ(Delete("", {}, "org.example.a"), 0);
    EXPECT_EQ(Counts(), before);
    ExpectStillServing();
}

TEST_F(StoreSecurityTest, ModuleCannotUpdateAnotherModulesRows)
{
    PT_JSON_IN_PARAM update;
    update.data = "{\"table_name\":\"" + kTiles + "\",\"arrayitem\":[{\"bulk_update_row_id_key\":\"" +
                  std::to_string(m_llTileB) + "\",\"tile_title\":\"stolen\"}]}";
    long long llOut = 0;
    EXPECT_EQ(update_request_for_bulk_data(update, &llOut, "org.example.a"), -1);
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "dbus call fail in update_request_for_bulk_data"));
    EXPECT_EQ(CountRows("tiles", "tile_title = 'stolen'"), 0);
    ExpectStillServing();
}

TEST_F(StoreSecurityTest, ModuleCannotAttachRowsToAnotherModulesParent)
{
    const CCounts before = Counts();
    EXPECT_EQ(Insert("{\"table_name\":\"" + kTiles + "\",\"tile_title\":\"x\",\"tile_section_raw_id\":\"" +
                         std::to_string(m_llSectionB) + "\"}",
                     "org.example.a"),
              -1);
    EXPECT_EQ(Insert("{\"table_name\":\"content://org.orvik.pelmo/sections\",\"section_title\":\"x\","
                     "\"section_accelerator_raw_id\":\"" +
                         std::to_string(m_llAcceleratorA) + "\"}",
                     "org.example.b"),
              -1);
    EXPECT_EQ(Counts(), before);
    ExpectStillServing();
}

TEST_F(StoreSecurityTest, WhereTextOutsideTheGrammarIsRefusedAndChangesNothing)
{
    const CCounts before = Counts();
    struct {
        const char* sWhere;
        std::vector<std::string> vecArgs;
    } cases[] = {
        {"1=1; DROP TABLE tiles", {"x"}},
        {"_id = ?; DROP TABLE tiles", {"1"}},
        {"no_such_column = ?", {"1"}},
        {"module_name = ?", {"org.example.b"}},
        {"(_id = ?", {"1"}},
        {"_id = ?)", {"1"}},
        {"_id = ? or _id = ?", {"1"}},
        {"_id = ?", {"1", "2"}},
        {"_id = 1", {"1"}},
        {"_id = ? -- comment", {"1"}},
    };
    for (const auto& c : cases) {
        m_log.Clear();
        EXPECT_EQ(Delete(c.sWhere, c.vecArgs, "org.example.b"), -1) << c.sWhere;
        EXPECT_TRUE(m_log.Has(DLOG_ERROR, "dbus call fail in delete_request")) << c.sWhere;
        PT_CONSUMER_SELECT_IN_PARAM in = SelectTiles(c.sWhere, c.vecArgs);
        PT_CONSUMER_SELECT_OUT_PARAM out;
        EXPECT_FALSE(select_request(in, out, "org.example.b")) << c.sWhere;
        EXPECT_EQ(out.cursor, nullptr);
    }
    EXPECT_EQ(Counts(), before);
    ExpectStillServing();
}

TEST_F(StoreSecurityTest, OrderAndColumnsOutsideTheGrammarAreRefused)
{
    PT_CONSUMER_SELECT_IN_PARAM in = SelectTiles();
    in.order = "tile_title; DROP TABLE tiles";
    PT_CONSUMER_SELECT_OUT_PARAM out;
    EXPECT_FALSE(select_request(in, out, "org.example.b"));
    in.order = "";
    in.column_list = {"tile_title", "module_name"};
    EXPECT_FALSE(select_request(in, out, "org.example.b"));
    in.column_list = {"sqlite_version()"};
    EXPECT_FALSE(select_request(in, out, "org.example.b"));
    EXPECT_EQ(CountRows("tiles"), 1);
    ExpectStillServing();
}

TEST_F(StoreSecurityTest, InputThatIsNotJsonIsRefused)
{
    PT_JSON_IN_PARAM param;
    param.data = "this is not json {";
    long long llRowId = 0;
    EXPECT_EQ(insert_request(param, &llRowId, "org.example.b"), -1);
    EXPECT_EQ(insert_request_for_bulk_data(param, &llRowId, "org.example.b"), -1);
    EXPECT_EQ(update_request_for_bulk_data(param, &llRowId, "org.example.b"), -1);
    EXPECT_EQ(CountRows("tiles"), 1);
    ExpectStillServing();
}

TEST_F(StoreSecurityTest, BulkInsertWhoseLastRowIsBadLeavesNoRow)
{
    const std::string sGood =
        "{\"tile_title\":\"ok\",\"tile_section_raw_id\":\"" + std::to_string(m_llSectionA) + "\"}";
    PT_JSON_IN_PARAM param;
    param.data = "{\"table_name\":\"" + kTiles + "\",\"arrayitem\":[" + sGood + "," + sGood + "," +
                 "{\"no_such_column\":\"x\"}]}";
    long long llRowId = 0;
    EXPECT_EQ(insert_request_for_bulk_data(param, &llRowId, "org.example.a"), -1);
    EXPECT_EQ(CountRows("tiles", "tile_title = 'ok'"), 0);
    ExpectStillServing();
}

TEST_F(StoreSecurityTest, RequestTheBusCarriesIsServedWhateverItsSize)
{
    // Larger than the 4 MiB the store once took; the bus carries up to 32 MiB in one message.
    PT_JSON_IN_PARAM param;
    param.data = "{\"table_name\":\"" + kTiles + "\",\"tile_title\":\"" + std::string(5u << 20, 'x') + "\"}";
    long long llRowId = 0;
    EXPECT_EQ(insert_request(param, &llRowId, "org.example.a"), 0);
    EXPECT_EQ(CountRows("tiles"), 2);
    EXPECT_NE(ReadRequestLog().find("serving"), std::string::npos);
    EXPECT_NE(ReadRequestLog().find("requests up to 33554432 bytes"), std::string::npos) << ReadRequestLog();
    ExpectStillServing();
}

TEST_F(StoreSecurityTest, RequestOverTheBusMessageSizeFailsAndChangesNothing)
{
    PT_JSON_IN_PARAM param;
    param.data = "{\"table_name\":\"" + kTiles + "\",\"tile_title\":\"" + std::string(33u << 20, 'x') + "\"}";
    long long llRowId = 0;
    EXPECT_EQ(insert_request(param, &llRowId, "org.example.a"), -1);
    EXPECT_EQ(CountRows("tiles"), 1);
    // The bus daemon drops a connection that sends it a message over its limit; the store
    // itself goes on serving, as a fresh connection sees.
    CPelmoGDBusUtil::ReleaseInstance();
    ExpectStillServing();
}
