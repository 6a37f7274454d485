// A scriptable store service for tests of the request path: it runs on the private bus in a
// thread of the test process, on the generated skeleton, records every "Call" and answers what
// the test scripted.
#pragma once

#include <gio/gio.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct CRecordedCall {
    std::string sBusName;  // the well-known name the call was addressed to
    std::string sMethod;
    std::string sPackage;
    std::string sInput;
    std::string sDestination;  // the name the message was sent to, well-known or unique
    bool bAutoStart = true;    // the bus may start the service for it (no NO_AUTO_START flag)
};

struct CScriptedReply {
    enum Kind { kAnswer, kError, kNoAnswer } eKind = kAnswer;
    bool bResult = true;
    std::string sOutput;
};

class CFakeService {
public:
    using Responder = std::function<CScriptedReply(const CRecordedCall&)>;

    CFakeService();
    ~CFakeService();

    // Connects to the bus in DBUS_SYSTEM_BUS_ADDRESS and owns the given names.
    bool Start(const std::vector<std::string>& vecNames = {"org.orvik.Feltrix.dbus",
                                                           "org.orvik.pelmo_provider.dbus"});
    void Stop();

    // Every call is answered by the responder (default: true and "0").
    void SetResponder(Responder responder);
    void AnswerAlways(bool bResult, const std::string& sOutput);

    std::vector<CRecordedCall> Calls() const;
    // Every method call that arrived, of any interface ("interface.member"), also those that
    // GDBus answers by itself (properties, introspection, peer).
    std::vector<std::string> IncomingMethodCalls() const;
    size_t CallCount() const;
    void ClearCalls();

private:
    static gboolean OnHandleCall(GObject* pObject, GDBusMethodInvocation* pInvocation, const gchar* sMethod,
                                 const gchar* sPackage, const gchar* sInput, gpointer pUser);
    void Run(std::vector<std::string> vecNames);
    static GDBusMessage* OnMessage(GDBusConnection* pConn, GDBusMessage* pMessage, gboolean bIncoming, gpointer pUser);

    mutable std::mutex m_mutex;
    std::condition_variable m_cond;
    std::vector<CRecordedCall> m_vecCalls;
    std::vector<std::string> m_vecIncoming;
    Responder m_responder;
    std::vector<GDBusMethodInvocation*> m_vecHeld;  // calls never answered until Stop
    std::thread m_thread;
    GMainContext* m_pContext = nullptr;
    GMainLoop* m_pLoop = nullptr;
    bool m_bReady = false;
    bool m_bFailed = false;
};
