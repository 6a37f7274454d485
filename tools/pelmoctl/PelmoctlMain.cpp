// pelmoctl: write, check, publish, inspect and see a home-screen preview.
//
//   pelmoctl [--host DIR] COMMAND [ARG...]
//
// Every subcommand but `validate` talks to the store on the system bus named by
// DBUS_SYSTEM_BUS_ADDRESS (or the machine's system bus), and starts nothing. With --host the
// store is a private host store on the database in DIR, started before the command and stopped
// after it.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "HostStoreMode.h"
#include "RenderCommand.h"
#include "StoreCommands.h"
#ifdef PELMO_HAVE_STUDIO
#include "StudioCommand.h"
#else
// Built without libsoup 3: the command is there to say so.
static int RunStudioCommand(int, char**)
{
    std::fprintf(stderr,
                 "pelmoctl: studio: this pelmoctl was built without libsoup 3; install libsoup-3.0-dev (bash "
                 "scripts/setup-deps.sh does) and build it again\n");
    return 1;
}
#endif
#include "ValidateCommand.h"

namespace {

struct CCommand {
    const char* sName;
    int (*run)(int, char**);
    bool bNeedsStore;
    const char* sSummary;
};

const CCommand kCommands[] = {
    {"register", RunRegisterCommand, true, "register MODULE [--title T]   make the module known to the store"},
    {"publish", RunPublishCommand, true, "publish MODULE FILE|-          publish a preview document"},
    {"get", RunGetCommand, true, "get MODULE                     print the stored preview"},
    {"withdraw", RunWithdrawCommand, true, "withdraw MODULE                remove the module's preview"},
    {"validate", RunValidateCommand, false, "validate FILE [--module M]     check a document without publishing it"},
    {"schema", RunSchemaCommand, false, "schema                         print the JSON Schema of a preview document"},
    {"status", RunStatusCommand, true, "status MODULE                  why a preview is or is not shown"},
    {"render", RunRenderCommand, true, "render MODULE -o FILE.html     draw the stored preview as a page"},
    {"studio", RunStudioCommand, true,
     "studio [--port N]              the store as a live home screen in a local web page"},
};

void PrintUsage(FILE* pOut)
{
    std::fprintf(pOut, "usage: pelmoctl [--host DIR] COMMAND [ARG...]\n\ncommands:\n");
    for (const CCommand& command : kCommands) std::fprintf(pOut, "  %s\n", command.sSummary);
    std::fprintf(pOut,
                 "\n  --host DIR   run against a private host store: database DIR/store.db (created when\n"
                 "               missing, kept between runs), request log DIR/service.log; started\n"
                 "               before the command and stopped after it\n"
                 "\n'pelmoctl COMMAND --help' explains a command.\n");
}

}  // namespace

int main(int argc, char** argv)
{
    std::string sHostDirectory;
    bool bHost = false;
    int i = 1;
    for (; i < argc && argv[i][0] == '-'; ++i) {
        if (!std::strcmp(argv[i], "--help") || !std::strcmp(argv[i], "-h")) {
            PrintUsage(stdout);
            return 0;
        }
        if (!std::strcmp(argv[i], "--host")) {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "pelmoctl: --host needs a directory\n");
                return 2;
            }
            sHostDirectory = argv[++i];
            bHost = true;
            continue;
        }
        if (!std::strncmp(argv[i], "--host=", 7)) {
            sHostDirectory = argv[i] + 7;
            bHost = true;
            continue;
        }
        std::fprintf(stderr, "pelmoctl: unknown option %s\n", argv[i]);
        return 2;
    }
    if (i >= argc) {
        PrintUsage(stderr);
        return 2;
    }
    for (const CCommand& command : kCommands) {
        if (std::strcmp(argv[i], command.sName) != 0) continue;
        bool bHelp = false;
        for (int j = i + 1; j < argc; ++j)
            bHelp = bHelp || !std::strcmp(argv[j], "--help") || !std::strcmp(argv[j], "-h");
        // The store is set up here, before any command that talks to it; asking for help
        // needs none.
        if (bHost && command.bNeedsStore && !bHelp) {
            if (sHostDirectory.empty()) {
                std::fprintf(stderr, "pelmoctl: --host: the directory name is empty\n");
                return 1;
            }
            return RunWithHostStore(sHostDirectory, std::vector<std::string>(argv + i, argv + argc));
        }
        return command.run(argc - i, argv + i);
    }
    std::fprintf(stderr, "pelmoctl: unknown command %s\n", argv[i]);
    return 2;
}
