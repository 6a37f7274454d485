// Requests against the real store on a private bus, each next to the plain round trip of an
// empty "Call" measured in the same run. Prints medians and ratios.
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "BenchRun.h"
#include "BenchStore.h"
#include "BenchTiming.h"
#include "HostStore.h"
#include "PelmoAPI.h"
#include "PelmoBusNames.h"
#include "PelmoGDBusUtil.h"

namespace {
const std::string kTiles = "content://org.orvik.pelmo/tiles";
const std::string kModule = "org.example.bench";

long long Insert(const std::string& sRow)
{
    PT_JSON_IN_PARAM param;
    param.data = sRow;
    long long llRowId = -1;
    return insert_request(param, &llRowId, kModule) == 0 ? llRowId : -1;
}

std::string TileBulk(long long llSection, int iTiles)
{
    std::string sText = "{\"table_name\":\"" + kTiles + "\",\"arrayitem\":[";
    for (int i = 0; i < iTiles; ++i) {
        sText += std::string(i ? "," : "") + "{\"tile_title\":\"Title of tile " + std::to_string(i) +
                 "\",\"tile_subtitle\":\"Subtitle\",\"tile_image_url\":\"https://images.example.org/" +
                 std::to_string(i) + ".jpg\",\"tile_action_play\":\"play/" + std::to_string(i) +
                 "\",\"tile_position\":\"" + std::to_string(i) +
                 "\",\"tile_image_width\":\"640\","
                 "\"tile_image_height\":\"360\",\"tile_playable\":\"1\",\"tile_section_raw_id\":\"" +
                 std::to_string(llSection) + "\"}";
    }
    return sText + "]}";
}

// Opens the result and reads every value of every row, as the preview loader does.
size_t SelectAndRead(long long llSection)
{
    PT_CONSUMER_SELECT_IN_PARAM in;
    in.table_name = kTiles;
    in.where = "tile_section_raw_id = ?";
    in.where_args = {std::to_string(llSection)};
    in.order = "tile_position";
    PT_CONSUMER_SELECT_OUT_PARAM out;
    if (!select_request(in, out, kModule) || !out.cursor) return 0;
    size_t uBytes = 0;
    const int iColumns = out.cursor->GetColumnCount();
    while (out.cursor->MoveNext() == 0) {
        for (int c = 0; c < iColumns; ++c) {
            std::string sValue;
            out.cursor->GetString(c, sValue);
            uBytes += sValue.size();
        }
    }
    return uBytes;
}

void Row(const char* sName, double dMicros, double dRoundTrip)
{
    std::printf("%-34s %12.1f %10.2f\n", sName, dMicros, dMicros / dRoundTrip);
}
}  // namespace

int main(int argc, char** argv)
{
    const int iRuns = BenchRun::CountArg(argc, argv, 1, 5, 101);
    BenchRun::QuietLibrary();
    CHostStoreOptions options;
    CHostStore store;
    if (!BenchStore::Start("pelmo-store-bench", store, options)) return 1;

    const long long llAccelerator =
        Insert("{\"table_name\":\"content://org.orvik.pelmo/accelerators\",\"accelerator_title\":\"bench\"}");
    long long llSections[3];
    const int iSizes[3] = {0, 30, 300};
    for (int i = 0; i < 3; ++i) {
        llSections[i] =
            Insert("{\"table_name\":\"content://org.orvik.pelmo/sections\",\"section_title\":\"s" + std::to_string(i) +
                   "\",\"section_accelerator_raw_id\":\"" + std::to_string(llAccelerator) + "\"}");
        if (iSizes[i] == 0) continue;
        PT_JSON_IN_PARAM param;
        param.data = TileBulk(llSections[i], iSizes[i]);
        long long llLast = -1;
        insert_request_for_bulk_data(param, &llLast, kModule);
    }

    CPelmoGDBusUtil* pUtil = CPelmoGDBusUtil::GetInstance();
    const double dRoundTrip = BenchTiming::MedianMicros(iRuns * 3, [&] {
        std::string sOutput;
        pUtil->GetDBusData(pUtil->SendMessageViaDBUS(PELMO_STORE_BUS_NAME, "", "", ""), sOutput);
    });
    std::printf("store requests on a private bus, median of %d runs (SQLite file, WAL)\n", iRuns);
    std::printf("%-34s %12s %10s\n", "request", "median us", "x trip");
    Row("plain round trip (empty Call)", dRoundTrip, dRoundTrip);
    const char* sNames[3] = {"select 0 tile rows + read", "select 30 tile rows + read", "select 300 tile rows + read"};
    for (int i = 0; i < 3; ++i) {
        Row(sNames[i], BenchTiming::MedianMicros(iRuns, [&] { SelectAndRead(llSections[i]); }), dRoundTrip);
    }
    const long long llBulkSection = llSections[0];
    const std::string sBulk = TileBulk(llBulkSection, 300);
    PT_JSON_IN_PARAM clear;
    clear.table_name = kTiles;
    clear.data = "tile_section_raw_id = ?";
    clear.where_args = {std::to_string(llBulkSection)};
    const double dBulk = BenchTiming::MedianMicros(
        std::max(5, iRuns / 3),
        [&] {
            PT_JSON_IN_PARAM param;
            param.data = sBulk;
            long long llLast = -1;
            insert_request_for_bulk_data(param, &llLast, kModule);
        },
        [&] { delete_request(clear, kModule); });
    Row("bulk insert of 300 tile rows", dBulk, dRoundTrip);

    CPelmoGDBusUtil::ReleaseInstance();
    store.Stop();
    BenchStore::RemoveFiles(options, true);
    return 0;
}
