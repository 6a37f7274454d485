// `pelmoctl register MODULE [--title T]`: makes a module known to the store by inserting its
// accelerator row, as the store's registration step asks. A module that already has its row
// is left as it is.
#include <cstdio>

#include "PelmoAPI.h"
#include "StoreCommandSupport.h"
#include "StoreCommands.h"

using namespace StoreCommand;

namespace {
constexpr const char* kUsage = "pelmoctl register MODULE [--title TITLE]";
constexpr const char* kHelp =
    "usage: pelmoctl register MODULE [--title TITLE]\n"
    "\n"
    "Registers MODULE with the store: inserts its accelerator row, without which no preview of\n"
    "the module can be published. TITLE goes to the row's accelerator_title (default: MODULE).\n"
    "A module that is registered already is left unchanged (its title too); the command says so\n"
    "and succeeds.\n"
    "\n"
    "Prints \"registered MODULE (accelerator row N)\" or \"MODULE is already registered\n"
    "(accelerator row N)\". Exit status: 0 done, 1 failure (one line on standard error), 2 bad\n"
    "usage.\n";
constexpr const char* kAccelerators = "content://org.orvik.pelmo/accelerators";
}  // namespace

int RunRegisterCommand(int argc, char** argv)
{
    const std::string sCommand = "register";
    CParsedArgs args;
    const int iStart = StartModuleCommand(sCommand, argc, argv, {kHelp, kUsage, {"--title"}, {}, 1, "one MODULE"}, args);
    if (iStart >= 0) return iStart;
    const std::string sModule = args.vecPositional[0];
    const std::string* pTitle = args.Option("--title");
    const std::string sTitle = pTitle != nullptr ? *pTitle : sModule;

    CLibraryLog log;
    CTransportRelease release;
    Json::Value stats;
    std::string sError;
    if (!FetchStats(sModule, stats, sError, log)) {
        return Fail(sCommand, sError);
    }
    if (stats["registered"].asBool()) {
        std::printf("%s is already registered (accelerator row %lld)\n", sModule.c_str(),
                    static_cast<long long>(stats["accelerator_id"].asInt64()));
        return kExitOk;
    }

    Json::Value row(Json::objectValue);
    row["table_name"] = kAccelerators;
    row["accelerator_title"] = sTitle;
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    PT_JSON_IN_PARAM param;
    param.table_name = kAccelerators;
    param.data = Json::writeString(builder, row);
    long long llRowId = -1;
    log.Clear();
    const int iResult = insert_request(param, &llRowId, sModule);
    if (iResult != 0) {
        // The store's reason is in its journal; the library only says that the insert failed.
        Json::Value journal;
        std::string sReason;
        std::string sIgnored;
        if (FetchJournal(sModule, stats["journal_seq"].asInt64(), journal, sIgnored, log)) {
            for (const Json::Value& entry : journal["entries"]) {
                if (entry["method"].asString() == "insert" && !entry["ok"].asBool())
                    sReason = entry["reason"].asString();
            }
        }
        if (sReason.empty()) sReason = log.FirstError();
        return Fail(sCommand, "the store did not register " + sModule + (sReason.empty() ? "" : ": " + sReason));
    }
    std::printf("registered %s (accelerator row %lld)\n", sModule.c_str(), llRowId);
    return kExitOk;
}
