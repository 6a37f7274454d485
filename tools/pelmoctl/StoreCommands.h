// The pelmoctl subcommands that talk to the store through the library's exported functions.
// Each runs on its own arguments (argv[0] is the subcommand's name) with the bus already set
// up, and returns the exit status: 0 done, 1 failure (one line on standard error), 2 bad usage.
#pragma once

int RunRegisterCommand(int argc, char** argv);
int RunPublishCommand(int argc, char** argv);
int RunGetCommand(int argc, char** argv);
int RunWithdrawCommand(int argc, char** argv);
int RunStatusCommand(int argc, char** argv);
