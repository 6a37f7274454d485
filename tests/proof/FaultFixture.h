// The real store with a registered module, for tests that break the service or the bus under a
// publish, and the library's log lines with the time each was logged, so that a test can measure
// how long each request waited.
#pragma once

#include <dlog.h>
#include <gio/gio.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "ExpectedStore.h"
#include "ShortCallTimeout.h"
#include "StoreFixture.h"

// The lines the library logged since this object was made, each with the time it was logged,
// so that a test can measure how long each request waited.
class CTimedLog {
public:
    explicit CTimedLog(const CLogCapture& log) : m_log(log), m_uFirst(log.Lines().size()) {}

    std::vector<CLogLine> Lines() const
    {
        std::vector<CLogLine> vecLines = m_log.Lines();
        vecLines.erase(vecLines.begin(),
                       vecLines.begin() + static_cast<std::ptrdiff_t>(std::min(m_uFirst, vecLines.size())));
        return vecLines;
    }
    size_t Count(const std::string& sBodyStart) const
    {
        size_t uCount = 0;
        for (const CLogLine& line : Lines()) uCount += CLogCapture::Body(line.sMessage).rfind(sBodyStart, 0) == 0;
        return uCount;
    }

    // The error lines, one per row, for failure messages.
    std::string Errors() const
    {
        std::string s;
        for (const CLogLine& line : Lines()) {
            if (line.iPriority == DLOG_ERROR) s += CLogCapture::Body(line.sMessage) + "\n";
        }
        return s;
    }

    // Each request from its "Function = [...]" line to its failure line, in seconds.
    std::vector<double> FailedRequestSeconds() const
    {
        std::vector<double> vecSeconds;
        bool bOpen = false;
        std::chrono::steady_clock::time_point start;
        for (const CLogLine& line : Lines()) {
            const std::string sBody = CLogCapture::Body(line.sMessage);
            if (sBody.rfind("Function = [", 0) == 0) {
                bOpen = true;
                start = line.when;
            } else if (bOpen && sBody.rfind("g_dbus_proxy_call_sync() failed.", 0) == 0) {
                vecSeconds.push_back(std::chrono::duration<double>(line.when - start).count());
                bOpen = false;
            }
        }
        return vecSeconds;
    }

private:
    const CLogCapture& m_log;
    size_t m_uFirst;
};

class FaultTest : public StoreTest {
protected:
    static constexpr const char* kModule = "org.example.sturdy";

    void Prepare() override
    {
        m_llAccelerator = AddAccelerator("Sturdy", kModule);
        ASSERT_GT(m_llAccelerator, 0);
        m_acceleratorMembers["_id"] = static_cast<int>(m_llAccelerator);
        m_acceleratorMembers["accelerator_title"] = "Sturdy";
        m_acceleratorMembers["app_pkg_name"] = kModule;
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
