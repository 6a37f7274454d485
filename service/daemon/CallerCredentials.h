// Who is calling, as the bus says: the Unix user and process id of a sender, asked of the bus
// (org.freedesktop.DBus.GetConnectionCredentials) the first time the sender calls and kept
// until the sender leaves the bus. A unique name is never given out twice on one bus, so a
// kept answer can never describe another process.
#pragma once

#include <gio/gio.h>

#include <string>
#include <unordered_map>

#include "CallerIdentity.h"

class CCallerCredentials {
public:
    CCallerCredentials() = default;
    ~CCallerCredentials();
    CCallerCredentials(const CCallerCredentials&) = delete;
    CCallerCredentials& operator=(const CCallerCredentials&) = delete;

    // Starts forgetting senders that leave the bus of `pConn`, over which it asks.
    void Attach(GDBusConnection* pConn);
    void Detach();

    // The identity of `sSender` (a unique name); false with a one-line reason when the bus
    // cannot tell, for instance because the sender has already left.
    bool Lookup(const std::string& sSender, PT_CALLER_IDENTITY& identity, std::string& sError);

    std::size_t Cached() const { return m_mapKnown.size(); }

private:
    static void OnNameOwnerChanged(GDBusConnection* pConn, const gchar* sSender, const gchar* sPath,
                                   const gchar* sInterface, const gchar* sSignal, GVariant* pParameters,
                                   gpointer pUser);

    GDBusConnection* m_pConn = nullptr;
    guint m_uSubscription = 0;
    std::unordered_map<std::string, PT_CALLER_IDENTITY> m_mapKnown;
};
