// "journal" and "stats": the store's answers for pelmoctl and people, per module.
#include <memory>

#include "StoreTestSupport.h"

class StoreTooling : public CStoreFixture {
protected:
    Json::Value Journal(const std::string& sModule, const std::string& sInput = "")
    {
        const CStoreReply reply = CallText("journal", sModule, sInput);
        EXPECT_TRUE(reply.bResult) << reply.sOutput;
        return ParseJsonText(reply.sOutput);
    }
    Json::Value Stats(const std::string& sModule)
    {
        const CStoreReply reply = CallText("stats", sModule, " ");
        EXPECT_TRUE(reply.bResult) << reply.sOutput;
        return ParseJsonText(reply.sOutput);
    }
    long long Total(const Json::Value& journal, const char* sTable, const char* sWhat)
    {
        return journal["totals"][sTable][sWhat].asInt64();
    }
    Json::Value TileRow(long long llSection, const std::string& sTitle, long long llUntil, long long llFrom = 0)
    {
        Json::Value row;
        row["tile_title"] = sTitle;
        row["tile_section_raw_id"] = std::to_string(llSection);
        row["tile_display_until"] = std::to_string(llUntil);
        row["tile_display_from"] = std::to_string(llFrom);
        return row;
    }
};

TEST_F(StoreTooling, JournalListsEachRequestWithTableOutcomeAndRowsChanged)
{
    const long long llAccelerator = AddAccelerator("org.example.app");
    const long long llSection = AddSection("org.example.app", llAccelerator);
    Json::Value bulk;
    bulk["table_name"] = StoreUris::kTiles;
    bulk["arrayitem"].append(TileRow(llSection, "a", 0));
    bulk["arrayitem"].append(TileRow(llSection, "b", 0));
    ASSERT_TRUE(Call("insert_bulk", "org.example.app", bulk).bResult);
    ASSERT_TRUE(CallText("send_sync", "org.example.app", " ").bResult);

    const Json::Value journal = Journal("org.example.app");
    EXPECT_EQ(journal["module"].asString(), "org.example.app");
    EXPECT_EQ(journal["last_seq"].asInt64(), 4);
    EXPECT_EQ(journal["first_kept_seq"].asInt64(), 1);
    const Json::Value& entries = journal["entries"];
    ASSERT_EQ(entries.size(), 4u);
    EXPECT_EQ(entries[0]["seq"].asInt64(), 1);
    EXPECT_EQ(entries[0]["method"].asString(), "insert");
    EXPECT_EQ(entries[0]["table"].asString(), "accelerators");
    EXPECT_TRUE(entries[0]["ok"].asBool());
    EXPECT_EQ(entries[0]["changes"]["accelerators"]["inserted"].asInt64(), 1);
    EXPECT_EQ(entries[2]["method"].asString(), "insert_bulk");
    EXPECT_EQ(entries[2]["table"].asString(), "tiles");
    EXPECT_EQ(entries[2]["rows"].asInt64(), 2);
    EXPECT_EQ(entries[2]["changes"]["tiles"]["inserted"].asInt64(), 2);
    EXPECT_EQ(entries[3]["method"].asString(), "send_sync");
    EXPECT_EQ(entries[3]["table"].asString(), "");
    EXPECT_TRUE(entries[3]["changes"].empty());
    EXPECT_EQ(Total(journal, "accelerators", "inserted"), 1);
    EXPECT_EQ(Total(journal, "sections", "inserted"), 1);
    EXPECT_EQ(Total(journal, "tiles", "inserted"), 2);
    EXPECT_EQ(Total(journal, "tiles", "updated"), 0);
}

TEST_F(StoreTooling, DeletingASectionCountsTheTilesItTookAlong)
{
    const long long llSection = AddSection("org.example.app", AddAccelerator("org.example.app"));
    AddTile("org.example.app", llSection, "a");
    AddTile("org.example.app", llSection, "b");
    const long long llSeq = Journal("org.example.app")["last_seq"].asInt64();
    ASSERT_TRUE(Call("delete", "org.example.app", Envelope(StoreUris::kSections)).bResult);

    const Json::Value journal = Journal("org.example.app", "{\"since\": " + std::to_string(llSeq) + "}");
    ASSERT_EQ(journal["entries"].size(), 1u);
    const Json::Value& changes = journal["entries"][0]["changes"];
    EXPECT_EQ(changes["sections"]["deleted"].asInt64(), 1);
    EXPECT_EQ(changes["tiles"]["deleted"].asInt64(), 2);
    EXPECT_EQ(Total(journal, "tiles", "deleted"), 2);
    EXPECT_EQ(Total(journal, "sections", "deleted"), 1);
}

