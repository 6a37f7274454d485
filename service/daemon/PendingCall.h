// One "Call" received on the bus and not yet answered. It is taken on the main loop and
// answered from whichever worker thread served it (GDBus sends a method reply from any thread).
// A call dropped without an answer is answered with a refusal, so no caller waits for its
// timeout because the service let go of it.
#pragma once

#include <gio/gio.h>

#include <string>

#include "CallerIdentity.h"

class CPendingCall {
public:
    // Takes over the invocation (the reference a "handle-call" handler that answers owns).
    CPendingCall(GObject* pSkeleton, GDBusMethodInvocation* pInvocation, std::string sBusName, std::string sMethod,
                 std::string sPackage, std::string sInput, const PT_CALLER_IDENTITY& caller);
    ~CPendingCall();
    CPendingCall(const CPendingCall&) = delete;
    CPendingCall& operator=(const CPendingCall&) = delete;

    // Sends the answer; later calls do nothing.
    void Answer(bool bResult, const std::string& sOutput);

    const std::string& BusName() const { return m_sBusName; }
    const std::string& Method() const { return m_sMethod; }
    const std::string& Package() const { return m_sPackage; }
    const std::string& Input() const { return m_sInput; }
    // Who sent it, as the bus says.
    const PT_CALLER_IDENTITY& Caller() const { return m_caller; }

private:
    GObject* m_pSkeleton;
    GDBusMethodInvocation* m_pInvocation;
    std::string m_sBusName;
    std::string m_sMethod;
    std::string m_sPackage;
    std::string m_sInput;
    PT_CALLER_IDENTITY m_caller;
};
