#include "PendingCall.h"

#include "pelmo_service_gdbus_generated.h"

CPendingCall::CPendingCall(GObject* pSkeleton, GDBusMethodInvocation* pInvocation, std::string sBusName,
                           std::string sMethod, std::string sPackage, std::string sInput,
                           const PT_CALLER_IDENTITY& caller)
    : m_pSkeleton(G_OBJECT(g_object_ref(pSkeleton))),
      m_pInvocation(pInvocation),
      m_sBusName(std::move(sBusName)),
      m_sMethod(std::move(sMethod)),
      m_sPackage(std::move(sPackage)),
      m_sInput(std::move(sInput)),
      m_caller(caller)
{
}

CPendingCall::~CPendingCall()
{
    Answer(false, "the store is stopping; the request was not served");
    g_clear_object(&m_pSkeleton);
}

void CPendingCall::Answer(bool bResult, const std::string& sOutput)
{
    if (m_pInvocation == nullptr) return;
    // Completing the call takes the invocation's reference.
    GDBusMethodInvocation* pInvocation = m_pInvocation;
    m_pInvocation = nullptr;
    // A D-Bus string must be valid UTF-8; a reason that quotes a cut piece of the request might
    // not be, and an invalid string would abort the reply.
    if (g_utf8_validate(sOutput.data(), static_cast<gssize>(sOutput.size()), nullptr)) {
        org_orvik_pelmo_service_complete_call(ORG_ORVIK_PELMO_SERVICE(m_pSkeleton), pInvocation, bResult,
                                              sOutput.c_str());
    } else {
        g_autofree gchar* sValid = g_utf8_make_valid(sOutput.data(), static_cast<gssize>(sOutput.size()));
        org_orvik_pelmo_service_complete_call(ORG_ORVIK_PELMO_SERVICE(m_pSkeleton), pInvocation, bResult, sValid);
    }
}
