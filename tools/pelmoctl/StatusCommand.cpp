// `pelmoctl status MODULE`: why a module's preview is or is not shown, from the store's own
// statistics: registration, what is stored, the display windows of the tiles, the last
// completion event and the preview scheduler.
#include <pwd.h>

#include <cstdio>
#include <ctime>

#include "PreviewPublish.h"
#include "StoreCommandSupport.h"
#include "StoreCommands.h"

using namespace StoreCommand;

namespace {
constexpr const char* kUsage = "pelmoctl status MODULE";
constexpr const char* kHelp =
    "usage: pelmoctl status MODULE\n"
    "\n"
    "Tells why MODULE's preview is or is not shown, one fact per line:\n"
    "  module, registered (accelerator row and title), owner (the Unix user whose request\n"
    "  registered it: only that user, root and the store's platform services may act for it),\n"
    "  sections, tiles (with those past their display window and those before it), last\n"
    "  completion event, preview scheduler, requests, what the module holds of its quota, whether\n"
    "  two writers published it at the same time, whether the store's disk is full, and a last\n"
    "  line \"preview: shown ...\" or \"preview: not shown: REASON\".\n"
    "The completion event, the scheduler and the requests are what the store saw since it\n"
    "started (it keeps them in memory only; with --host that is this command's own run).\n"
    "Reads only; changes nothing. An unregistered module is a failure.\n"
    "\n"
    "Exit status: 0 printed, 1 failure (one line on standard error), 2 bad usage.\n";

std::string UtcTime(long long llSeconds)
{
    const std::time_t tTime = static_cast<std::time_t>(llSeconds);
    std::tm utc{};
    gmtime_r(&tTime, &utc);
    char sText[32];
    std::strftime(sText, sizeof sText, "%Y-%m-%d %H:%M:%S UTC", &utc);
    return sText;
}

// "name (uid N)", or "uid N" for a uid without an account here.
std::string UserText(long long llUid)
{
    passwd entry{};
    passwd* pFound = nullptr;
    char buffer[1024];
    if (getpwuid_r(static_cast<uid_t>(llUid), &entry, buffer, sizeof buffer, &pFound) == 0 && pFound != nullptr) {
        return std::string(pFound->pw_name) + " (uid " + std::to_string(llUid) + ")";
    }
    return "uid " + std::to_string(llUid);
}

// One fact a line, from the module's statistics alone.
int PrintStatus(const std::string& sModule, const Json::Value& stats)
{
    const long long llSections = stats["sections"].asInt64();
    const long long llTiles = stats["tiles"].asInt64();
    const long long llExpired = stats["expired_tiles"].asInt64();
    const long long llFuture = stats["future_tiles"].asInt64();
    std::printf("module: %s\n", sModule.c_str());
    std::printf("registered: yes (accelerator row %lld, title \"%s\"%s)\n",
                static_cast<long long>(stats["accelerator_id"].asInt64()), stats["title"].asCString(),
                stats["accelerator_rows"].asInt64() > 1 ? ", more than one accelerator row" : "");
    if (stats["owner_uid"].isNull()) {
        std::printf("owner: none recorded (the first user to use it takes it)\n");
    } else {
        std::printf("owner: %s\n", UserText(stats["owner_uid"].asInt64()).c_str());
    }
    std::printf("sections: %lld\n", llSections);
    std::printf("tiles: %lld (%lld past their display window, %lld before it)\n", llTiles, llExpired, llFuture);
    if (stats["last_sync"].isNull()) {
        std::printf("last completion event: none since the store started\n");
    } else {
        std::printf("last completion event: %s (%lld since the store started)\n",
                    UtcTime(stats["last_sync"].asInt64()).c_str(),
                    static_cast<long long>(stats["sync_count"].asInt64()));
    }
    const std::string sScheduler = stats["scheduler"].asString();
    if (sScheduler == "unknown") {
        std::printf("scheduler: not started or stopped since the store started\n");
    } else {
        std::printf(
            "scheduler: %s (by %s)\n", sScheduler.c_str(),
            stats["scheduler_caller"].asString().empty() ? "an unnamed caller" : stats["scheduler_caller"].asCString());
    }
    std::printf("requests since the store started: %lld\n", static_cast<long long>(stats["journal_seq"].asInt64()));
    const Json::Value& quota = stats["quota"];
    if (quota.isObject()) {
        const Json::Value& usage = quota["usage"];
        const Json::Value& limit = quota["limit"];
        std::printf("quota: %lld of %lld sections, %lld of %lld tiles, %lld of %lld bytes",
                    static_cast<long long>(usage["sections"].asInt64()),
                    static_cast<long long>(limit["sections"].asInt64()),
                    static_cast<long long>(usage["tiles"].asInt64()), static_cast<long long>(limit["tiles"].asInt64()),
                    static_cast<long long>(usage["bytes"].asInt64()), static_cast<long long>(limit["bytes"].asInt64()));
        if (quota["refused"].asInt64() > 0) {
            std::printf("; %lld write%s refused for it, the last at %s: %s",
                        static_cast<long long>(quota["refused"].asInt64()), quota["refused"].asInt64() == 1 ? "" : "s",
                        UtcTime(quota["last_refusal_time"].asInt64()).c_str(), quota["last_refusal"].asCString());
        }
        std::printf("\n");
    }
    const Json::Value& writers = stats["two_writers"];
    if (writers.isObject() && !writers["republished"].asBool()) {
        std::printf(
            "writers: two writers published for this module at the same time at %s; the store may hold a "
            "mix; publish again from one writer\n",
            UtcTime(writers["time"].asInt64()).c_str());
    } else if (writers.isObject()) {
        std::printf("writers: one at a time since %s, when two published at the same time\n",
                    UtcTime(writers["time"].asInt64()).c_str());
    }
    const Json::Value& storage = stats["storage"];
    if (storage["full"].asBool()) {
        std::printf("store disk: full since %s, changes are refused until there is space again (%s)\n",
                    UtcTime(storage["since"].asInt64()).c_str(), storage["reason"].asCString());
    } else if (storage["failures"].asInt64() > 0) {
        std::printf("store disk: writable again (last full %s, %lld requests refused for it)\n",
                    UtcTime(storage["last_failure"].asInt64()).c_str(),
                    static_cast<long long>(storage["failures"].asInt64()));
    } else {
        std::printf("store disk: writable\n");
    }

    const long long llShowable = llTiles - llExpired - llFuture;
    if (llTiles == 0) {
        std::printf("preview: not shown: no tiles are stored (publish a document)\n");
    } else if (llShowable <= 0) {
        std::printf("preview: not shown: no tile is inside its display window\n");
    } else {
        std::printf("preview: shown: %lld tile%s in %lld section%s inside %s display window\n", llShowable,
                    llShowable == 1 ? "" : "s", llSections, llSections == 1 ? "" : "s",
                    llShowable == 1 ? "its" : "their");
    }
    return kExitOk;
}
}  // namespace

int RunStatusCommand(int argc, char** argv)
{
    return RunOnRegisteredModule("status", argc, argv, {kHelp, kUsage, {}, {}, 1, "one MODULE"}, nullptr,
                                 [](CRegisteredModule& module) {
                                     // Everything it prints comes from the statistics already read.
                                     module.release.Now();
                                     return PrintStatus(module.sModule, module.stats);
                                 });
}
