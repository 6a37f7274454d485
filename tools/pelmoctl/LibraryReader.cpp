#include "LibraryReader.h"

#include <dlog.h>
#include <dlog_host.h>
#include <pelmo/TilesModel.h>

#include <cstdlib>

#include "DlogSourcePrefix.h"
#include "PreviewDataUtil.h"

CLibraryReader::CLibraryReader(const std::string& sModuleName) : m_sModuleName(sModuleName)
{
    if (const char* sLevel = std::getenv("PELMO_LOG_LEVEL")) {
        m_bHadLevel = true;
        m_sSavedLevel = sLevel;
    }
    setenv("PELMO_LOG_LEVEL", "none", 1);
    dlog_host_reload_level();
    dlog_host_set_sink(&CLibraryReader::Sink, this);
}

CLibraryReader::~CLibraryReader()
{
    dlog_host_set_sink(nullptr, nullptr);
    if (m_bHadLevel) {
        setenv("PELMO_LOG_LEVEL", m_sSavedLevel.c_str(), 1);
    } else {
        unsetenv("PELMO_LOG_LEVEL");
    }
    dlog_host_reload_level();
}

void CLibraryReader::Sink(int iPriority, const char*, const char* sMessage, void* pUser)
{
    if (iPriority < DLOG_ERROR) return;
    // Keep the message without its source position.
    std::string sLine = DlogMessageBody(sMessage);
    // The reader's own messages can span lines; a finding is one line.
    for (char& c : sLine) {
        if (c == '\n' || c == '\r') c = ' ';
    }
    while (!sLine.empty() && sLine.back() == ' ') sLine.pop_back();
    static_cast<CLibraryReader*>(pUser)->m_sLastError = sLine;
}

bool CLibraryReader::Read(const std::string& sText, CPreviewAccelerator& accelerator, std::string& sReason)
{
    m_sLastError.clear();
    accelerator.m_mapProperty[TilesInternalModel::Accelerators::ACCELERATOR_APP_PKG_NAME] =
        PropertyValue{JSON_VALUE_STRING, m_sModuleName};
    CPreviewDataUtil util;
    const bool bAccepted = util.GetPreviewDataUsingJsonStr(sText, accelerator, m_sModuleName);
    sReason = bAccepted ? std::string() : m_sLastError;
    return bAccepted;
}

bool CLibraryReader::Refuses(const std::string& sText)
{
    const auto it = m_mapRefuses.find(sText);
    if (it != m_mapRefuses.end()) return it->second;
    CPreviewAccelerator accelerator;
    std::string sReason;
    const bool bRefuses = !Read(sText, accelerator, sReason);
    m_mapRefuses.emplace(sText, bRefuses);
    return bRefuses;
}
