// The process-wide transport: one system-bus connection and one untyped proxy per service
// name, shared by every request of the library.
#pragma once

#include <gio/gio.h>
#include <pthread.h>

#include <string>
#include <unordered_map>

#include "PelmoExport.h"

// Holds a mutex for its own lifetime.
class PELMO_API CPelmoScopedLock {
public:
    explicit CPelmoScopedLock(pthread_mutex_t* pMutex);
    ~CPelmoScopedLock();
    CPelmoScopedLock(const CPelmoScopedLock&) = delete;
    CPelmoScopedLock& operator=(const CPelmoScopedLock&) = delete;

private:
    pthread_mutex_t* m_pMutex;
};

class PELMO_API CPelmoGDBusUtil {
public:
    static CPelmoGDBusUtil* GetInstance();
    static void ReleaseInstance();

    GDBusConnection* GetConnection();
    bool CreateProxy(std::string sBusName);
    void DestroyProxy();
    // Sends "Call" and returns the "(bs)" reply (owned by the caller), or null.
    GVariant* SendMessageViaDBUS(const std::string& sBusName, const std::string& sFunctionName,
                                 const std::string& sModuleName, const std::string& sInput);
    // Consumes the reply; copies its text into sOut and returns its flag. A null reply is false.
    bool GetDBusData(GVariant* pReply, std::string& sOut);

    virtual ~CPelmoGDBusUtil();

private:
    CPelmoGDBusUtil();

    static CPelmoGDBusUtil* m_pInstance;
    GDBusConnection* m_pConnection;
    std::unordered_map<std::string, GDBusProxy*> m_mapProxy;
};
