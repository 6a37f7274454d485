#include "ValidateCommand.h"

#include <cstdio>

int RunValidateCommand(int, char**)
{
    std::fprintf(stderr, "pelmoctl: validate is not built yet\n");
    return 1;
}
