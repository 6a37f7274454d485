// A client that asks for rows and goes away without opening the result (killed between the
// reply and the read): the store removes the result once its time is up and serves on.
#include <json/json.h>
#include <stdio.h>
#include <sys/stat.h>

#include "EventWait.h"
#include "FaultFixture.h"

namespace {
bool ShmExists(const std::string& sKey)
{
    struct stat st;
    return stat(("/dev/shm" + sKey).c_str(), &st) == 0;
}

// Runs a one-off client process (dbus-send) that makes a select and exits; returns its output.
std::string SelectFromAnotherProcess(const std::string& sModule)
{
    const std::string sCommand =
        "dbus-send --system --print-reply --dest=org.orvik.Feltrix.dbus /org/orvik/pelmo_service "
        "org.orvik.pelmo_service.Call string:select string:" +
        sModule +
        " 'string:{\"table_name\":\"content://org.orvik.pelmo/"
        "sections\",\"where\":\"\",\"group_by\":\"\",\"order\":\"\"}'"
        " 2>&1";
    std::string sOutput;
    FILE* pPipe = popen(sCommand.c_str(), "r");
    if (pPipe == nullptr) return sOutput;
    char sBuffer[512];
    while (fgets(sBuffer, sizeof(sBuffer), pPipe) != nullptr) sOutput += sBuffer;
    pclose(pPipe);
    return sOutput;
}

// The shared-memory name in a select reply; dbus-send prints the output text unquoted, so the
// JSON object is everything from the first brace to the last. "" when there is none.
std::string ResultKey(const std::string& sReply)
{
    const size_t first = sReply.find('{');
    const size_t last = sReply.rfind('}');
    Json::Value output;
    if (first == std::string::npos || last == std::string::npos || last < first) return "";
    if (!Json::Reader().parse(sReply.substr(first, last - first + 1), output) || !output.isObject()) return "";
    return output.get("key", "").asString();
}
}  // namespace

TEST_F(FaultTest, ResultOfAClientThatLeftWithoutReadingIsRemovedAndTheStoreServesOn)
{
    CPelmoGDBusUtil::ReleaseInstance();
    m_store.Stop();
    m_options.vecExtraArgs = {"--result-ttl", "1"};
    std::string sError;
    ASSERT_TRUE(m_store.Start(m_options, sError)) << sError;  // same database, short-lived results
    const std::string sDocument = Document(2, 2, "kept");
    ASSERT_EQ(set_preview_metadata(sDocument.c_str(), kModule), 1);

    const std::string sReply = SelectFromAnotherProcess(kModule);
    const std::string sKey = ResultKey(sReply);
    ASSERT_FALSE(sKey.empty()) << sReply;
    ASSERT_TRUE(ShmExists(sKey)) << sKey;
    // The store removes it once its second is up; the deadline only guards against a store
    // that never does.
    EXPECT_TRUE(WaitForPath("/dev/shm" + sKey, false, 10000)) << sKey << " is still there";
    // Results the library opens are unaffected: the read-back still works and equals the document.
    ExpectReadBackIsTheDocument(sDocument);
}
