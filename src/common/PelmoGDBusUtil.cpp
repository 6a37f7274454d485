#include "PelmoGDBusUtil.h"

#include <atomic>

#include "PelmoBusNames.h"

// Log lines name this unit by its path in the tree, whatever path the build hands the compiler.
#define PELMO_LOG_UNIT "src/common/PelmoGDBusUtil.cpp"
#include "PelmoCallTimeout.h"
#include "PelmoLog.h"
#include "PelmoTransportMutex.h"
#include "SendableText.h"

namespace {
std::atomic<int> s_iCallTimeoutMs{kPelmoDefaultCallTimeoutMs};

// A string value (floating) of a text known to be valid UTF-8 without NUL.
GVariant* CheckedString(const std::string& sText)
{
    g_autoptr(GBytes) pBytes = g_bytes_new(sText.c_str(), sText.size() + 1);
    return g_variant_new_from_bytes(G_VARIANT_TYPE_STRING, pBytes, TRUE);
}
}  // namespace

int PelmoCallTimeoutMs()
{
    return s_iCallTimeoutMs.load();
}

void PelmoSetCallTimeoutMs(int iMilliseconds)
{
    s_iCallTimeoutMs.store(iMilliseconds > 0 ? iMilliseconds : kPelmoDefaultCallTimeoutMs);
}

pthread_mutex_t gMutex = PTHREAD_MUTEX_INITIALIZER;

CPelmoGDBusUtil* CPelmoGDBusUtil::m_pInstance = nullptr;

CPelmoScopedLock::CPelmoScopedLock(pthread_mutex_t* pMutex) : m_pMutex(pMutex)
{
    pthread_mutex_lock(m_pMutex);
}

CPelmoScopedLock::~CPelmoScopedLock()
{
    pthread_mutex_unlock(m_pMutex);
}

CPelmoGDBusUtil::CPelmoGDBusUtil() : m_pConnection(nullptr)
{
    m_mapProxy.max_load_factor(1.0f);
}

CPelmoGDBusUtil::~CPelmoGDBusUtil() = default;

CPelmoGDBusUtil* CPelmoGDBusUtil::GetInstance()
{
    CPelmoScopedLock lock(&gMutex);
    if (m_pInstance == nullptr) {
        m_pInstance = new CPelmoGDBusUtil();
    }
    return m_pInstance;
}

void CPelmoGDBusUtil::ReleaseInstance()
{
    CPelmoScopedLock lock(&gMutex);
    if (m_pInstance != nullptr) {
        if (m_pInstance->m_pConnection != nullptr) {
            m_pInstance->DestroyProxy();
            g_clear_object(&m_pInstance->m_pConnection);
        }
        delete m_pInstance;
        m_pInstance = nullptr;
    }
}

GDBusConnection* CPelmoGDBusUtil::GetConnection()
{
    if (m_pConnection != nullptr) return m_pConnection;

    // A connection of our own rather than GLib's shared system-bus singleton: the shared one
    // would end the whole host process when the bus goes away, and after a release it could
    // hand back a closed connection to a bus that no longer exists.
    g_autoptr(GError) pError = nullptr;
    g_autofree gchar* sAddress = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, &pError);
    g_autoptr(GDBusConnection) pConnection = nullptr;
    if (sAddress != nullptr) {
        pConnection = g_dbus_connection_new_for_address_sync(
            sAddress,
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, &pError);
    }
    if (pError != nullptr || pConnection == nullptr) {
        PELMO_LOGE("Failed to open connection to bus.(msg : %s)", pError != nullptr ? pError->message : "");
        return nullptr;
    }
    // A library must never terminate the program that loads it.
    g_dbus_connection_set_exit_on_close(pConnection, FALSE);
    m_pConnection = static_cast<GDBusConnection*>(g_steal_pointer(&pConnection));
    return m_pConnection;
}

bool CPelmoGDBusUtil::CreateProxy(std::string sBusName)
{
    CPelmoScopedLock lock(&gMutex);
    GDBusConnection* pConnection = GetConnection();
    if (pConnection == nullptr) {
        PELMO_LOGE("Error, GetConnection failed.");
        return false;
    }
    auto it = m_mapProxy.find(sBusName);
    if (it != m_mapProxy.end() && it->second != nullptr) {
        PELMO_LOGD("[%s] proxy is already created.", sBusName.c_str());
        return true;
    }

    // The interface has no properties and no signals, so nothing is loaded and nothing is
    // subscribed, and the service is not started from here: making the proxy asks only the bus
    // daemon who owns the name, never the service. A stuck service thus costs the first request
    // its 5 s like any other, not GLib's default call timeout on top. The bus still starts the
    // service when a request's call finds the name without an owner. A text that is no bus name
    // gets no proxy and no error, as GDBus would refuse it, but without GLib printing a critical
    // into the host's output.
    g_autoptr(GError) pError = nullptr;
    GDBusProxy* pProxy = nullptr;  // owned by the cache from here on
    if (sBusName.find('\0') == std::string::npos && g_dbus_is_name(sBusName.c_str())) {
        pProxy = g_dbus_proxy_new_sync(pConnection,
                                       static_cast<GDBusProxyFlags>(G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES |
                                                                    G_DBUS_PROXY_FLAGS_DO_NOT_CONNECT_SIGNALS |
                                                                    G_DBUS_PROXY_FLAGS_DO_NOT_AUTO_START),
                                       nullptr, sBusName.c_str(), PELMO_SERVICE_OBJECT_PATH, PELMO_SERVICE_INTERFACE,
                                       nullptr, &pError);
    }
    m_mapProxy[sBusName] = pProxy;
    if (pError != nullptr) {
        PELMO_LOGE("Failed to create proxy.(msg : %s) [%d]", pError->message, pError->code);
        return false;
    }
    if (pProxy != nullptr) {
        PELMO_LOGI("Create new proxy : [%s]", sBusName.c_str());
        return true;
    }
    PELMO_LOGE("Failed to create proxy.");
    return false;
}

