#include "StoreBusService.h"

#include <memory>

#include "pelmo_service_gdbus_generated.h"

namespace {
constexpr guint32 kDoNotQueue = 4;
constexpr guint32 kPrimaryOwner = 1;

// Names are requested synchronously, so that a launcher that sees them owned can rely on the
// object being served.
bool RequestName(GDBusConnection* pConn, const std::string& sName, std::string& sError)
{
    g_autoptr(GError) pError = nullptr;
    g_autoptr(GVariant) pReply =
        g_dbus_connection_call_sync(pConn, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                    "RequestName", g_variant_new("(su)", sName.c_str(), kDoNotQueue),
                                    G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, &pError);
    if (pReply == nullptr) {
        sError = "cannot own " + sName + ": " + (pError ? pError->message : "no reply");
        return false;
    }
    guint32 uResult = 0;
    g_variant_get(pReply, "(u)", &uResult);
    if (uResult != kPrimaryOwner) {
        sError = "cannot own " + sName + ": another process has it";
        return false;
    }
    return true;
}
}  // namespace

CStoreBusService::~CStoreBusService()
{
    Stop();
}

bool CStoreBusService::Start(std::function<void()> onClosed, std::string& sError)
{
    m_onClosed = std::move(onClosed);
    g_autoptr(GError) pError = nullptr;
    // Started by the bus itself (D-Bus activation without systemd), the service serves the bus
    // that started it, which says so in the environment; otherwise the system bus.
    const char* sStarterType = g_getenv("DBUS_STARTER_BUS_TYPE");
    const bool bStartedBySystemBus = sStarterType != nullptr && g_strcmp0(sStarterType, "system") == 0 &&
                                     g_getenv("DBUS_STARTER_ADDRESS") != nullptr;
    g_autofree gchar* sAddress = bStartedBySystemBus
                                     ? g_strdup(g_getenv("DBUS_STARTER_ADDRESS"))
                                     : g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, &pError);
    if (sAddress == nullptr) {
        sError = std::string("no system bus: ") + (pError ? pError->message : "unknown error");
        return false;
    }
    const std::string sBus = sAddress;
    m_store.sName = kStoreName;
    m_provider.sName = kProviderName;
    return StartEndpoint(m_store, sBus, sError) && StartEndpoint(m_provider, sBus, sError);
}

bool CStoreBusService::StartEndpoint(CEndpoint& endpoint, const std::string& sAddress, std::string& sError)
{
    endpoint.pOwner = this;
    g_autoptr(GError) pError = nullptr;
    endpoint.pConn = g_dbus_connection_new_for_address_sync(
        sAddress.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &pError);
    if (endpoint.pConn == nullptr) {
        sError = std::string("cannot connect to the system bus: ") + (pError ? pError->message : "unknown error");
        return false;
    }
    // The service decides itself what to do when the bus goes away: stop in order.
    g_dbus_connection_set_exit_on_close(endpoint.pConn, FALSE);
    g_signal_connect(endpoint.pConn, "closed", G_CALLBACK(&CStoreBusService::OnClosed), this);
    endpoint.credentials.Attach(endpoint.pConn);

    auto* pSkeleton = org_orvik_pelmo_service_skeleton_new();
    endpoint.pSkeleton = pSkeleton;
    g_signal_connect(pSkeleton, "handle-call", G_CALLBACK(&CStoreBusService::OnHandleCall), &endpoint);
    if (!g_dbus_interface_skeleton_export(G_DBUS_INTERFACE_SKELETON(pSkeleton), endpoint.pConn, kObjectPath, &pError)) {
        sError = std::string("cannot export ") + kObjectPath + ": " + pError->message;
        return false;
    }
    return RequestName(endpoint.pConn, endpoint.sName, sError);
}

gboolean CStoreBusService::OnHandleCall(GObject* pObject, GDBusMethodInvocation* pInvocation, const gchar* sMethod,
                                        const gchar* sPackage, const gchar* sInput, gpointer pUser)
{
    auto* pEndpoint = static_cast<CEndpoint*>(pUser);
    // The caller is who the bus says, never what the request says. It is learned here, on the
    // main loop that owns the cache, and travels with the call to the worker that serves it.
    PT_CALLER_IDENTITY caller;
    std::string sError;
    const gchar* sSender = g_dbus_method_invocation_get_sender(pInvocation);
    const bool bKnown = pEndpoint->credentials.Lookup(sSender ? sSender : "", caller, sError);
    if (bKnown) caller.sConnection = sSender;
    auto pCall = std::make_unique<CPendingCall>(pObject, pInvocation, pEndpoint->sName, sMethod ? sMethod : "",
                                                sPackage ? sPackage : "", sInput ? sInput : "", caller);
    if (!bKnown) {
        pCall->Answer(false, sError);
        return TRUE;
    }
    pEndpoint->pOwner->m_handler(std::move(pCall));
    return TRUE;
}

void CStoreBusService::OnClosed(GDBusConnection*, gboolean, GError*, gpointer pUser)
{
    auto* pSelf = static_cast<CStoreBusService*>(pUser);
    if (pSelf->m_onClosed) pSelf->m_onClosed();
}

void CStoreBusService::StopEndpoint(CEndpoint& endpoint)
{
    if (endpoint.pSkeleton != nullptr) {
        g_dbus_interface_skeleton_unexport(G_DBUS_INTERFACE_SKELETON(endpoint.pSkeleton));
        g_clear_object(&endpoint.pSkeleton);
    }
    endpoint.credentials.Detach();
    if (endpoint.pConn != nullptr) {
        g_signal_handlers_disconnect_by_data(endpoint.pConn, endpoint.pOwner);
        g_dbus_connection_flush_sync(endpoint.pConn, nullptr, nullptr);
        g_dbus_connection_close_sync(endpoint.pConn, nullptr, nullptr);
        g_clear_object(&endpoint.pConn);
    }
}

void CStoreBusService::Stop()
{
    StopEndpoint(m_provider);
    StopEndpoint(m_store);
}
