#include "FakeService.h"

#include <pelmo_service_gdbus_generated.h>

#include <chrono>

namespace {
// One connection per owned name: a proxy sends to the owner's unique name, so the connection
// a call arrives on is what tells which well-known name the caller addressed.
struct CNamedEndpoint {
    CFakeService* pService;
    std::string sName;
    GDBusConnection* pConn = nullptr;
    OrgOrvikPelmo_service* pSkeleton = nullptr;
    guint uFilter = 0;
};
}  // namespace

CFakeService::CFakeService()
{
    AnswerAlways(true, "0");
}

CFakeService::~CFakeService()
{
    Stop();
}

void CFakeService::SetResponder(Responder responder)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_responder = std::move(responder);
}

void CFakeService::AnswerAlways(bool bResult, const std::string& sOutput)
{
    SetResponder([bResult, sOutput](const CRecordedCall&) {
        CScriptedReply reply;
        reply.bResult = bResult;
        reply.sOutput = sOutput;
        return reply;
    });
}

std::vector<CRecordedCall> CFakeService::Calls() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_vecCalls;
}

size_t CFakeService::CallCount() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_vecCalls.size();
}

void CFakeService::ClearCalls()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_vecCalls.clear();
    m_vecIncoming.clear();
}

std::vector<std::string> CFakeService::IncomingMethodCalls() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_vecIncoming;
}

GDBusMessage* CFakeService::OnMessage(GDBusConnection*, GDBusMessage* pMessage, gboolean bIncoming, gpointer pUser)
{
    if (bIncoming && g_dbus_message_get_message_type(pMessage) == G_DBUS_MESSAGE_TYPE_METHOD_CALL) {
        auto* pSelf = static_cast<CFakeService*>(pUser);
        const gchar* sInterface = g_dbus_message_get_interface(pMessage);
        const gchar* sMember = g_dbus_message_get_member(pMessage);
        std::lock_guard<std::mutex> lock(pSelf->m_mutex);
        pSelf->m_vecIncoming.push_back(std::string(sInterface != nullptr ? sInterface : "") + "." +
                                       (sMember != nullptr ? sMember : ""));
    }
    return pMessage;
}

gboolean CFakeService::OnHandleCall(GObject* pObject, GDBusMethodInvocation* pInvocation, const gchar* sMethod,
                                    const gchar* sPackage, const gchar* sInput, gpointer pUser)
{
    auto* pEndpoint = static_cast<CNamedEndpoint*>(pUser);
    CFakeService* pSelf = pEndpoint->pService;
    GDBusMessage* pMessage = g_dbus_method_invocation_get_message(pInvocation);
    const gchar* sDestination = g_dbus_message_get_destination(pMessage);
    CRecordedCall call{pEndpoint->sName, sMethod, sPackage, sInput, sDestination != nullptr ? sDestination : "",
                       (g_dbus_message_get_flags(pMessage) & G_DBUS_MESSAGE_FLAGS_NO_AUTO_START) == 0};
    Responder responder;
    {
        std::lock_guard<std::mutex> lock(pSelf->m_mutex);
        pSelf->m_vecCalls.push_back(call);
        responder = pSelf->m_responder;
    }
    const CScriptedReply reply = responder(call);
    switch (reply.eKind) {
    case CScriptedReply::kAnswer:
        org_orvik_pelmo_service_complete_call(ORG_ORVIK_PELMO_SERVICE(pObject), pInvocation, reply.bResult,
                                              reply.sOutput.c_str());
        break;
    case CScriptedReply::kError:
        g_dbus_method_invocation_return_dbus_error(pInvocation, "org.orvik.Error.Failed", reply.sOutput.c_str());
        break;
    case CScriptedReply::kNoAnswer: {
        std::lock_guard<std::mutex> lock(pSelf->m_mutex);
        pSelf->m_vecHeld.push_back(G_DBUS_METHOD_INVOCATION(g_object_ref(pInvocation)));
        break;
    }
    }
    return TRUE;
}

bool CFakeService::Start(const std::vector<std::string>& vecNames)
{
    m_bReady = false;
    m_bFailed = false;
    m_thread = std::thread(&CFakeService::Run, this, vecNames);
    std::unique_lock<std::mutex> lock(m_mutex);
    m_cond.wait_for(lock, std::chrono::seconds(10), [this] { return m_bReady || m_bFailed; });
    return m_bReady;
}


