// The real store with a registered module, for tests that break the service or the bus under a
// publish, and a log sink that notes when each line was logged, so that a test can measure how
// long each request waited.
#pragma once

#include <dlog.h>
#include <dlog_host.h>

#include <gio/gio.h>

#include <chrono>
#include <mutex>
#include <string>
#include <vector>

#include "ExpectedStore.h"
#include "StoreFixture.h"

struct PT_TIMED_LINE {
    std::chrono::steady_clock::time_point when;
    int iPriority;
    std::string sBody;
};

// Collects every line this process logs, with the time it was logged. Installed for the life of
// the object; replaces any other sink meanwhile.
class CTimedLog {
public:
    CTimedLog() { dlog_host_set_sink(&CTimedLog::Sink, this); }
    ~CTimedLog() { dlog_host_set_sink(nullptr, nullptr); }
    CTimedLog(const CTimedLog&) = delete;
    CTimedLog& operator=(const CTimedLog&) = delete;

    std::vector<PT_TIMED_LINE> Lines() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_vecLines;
    }
    size_t Count(const std::string& sBodyStart) const
    {
        size_t uCount = 0;
        for (const PT_TIMED_LINE& line : Lines()) uCount += line.sBody.rfind(sBodyStart, 0) == 0;
        return uCount;
    }

    // The error lines, one per row, for failure messages.
    std::string Errors() const
    {
        std::string s;
        for (const PT_TIMED_LINE& line : Lines()) {
            if (line.iPriority == DLOG_ERROR) s += line.sBody + "\n";
        }
        return s;
    }

    // Each request from its "Function = [...]" line to its failure line, in seconds.
    std::vector<double> FailedRequestSeconds() const
    {
        std::vector<double> vecSeconds;
        bool bOpen = false;
        std::chrono::steady_clock::time_point start;
        for (const PT_TIMED_LINE& line : Lines()) {
            if (line.sBody.rfind("Function = [", 0) == 0) {
                bOpen = true;
                start = line.when;
            } else if (bOpen && line.sBody.rfind("g_dbus_proxy_call_sync() failed.", 0) == 0) {
                vecSeconds.push_back(std::chrono::duration<double>(line.when - start).count());
                bOpen = false;
            }
        }
        return vecSeconds;
    }

private:
    static void Sink(int iPriority, const char*, const char* sMessage, void* pUser)
    {
        CTimedLog* pSelf = static_cast<CTimedLog*>(pUser);
        std::lock_guard<std::mutex> lock(pSelf->m_mutex);
        pSelf->m_vecLines.push_back({std::chrono::steady_clock::now(), iPriority, CLogCapture::Body(sMessage)});
    }
    mutable std::mutex m_mutex;
    std::vector<PT_TIMED_LINE> m_vecLines;
};

class FaultTest : public StoreTest {
protected:
    static constexpr const char* kModule = "org.example.sturdy";

    void SetUp() override
    {
        StoreTest::SetUp();
        if (HasFatalFailure()) return;
        m_llAccelerator = Insert(
            "{\"table_name\":\"content://org.orvik.pelmo/accelerators\","
            "\"accelerator_title\":\"Sturdy\"}",
            kModule);
        ASSERT_GT(m_llAccelerator, 0);
        m_acceleratorMembers["_id"] = static_cast<int>(m_llAccelerator);
        m_acceleratorMembers["accelerator_title"] = "Sturdy";
        m_acceleratorMembers["app_pkg_name"] = kModule;
    }

    // Lets the host's main context run for a while, as an app's main loop does (the library's
    // cached proxy hears of a new owner of the service's name there, though its calls do not
    // depend on it).
    static void RunHostMainContext(int iMilliseconds)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(iMilliseconds);
        while (std::chrono::steady_clock::now() < end) {
            if (!g_main_context_iteration(nullptr, FALSE)) g_usleep(2000);
        }
    }

    // A document of `iSections` sections of `iTiles` tiles each; `sTag` makes its keys its own.
    static std::string Document(int iSections, int iTiles, const std::string& sTag)
    {
        Json::Value root;
        for (int s = 0; s < iSections; ++s) {
            Json::Value section;
            section["section_id"] = s + 1;
            section["section_title"] = sTag + " section " + std::to_string(s);
            section["section_position"] = s;
            for (int t = 0; t < iTiles; ++t) {
                Json::Value tile;
                tile["tile_title"] = sTag + " tile " + std::to_string(s) + "." + std::to_string(t);
                tile["tile_position"] = t;
                tile["tile_playable"] = (t % 2) == 0;
                tile["action_data"] = "app://" + std::string(kModule) + "/play?id=" + std::to_string(t);
                tile["resume_position"] = t * 10;
                section["tiles"].append(tile);
            }
            root["sections"].append(section);
        }
        return Json::FastWriter().write(root);
    }

    // The read-back equals what the document alone says (every row written by this document).
    void ExpectReadBackIsTheDocument(const std::string& sDocument)
    {
        CExpectedStore expected(kModule, m_llAccelerator, m_acceleratorMembers);
        std::string sWhy;
        ASSERT_TRUE(expected.Publish(sDocument, sWhy)) << sWhy;
        char* pText = get_preview_metadata(kModule);
        ASSERT_NE(pText, nullptr);
        const std::string sText = pText;
        finalize_json_bytes(pText);
        Json::Value readBack;
        ASSERT_TRUE(Json::Reader().parse(sText, readBack)) << sText;
        std::vector<std::string> vecDiff;
        EXPECT_TRUE(expected.Matches(readBack, vecDiff)) << (vecDiff.empty() ? "" : vecDiff.front());
    }

    size_t RequestLines(const std::string& sMethod)
    {
        const std::string sLog = ReadRequestLog();
        const std::string sNeedle = "pelmo-service: " + sMethod + " module=" + kModule;
        size_t uCount = 0;
        for (size_t u = sLog.find(sNeedle); u != std::string::npos; u = sLog.find(sNeedle, u + 1)) ++uCount;
        return uCount;
    }

    long long m_llAccelerator = -1;
    Json::Value m_acceleratorMembers;
};
