// Attacks on the store's availability, each against the real service on a private bus: while
// one module attacks, another module's unchanged republish of a 200-tile preview still returns
// 1 without a failed request (the library gives each request 5 s), and its stored rows stay as
// they were. The attack requests themselves are refused or answered within their budget.
#include <gio/gio.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "PreviewDocument200.h"
#include "RawStoreConnection.h"
#include "StoreFixture.h"

namespace {
const std::string kVictim = "org.example.victim";

class StoreAvailabilityTest : public StoreTest {
protected:
    // The budget of a regular build in every build: a sanitizer build's default is ten times
    // longer, within which a costly request might finish instead of being stopped.
    void ConfigureService(CHostStoreOptions& options) override { options.vecExtraArgs = {"--budget-ms", "1000"}; }
    void Prepare() override
    {
        ASSERT_GT(AddAccelerator("V", kVictim), 0);
        ASSERT_EQ(set_preview_metadata(m_sDocument.c_str(), kVictim.c_str()), 1);
        m_sStoredBefore = VictimRows();
        ASSERT_FALSE(m_sStoredBefore.empty());
    }

    // Every row of the victim's three tables, straight from the database file.
    std::string VictimRows() const
    {
        std::string sRows;
        sqlite3* pDb = nullptr;
        if (sqlite3_open_v2(m_options.sDatabase.c_str(), &pDb, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
            for (const char* sTable : {"accelerators", "sections", "tiles"}) {
                sqlite3_stmt* pStmt = nullptr;
                const std::string sSql = std::string("SELECT * FROM ") + sTable + " WHERE module_name = ? ORDER BY _id";
                if (sqlite3_prepare_v2(pDb, sSql.c_str(), -1, &pStmt, nullptr) != SQLITE_OK) continue;
                sqlite3_bind_text(pStmt, 1, kVictim.c_str(), -1, SQLITE_TRANSIENT);
                AppendRowsText(pStmt, sRows);
                sqlite3_finalize(pStmt);
            }
        }
        sqlite3_close(pDb);
        return sRows;
    }

    // Republishes the unchanged preview while `attack` runs in other threads; each republish
    // must return 1 with no request of it failing (none over its 5 s).
    void ExpectVictimUnharmedDuring(const std::function<void(const std::atomic<bool>&)>& attack, int iRepublishes = 3)
    {
        std::atomic<bool> bStop{false};
        std::atomic<bool> bAttacking{false};
        std::thread attacker([&] {
            bAttacking = true;
            attack(bStop);
        });
        while (!bAttacking) std::this_thread::yield();
        m_log.Clear();
        for (int i = 0; i < iRepublishes; ++i) {
            EXPECT_EQ(set_preview_metadata(m_sDocument.c_str(), kVictim.c_str()), 1) << "republish " << i;
        }
        const std::vector<std::string> vecErrors = m_log.Bodies(DLOG_ERROR);
        bStop = true;
        attacker.join();
        EXPECT_TRUE(vecErrors.empty()) << m_log.Dump();
        EXPECT_EQ(VictimRows(), m_sStoredBefore);
        char* pStored = get_preview_metadata(kVictim.c_str());
        ASSERT_NE(pStored, nullptr);
        Json::Value readBack;
        ASSERT_TRUE(Json::Reader().parse(pStored, readBack));
        finalize_json_bytes(pStored);
        EXPECT_EQ(readBack["sections"].size(), 10u);
    }

    const std::string m_sDocument = PreviewDocument200();
    std::string m_sStoredBefore;
};
}  // namespace

TEST_F(StoreAvailabilityTest, SlowLikeOverALargeTextDelaysNoOtherModule)
{
    CRawStoreConnection attacker;
    ASSERT_TRUE(attacker.Connected());
    // Eight texts of 2 MiB: the costly pattern below tries every text position against its 250
    // bytes, about four billion steps in all, several times what one second allows on any
    // machine (one such text alone can finish within the budget on a fast idle one).
    for (int i = 0; i < 8; ++i) ASSERT_TRUE(attacker.StoreTile("org.example.attacker", std::string(2u << 20, 'a')));
    std::atomic<int> iLongPatternRefused{0}, iOverBudget{0}, iAnswered{0}, iOther{0};
    std::string sOther;
    std::mutex otherMutex;
    ExpectVictimUnharmedDuring([&](const std::atomic<bool>& bStop) {
        // Three callers of the attacking module at once, each alternating a pattern over the
        // limit and a costly one within it.
        std::vector<std::thread> vecCallers;
        for (int iCaller = 0; iCaller < 3; ++iCaller) {
            vecCallers.emplace_back([&] {
                CRawStoreConnection own;
                for (int i = 0; !bStop || i < 2; ++i) {
                    const bool bLong = i % 2 == 0;
                    const std::string sPattern =
                        bLong ? "%" + std::string(20000, 'a') + "b" : "%" + std::string(250, 'a') + "b";
                    const CRawAnswer answer =
                        own.Call("select", "org.example.attacker",
                                 CRawStoreConnection::SelectTiles("tile_title LIKE ?", {sPattern}));
                    if (answer.bReplied && !answer.bResult && bLong &&
                        answer.sOutput.find("LIKE pattern of 20002 bytes (limit 256)") != std::string::npos) {
                        ++iLongPatternRefused;
                    } else if (answer.bReplied && !answer.bResult && !bLong &&
                               answer.sOutput.find("time budget") != std::string::npos) {
                        ++iOverBudget;
                    } else if (answer.bReplied && answer.bResult && !bLong) {
                        // The service refuses whatever runs over its budget, so an answer is
                        // one given within it.
                        ++iAnswered;
                    } else {
                        ++iOther;
                        std::lock_guard<std::mutex> lock(otherMutex);
                        sOther = answer.sOutput;
                    }
                }
            });
        }
        for (std::thread& caller : vecCallers) caller.join();
    });
    EXPECT_GT(iLongPatternRefused.load(), 0);
    // Within the 1 s budget the costly pattern over the eight texts never finishes.
    EXPECT_GT(iOverBudget.load(), 0);
    EXPECT_EQ(iAnswered.load(), 0);
    EXPECT_EQ(iOther.load(), 0) << sOther;
}

TEST_F(StoreAvailabilityTest, UnopenedResultsCannotFillSharedMemory)
{
    // The same database again, with a small total, so that a few attacking modules reach it.
    CPelmoGDBusUtil::ReleaseInstance();
    m_store.Stop();
    m_options.vecExtraArgs = {"--result-space", std::to_string(48u << 20)};
    std::string sError;
    ASSERT_TRUE(m_store.Start(m_options, sError)) << sError;

    CRawStoreConnection attacker;
    ASSERT_TRUE(attacker.Connected());
    std::vector<std::string> vecModules;
    for (int i = 0; i < 6; ++i) {
        vecModules.push_back("org.example.hoarder" + std::to_string(i));
        ASSERT_TRUE(attacker.StoreTile(vecModules.back(), std::string(3u << 20, 'h')));
    }
    std::atomic<int> iRefusedForSpace{0}, iPublished{0};
    std::string sUnexpected;
    ExpectVictimUnharmedDuring([&](const std::atomic<bool>& bStop) {
        for (int iRound = 0; !bStop || iRound < 12; ++iRound) {
            for (const std::string& sModule : vecModules) {
                const CRawAnswer answer = attacker.Call("select", sModule, CRawStoreConnection::SelectTiles());
                if (answer.bResult) {
                    ++iPublished;  // and never opened
                } else if (answer.sOutput.find("nobody opened") != std::string::npos ||
                           answer.sOutput.find("space for select results is full") != std::string::npos) {
                    ++iRefusedForSpace;
                } else {
                    sUnexpected = answer.sOutput;
                }
            }
        }
    });
    EXPECT_TRUE(sUnexpected.empty()) << sUnexpected;
    EXPECT_GT(iRefusedForSpace.load(), 0);
    EXPECT_GT(iPublished.load(), 0);
    // What waits unopened stays within the caps.
    const CRawAnswer stats = attacker.Call("stats", vecModules[0], "");
    ASSERT_TRUE(stats.bResult) << stats.sOutput;
    Json::Value root;
    ASSERT_TRUE(Json::Reader().parse(stats.sOutput, root));
    const Json::Value& results = root["results"];
    EXPECT_EQ(results["limit_bytes"].asInt64(), 48 << 20);
    EXPECT_LE(results["pending_bytes"].asInt64(), results["limit_bytes"].asInt64());
    EXPECT_LE(results["module_pending"].asInt64(), results["module_limit"].asInt64());
    EXPECT_GT(results["shm_bytes"].asInt64(), 0);
    EXPECT_GT(results["refused"].asInt64(), 0);
}

TEST_F(StoreAvailabilityTest, ModuleNamesThatAreNotUtf8NameNoModule)
{
    const std::string sFirst = "org.example.\xff\xfe";
    const std::string sSecond = "org.example.\xfe\xff";
    CRawStoreConnection attacker;
    ASSERT_TRUE(attacker.Connected());
    // Through the library: it refuses them, or GLib turns both into one stand-in text, which
    // the store refuses.
    PT_JSON_IN_PARAM accelerator;
    accelerator.data = "{\"table_name\":\"content://org.orvik.pelmo/accelerators\",\"accelerator_title\":\"A\"}";
    long long llRowId = -1;
    EXPECT_NE(insert_request(accelerator, &llRowId, sFirst), 0);
    PT_JSON_IN_PARAM tile;
    tile.data = "{\"table_name\":\"" + kTiles + "\",\"tile_title\":\"first's\"}";
    EXPECT_NE(insert_request(tile, &llRowId, sFirst), 0);
    PT_CONSUMER_SELECT_IN_PARAM in = SelectTiles();
    PT_CONSUMER_SELECT_OUT_PARAM out;
    EXPECT_FALSE(select_request(in, out, sSecond));
    // What GLib sends in their place is no module either, for any request.
    ExpectVictimUnharmedDuring([&](const std::atomic<bool>& bStop) {
        for (int i = 0; !bStop || i < 2; ++i) {
            const CRawAnswer insert = attacker.Call("insert", "[Invalid UTF-8]", tile.data);
            EXPECT_TRUE(insert.bReplied);
            EXPECT_FALSE(insert.bResult);
            EXPECT_NE(insert.sOutput.find("names no module"), std::string::npos) << insert.sOutput;
            const CRawAnswer select = attacker.Call("select", "[Invalid UTF-8]", CRawStoreConnection::SelectTiles());
            EXPECT_TRUE(select.bReplied);
            EXPECT_FALSE(select.bResult);
        }
    });
    // Neither name got a row.
    EXPECT_EQ(CountRows("tiles", "tile_title = 'first''s'"), 0);
    EXPECT_EQ(CountRows("accelerators", "module_name != '" + kVictim + "'"), 0);
}
