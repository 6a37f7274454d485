// What keeps the store available to every module: each request's work is bounded by its time
// budget and by limits that are cheaper to refuse than to run, names and texts that are not
// UTF-8 or hold a NUL are refused, a full disk is named, and handlers on their own connections
// serve side by side.
#include <atomic>
#include <chrono>
#include <thread>

#include "StoreTestSupport.h"

using StoreAvailability = CStoreFixture;

namespace {
Json::Value Parse(const std::string& sText)
{
    Json::Value value;
    Json::Reader().parse(sText, value);
    return value;
}
}  // namespace

TEST_F(StoreAvailability, LikeMatchesCharactersCaseAndWildcardsAsBefore)
{
    const long long llSection = AddSection("org.example.app", AddAccelerator("org.example.app"));
    for (const char* sTitle : {"Alpha", "alpine", "b\xc3\xa9ta", "beta", "%literal", "nothing"}) {
        AddTile("org.example.app", llSection, sTitle);
    }
    struct CCase {
        const char* sPattern;
        std::size_t iRows;
    };
    for (const CCase& test : {CCase{"al%", 2}, CCase{"AL_HA", 1}, CCase{"b_ta", 2}, CCase{"%ta", 2}, CCase{"%", 6},
                              CCase{"%%lit%", 1}, CCase{"", 0}, CCase{"n_t%g", 1}, CCase{"b__ta", 0}}) {
        const CResultTable* pTable =
            Select("org.example.app", Envelope(StoreUris::kTiles, "tile_title LIKE ?", {test.sPattern}));
        ASSERT_NE(pTable, nullptr) << test.sPattern;
        EXPECT_EQ(pTable->vecRows.size(), test.iRows) << test.sPattern;
    }
    // A NULL on either side matches nothing, NOT LIKE included.
    const CResultTable* pNull = Select("org.example.app", Envelope(StoreUris::kTiles, "tile_type NOT LIKE ?", {"x"}));
    ASSERT_NE(pNull, nullptr);
    EXPECT_EQ(pNull->vecRows.size(), 0u);
}

TEST_F(StoreAvailability, LongLikePatternIsRefusedBeforeItRuns)
{
    const long long llSection = AddSection("org.example.app", AddAccelerator("org.example.app"));
    AddTile("org.example.app", llSection, std::string(100000, 'a'));
    std::string sReason;
    const std::string sPattern = "%" + std::string(20000, 'a') + "b";
    EXPECT_EQ(Select("org.example.app", Envelope(StoreUris::kTiles, "tile_title LIKE ?", {sPattern}), &sReason),
              nullptr);
    EXPECT_NE(sReason.find("LIKE pattern of 20002 bytes (limit 256)"), std::string::npos) << sReason;
}

TEST_F(StoreAvailability, SlowSelectIsStoppedAtItsBudget)
{
    const long long llSection = AddSection("org.example.app", AddAccelerator("org.example.app"));
    for (int i = 0; i < 4; ++i) AddTile("org.example.app", llSection, std::string(2u << 20, 'a'));
    m_pHandler->SetBudget(std::chrono::milliseconds(50));
    // Every text position is tried against the whole pattern: about half a billion steps a row.
    const std::string sPattern = "%" + std::string(250, 'a') + "b";
    const auto start = std::chrono::steady_clock::now();
    std::string sReason;
    EXPECT_EQ(Select("org.example.app", Envelope(StoreUris::kTiles, "tile_title LIKE ?", {sPattern}), &sReason),
              nullptr);
    const double dSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_NE(sReason.find("longer than its time budget of 50 ms"), std::string::npos) << sReason;
    EXPECT_LT(dSeconds, 30.0) << "the budget did not stop the request";  // failure guard only
    // The connection serves the next request normally.
    m_pHandler->SetBudget(CStoreRequestHandler::kDefaultBudget);
    const CResultTable* pTable = Select("org.example.app", Envelope(StoreUris::kTiles));
    ASSERT_NE(pTable, nullptr);
    EXPECT_EQ(pTable->vecRows.size(), 4u);
}

