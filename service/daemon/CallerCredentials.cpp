#include "CallerCredentials.h"

namespace {
// A peer can open many connections; the cache is bounded all the same, and starting it afresh
// costs one question to the bus per sender.
constexpr std::size_t kMaxCached = 4096;
constexpr int kBusTimeoutMs = 5000;
}  // namespace

CCallerCredentials::~CCallerCredentials()
{
    Detach();
}

void CCallerCredentials::Attach(GDBusConnection* pConn)
{
    Detach();
    m_pConn = G_DBUS_CONNECTION(g_object_ref(pConn));
    // Only the bus itself sends this signal; a unique name that loses its owner has left.
    m_uSubscription = g_dbus_connection_signal_subscribe(
        m_pConn, "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged", "/org/freedesktop/DBus", nullptr,
        G_DBUS_SIGNAL_FLAGS_NONE, &CCallerCredentials::OnNameOwnerChanged, this, nullptr);
}

void CCallerCredentials::Detach()
{
    if (m_pConn == nullptr) return;
    if (m_uSubscription != 0) g_dbus_connection_signal_unsubscribe(m_pConn, m_uSubscription);
    m_uSubscription = 0;
    g_clear_object(&m_pConn);
    m_mapKnown.clear();
}

void CCallerCredentials::OnNameOwnerChanged(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                                            GVariant* pParameters, gpointer pUser)
{
    if (!g_variant_is_of_type(pParameters, G_VARIANT_TYPE("(sss)"))) return;
    const gchar* sName = nullptr;
    const gchar* sOld = nullptr;
    const gchar* sNew = nullptr;
    g_variant_get(pParameters, "(&s&s&s)", &sName, &sOld, &sNew);
    if (sName[0] == ':' && sNew[0] == '\0') static_cast<CCallerCredentials*>(pUser)->m_mapKnown.erase(sName);
}

bool CCallerCredentials::Lookup(const std::string& sSender, PT_CALLER_IDENTITY& identity, std::string& sError)
{
    auto it = m_mapKnown.find(sSender);
    if (it != m_mapKnown.end()) {
        identity = it->second;
        return true;
    }
    if (m_pConn == nullptr || sSender.empty() || sSender[0] != ':') {
        sError = "cannot tell who the caller is";
        return false;
    }
    g_autoptr(GError) pError = nullptr;
    g_autoptr(GVariant) pReply =
        g_dbus_connection_call_sync(m_pConn, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                    "GetConnectionCredentials", g_variant_new("(s)", sSender.c_str()),
                                    G_VARIANT_TYPE("(a{sv})"), G_DBUS_CALL_FLAGS_NONE, kBusTimeoutMs, nullptr, &pError);
    if (pReply == nullptr) {
        sError = std::string("cannot tell who the caller is: ") + (pError ? pError->message : "no answer from the bus");
        return false;
    }
    g_autoptr(GVariant) pCredentials = g_variant_get_child_value(pReply, 0);
    guint32 uUid = 0;
    guint32 uPid = 0;
    // Without the user the caller cannot be placed; the process id is only for the record.
    if (!g_variant_lookup(pCredentials, "UnixUserID", "u", &uUid)) {
        sError = "cannot tell who the caller is: the bus gave no Unix user";
        return false;
    }
    g_variant_lookup(pCredentials, "ProcessID", "u", &uPid);
    identity.uUid = static_cast<uid_t>(uUid);
    identity.iPid = static_cast<pid_t>(uPid);
    if (m_mapKnown.size() >= kMaxCached) m_mapKnown.clear();
    m_mapKnown.emplace(sSender, identity);
    return true;
}
