// Publishing a 200-tile preview (10 sections of 20) against the real store on a private bus:
// first time, unchanged, with 10% of the tiles changed, and reading it back; next to the same
// document written the naive way (clear everything, then add every section and tile). Each row
// gives the median time, the calls that reached the store, and the time as a multiple of
// (calls x the plain round trip of an empty "Call") measured in the same run.
#include <dlog_host.h>
#include <json/json.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "HostStore.h"
#include "PelmoAPI.h"
#include "PelmoGDBusUtil.h"
#include "PreviewAccelerator.h"
#include "PreviewDataUtil.h"

namespace {
const std::string kModule = "org.example.bench";

std::string MakeDocument(int iChangedPerSection)
{
    Json::Value root;
    for (int s = 0; s < 10; ++s) {
        Json::Value section;
        section["section_id"] = s + 1;
        section["section_title"] = "Section " + std::to_string(s);
        section["section_position"] = s;
        for (int t = 0; t < 20; ++t) {
            const bool bChanged = t < iChangedPerSection;
            Json::Value tile;
            tile["tile_id"] = s * 100 + t;
            tile["tile_title"] = std::string(bChanged ? "Changed tile " : "Tile ") + std::to_string(s * 100 + t);
            tile["tile_subtitle"] = "Subtitle " + std::to_string(t);
            tile["tile_image_url"] = "https://images.example.org/" + std::to_string(s * 100 + t) + ".jpg";
            tile["tile_image_ratio"] = "16:9";
            tile["tile_image_width"] = 640;
            tile["tile_image_height"] = 360;
            tile["tile_position"] = t;
            tile["tile_playable"] = true;
            tile["action_data"] = "app://org.example.player/play?id=" + std::to_string(s * 100 + t);
            tile["tile_display_from"] = 1767225600;
            tile["tile_display_until"] = 1893456000;
            section["tiles"].append(tile);
        }
        root["sections"].append(section);
    }
    return Json::FastWriter().write(root);
}

class CRequestCounter {
public:
    explicit CRequestCounter(std::string sPath) : m_sPath(std::move(sPath)) {}
    size_t Lines() const
    {
        std::ifstream in(m_sPath);
        size_t uLines = 0;
        std::string sLine;
        while (std::getline(in, sLine)) uLines += sLine.find(" module=") != std::string::npos;
        return uLines;
    }

private:
    std::string m_sPath;
};

struct CFigure {
    double dMedianUs;
    double dCalls;
};

CFigure Measure(int iRuns, const CRequestCounter& counter, const std::function<void()>& step,
                const std::function<void()>& before = {})
{
    std::vector<double> vecTimes;
    size_t uCalls = 0;
    for (int i = 0; i < iRuns; ++i) {
        if (before) before();
        const size_t uBefore = counter.Lines();
        const auto start = std::chrono::steady_clock::now();
        step();
        vecTimes.push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
        uCalls += counter.Lines() - uBefore;
    }
    std::sort(vecTimes.begin(), vecTimes.end());
    return {vecTimes[vecTimes.size() / 2], static_cast<double>(uCalls) / iRuns};
}

void Row(const char* sName, const CFigure& figure, double dRoundTrip)
{
    std::printf("%-36s %11.0f %7.1f %12.2f\n", sName, figure.dMedianUs, figure.dCalls,
                figure.dMedianUs / (std::max(1.0, figure.dCalls) * dRoundTrip));
}
}  // namespace

int main(int argc, char** argv)
{
    const int iRuns = argc > 1 ? std::max(3, std::atoi(argv[1])) : 21;
    setenv("PELMO_LOG_LEVEL", "none", 1);
    dlog_host_reload_level();
    std::string sTemplate =
        std::string(getenv("PELMO_BENCH_DIR") ? getenv("PELMO_BENCH_DIR") : "/tmp") + "/pelmo-publish-bench.XXXXXX";
    if (mkdtemp(&sTemplate[0]) == nullptr) return 1;
    const std::string sDir = sTemplate;
    CHostStoreOptions options;
    options.sServicePath = PELMO_SERVICE_PATH;
    options.sDatabase = sDir + "/store.db";
    options.sLogFile = sDir + "/requests.log";
    CHostStore store;
    std::string sError;
    if (!store.Start(options, sError)) {
        std::fprintf(stderr, "publish_bench: %s\n", sError.c_str());
        return 1;
    }
    CRequestCounter counter(options.sLogFile);
    PT_JSON_IN_PARAM accelerator;
    accelerator.data = "{\"table_name\":\"content://org.orvik.pelmo/accelerators\",\"accelerator_title\":\"bench\"}";
    long long llRowId = -1;
    insert_request(accelerator, &llRowId, kModule);

    const std::string sDocument = MakeDocument(0);
    const std::string sChanged = MakeDocument(2);  // 2 of 20 tiles in every section
    CPelmoGDBusUtil* pUtil = CPelmoGDBusUtil::GetInstance();
    const CFigure roundTrip = Measure(iRuns * 10, counter, [&] {
        std::string sOutput;
        pUtil->GetDBusData(pUtil->SendMessageViaDBUS("org.orvik.Feltrix.dbus", "", "", ""), sOutput);
    });
    const double dTrip = roundTrip.dMedianUs;
    auto publish = [&](const std::string& sText) { set_preview_metadata(sText.c_str(), kModule.c_str()); };

    std::printf("200 tiles in 10 sections, real store on a private bus (SQLite file, WAL), median of %d runs\n",
                iRuns);
    std::printf("%-36s %11s %7s %12s\n", "operation", "median us", "calls", "x calls*trip");
    Row("plain round trip (empty Call)", roundTrip, dTrip);
    Row("publish, first time", Measure(iRuns, counter, [&] { publish(sDocument); }, [&] { publish("{}"); }), dTrip);
    publish(sDocument);
    Row("publish, unchanged", Measure(iRuns, counter, [&] { publish(sDocument); }), dTrip);
    Row("publish, 10% of tiles changed",
        Measure(iRuns, counter, [&] { publish(sChanged); }, [&] { publish(sDocument); }), dTrip);
    Row("read back (get_preview_metadata)", Measure(iRuns, counter, [&] {
            char* pText = get_preview_metadata(kModule.c_str());
            finalize_json_bytes(pText);
        }),
        dTrip);
    Row("naive: clear all, add everything", Measure(iRuns, counter, [&] {
            CPreviewDataUtil util;
            util.DeleteAcceleratorItem(kModule);
            CPreviewAccelerator parsed;
            util.GetPreviewDataUsingJsonStr(sChanged, parsed, kModule);
            util.AddAcceleratorItem(parsed, kModule);
        }),
        dTrip);

    CPelmoGDBusUtil::ReleaseInstance();
    store.Stop();
    for (const char* sName : {"/store.db", "/store.db-wal", "/store.db-shm", "/requests.log"}) {
        unlink((sDir + sName).c_str());
    }
    rmdir(sDir.c_str());
    return 0;
}
