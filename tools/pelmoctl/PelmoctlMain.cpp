// pelmoctl: write, check, publish, inspect and see a home-screen preview.
//
//   pelmoctl [--host DIR] COMMAND [ARG...]
//
// Every subcommand but `validate` talks to the store on the system bus named by
// DBUS_SYSTEM_BUS_ADDRESS. With --host the store is a private host store on the database in
// DIR, started before the command and stopped after it.
#include <cstdio>
#include <cstring>
#include <string>

#include "RenderCommand.h"
#include "StoreCommands.h"
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
    {"status", RunStatusCommand, true, "status MODULE                  why a preview is or is not shown"},
    {"render", RunRenderCommand, true, "render MODULE -o FILE.html     draw the stored preview as a page"},
};

void PrintUsage(FILE* pOut)
{
    std::fprintf(pOut, "usage: pelmoctl [--host DIR] COMMAND [ARG...]\n\ncommands:\n");
    for (const CCommand& command : kCommands) std::fprintf(pOut, "  %s\n", command.sSummary);
    std::fprintf(pOut,
                 "\n  --host DIR   run against a private host store whose database is in DIR\n"
                 "\n'pelmoctl COMMAND --help' explains a command.\n");
}

}  // namespace

int main(int argc, char** argv)
{
    int i = 1;
    for (; i < argc && argv[i][0] == '-'; ++i) {
        if (!std::strcmp(argv[i], "--help") || !std::strcmp(argv[i], "-h")) {
            PrintUsage(stdout);
            return 0;
        }
        std::fprintf(stderr, "pelmoctl: unknown option %s\n", argv[i]);
        return 2;
    }
    if (i >= argc) {
        PrintUsage(stderr);
        return 2;
    }
    for (const CCommand& command : kCommands) {
        if (std::strcmp(argv[i], command.sName) == 0) return command.run(argc - i, argv + i);
    }
    std::fprintf(stderr, "pelmoctl: unknown command %s\n", argv[i]);
    return 2;
}