TEST_F(StoreTooling, UpdatesAreCountedPerTable)
{
    const long long llAccelerator = AddAccelerator("org.example.app");
    const long long llSection = AddSection("org.example.app", llAccelerator);
    const long long llTile = AddTile("org.example.app", llSection);
    ASSERT_TRUE(
        Call("update", "org.example.app", UpdateOfOneRow(StoreUris::kTiles, llTile, {{"tile_title", "renamed"}}))
            .bResult);
    const Json::Value journal = Journal("org.example.app");
    EXPECT_EQ(Total(journal, "tiles", "updated"), 1);
    EXPECT_EQ(Total(journal, "sections", "updated"), 0);
}

TEST_F(StoreTooling, RefusedRequestIsJournalledWithItsReasonAndNoChanges)
{
    Json::Value row;
    row["table_name"] = StoreUris::kTiles;
    row["tile_title"] = "orphan";
    row["tile_section_raw_id"] = "999";
    const CStoreReply reply = Call("insert", "org.example.app", row);
    ASSERT_FALSE(reply.bResult);

    const Json::Value journal = Journal("org.example.app");
    ASSERT_EQ(journal["entries"].size(), 1u);
    const Json::Value& entry = journal["entries"][0];
    EXPECT_EQ(entry["method"].asString(), "insert");
    EXPECT_EQ(entry["table"].asString(), "tiles");
    EXPECT_FALSE(entry["ok"].asBool());
    EXPECT_EQ(entry["reason"].asString(), reply.sOutput);
    EXPECT_TRUE(entry["changes"].empty());
    EXPECT_EQ(Total(journal, "tiles", "inserted"), 0);
}

TEST_F(StoreTooling, SinceReturnsOnlyLaterEntries)
{
    AddAccelerator("org.example.app");
    ASSERT_TRUE(CallText("send_sync", "org.example.app", " ").bResult);
    ASSERT_TRUE(CallText("send_sync", "org.example.app", " ").bResult);
    const Json::Value journal = Journal("org.example.app", "{\"since\": 2}");
    ASSERT_EQ(journal["entries"].size(), 1u);
    EXPECT_EQ(journal["entries"][0]["seq"].asInt64(), 3);
    EXPECT_EQ(Journal("org.example.app", "{\"since\": 3}")["entries"].size(), 0u);
    EXPECT_EQ(Journal("org.example.app", "{}")["entries"].size(), 3u);
}

TEST_F(StoreTooling, JournalAndStatsAreNotThemselvesJournalled)
{
    AddAccelerator("org.example.app");
    Journal("org.example.app");
    Stats("org.example.app");
    const Json::Value journal = Journal("org.example.app");
    EXPECT_EQ(journal["last_seq"].asInt64(), 1);
    EXPECT_EQ(journal["entries"].size(), 1u);
}

TEST_F(StoreTooling, ModuleSeesOnlyItsOwnJournalAndStatistics)
{
    const long long llSection = AddSection("org.example.a", AddAccelerator("org.example.a"));
    AddTile("org.example.a", llSection);
    ASSERT_TRUE(CallText("send_sync", "org.example.a", " ").bResult);

    const Json::Value journal = Journal("org.example.b");
    EXPECT_EQ(journal["module"].asString(), "org.example.b");
    EXPECT_EQ(journal["last_seq"].asInt64(), 0);
    EXPECT_EQ(journal["first_kept_seq"].asInt64(), 0);
    EXPECT_EQ(journal["entries"].size(), 0u);
    EXPECT_EQ(Total(journal, "tiles", "inserted"), 0);

    const Json::Value stats = Stats("org.example.b");
    EXPECT_FALSE(stats["registered"].asBool());
    EXPECT_EQ(stats["accelerator_rows"].asInt64(), 0);
    EXPECT_EQ(stats["sections"].asInt64(), 0);
    EXPECT_EQ(stats["tiles"].asInt64(), 0);
    EXPECT_EQ(stats["sync_count"].asInt64(), 0);
    EXPECT_TRUE(stats["last_sync"].isNull());
    EXPECT_EQ(stats["journal_seq"].asInt64(), 0);

    const Json::Value own = Stats("org.example.a");
    EXPECT_TRUE(own["registered"].asBool());
    EXPECT_EQ(own["tiles"].asInt64(), 1);
    EXPECT_EQ(own["sync_count"].asInt64(), 1);
}