TEST_F(StoreAvailability, DeleteOverItsBudgetChangesNothing)
{
    const long long llSection = AddSection("org.example.app", AddAccelerator("org.example.app"));
    for (int i = 0; i < 4; ++i) AddTile("org.example.app", llSection, std::string(2u << 20, 'a'));
    AddTile("org.example.app", llSection, "short");
    const CRowCounts before = Counts();
    m_pHandler->SetBudget(std::chrono::milliseconds(50));
    Json::Value envelope = Envelope(StoreUris::kTiles, "tile_title LIKE ? OR tile_title = ?",
                                    {"%" + std::string(250, 'a') + "b", "short"});
    const CStoreReply reply = Call("delete", "org.example.app", envelope);
    EXPECT_FALSE(reply.bResult);
    EXPECT_NE(reply.sOutput.find("time budget"), std::string::npos) << reply.sOutput;
    EXPECT_EQ(Counts(), before);
}

TEST_F(StoreAvailability, ModuleNamesThatAreNotUtf8OrHoldNulAreRefused)
{
    for (const std::string& sModule :
         {std::string("org.example.\xff"), std::string("org.example.\xc3"), std::string("org.\xed\xa0\x80.app"),
          std::string("org.example\0hidden", 18), std::string(CStoreRequestHandler::kGLibInvalidText)}) {
        Json::Value row;
        row["table_name"] = StoreUris::kAccelerators;
        row["accelerator_title"] = "x";
        const CStoreReply reply = Call("insert", sModule, row);
        EXPECT_FALSE(reply.bResult) << sModule;
        EXPECT_NE(reply.sOutput.find("module name"), std::string::npos) << reply.sOutput;
        const CStoreReply sync = CallText("send_sync", sModule, " ");
        EXPECT_FALSE(sync.bResult);
    }
    EXPECT_EQ(Counts(), (CRowCounts{0, 0, 0}));
    // Nothing was kept in the journal under a name that is not one.
    EXPECT_EQ(m_pHandler->Journal().LastSeq(CStoreRequestHandler::kGLibInvalidText), 0);
}

TEST_F(StoreAvailability, TextsWithNulAreRefusedNotCut)
{
    const long long llSection = AddSection("org.example.app", AddAccelerator("org.example.app"));
    const CRowCounts before = Counts();
    const std::string sRow = "{\"table_name\":\"" + StoreUris::kTiles + "\",\"tile_section_raw_id\":\"" +
                             std::to_string(llSection) + "\",\"tile_title\":\"visible\\u0000hidden\"}";
    CStoreReply reply = CallText("insert", "org.example.app", sRow);
    EXPECT_FALSE(reply.bResult);
    EXPECT_NE(reply.sOutput.find("NUL"), std::string::npos) << reply.sOutput;
    reply = CallText(
        "select", "org.example.app",
        "{\"table_name\":\"" + StoreUris::kTiles + "\",\"where\":\"tile_title = ?\",\"where_args\":[\"a\\u0000\"]}");
    EXPECT_FALSE(reply.bResult);
    EXPECT_NE(reply.sOutput.find("NUL"), std::string::npos) << reply.sOutput;
    reply = CallText("insert", "org.example.app", std::string("{\"table_name\":\0}", 16));
    EXPECT_FALSE(reply.bResult);
    EXPECT_EQ(reply.sOutput, "input contains a NUL character");
    reply = CallText("insert", "org.example.app", "{\"table_name\":\"\xff\"}");
    EXPECT_FALSE(reply.bResult);
    EXPECT_EQ(reply.sOutput, "input is not UTF-8 text");
    EXPECT_EQ(Counts(), before);
}

TEST_F(StoreAvailability, RequestLimitFollowsWhatTheDaemonSets)
{
    m_pHandler->SetMaxInputSize(6u << 20);
    const std::string sHead = "{\"table_name\":\"" + StoreUris::kAccelerators + "\",\"accelerator_title\":\"";
    const std::string sInput = sHead + std::string((6u << 20) - sHead.size() - 2, 'x') + "\"}";
    EXPECT_TRUE(CallText("insert", "org.example.app", sInput).bResult);
    const CStoreReply over = CallText("insert", "org.example.app", sInput + " ");
    EXPECT_FALSE(over.bResult);
    EXPECT_EQ(over.sOutput, "request too large: 6291457 bytes (limit 6291456)");
    const Json::Value stats = Parse(CallText("stats", "org.example.app", "").sOutput);
    EXPECT_EQ(stats["limits"]["request_bytes"].asUInt64(), 6u << 20);
    EXPECT_EQ(stats["limits"]["budget_ms"].asInt64(), CStoreRequestHandler::kDefaultBudget.count());
}

