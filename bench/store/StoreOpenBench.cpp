// What the look at an existing store costs the service's start: CStoreDatabase::Open of a file
// store of growing size with the integrity check (the first worker's connection) and without
// it (the others'), median of a few opens each, the file in the OS cache. Prints the figures.
//   store_open_bench [LARGEST]   (stores of 1000, 10000 and 50000 tiles, those up to LARGEST)
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "BenchTiming.h"
#include "StoreDatabase.h"

namespace {
constexpr int kRuns = 5;

// One module with one section of iTiles tiles of about 650 bytes each, as a preview writes them.
bool Fill(const std::string& sPath, int iTiles)
{
    CStoreDatabase database;
    std::string sError;
    if (!database.Open(sPath, sError) ||
        !database.Execute("INSERT INTO accelerators (accelerator_title, module_name) VALUES ('Bench', 'm');"
                          "INSERT INTO sections (section_title, section_accelerator_raw_id, module_name) "
                          "VALUES ('Section', 1, 'm');"
                          "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
                              std::to_string(iTiles) +
                              ") INSERT INTO tiles (tile_id, tile_section_raw_id, tile_title, tile_subtitle, "
                              "tile_image_url, tile_action_play, tile_extra, tile_position, module_name) "
                              "SELECT i, 1, 'Title of tile ' || i, 'Subtitle', 'https://images.example.org/' || i || "
                              "'.jpg', 'app://m/play?id=' || i, printf('%.480c', 'x'), i, 'm' FROM n",
                          sError)) {
        std::fprintf(stderr, "cannot fill %s: %s\n", sPath.c_str(), sError.c_str());
        return false;
    }
    return true;
}

double MedianOpenMillis(const std::string& sPath, StoreIdentity::EIntegrity integrity)
{
    std::vector<double> vecTimes;
    for (int i = 0; i < kRuns; ++i) {
        CStoreDatabase database;
        std::string sError;
        const auto start = std::chrono::steady_clock::now();
        if (!database.Open(sPath, sError, integrity)) {
            std::fprintf(stderr, "cannot open %s: %s\n", sPath.c_str(), sError.c_str());
            return -1;
        }
        vecTimes.push_back(BenchTiming::Since<std::milli>(start));
    }
    return BenchTiming::Median(vecTimes);
}
}  // namespace

int main(int argc, char** argv)
{
    const int iLargest = argc > 1 ? std::max(1000, std::atoi(argv[1])) : 50000;
    const char* pDir = getenv("PELMO_BENCH_DIR");
    std::string sTemplate = std::string(pDir != nullptr && *pDir != '\0' ? pDir : "/tmp") + "/pelmo-open-bench-XXXXXX";
    if (mkdtemp(sTemplate.data()) == nullptr) {
        std::perror("mkdtemp");
        return 1;
    }
    std::printf("opening a file store, median of %d opens (file in the OS cache)\n", kRuns);
    std::printf("%8s %10s %14s %14s\n", "tiles", "file MB", "checked ms", "unchecked ms");
    int iStatus = 0;
    for (const int iTiles : {1000, 10000, 50000}) {
        if (iTiles > iLargest) break;
        const std::string sPath = sTemplate + "/store-" + std::to_string(iTiles) + ".db";
        if (!Fill(sPath, iTiles)) {
            iStatus = 1;
            break;
        }
        struct stat st {};
        stat(sPath.c_str(), &st);
        const double dChecked = MedianOpenMillis(sPath, StoreIdentity::EIntegrity::kCheck);
        const double dUnchecked = MedianOpenMillis(sPath, StoreIdentity::EIntegrity::kSkip);
        std::printf("%8d %10.1f %14.2f %14.2f\n", iTiles, static_cast<double>(st.st_size) / 1e6, dChecked, dUnchecked);
        unlink(sPath.c_str());
        if (dChecked < 0 || dUnchecked < 0) iStatus = 1;
    }
    rmdir(sTemplate.c_str());
    return iStatus;
}