TEST_F(StoreTooling, JournalKeepsTheLastEntriesButExactTotals)
{
    const long long llSection = AddSection("org.example.app", AddAccelerator("org.example.app"));
    const int iTiles = static_cast<int>(CRequestJournal::kMaxEntriesPerModule) + 10;
    for (int i = 0; i < iTiles; ++i) AddTile("org.example.app", llSection, "t" + std::to_string(i));

    const Json::Value journal = Journal("org.example.app");
    const long long llLast = 2 + iTiles;
    EXPECT_EQ(journal["last_seq"].asInt64(), llLast);
    EXPECT_EQ(journal["entries"].size(), CRequestJournal::kMaxEntriesPerModule);
    EXPECT_EQ(journal["first_kept_seq"].asInt64(),
              llLast - static_cast<long long>(CRequestJournal::kMaxEntriesPerModule) + 1);
    EXPECT_EQ(journal["entries"][0]["seq"].asInt64(), journal["first_kept_seq"].asInt64());
    EXPECT_EQ(Total(journal, "tiles", "inserted"), iTiles);
    EXPECT_EQ(Total(journal, "accelerators", "inserted"), 1);
}

TEST_F(StoreTooling, JournalForgetsTheQuietestModuleWhenFull)
{
    AddAccelerator("org.example.first");
    for (std::size_t i = 0; i < CRequestJournal::kMaxModules - 1; ++i) {
        ASSERT_TRUE(CallText("send_sync", "org.example.m" + std::to_string(i), " ").bResult);
    }
    // Still within the limit: the first module is known; touching it makes another the quietest.
    EXPECT_EQ(Journal("org.example.first")["last_seq"].asInt64(), 1);
    ASSERT_TRUE(CallText("send_sync", "org.example.first", " ").bResult);
    ASSERT_TRUE(CallText("send_sync", "org.example.newcomer", " ").bResult);
    EXPECT_EQ(Journal("org.example.first")["last_seq"].asInt64(), 2);
    EXPECT_EQ(Journal("org.example.m0")["last_seq"].asInt64(), 0);
    EXPECT_EQ(Journal("org.example.newcomer")["last_seq"].asInt64(), 1);
}

TEST_F(StoreTooling, JournalRefusesInputOtherThanSince)
{
    const std::string sReason = "journal: input must be empty or {\"since\": N} with N a whole number >= 0";
    for (const char* sInput : {"[]", "not json", "{\"since\": -1}", "{\"since\": \"3\"}", "{\"since\": 1.5}",
                               "{\"until\": 3}", "{\"since\": 1} x"}) {
        const CStoreReply reply = CallText("journal", "org.example.app", sInput);
        EXPECT_FALSE(reply.bResult) << sInput;
        EXPECT_EQ(reply.sOutput, sReason) << sInput;
    }
}

TEST_F(StoreTooling, EmptyModuleIsRefusedForJournalAndStats)
{
    for (const char* sMethod : {"journal", "stats"}) {
        const CStoreReply reply = CallText(sMethod, "", "");
        EXPECT_FALSE(reply.bResult);
        EXPECT_EQ(reply.sOutput, "empty module name");
    }
}

TEST_F(StoreTooling, StatsCountRowsAndTilesOutsideTheirDisplayWindow)
{
    m_pHandler->SetClock([] { return static_cast<std::time_t>(2000000000); });
    const long long llAccelerator = AddAccelerator("org.example.app", "Player");
    const long long llSection = AddSection("org.example.app", llAccelerator);
    Json::Value bulk;
    bulk["table_name"] = StoreUris::kTiles;
    bulk["arrayitem"].append(TileRow(llSection, "over", 1999999999));
    bulk["arrayitem"].append(TileRow(llSection, "current", 2000000001));
    bulk["arrayitem"].append(TileRow(llSection, "no end", 0));
    bulk["arrayitem"].append(TileRow(llSection, "not yet", 0, 2000000100));
    ASSERT_TRUE(Call("insert_bulk", "org.example.app", bulk).bResult);

    const Json::Value stats = Stats("org.example.app");
    EXPECT_EQ(stats["module"].asString(), "org.example.app");
    EXPECT_TRUE(stats["registered"].asBool());
    EXPECT_EQ(stats["accelerator_rows"].asInt64(), 1);
    EXPECT_EQ(stats["accelerator_id"].asInt64(), llAccelerator);
    EXPECT_EQ(stats["title"].asString(), "Player");
    EXPECT_EQ(stats["sections"].asInt64(), 1);
    EXPECT_EQ(stats["tiles"].asInt64(), 4);
    EXPECT_EQ(stats["expired_tiles"].asInt64(), 1);
    EXPECT_EQ(stats["future_tiles"].asInt64(), 1);
    EXPECT_EQ(stats["now"].asInt64(), 2000000000);
    EXPECT_EQ(stats["journal_seq"].asInt64(), 3);
}

