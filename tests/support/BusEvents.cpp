#include "BusEvents.h"

namespace {
struct PT_OWNER_WATCH {
    std::string sOldOwner;
    std::string sOwner;
    bool bTimedOut = false;
};

// A source on the default main context that sets *pFlag once the time is up.
GSource* AttachDeadline(int iTimeoutMs, bool* pFlag)
{
    GSource* pGuard = g_timeout_source_new(static_cast<guint>(iTimeoutMs));
    g_source_set_callback(
        pGuard,
        [](gpointer pUser) -> gboolean {
            *static_cast<bool*>(pUser) = true;
            return G_SOURCE_REMOVE;
        },
        pFlag, nullptr);
    g_source_attach(pGuard, nullptr);
    return pGuard;
}

void DetachDeadline(GSource* pGuard)
{
    g_source_destroy(pGuard);
    g_source_unref(pGuard);
}
}  // namespace

std::string BusNameOwner(GDBusConnection* pConnection, const std::string& sName)
{
    if (pConnection == nullptr) return "";
    GVariant* pReply = g_dbus_connection_call_sync(
        pConnection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetNameOwner",
        g_variant_new("(s)", sName.c_str()), G_VARIANT_TYPE("(s)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    if (pReply == nullptr) return "";
    const gchar* sOwner = nullptr;
    g_variant_get(pReply, "(&s)", &sOwner);
    const std::string sResult = sOwner;
    g_variant_unref(pReply);
    return sResult;
}

bool RunMainContextUntilNewOwner(GDBusConnection* pConnection, const std::string& sName, const std::string& sOldOwner,
                                 int iTimeoutMs)
{
    if (pConnection == nullptr) return false;
    PT_OWNER_WATCH watch;
    watch.sOldOwner = sOldOwner;
    const guint uWatch = g_bus_watch_name_on_connection(
        pConnection, sName.c_str(), G_BUS_NAME_WATCHER_FLAGS_NONE,
        [](GDBusConnection*, const gchar*, const gchar* sOwner, gpointer pUser) {
            static_cast<PT_OWNER_WATCH*>(pUser)->sOwner = sOwner;
        },
        nullptr, &watch, nullptr);
    GSource* pGuard = AttachDeadline(iTimeoutMs, &watch.bTimedOut);
    while (!watch.bTimedOut && (watch.sOwner.empty() || watch.sOwner == watch.sOldOwner)) {
        g_main_context_iteration(nullptr, TRUE);
    }
    DetachDeadline(pGuard);
    g_bus_unwatch_name(uWatch);
    RunMainContextUntilIdle();
    return !watch.bTimedOut;
}

void RunMainContextUntilIdle()
{
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
}

bool WaitForConnectionClosed(GDBusConnection* pConnection, int iTimeoutMs)
{
    if (pConnection == nullptr) return false;
    bool bClosed = false;
    const gulong uHandler = g_signal_connect(
        pConnection, "closed",
        G_CALLBACK(+[](GDBusConnection*, gboolean, GError*, gpointer pUser) { *static_cast<bool*>(pUser) = true; }),
        &bClosed);
    bool bTimedOut = false;
    GSource* pGuard = AttachDeadline(iTimeoutMs, &bTimedOut);
    // A close signalled before the handler was connected leaves nothing pending behind it.
    while (!bClosed && !bTimedOut && !(g_dbus_connection_is_closed(pConnection) && !g_main_context_pending(nullptr))) {
        g_main_context_iteration(nullptr, TRUE);
    }
    DetachDeadline(pGuard);
    g_signal_handler_disconnect(pConnection, uHandler);
    return !bTimedOut;
}