void CPelmoGDBusUtil::DestroyProxy()
{
    PELMO_LOGI("Destroy Proxies..");
    for (auto& entry : m_mapProxy) {
        PELMO_LOGI("%s", entry.first.c_str());
        g_clear_object(&entry.second);
    }
}

GVariant* CPelmoGDBusUtil::SendMessageViaDBUS(const std::string& sBusName, const std::string& sFunctionName,
                                              const std::string& sModuleName, const std::string& sInput)
{
    PELMO_LOGI("Function = [%s] ModuleName = [%s]", sFunctionName.c_str(), sModuleName.c_str());
    PELMO_LOGD("Input: %s", sInput.c_str());

    // D-Bus carries only UTF-8 text without NUL. GLib would replace such a text with a fixed
    // placeholder (so that two different module names arrive as the same one) or cut it at its
    // first NUL; every request therefore stops here instead, before anything is sent.
    const std::string* aTexts[] = {&sFunctionName, &sModuleName, &sInput};
    const char* aNames[] = {"function name", "module name", "input"};
    for (size_t i = 0; i < 3; ++i) {
        size_t uOffset = 0;
        if (!IsSendableText(*aTexts[i], uOffset)) {
            PELMO_LOGE("Refusing to send [%s]: the %s is not valid UTF-8 text without NUL (byte %zu of %zu)",
                       sFunctionName.c_str(), aNames[i], uOffset, aTexts[i]->size());
            return nullptr;
        }
    }

    // Held here, not left floating for the call to consume: a send that fails before the call
    // drops it too, so that a host retrying against a missing service does not leak per request.
    // The three texts were just checked, so GLib is told so rather than checking each once more
    // (for a bulk update that is close to 100 KB of UTF-8 scanned again); the value is the same.
    GVariant* aValues[] = {CheckedString(sFunctionName), CheckedString(sModuleName), CheckedString(sInput)};
    g_autoptr(GVariant) pParams = g_variant_ref_sink(g_variant_new_tuple(aValues, 3));

    if (!CreateProxy(sBusName)) {
        PELMO_LOGE("Create Proxy Failed");
        return nullptr;
    }

    // The call goes to the well-known name, not to the owner that the proxy learnt when it was
    // made: the bus daemon routes it to whoever owns the name now, so a service that was
    // restarted is reached by the very next request, also in a host that runs no main loop (the
    // proxy hears of a new owner only through the main context it was made in). With no owner
    // at all, the bus starts the service if it can. The proxy stays the cache's record of the
    // name; the connection is held for the call, so that a release meanwhile cannot free it.
    GDBusProxy* pProxy = nullptr;
    g_autoptr(GDBusConnection) pConnection = nullptr;
    {
        CPelmoScopedLock lock(&gMutex);
        auto it = m_mapProxy.find(sBusName);
        if (it != m_mapProxy.end()) pProxy = it->second;
        if (pProxy != nullptr) pConnection = G_DBUS_CONNECTION(g_object_ref(g_dbus_proxy_get_connection(pProxy)));
    }

    g_autoptr(GError) pError = nullptr;
    g_autoptr(GVariant) pReply = nullptr;
    if (pConnection != nullptr) {
        pReply = g_dbus_connection_call_sync(pConnection, sBusName.c_str(), PELMO_SERVICE_OBJECT_PATH,
                                             PELMO_SERVICE_INTERFACE, "Call", pParams, nullptr, G_DBUS_CALL_FLAGS_NONE,
                                             PelmoCallTimeoutMs(), nullptr, &pError);
        if (pError == nullptr && pReply != nullptr) return static_cast<GVariant*>(g_steal_pointer(&pReply));
    }
    if (pError != nullptr) {
        // The line keeps the wording that hosts and their log filters know.
        PELMO_LOGE("g_dbus_proxy_call_sync() failed. %s", pError->message);
        return nullptr;
    }
    PELMO_LOGE("ppOutputData is NULL");
    return nullptr;
}

bool CPelmoGDBusUtil::GetDBusData(GVariant* pReply, std::string& sOut)
{
    // The completion event hands over its reply untested; a missing one is a false flag.
    if (pReply == nullptr) {
        PELMO_LOGE("ResultJson is NULL");
        return false;
    }
    g_autoptr(GVariant) pOwnedReply = pReply;  // the reply is this call's to drop
    gboolean bResult = FALSE;
    g_autofree gchar* sResult = nullptr;
    if (g_variant_is_of_type(pOwnedReply, G_VARIANT_TYPE("(bs)"))) {
        g_variant_get(pOwnedReply, "(bs)", &bResult, &sResult);
    }
    if (sResult != nullptr) {
        sOut = sResult;
        PELMO_LOGI("DBUS Result: [%d] | Response : [%s]", bResult, sResult);
    } else {
        PELMO_LOGE("ResultJson is NULL");
    }
    return bResult != FALSE;
}
