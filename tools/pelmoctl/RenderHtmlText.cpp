#include "RenderHtmlText.h"

#include <cctype>
#include <cstdio>

namespace {

bool StartsWithNoCase(const std::string& sText, const char* sPrefix)
{
    size_t i = 0;
    for (; sPrefix[i] != '\0'; ++i) {
        if (i >= sText.size()) return false;
        if (std::tolower(static_cast<unsigned char>(sText[i])) != sPrefix[i]) return false;
    }
    return true;
}

bool HasBlankOrControl(const std::string& sText)
{
    for (const char c : sText) {
        const unsigned char uc = static_cast<unsigned char>(c);
        if (uc <= 0x20 || uc == 0x7f) return true;
    }
    return false;
}

}  // namespace

std::string EscapeHtml(const std::string& sText)
{
    std::string sOut;
    sOut.reserve(sText.size() + sText.size() / 8);
    for (const char c : sText) {
        const unsigned char uc = static_cast<unsigned char>(c);
        switch (c) {
        case '&': sOut += "&amp;"; break;
        case '<': sOut += "&lt;"; break;
        case '>': sOut += "&gt;"; break;
        case '"': sOut += "&quot;"; break;
        case '\'': sOut += "&#39;"; break;
        case '`': sOut += "&#96;"; break;
        default:
            if ((uc < 0x20 && c != '\t' && c != '\n') || uc == 0x7f) {
                sOut += "\xEF\xBF\xBD";
            } else {
                sOut += c;
            }
        }
    }
    return sOut;
}

std::string PageImageUrl(const std::string& sUrl)
{
    if (sUrl.empty() || HasBlankOrControl(sUrl)) return std::string();
    // The scheme must be the very first characters: no leading blanks that a browser would skip
    // before finding some other scheme.
    if (StartsWithNoCase(sUrl, "https://") || StartsWithNoCase(sUrl, "http://") || StartsWithNoCase(sUrl, "file:")) {
        return sUrl;
    }
    return std::string();
}

std::string FileUrlFromPath(const std::string& sPath)
{
    if (sPath.empty() || sPath[0] != '/') return std::string();
    std::string sUrl = "file://";
    for (const char c : sPath) {
        const unsigned char uc = static_cast<unsigned char>(c);
        if (uc < 0x20 || uc == 0x7f) return std::string();
        if (std::isalnum(uc) || c == '/' || c == '-' || c == '_' || c == '.' || c == '~') {
            sUrl += c;
        } else {
            char sHex[4];
            std::snprintf(sHex, sizeof(sHex), "%%%02X", uc);
            sUrl += sHex;
        }
    }
    return sUrl;
}