TEST_F(StoreTooling, StatsTellTheServicesMemoryWithSQLitesShareAndItsPageCache)
{
    const long long llSection = AddSection("org.example.app", AddAccelerator("org.example.app"));
    Json::Value memory = Stats("org.example.app")["service_memory"];
    const long long llCacheBefore = memory["page_cache_bytes"].asInt64();
    EXPECT_GT(memory["sqlite_bytes"].asInt64(), 0);
    EXPECT_GE(memory["heap_bytes"].asInt64(), memory["sqlite_bytes"].asInt64());
    EXPECT_GT(llCacheBefore, 0);
    EXPECT_LE(llCacheBefore, memory["sqlite_bytes"].asInt64());
    // SQLite's default: 2000 KiB.
    EXPECT_EQ(memory["page_cache_limit_bytes"].asInt64(), 2000 * 1024);

    // More rows, more cached pages; the limit follows the database's setting.
    Json::Value bulk;
    bulk["table_name"] = StoreUris::kTiles;
    for (int i = 0; i < 400; ++i) bulk["arrayitem"].append(TileRow(llSection, std::string(200, 'a' + i % 26), 0));
    ASSERT_TRUE(Call("insert_bulk", "org.example.app", bulk).bResult);
    std::string sError;
    ASSERT_TRUE(m_pDatabase->Execute("PRAGMA cache_size = 50", sError)) << sError;
    memory = Stats("org.example.app")["service_memory"];
    EXPECT_GT(memory["page_cache_bytes"].asInt64(), llCacheBefore);
    long long llPageSize = 0;
    {
        CStatement statement = m_pDatabase->Prepare("PRAGMA page_size", sError);
        ASSERT_TRUE(statement) << sError;
        ASSERT_EQ(sqlite3_step(statement.Get()), SQLITE_ROW);
        llPageSize = sqlite3_column_int64(statement.Get(), 0);
    }
    EXPECT_EQ(memory["page_cache_limit_bytes"].asInt64(), 50 * llPageSize);
}

TEST_F(StoreTooling, StatsTellTheLastCompletionEventAndTheSchedulerState)
{
    std::time_t tNow = 1800000000;
    m_pHandler->SetClock([&tNow] { return tNow; });
    Json::Value stats = Stats("org.example.app");
    EXPECT_EQ(stats["scheduler"].asString(), "unknown");
    EXPECT_TRUE(stats["last_sync"].isNull());

    ASSERT_TRUE(CallText("send_sync", "org.example.app", " ").bResult);
    tNow += 60;
    ASSERT_TRUE(CallText("send_sync", "org.example.app", " ").bResult);
    ASSERT_TRUE(CallText("start_preview_scheduler", "org.example.app", "org.orvik.launcher").bResult);
    stats = Stats("org.example.app");
    EXPECT_EQ(stats["sync_count"].asInt64(), 2);
    EXPECT_EQ(stats["last_sync"].asInt64(), 1800000060);
    EXPECT_EQ(stats["scheduler"].asString(), "running");
    EXPECT_EQ(stats["scheduler_caller"].asString(), "org.orvik.launcher");

    ASSERT_TRUE(CallText("stop_preview_scheduler", "org.example.app", "org.orvik.launcher").bResult);
    EXPECT_EQ(Stats("org.example.app")["scheduler"].asString(), "stopped");
}

TEST_F(StoreTooling, ToolingMethodsChangeNoRows)
{
    const long long llSection = AddSection("org.example.app", AddAccelerator("org.example.app"));
    AddTile("org.example.app", llSection);
    const CRowCounts before = Counts();
    Stats("org.example.app");
    Journal("org.example.app");
    CallText("journal", "org.example.app", "bad");
    EXPECT_EQ(Counts(), before);
}
