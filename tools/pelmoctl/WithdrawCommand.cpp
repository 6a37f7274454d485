// `pelmoctl withdraw MODULE`: takes a module's preview off the home screen, as the application
// does by publishing "{}": its sections and tiles go, its registration stays.
#include <cstdio>

#include "PreviewPublish.h"
#include "StoreCommandSupport.h"
#include "StoreCommands.h"

using namespace StoreCommand;

namespace {
constexpr const char* kUsage = "pelmoctl withdraw MODULE [--requests]";
constexpr const char* kHelp =
    "usage: pelmoctl withdraw MODULE [--requests]\n"
    "\n"
    "Withdraws MODULE's preview: publishes \"{}\" through set_preview_metadata, which deletes\n"
    "the module's sections and tiles and tells the store that its preview changed. The module\n"
    "stays registered (its accelerator row is kept). The module must be registered.\n"
    "\n"
    "Prints what was deleted, counted by the store, in the same form as publish.\n"
    "Exit status: 0 withdrawn, 1 failure (one line on standard error), 2 bad usage.\n";
}  // namespace

int RunWithdrawCommand(int argc, char** argv)
{
    const std::string sCommand = "withdraw";
    return RunOnRegisteredModule(sCommand, argc, argv, {kHelp, kUsage, {}, {"--requests"}, 1, "one MODULE"}, nullptr,
                                 [&](CRegisteredModule& module) {
                                     return PublishAndReport(sCommand, module.sModule, "{}", module.stats,
                                                             module.args.Has("--requests"), module.log);
                                 });
}
