// `pelmoctl --host DIR COMMAND ...`: runs one command against a private host store (a private
// bus and the reference store service) whose database is DIR/store.db and whose request log
// is DIR/service.log. The store is started before the command and stopped after it, also when
// the tool is interrupted, so that one line works on a fresh machine and leaves nothing running.
#pragma once

#include <string>
#include <vector>

// Runs `pelmoctl COMMAND ARGS...` (vecCommand, without the program name) in a child process
// with DBUS_SYSTEM_BUS_ADDRESS pointing at the private bus, and returns its exit status; 1 with
// one line on standard error when the store cannot be started.
int RunWithHostStore(const std::string& sDirectory, const std::vector<std::string>& vecCommand);
