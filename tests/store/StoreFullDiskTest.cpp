// A full disk under the store: the store says so in every refused request, in its statistics
// and in `pelmoctl status`, and once there is space again the next publish converges. The
// database lives on a small tmpfs that this test mounts in a mount namespace of its own, so
// nothing outside the test sees it (needs root; skipped otherwise).
#include <errno.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "PreviewDocument200.h"
#include "StoreFixture.h"

namespace {
const std::string kModule = "org.example.fulldisk";

Json::Value Stats()
{
    Json::Value root;
    std::string sOutput;
    GVariant* pReply =
        CPelmoGDBusUtil::GetInstance()->SendMessageViaDBUS("org.orvik.Feltrix.dbus", "stats", kModule, "");
    if (CPelmoGDBusUtil::GetInstance()->GetDBusData(pReply, sOutput)) Json::Reader().parse(sOutput, root);
    return root;
}

std::string RunStatus()
{
    std::string sOut;
    FILE* pPipe = popen((std::string(PELMOCTL_PATH) + " status " + kModule + " 2>&1").c_str(), "r");
    if (pPipe == nullptr) return sOut;
    char aBuffer[512];
    while (std::fgets(aBuffer, sizeof aBuffer, pPipe) != nullptr) sOut += aBuffer;
    pclose(pPipe);
    return sOut;
}

// Every tile title of the stored preview, in order.
std::string StoredTitles()
{
    std::string sTitles;
    char* pText = get_preview_metadata(kModule.c_str());
    Json::Value root;
    if (pText != nullptr && Json::Reader().parse(pText, root)) {
        for (const Json::Value& section : root["sections"]) {
            for (const Json::Value& tile : section["tiles"]) sTitles += tile["tile_title"].asString() + "\n";
        }
    }
    finalize_json_bytes(pText);
    return sTitles;
}

std::string DocumentTitles(const std::string& sDocument)
{
    Json::Value root;
    Json::Reader().parse(sDocument, root);
    std::string sTitles;
    for (const Json::Value& section : root["sections"]) {
        for (const Json::Value& tile : section["tiles"]) sTitles += tile["tile_title"].asString() + "\n";
    }
    return sTitles;
}

class StoreFullDiskTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (geteuid() != 0) GTEST_SKIP() << "needs root to mount a small tmpfs in a mount namespace of its own";
        if (unshare(CLONE_NEWNS) != 0) {
            GTEST_SKIP() << "cannot make a private mount namespace: " << std::strerror(errno);
        }
        // Mounts made here stay here.
        ASSERT_EQ(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0) << std::strerror(errno);
        char sTemplate[] = "/tmp/pelmo-full-disk.XXXXXX";
        ASSERT_NE(mkdtemp(sTemplate), nullptr);
        m_sDir = sTemplate;
        ASSERT_EQ(mount("tmpfs", m_sDir.c_str(), "tmpfs", 0, "size=2m"), 0) << std::strerror(errno);
        m_bMounted = true;
        setenv("PELMO_APP_ID", "org.example.caller", 1);
        m_options.sServicePath = PELMO_SERVICE_PATH;
        m_options.sDatabase = m_sDir + "/store.db";
        // The request log goes to standard error, off the small disk.
        std::string sError;
        ASSERT_TRUE(m_store.Start(m_options, sError)) << sError;
    }
    void TearDown() override
    {
        CPelmoGDBusUtil::ReleaseInstance();
        m_store.Stop();
        if (m_bMounted) umount2(m_sDir.c_str(), MNT_DETACH);
        if (!m_sDir.empty()) rmdir(m_sDir.c_str());
    }

    // Fills what is left of the tmpfs with one file.
    void FillDisk()
    {
        const int iFd = open((m_sDir + "/filler").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ASSERT_GE(iFd, 0);
        const std::string sChunk(4096, 'f');
        while (write(iFd, sChunk.data(), sChunk.size()) > 0) {
        }
        EXPECT_EQ(errno, ENOSPC);
        close(iFd);
    }

    CHostStore m_store;
    CHostStoreOptions m_options;
    std::string m_sDir;
    bool m_bMounted = false;
    long long m_llSeqBeforeFull = 0;
};
}  // namespace

TEST_F(StoreFullDiskTest, FullDiskIsReportedAndTheNextPublishConvergesOnceThereIsSpace)
{
    PT_JSON_IN_PARAM accelerator;
    accelerator.data = "{\"table_name\":\"content://org.orvik.pelmo/accelerators\",\"accelerator_title\":\"F\"}";
    long long llRowId = -1;
    ASSERT_EQ(insert_request(accelerator, &llRowId, kModule), 0);
    const std::string sFirst = PreviewDocument200("", 300);
    ASSERT_EQ(set_preview_metadata(sFirst.c_str(), kModule.c_str()), 1);
    EXPECT_FALSE(Stats()["storage"]["full"].asBool());

    m_llSeqBeforeFull = Stats()["journal_seq"].asInt64();
    FillDisk();
    const std::string sSecond = PreviewDocument200(" (second)", 300);
    set_preview_metadata(sSecond.c_str(), kModule.c_str());  // its writes are refused
    const Json::Value stats = Stats();
    ASSERT_TRUE(stats["storage"]["full"].asBool()) << stats.toStyledString();
    const std::string sReason = stats["storage"]["reason"].asString();
    EXPECT_TRUE(sReason.find("disk is full") != std::string::npos || sReason.find("disk failed") != std::string::npos)
        << sReason;
    // Every write of the publish that was refused says why (updates that change nothing may go
    // through on a full disk).
    Json::Value journal;
    std::string sJournal;
    ASSERT_TRUE(CPelmoGDBusUtil::GetInstance()->GetDBusData(
        CPelmoGDBusUtil::GetInstance()->SendMessageViaDBUS("org.orvik.Feltrix.dbus", "journal", kModule, ""),
        sJournal));
    ASSERT_TRUE(Json::Reader().parse(sJournal, journal));
    int iRefusedWrites = 0;
    for (const Json::Value& entry : journal["entries"]) {
        const std::string sMethod = entry["method"].asString();
        if (entry["seq"].asInt64() <= m_llSeqBeforeFull || sMethod == "select" || sMethod == "send_sync") continue;
        if (entry["ok"].asBool()) continue;
        const std::string sWhy = entry["reason"].asString();
        EXPECT_TRUE(sWhy.rfind("the store's disk is full", 0) == 0 || sWhy.rfind("the store's disk failed", 0) == 0)
            << sWhy;
        ++iRefusedWrites;
    }
    EXPECT_GT(iRefusedWrites, 0);
    const std::string sStatus = RunStatus();
    EXPECT_NE(sStatus.find("store disk: full since"), std::string::npos) << sStatus;

    ASSERT_EQ(unlink((m_sDir + "/filler").c_str()), 0);
    EXPECT_EQ(set_preview_metadata(sSecond.c_str(), kModule.c_str()), 1);
    EXPECT_EQ(StoredTitles(), DocumentTitles(sSecond));
    EXPECT_FALSE(Stats()["storage"]["full"].asBool());
    EXPECT_NE(RunStatus().find("store disk: writable again"), std::string::npos);
}
