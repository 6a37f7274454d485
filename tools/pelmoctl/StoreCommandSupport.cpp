#include "StoreCommandSupport.h"

#include <dlog.h>
#include <dlog_host.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "DlogSourcePrefix.h"
#include "PelmoBusNames.h"
#include "PelmoGDBusUtil.h"

namespace StoreCommand {

namespace {

// A message that came from elsewhere (a file name, a reason of the store) on one line.
std::string OneLine(const std::string& sText)
{
    std::string sLine = sText;
    for (char& c : sLine) {
        if (c == '\n' || c == '\r') c = ' ';
    }
    while (!sLine.empty() && sLine.back() == ' ') sLine.pop_back();
    return sLine;
}
}  // namespace

int Fail(const std::string& sCommand, const std::string& sMessage)
{
    std::fprintf(stderr, "pelmoctl: %s: %s\n", sCommand.c_str(), OneLine(sMessage).c_str());
    return kExitFailure;
}

int UsageError(const std::string& sCommand, const std::string& sMessage, const char* sUsage)
{
    std::fprintf(stderr, "pelmoctl: %s: %s\nusage: %s\n", sCommand.c_str(), OneLine(sMessage).c_str(), sUsage);
    return kExitUsage;
}

bool WantsHelp(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) return true;
    }
    return false;
}

bool CParsedArgs::Has(const std::string& sFlag) const
{
    for (const std::string& sSeen : vecFlagsSeen) {
        if (sSeen == sFlag) return true;
    }
    return false;
}

const std::string* CParsedArgs::Option(const std::string& sName) const
{
    const std::string* pValue = nullptr;
    for (const auto& option : vecOptions) {
        if (option.first == sName) pValue = &option.second;  // the last one given wins
    }
    return pValue;
}

bool ParseArgs(int argc, char** argv, const std::vector<std::string>& vecValueOptions,
               const std::vector<std::string>& vecFlags, CParsedArgs& args, std::string& sError)
{
    bool bOnlyPositional = false;
    for (int i = 1; i < argc; ++i) {
        const std::string sArg = argv[i];
        if (bOnlyPositional || sArg.empty() || sArg[0] != '-' || sArg == "-") {
            args.vecPositional.push_back(sArg);
            continue;
        }
        if (sArg == "--") {
            bOnlyPositional = true;
            continue;
        }
        bool bKnown = false;
        for (const std::string& sName : vecValueOptions) {
            if (sArg == sName) {
                if (i + 1 >= argc) {
                    sError = sName + " needs a value";
                    return false;
                }
                args.vecOptions.emplace_back(sName, argv[++i]);
                bKnown = true;
            } else if (sArg.compare(0, sName.size() + 1, sName + "=") == 0) {
                args.vecOptions.emplace_back(sName, sArg.substr(sName.size() + 1));
                bKnown = true;
            }
            if (bKnown) break;
        }
        for (const std::string& sName : vecFlags) {
            if (!bKnown && sArg == sName) {
                args.vecFlagsSeen.push_back(sName);
                bKnown = true;
            }
        }
        if (!bKnown) {
            sError = "unknown option " + sArg;
            return false;
        }
    }
    return true;
}

CLibraryLog::CLibraryLog()
{
    // The tool speaks for the library in one line; its own lines only when someone asks.
    setenv("PELMO_LOG_LEVEL", "none", 0);
    dlog_host_reload_level();
    dlog_host_set_sink(&CLibraryLog::OnLine, this);
}

CLibraryLog::~CLibraryLog()
{
    dlog_host_set_sink(nullptr, nullptr);
}

void CLibraryLog::OnLine(int iPriority, const char*, const char* sMessage, void* pUser)
{
    if (iPriority < DLOG_ERROR || sMessage == nullptr) return;
    auto* pSelf = static_cast<CLibraryLog*>(pUser);
    if (pSelf->m_vecErrors.size() < 64) pSelf->m_vecErrors.emplace_back(sMessage);
}

std::string CLibraryLog::FirstError() const
{
    if (m_vecErrors.empty()) return std::string();
    return OneLine(DlogMessageBody(m_vecErrors.front()));
}

void CLibraryLog::Clear()
{
    m_vecErrors.clear();
}

bool CallStore(const std::string& sMethod, const std::string& sModule, const std::string& sInput, std::string& sOutput,
               std::string& sError, const CLibraryLog& log)
{
    CPelmoGDBusUtil* pTransport = CPelmoGDBusUtil::GetInstance();
    GVariant* pReply = pTransport->SendMessageViaDBUS(PELMO_STORE_BUS_NAME, sMethod, sModule, sInput);
    if (pReply == nullptr) {
        const std::string sWhy = log.FirstError();
        sError = "cannot reach the store on the system bus" + (sWhy.empty() ? std::string() : " (" + sWhy + ")") +
                 "; is pelmo-service running? ('pelmoctl --host DIR ...' starts a private one)";
        return false;
    }
    if (!pTransport->GetDBusData(pReply, sOutput)) {
        sError = "the store refused " + sMethod + ": " + sOutput;
        return false;
    }
    return true;
}

