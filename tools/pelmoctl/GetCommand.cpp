// `pelmoctl get MODULE`: prints the module's stored preview as get_preview_metadata gives it.
#include <cstdio>
#include <cstring>

#include "PelmoAPI.h"
#include "PreviewPublish.h"
#include "StoreCommandSupport.h"
#include "StoreCommands.h"

using namespace StoreCommand;

namespace {
constexpr const char* kUsage = "pelmoctl get MODULE";
constexpr const char* kHelp =
    "usage: pelmoctl get MODULE\n"
    "\n"
    "Prints MODULE's stored preview as JSON, read back through get_preview_metadata (which,\n"
    "as for any application, also asks the store to start the module's preview scheduler).\n"
    "The module must be registered.\n"
    "\n"
    "Exit status: 0 printed, 1 failure (one line on standard error), 2 bad usage.\n";
}  // namespace

int RunGetCommand(int argc, char** argv)
{
    const std::string sCommand = "get";
    return RunOnRegisteredModule(
        sCommand, argc, argv, {kHelp, kUsage, {}, {}, 1, "one MODULE"}, nullptr, [&](CRegisteredModule& module) {
            module.log.Clear();
            char* pJson = get_preview_metadata(module.sModule.c_str());
            if (pJson == nullptr || *pJson == '\0') {
                finalize_json_bytes(pJson);
                const std::string sWhy = module.log.FirstError();
                return Fail(sCommand, "the stored preview of " + module.sModule + " could not be read" +
                                          (sWhy.empty() ? std::string() : ": " + sWhy));
            }
            const size_t iLength = std::strlen(pJson);
            std::fwrite(pJson, 1, iLength, stdout);
            if (pJson[iLength - 1] != '\n') std::fputc('\n', stdout);
            finalize_json_bytes(pJson);
            return kExitOk;
        });
}
