// The store's presence on the bus: one connection per service name, each serving "Call" at
// the service object through the generated skeleton. Clients address a name's owner by its
// unique connection name, so a connection of its own is the only way to know which of the two
// names a call was meant for.
#pragma once

#include <gio/gio.h>

#include <functional>
#include <memory>
#include <string>

#include "CallerCredentials.h"
#include "PelmoBusNames.h"
#include "PendingCall.h"

class CStoreBusService {
public:
    // Called on the main loop for every "Call", with the well-known name it was addressed to
    // and the caller as the bus identifies it (both carried by the call); the handler answers
    // it, then or later, from any thread. A call whose sender the bus cannot identify is
    // refused before.
    using Handler = std::function<void(std::unique_ptr<CPendingCall> pCall)>;

    explicit CStoreBusService(Handler handler) : m_handler(std::move(handler)) {}
    ~CStoreBusService();
    CStoreBusService(const CStoreBusService&) = delete;
    CStoreBusService& operator=(const CStoreBusService&) = delete;

    // Connects to the system bus, exports the object and takes both names. `onClosed` runs when
    // the bus goes away. False with a one-line reason when any step fails.
    bool Start(std::function<void()> onClosed, std::string& sError);
    void Stop();

    static constexpr const char* kStoreName = PELMO_STORE_BUS_NAME;
    static constexpr const char* kProviderName = PELMO_PROVIDER_BUS_NAME;
    static constexpr const char* kObjectPath = PELMO_SERVICE_OBJECT_PATH;

private:
    static gboolean OnHandleCall(GObject* pObject, GDBusMethodInvocation* pInvocation, const gchar* sMethod,
                                 const gchar* sPackage, const gchar* sInput, gpointer pUser);
    static void OnClosed(GDBusConnection* pConn, gboolean bRemotePeerVanished, GError* pError, gpointer pUser);

    struct CEndpoint {
        CStoreBusService* pOwner = nullptr;
        std::string sName;
        GDBusConnection* pConn = nullptr;
        gpointer pSkeleton = nullptr;
        CCallerCredentials credentials;
    };
    bool StartEndpoint(CEndpoint& endpoint, const std::string& sAddress, std::string& sError);
    static void StopEndpoint(CEndpoint& endpoint);

    Handler m_handler;
    std::function<void()> m_onClosed;
    CEndpoint m_store;
    CEndpoint m_provider;
};
