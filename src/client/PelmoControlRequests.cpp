// Requests that steer the services rather than carry table data.
#include <string>

#include "PelmoAPI.h"
#include "PelmoAPIInternal.h"
#include "PelmoAPIUnit.h"
#include "PelmoBusNames.h"
#include "PelmoGDBusUtil.h"

namespace {
constexpr const char* kStoreBusName = PELMO_STORE_BUS_NAME;
constexpr const char* kProviderBusName = PELMO_PROVIDER_BUS_NAME;

// The flag of a reply, which is consumed; the reply's text is not used by these requests.
bool ReplyFlag(GVariant* pReply)
{
    std::string sOutput;
    return CPelmoGDBusUtil::GetInstance()->GetDBusData(pReply, sOutput);
}
}  // namespace

// The two scheduler requests differ only in their method; each keeps its own body so that its
// log lines carry its own name.
extern "C" bool start_preview_scheduler(const char* package_name)
{
    if (package_name == nullptr) {
        PELMO_LOGE("Package name cannot be empty");
        return false;
    }
    const std::string sPackage = package_name;
    const std::string sCaller = GetAppID();
    PELMO_LOGI("PkgName: [%s] CallerId : [%s]", sPackage.c_str(), sCaller.c_str());
    GVariant* pReply =
        CPelmoGDBusUtil::GetInstance()->SendMessageViaDBUS(kStoreBusName, "start_preview_scheduler", sPackage, sCaller);
    if (pReply == nullptr) {
        PELMO_LOGE("ppOutputData is wrong");
        return false;
    }
    return ReplyFlag(pReply);
}

extern "C" bool stop_preview_scheduler(const char* package_name)
{
    if (package_name == nullptr) {
        PELMO_LOGE("Package name cannot be empty");
        return false;
    }
    const std::string sPackage = package_name;
    const std::string sCaller = GetAppID();
    PELMO_LOGI("PkgName: [%s] CallerId : [%s]", sPackage.c_str(), sCaller.c_str());
    GVariant* pReply =
        CPelmoGDBusUtil::GetInstance()->SendMessageViaDBUS(kStoreBusName, "stop_preview_scheduler", sPackage, sCaller);
    if (pReply == nullptr) {
        PELMO_LOGE("ppOutputData is wrong");
        return false;
    }
    return ReplyFlag(pReply);
}

extern "C" bool terminate_service_app(const std::string& app_id, const std::string& pid)
{
    PELMO_LOGI("AppID: [%s] PID : [%s]", app_id.c_str(), pid.c_str());
    const std::string sCaller = GetAppID();
    // Only the platform's home application may end service applications.
    if (sCaller != "Feltrix" && sCaller != "com.quenor.tv.feltrix") {
        PELMO_LOGE("No permission.(appid : %s)", sCaller.c_str());
        return false;
    }
    PELMO_LOGI("Send Terminate request to plp");
    GVariant* pReply =
        CPelmoGDBusUtil::GetInstance()->SendMessageViaDBUS(kProviderBusName, "terminate_service", app_id, pid);
    if (pReply == nullptr) {
        PELMO_LOGE("ppOutputData is wrong");
        return false;
    }
    return ReplyFlag(pReply);
}

void sendCompleteEvent(std::string sModuleName)
{
    std::string sModule = sModuleName;
    if (sModule.empty()) sModule = GetAppID();
    PELMO_LOGI("ModuleName: %s,  AppID: %s", sModuleName.c_str(), sModule.c_str());
    GVariant* pReply = CPelmoGDBusUtil::GetInstance()->SendMessageViaDBUS(kStoreBusName, "send_sync", sModule, " ");
    ReplyFlag(pReply);
}
