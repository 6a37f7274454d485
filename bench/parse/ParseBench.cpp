// Reading a preview document (parse, typing, public extra, keys) against a bare jsoncpp parse
// of the same text, measured in the same run. Prints medians and the ratio.
//   parse_bench [RUNS]   (default 301 runs of each document)
#include <json/json.h>
#include <pelmo/TilesModel.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "BenchRun.h"
#include "BenchTiming.h"
#include "PreviewAccelerator.h"
#include "PreviewDataUtil.h"

namespace {
std::string MakeDocument(int iTiles)
{
    const int iSections = std::max(1, iTiles / 20);
    Json::Value root;
    int iMade = 0;
    for (int s = 0; s < iSections; ++s) {
        Json::Value section;
        section["section_id"] = s;
        section["section_title"] = "Section " + std::to_string(s);
        section["section_position"] = s;
        const int iHere = s == iSections - 1 ? iTiles - iMade : iTiles / iSections;
        for (int t = 0; t < iHere; ++t, ++iMade) {
            Json::Value tile;
            tile["tile_id"] = iMade;
            tile["tile_title"] = "Title of tile " + std::to_string(iMade);
            tile["tile_subtitle"] = "Subtitle " + std::to_string(iMade);
            tile["tile_image_url"] = "https://images.example.org/" + std::to_string(iMade) + ".jpg";
            tile["tile_image_ratio"] = "16:9";
            tile["tile_image_width"] = 640;
            tile["tile_image_height"] = 360;
            tile["tile_position"] = t;
            tile["tile_playable"] = true;
            tile["tile_display_from"] = 1767225600;
            tile["tile_display_until"] = 1893456000;
            tile["action_data"] = "app://org.example.player/play?id=" + std::to_string(iMade);
            tile["resume_position"] = iMade * 10;
            section["tiles"].append(tile);
        }
        root["sections"].append(section);
    }
    return Json::FastWriter().write(root);
}

}  // namespace

int main(int argc, char** argv)
{
    const int iRuns = BenchRun::CountArg(argc, argv, 1, 1, 301);
    BenchRun::QuietLibrary();
    std::printf("%-6s %10s %14s %14s %7s\n", "tiles", "bytes", "jsoncpp_us", "preview_us", "ratio");
    for (int iTiles : {30, 200, 300}) {
        const std::string sDoc = MakeDocument(iTiles);
        size_t nSink = 0;
        const double dBare = BenchTiming::MedianMicros(iRuns, [&] {
            Json::Reader reader;
            Json::Value root;
            reader.parse(sDoc, root, true);
            nSink += root.size();
        });
        const double dPreview = BenchTiming::MedianMicros(iRuns, [&] {
            CPreviewAccelerator accelerator;
            accelerator.m_mapProperty[TilesInternalModel::Accelerators::ACCELERATOR_APP_PKG_NAME] = {
                JSON_VALUE_STRING, "org.orvik.plinth-app"};
            CPreviewDataUtil util;
            if (!util.GetPreviewDataUsingJsonStr(sDoc, accelerator, "org.orvik.plinth-app")) std::abort();
            nSink += accelerator.m_vecSection.size();
        });
        std::printf("%-6d %10zu %14.1f %14.1f %7.2f\n", iTiles, sDoc.size(), dBare, dPreview, dPreview / dBare);
        if (nSink == 0) std::printf("(nothing parsed)\n");
    }
    return 0;
}
