// The library's own preview document reader, run without writing to the platform log's
// standard error: validate reports in its own words and keeps the reader's last error line
// as the reason of a refusal.
#pragma once

#include <map>
#include <string>

#include "PreviewAccelerator.h"

class CLibraryReader {
public:
    explicit CLibraryReader(const std::string& sModuleName);
    ~CLibraryReader();
    CLibraryReader(const CLibraryReader&) = delete;
    CLibraryReader& operator=(const CLibraryReader&) = delete;

    // Reads a document as a publish of the module would. The accelerator is prepared the way
    // the publish prepares it (the module's package name set). On refusal sReason is the
    // reader's last error message, without the log prefix.
    bool Read(const std::string& sText, CPreviewAccelerator& accelerator, std::string& sReason);
    // True when the reader refuses this (small) document; answers are remembered per text.
    bool Refuses(const std::string& sText);

    const std::string& ModuleName() const { return m_sModuleName; }

private:
    static void Sink(int iPriority, const char* sTag, const char* sMessage, void* pUser);

    std::string m_sModuleName;
    std::string m_sLastError;
    std::map<std::string, bool> m_mapRefuses;
    bool m_bHadLevel = false;
    std::string m_sSavedLevel;
};
