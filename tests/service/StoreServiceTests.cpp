// Methods that change no rows, request limits, the log line, and the database file.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "RequestLog.h"
#include "StoreTestSupport.h"

using StoreService = CStoreFixture;

TEST_F(StoreService, UnknownMethodIsRefusedWithItsName)
{
    const CStoreReply reply = CallText("drop_everything", "org.example.app", "{}");
    EXPECT_FALSE(reply.bResult);
    EXPECT_EQ(reply.sOutput, "unknown method: drop_everything");
}

TEST_F(StoreService, EmptyModuleIsRefused)
{
    for (const char* sMethod : {"insert", "select", "send_sync", "start_preview_scheduler", "terminate_service"}) {
        const CStoreReply reply = CallText(sMethod, "", "{}");
        EXPECT_FALSE(reply.bResult) << sMethod;
        EXPECT_EQ(reply.sOutput, "empty module name");
    }
}

TEST_F(StoreService, InputOverFourMebibytesIsRefused)
{
    const std::string sInput(4u * 1024u * 1024u + 1u, ' ');
    const CStoreReply reply = CallText("insert", "org.example.app", sInput);
    EXPECT_FALSE(reply.bResult);
    EXPECT_EQ(reply.sOutput, "request too large: 4194305 bytes (limit 4194304)");
    EXPECT_EQ(Counts(), (CRowCounts{0, 0, 0}));
}

TEST_F(StoreService, InputOfExactlyFourMebibytesIsRead)
{
    // One row whose title fills the request up to the limit.
    const std::string sHead = "{\"table_name\":\"content://org.orvik.pelmo/accelerators\",\"accelerator_title\":\"";
    const std::string sTail = "\"}";
    const std::string sInput = sHead + std::string(4u * 1024u * 1024u - sHead.size() - sTail.size(), 'x') + sTail;
    ASSERT_EQ(sInput.size(), 4u * 1024u * 1024u);
    const CStoreReply reply = CallText("insert", "org.example.app", sInput);
    EXPECT_TRUE(reply.bResult) << reply.sOutput.substr(0, 200);
    EXPECT_EQ(Counts().llAccelerators, 1);
}

TEST_F(StoreService, SendSyncIsRecordedPerModule)
{
    for (int i = 0; i < 2; ++i) {
        const CStoreReply reply = CallText("send_sync", "org.example.app", " ");
        EXPECT_TRUE(reply.bResult);
        EXPECT_EQ(reply.sOutput, "");
    }
    EXPECT_EQ(m_pHandler->Activity().SyncCount("org.example.app"), 2);
    EXPECT_EQ(m_pHandler->Activity().SyncCount("org.other.app"), 0);
}

TEST_F(StoreService, SchedulerStateIsRecordedPerPackage)
{
    EXPECT_EQ(m_pHandler->Activity().SchedulerState("org.example.app"), -1);
    EXPECT_TRUE(CallText("start_preview_scheduler", "org.example.app", "org.orvik.launcher").bResult);
    EXPECT_EQ(m_pHandler->Activity().SchedulerState("org.example.app"), 1);
    EXPECT_EQ(m_pHandler->Activity().SchedulerCaller("org.example.app"), "org.orvik.launcher");
    const CStoreReply reply = CallText("stop_preview_scheduler", "org.example.app", "org.orvik.launcher");
    EXPECT_TRUE(reply.bResult);
    EXPECT_EQ(reply.sOutput, "");
    EXPECT_EQ(m_pHandler->Activity().SchedulerState("org.example.app"), 0);
    EXPECT_EQ(m_pHandler->Activity().SchedulerState("org.other.app"), -1);
}

TEST_F(StoreService, TerminateServiceAnswersTrueAndOnlyRecords)
{
    const std::string sOwnPid = std::to_string(getpid());
    const CStoreReply reply = CallText("terminate_service", "org.example.app", sOwnPid);
    EXPECT_TRUE(reply.bResult);
    EXPECT_EQ(reply.sOutput, "");
    ASSERT_EQ(m_pHandler->Activity().TerminateRequests().size(), 1u);
    EXPECT_EQ(m_pHandler->Activity().TerminateRequests()[0].sAppId, "org.example.app");
    EXPECT_EQ(m_pHandler->Activity().TerminateRequests()[0].sProcessId, sOwnPid);
}

namespace {
// True when sLine starts with sHead and ends with " rows=<llRows> <digits>.<2 digits>ms".
bool IsLogLine(const std::string& sLine, const std::string& sHead, long long llRows)
{
    const std::string sRows = " rows=" + std::to_string(llRows) + " ";
    if (sLine.rfind(sHead, 0) != 0) return false;
    const std::size_t iRows = sLine.rfind(" rows=");
    if (iRows == std::string::npos || sLine.compare(iRows, sRows.size(), sRows) != 0) return false;
    const std::string sTime = sLine.substr(iRows + sRows.size());
    const std::size_t iDot = sTime.find('.');
    if (iDot == std::string::npos || iDot == 0 || sTime.size() != iDot + 5) return false;
    for (std::size_t i = 0; i < sTime.size(); ++i) {
        const bool bDigit = sTime[i] >= '0' && sTime[i] <= '9';
        if (i < iDot || i == iDot + 1 || i == iDot + 2) {
            if (!bDigit) return false;
        }
    }
    return iRows >= sHead.size() && sTime.compare(iDot + 3, 2, "ms") == 0;
}
}  // namespace

