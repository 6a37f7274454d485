// What the bus tells an app (a name changing hands, its connection closing), seen as the app sees
// it: through the signals its main context dispatches.
#pragma once

#include <gio/gio.h>

#include <string>

// The unique name that owns `sName` on the connection's bus now; empty when nobody does.
std::string BusNameOwner(GDBusConnection* pConnection, const std::string& sName);

// Runs this thread's default main context, as an app's main loop does, until the bus has told
// that `sName` is owned by someone other than `sOldOwner`, then until nothing is pending (so that
// every other watcher of the name on that context heard it too). False when the deadline, a
// guard against a bus that never tells, passed first.
bool RunMainContextUntilNewOwner(GDBusConnection* pConnection, const std::string& sName, const std::string& sOldOwner,
                                 int iTimeoutMs);

// Runs this thread's default main context until the connection, made in this thread, has
// signalled that it is closed. False when the deadline, a guard against a hang, passed first.
bool WaitForConnectionClosed(GDBusConnection* pConnection, int iTimeoutMs);

// Dispatches what this thread's default main context has pending, as an app's main loop does
// between two requests when nothing else happens.
void RunMainContextUntilIdle();