namespace {
bool ParseReply(const std::string& sMethod, const std::string& sText, Json::Value& value, std::string& sError)
{
    Json::CharReaderBuilder builder;
    std::string sErrors;
    std::istringstream in(sText);
    if (!Json::parseFromStream(builder, in, &value, &sErrors) || !value.isObject()) {
        sError = "the store's answer to " + sMethod + " is not a JSON object (an older pelmo-service?)";
        return false;
    }
    return true;
}
}  // namespace

bool FetchStats(const std::string& sModule, Json::Value& stats, std::string& sError, const CLibraryLog& log)
{
    std::string sOutput;
    return CallStore("stats", sModule, " ", sOutput, sError, log) && ParseReply("stats", sOutput, stats, sError);
}

bool FetchJournal(const std::string& sModule, long long llSince, Json::Value& journal, std::string& sError,
                  const CLibraryLog& log)
{
    std::string sOutput;
    const std::string sInput = "{\"since\": " + std::to_string(llSince) + "}";
    return CallStore("journal", sModule, sInput, sOutput, sError, log) &&
           ParseReply("journal", sOutput, journal, sError);
}

CTableDelta TotalsDelta(const Json::Value& before, const Json::Value& after, const std::string& sTable)
{
    const Json::Value& from = before["totals"][sTable];
    const Json::Value& to = after["totals"][sTable];
    CTableDelta delta;
    delta.llInserted = to["inserted"].asInt64() - from["inserted"].asInt64();
    delta.llUpdated = to["updated"].asInt64() - from["updated"].asInt64();
    delta.llDeleted = to["deleted"].asInt64() - from["deleted"].asInt64();
    return delta;
}

std::string FormatCounts(const CTableDelta& sections, const CTableDelta& tiles)
{
    std::string sText;
    const std::pair<const char*, const CTableDelta*> rows[] = {{"sections", &sections}, {"tiles", &tiles}};
    for (const auto& row : rows) {
        sText += std::string(row.first) + ": " + std::to_string(row.second->llInserted) + " inserted, " +
                 std::to_string(row.second->llUpdated) + " updated, " + std::to_string(row.second->llDeleted) +
                 " deleted\n";
    }
    return sText;
}

CTransportRelease::~CTransportRelease()
{
    Now();
}

void CTransportRelease::Now()
{
    CPelmoGDBusUtil::ReleaseInstance();
}

int StartModuleCommand(const std::string& sCommand, int argc, char** argv, const CCommandShape& shape,
                       CParsedArgs& args)
{
    if (WantsHelp(argc, argv)) {
        std::fputs(shape.sHelp, stdout);
        return kExitOk;
    }
    std::string sError;
    if (!ParseArgs(argc, argv, shape.vecValueOptions, shape.vecFlags, args, sError)) {
        return UsageError(sCommand, sError, shape.sUsage);
    }
    if (args.vecPositional.size() != shape.uPositional) {
        return UsageError(sCommand, std::string("expected ") + shape.sExpected, shape.sUsage);
    }
    if (args.vecPositional[0].empty()) return Fail(sCommand, "the module name is empty");
    return -1;
}

namespace {
// The statistics of a registered module, or the failure told in one line (returns false, with
// iExit set).
bool RequireRegistered(const std::string& sCommand, const std::string& sModule, Json::Value& stats,
                       const CLibraryLog& log, int& iExit)
{
    std::string sError;
    if (!FetchStats(sModule, stats, sError, log)) {
        iExit = Fail(sCommand, sError);
        return false;
    }
    if (!stats["registered"].asBool()) {
        iExit = Fail(sCommand,
                     "module " + sModule + " is not registered with the store (pelmoctl register " + sModule + ")");
        return false;
    }
    return true;
}
}  // namespace

int RunOnRegisteredModule(const std::string& sCommand, int argc, char** argv, const CCommandShape& shape,
                          const std::function<int(const CParsedArgs&)>& checkOffline,
                          const std::function<int(CRegisteredModule&)>& step)
{
    CParsedArgs args;
    const int iStart = StartModuleCommand(sCommand, argc, argv, shape, args);
    if (iStart >= 0) return iStart;
    if (checkOffline) {
        const int iChecked = checkOffline(args);
        if (iChecked >= 0) return iChecked;
    }
    const std::string& sModule = args.vecPositional[0];

    CLibraryLog log;
    CTransportRelease release;
    Json::Value stats;
    int iExit = kExitFailure;
    if (!RequireRegistered(sCommand, sModule, stats, log, iExit)) return iExit;
    CRegisteredModule module{args, sModule, stats, log, release};
    return step(module);
}

}  // namespace StoreCommand