void CFakeService::Run(std::vector<std::string> vecNames)
{
    GMainContext* pContext = g_main_context_new();
    g_main_context_push_thread_default(pContext);
    GError* pError = nullptr;
    gchar* sAddress = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, &pError);
    bool bOk = sAddress != nullptr;
    std::vector<CNamedEndpoint*> vecEndpoints;
    for (size_t i = 0; bOk && i < vecNames.size(); ++i) {
        auto* pEndpoint = new CNamedEndpoint{this, vecNames[i]};
        vecEndpoints.push_back(pEndpoint);
        pEndpoint->pConn = g_dbus_connection_new_for_address_sync(
            sAddress,
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, &pError);
        bOk = pEndpoint->pConn != nullptr;
        if (!bOk) break;
        g_dbus_connection_set_exit_on_close(pEndpoint->pConn, FALSE);
        pEndpoint->uFilter = g_dbus_connection_add_filter(pEndpoint->pConn, &CFakeService::OnMessage, this, nullptr);
        pEndpoint->pSkeleton = org_orvik_pelmo_service_skeleton_new();
        g_signal_connect(pEndpoint->pSkeleton, "handle-call", G_CALLBACK(&CFakeService::OnHandleCall), pEndpoint);
        bOk = g_dbus_interface_skeleton_export(G_DBUS_INTERFACE_SKELETON(pEndpoint->pSkeleton), pEndpoint->pConn,
                                               "/org/orvik/pelmo_service", &pError);
        if (!bOk) break;
        // RequestName synchronously so that the names are owned when Start returns.
        GVariant* pReply = g_dbus_connection_call_sync(
            pEndpoint->pConn, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
            g_variant_new("(su)", vecNames[i].c_str(), 4u /* DO_NOT_QUEUE */), G_VARIANT_TYPE("(u)"),
            G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, &pError);
        guint32 uResult = 0;
        if (pReply != nullptr) {
            g_variant_get(pReply, "(u)", &uResult);
            g_variant_unref(pReply);
        }
        bOk = uResult == 1;  // primary owner
    }
    g_free(sAddress);
    g_clear_error(&pError);

    GMainLoop* pLoop = g_main_loop_new(pContext, FALSE);
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_pContext = pContext;
        m_pLoop = pLoop;
        if (bOk) m_bReady = true; else m_bFailed = true;
    }
    m_cond.notify_all();
    if (bOk) g_main_loop_run(pLoop);

    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (GDBusMethodInvocation* pInv : m_vecHeld) {
            g_dbus_method_invocation_return_dbus_error(pInv, "org.orvik.Error.Stopped", "service stopped");
            g_object_unref(pInv);
        }
        m_vecHeld.clear();
        m_pLoop = nullptr;
        m_pContext = nullptr;
    }
    for (CNamedEndpoint* pEndpoint : vecEndpoints) {
        if (pEndpoint->pSkeleton != nullptr) {
            g_dbus_interface_skeleton_unexport(G_DBUS_INTERFACE_SKELETON(pEndpoint->pSkeleton));
            g_object_unref(pEndpoint->pSkeleton);
        }
        if (pEndpoint->pConn != nullptr) {
            if (pEndpoint->uFilter != 0) g_dbus_connection_remove_filter(pEndpoint->pConn, pEndpoint->uFilter);
            g_dbus_connection_close_sync(pEndpoint->pConn, nullptr, nullptr);
            g_object_unref(pEndpoint->pConn);
        }
    }
    while (g_main_context_iteration(pContext, FALSE)) {
    }
    for (CNamedEndpoint* pEndpoint : vecEndpoints) delete pEndpoint;
    g_main_loop_unref(pLoop);
    g_main_context_pop_thread_default(pContext);
    g_main_context_unref(pContext);
}

void CFakeService::Stop()
{
    if (!m_thread.joinable()) return;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        // Quit from inside the loop's own context, so that a stop right after the start is not
        // lost before the loop runs.
        if (m_pContext != nullptr) {
            g_main_context_invoke(m_pContext, [](gpointer p) -> gboolean {
                g_main_loop_quit(static_cast<GMainLoop*>(p));
                return G_SOURCE_REMOVE;
            }, m_pLoop);
        }
    }
    m_thread.join();
}