TEST_F(StoreAvailability, FullDatabaseIsNamedInReasonsAndStatsUntilAnInsertGoesThrough)
{
    CTempDir dir;
    Open(dir.Path() + "/store.db");
    const long long llSection = AddSection("org.example.app", AddAccelerator("org.example.app"));
    std::string sError;
    // The database may not grow past what it has now, as on a full disk.
    ASSERT_TRUE(m_pDatabase->Execute("PRAGMA max_page_count = 1", sError)) << sError;
    CStoreReply reply;
    for (int i = 0;
         i < 64 && (reply = Call("insert", "org.example.app", TileRow(llSection, std::string(8192, 't')))).bResult;
         ++i) {
    }
    ASSERT_FALSE(reply.bResult);
    EXPECT_EQ(reply.sOutput.rfind("the store's disk is full, nothing changed: ", 0), 0u) << reply.sOutput;
    Json::Value stats = Parse(CallText("stats", "org.example.app", "").sOutput);
    EXPECT_TRUE(stats["storage"]["full"].asBool());
    EXPECT_NE(stats["storage"]["reason"].asString().find("full"), std::string::npos);
    EXPECT_GE(stats["storage"]["failures"].asInt64(), 1);
    EXPECT_TRUE(stats["storage"]["since"].isIntegral());
    const Json::Value journal = Parse(CallText("journal", "org.example.app", "").sOutput);
    const Json::Value& last = journal["entries"][journal["entries"].size() - 1];
    EXPECT_NE(last["reason"].asString().find("disk is full"), std::string::npos);

    ASSERT_TRUE(m_pDatabase->Execute("PRAGMA max_page_count = 1000000", sError)) << sError;
    EXPECT_TRUE(Call("insert", "org.example.app", TileRow(llSection, "after")).bResult);
    stats = Parse(CallText("stats", "org.example.app", "").sOutput);
    EXPECT_FALSE(stats["storage"]["full"].asBool());
    EXPECT_TRUE(stats["storage"]["reason"].isNull());
    EXPECT_TRUE(stats["storage"]["last_failure"].isIntegral());
}

TEST_F(StoreAvailability, HandlersOnTheirOwnConnectionsServeBesideASlowOne)
{
    CTempDir dir;
    const std::string sPath = dir.Path() + "/store.db";
    Open(sPath);
    const long long llSection = AddSection("org.example.slow", AddAccelerator("org.example.slow"));
    for (int i = 0; i < 4; ++i) AddTile("org.example.slow", llSection, std::string(2u << 20, 'a'));
    const long long llOther = AddSection("org.example.quick", AddAccelerator("org.example.quick"));

    auto pShared = std::make_shared<CStoreSharedState>();
    CWorkerHandler slowWorker, quickWorker;
    std::string sError;
    ASSERT_TRUE(slowWorker.Open(sPath, pShared, sError)) << sError;
    ASSERT_TRUE(quickWorker.Open(sPath, pShared, sError)) << sError;
    CStoreRequestHandler& slow = *slowWorker.pHandler;
    CStoreRequestHandler& quick = *quickWorker.pHandler;
    slow.SetBudget(std::chrono::milliseconds(1500));

    std::atomic<bool> bSlowDone{false};
    CStoreReply slowReply;
    std::thread slowThread([&] {
        Json::Value envelope = Envelope(StoreUris::kTiles, "tile_title LIKE ?", {"%" + std::string(250, 'a') + "b"});
        slowReply = slow.Handle("select", "org.example.slow", ToText(envelope), AppCaller());
        bSlowDone = true;
    });
    // While the slow read works, the other module reads and writes on its own connection (a
    // write would wait for a slow write: writes take turns).
    int iServedMeanwhile = 0;
    for (int i = 0; i < 20; ++i) {
        if (quick.Handle("insert", "org.example.quick", ToText(TileRow(llOther, "q" + std::to_string(i))), AppCaller())
                .bResult &&
            quick.Handle("select", "org.example.quick", ToText(Envelope(StoreUris::kTiles)), AppCaller()).bResult &&
            !bSlowDone) {
            ++iServedMeanwhile;
        }
    }
    slowThread.join();
    EXPECT_FALSE(slowReply.bResult) << "the slow request was expected to run out of its budget";
    EXPECT_GT(iServedMeanwhile, 0);
    // Both handlers kept one journal.
    EXPECT_EQ(quick.Journal().LastSeq("org.example.slow"), 1);
    EXPECT_EQ(slow.Journal().LastSeq("org.example.quick"), 40);
}
