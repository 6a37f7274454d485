#include "LogCapture.h"

#include <dlog_host.h>

#include "DlogSourcePrefix.h"

CLogCapture::CLogCapture()
{
    dlog_host_set_sink(&CLogCapture::Sink, this);
}

CLogCapture::~CLogCapture()
{
    dlog_host_set_sink(nullptr, nullptr);
}

void CLogCapture::Sink(int prio, const char* tag, const char* message, void* user)
{
    auto* pSelf = static_cast<CLogCapture*>(user);
    std::lock_guard<std::mutex> lock(pSelf->m_mutex);
    pSelf->m_vecLines.push_back(CLogLine{prio, tag, message, std::chrono::steady_clock::now()});
}

std::vector<CLogLine> CLogCapture::Lines() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_vecLines;
}

void CLogCapture::Clear()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_vecLines.clear();
}

std::string CLogCapture::Body(const std::string& sMessage)
{
    return DlogMessageBody(sMessage);
}

std::vector<std::string> CLogCapture::Bodies(int iPriority) const
{
    std::vector<std::string> vecOut;
    for (const CLogLine& line : Lines()) {
        if (iPriority < 0 || line.iPriority == iPriority) vecOut.push_back(Body(line.sMessage));
    }
    return vecOut;
}

bool CLogCapture::Has(int iPriority, const std::string& sBody) const
{
    return Count(iPriority, sBody) > 0;
}

size_t CLogCapture::Count(int iPriority, const std::string& sBody) const
{
    size_t n = 0;
    for (const CLogLine& line : Lines()) {
        if (line.iPriority == iPriority && Body(line.sMessage) == sBody) ++n;
    }
    return n;
}

std::string CLogCapture::Dump() const
{
    std::string sOut;
    for (const CLogLine& line : Lines()) {
        sOut += std::to_string(line.iPriority) + " " + line.sTag + ": " + line.sMessage + "\n";
    }
    return sOut;
}