TEST_F(StoreService, LogLineNamesMethodModuleOutcomeRowsAndTime)
{
    const long long llAccelerator = AddAccelerator("org.example.app");
    Json::Value bulk;
    bulk["table_name"] = StoreUris::kSections;
    for (int i = 0; i < 3; ++i) bulk["arrayitem"][i]["section_accelerator_raw_id"] = std::to_string(llAccelerator);
    const CStoreReply ok = Call("insert_bulk", "org.example.app", bulk);
    ASSERT_TRUE(ok.bResult) << ok.sOutput;
    const std::string sOk = FormatRequestLog("insert_bulk", "org.example.app", ok);
    EXPECT_TRUE(IsLogLine(sOk, "insert_bulk module=org.example.app ok", 3)) << sOk;
    EXPECT_EQ(sOk.rfind("insert_bulk module=org.example.app ok rows=3 ", 0), 0u) << sOk;

    const CStoreReply refused = CallText("delete", "org.example.app", "nope");
    const std::string sRefused = FormatRequestLog("delete", "org.example.app", refused);
    EXPECT_TRUE(IsLogLine(sRefused, "delete module=org.example.app refused: input is not JSON: ", 0)) << sRefused;
}

TEST_F(StoreService, LogLineStaysOneLineForHostileNames)
{
    const CStoreReply reply = CallText("select\nforged line", "mod\r\nule", "{}");
    const std::string sLine = FormatRequestLog("select\nforged line", "mod\r\nule", reply);
    EXPECT_EQ(sLine.find('\n'), std::string::npos);
    EXPECT_EQ(sLine.find('\r'), std::string::npos);
    EXPECT_EQ(sLine.rfind("select?forged line module=mod??ule refused: unknown method: select?forged line rows=0 ", 0),
              0u)
        << sLine;
}

TEST_F(StoreService, FileDatabaseUsesWalAndKeepsRowsAcrossOpens)
{
    CTempDir dir;
    ASSERT_FALSE(dir.Path().empty());
    const std::string sPath = dir.Path() + "/store.db";
    Open(sPath);
    EXPECT_EQ(m_pDatabase->JournalMode(), "wal");
    const long long llSection = AddSection("org.example.app", AddAccelerator("org.example.app"));
    AddTile("org.example.app", llSection);
    Open(sPath);
    EXPECT_EQ(m_pDatabase->JournalMode(), "wal");
    EXPECT_EQ(Counts(), (CRowCounts{1, 1, 1}));
}

TEST_F(StoreService, CommittedRowsSurviveAKilledService)
{
    CTempDir dir;
    ASSERT_FALSE(dir.Path().empty());
    const std::string sPath = dir.Path() + "/store.db";
    const pid_t pid = fork();
    ASSERT_NE(pid, -1);
    if (pid == 0) {
        // The child stands for the service: it commits, then dies without closing anything.
        CStoreDatabase database;
        std::string sError;
        if (!database.Open(sPath, sError)) _exit(2);
        CMemoryResultPublisher publisher;
        CStoreRequestHandler handler(database, publisher);
        const CStoreReply reply = handler.Handle(
            "insert", "org.example.app", "{\"table_name\":\"content://org.orvik.pelmo/accelerators\"}", AppCaller());
        if (!reply.bResult) _exit(3);
        kill(getpid(), SIGKILL);
        _exit(4);
    }
    int iStatus = 0;
    ASSERT_EQ(waitpid(pid, &iStatus, 0), pid);
    ASSERT_TRUE(WIFSIGNALED(iStatus)) << "child exit status " << WEXITSTATUS(iStatus);
    EXPECT_EQ(WTERMSIG(iStatus), SIGKILL);
    Open(sPath);
    EXPECT_EQ(Counts().llAccelerators, 1);
}

TEST(StoreDatabaseOpen, UnreachablePathFailsWithAReason)
{
    CStoreDatabase database;
    std::string sError;
    EXPECT_FALSE(database.Open("/nonexistent-pelmo-dir/store.db", sError));
    EXPECT_FALSE(database.IsOpen());
    EXPECT_EQ(sError.rfind("cannot open database /nonexistent-pelmo-dir/store.db: ", 0), 0u) << sError;
}

TEST(StoreDatabaseOpen, MemoryDatabaseHasTheThreeTables)
{
    CStoreDatabase database;
    std::string sError;
    ASSERT_TRUE(database.Open(":memory:", sError)) << sError;
    EXPECT_EQ(database.CountRows("accelerators"), 0);
    EXPECT_EQ(database.CountRows("sections"), 0);
    EXPECT_EQ(database.CountRows("tiles"), 0);
    EXPECT_EQ(database.CountRows("users"), -1);
}

namespace {
class CRefusingPublisher : public IResultPublisher {
public:
    bool Publish(const std::string&, const CResultTable&, const PT_CALLER_IDENTITY&, std::string&, long long&,
                 std::string& sError) override
    {
        sError = "no shared memory left";
        return false;
    }
};
}  // namespace

TEST(StorePublish, SelectWhoseResultCannotBePublishedAnswersFalse)
{
    CStoreDatabase database;
    std::string sError;
    ASSERT_TRUE(database.Open(":memory:", sError)) << sError;
    CRefusingPublisher publisher;
    CStoreRequestHandler handler(database, publisher);
    const CStoreReply reply = handler.Handle("select", "org.example.app",
                                             "{\"table_name\":\"content://org.orvik.pelmo/tiles\"}", AppCaller());
    EXPECT_FALSE(reply.bResult);
    EXPECT_EQ(reply.sOutput, "cannot publish the result: no shared memory left");
}

TEST_F(StoreService, OverlongModuleNameIsRefused)
{
    const CStoreReply reply = CallText("send_sync", std::string(257, 'm'), " ");
    EXPECT_FALSE(reply.bResult);
    EXPECT_EQ(reply.sOutput, "module name too long: 257 bytes (limit 256)");
    EXPECT_EQ(m_pHandler->Activity().SyncCount(std::string(257, 'm')), 0);
}
