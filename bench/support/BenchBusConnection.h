// A connection of its own to a bus by address, for the benchmark's helpers that must not share
// the library's connection (the monitor that records, the replay client).
#pragma once

#include <gio/gio.h>

#include <string>

namespace BenchBusConnection {

// A new connection to the bus at sAddress, registered with the bus; null with the reason in
// sError, prefixed by sWhat.
inline GDBusConnection* Open(const std::string& sAddress, const char* sWhat, std::string& sError)
{
    g_autoptr(GError) pError = nullptr;
    GDBusConnection* pConnection = g_dbus_connection_new_for_address_sync(
        sAddress.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &pError);
    if (pConnection == nullptr) sError = std::string(sWhat) + ": " + pError->message;
    return pConnection;
}

}  // namespace BenchBusConnection
