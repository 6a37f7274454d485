#include "StoreCommands.h"

#include <cstdio>

namespace {
int NotBuilt(const char* sName)
{
    std::fprintf(stderr, "pelmoctl: %s is not built yet\n", sName);
    return 1;
}
}  // namespace

int RunRegisterCommand(int, char**) { return NotBuilt("register"); }
int RunPublishCommand(int, char**) { return NotBuilt("publish"); }
int RunGetCommand(int, char**) { return NotBuilt("get"); }
int RunWithdrawCommand(int, char**) { return NotBuilt("withdraw"); }
int RunStatusCommand(int, char**) { return NotBuilt("status"); }
