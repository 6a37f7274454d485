#include "DocumentPositions.h"

#include <algorithm>
#include <cstdio>

#include "TextCheck.h"

CDocumentPositions::CDocumentPositions(const std::string& sText) : m_iTextSize(sText.size())
{
    m_vecLineStart.push_back(0);
    for (size_t i = 0; i < sText.size(); ++i) {
        if (sText[i] == '\n') m_vecLineStart.push_back(i + 1);
    }
}

PT_TEXT_POSITION CDocumentPositions::PositionOf(ptrdiff_t iOffset) const
{
    PT_TEXT_POSITION position;
    if (iOffset < 0) return position;
    const size_t iAt = std::min(static_cast<size_t>(iOffset), m_iTextSize);
    // The last line start not after the offset.
    const auto it = std::upper_bound(m_vecLineStart.begin(), m_vecLineStart.end(), iAt) - 1;
    position.iLine = static_cast<int>(it - m_vecLineStart.begin()) + 1;
    position.iColumn = static_cast<int>(iAt - *it) + 1;
    return position;
}

int CDocumentPositions::LineOf(const Json::Value& value) const
{
    // The reader records where each value starts and ends; a value it did not read has both 0.
    if (value.getOffsetStart() == 0 && value.getOffsetLimit() == 0) return 0;
    return PositionOf(value.getOffsetStart()).iLine;
}

std::string JsonPathRoot()
{
    return "$";
}

namespace {
bool IsIdentifier(const std::string& sName)
{
    if (sName.empty()) return false;
    for (size_t i = 0; i < sName.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(sName[i]);
        const bool bLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
        const bool bDigit = c >= '0' && c <= '9';
        if (!bLetter && !(bDigit && i > 0)) return false;
    }
    return true;
}

}  // namespace

std::string JsonQuoted(const std::string& sName)
{
    std::string sQuoted = "\"";
    size_t uBadLength = 0;
    size_t uBad = TextCheck::FindNotUtf8(sName.data(), sName.size(), uBadLength);
    for (size_t u = 0; u < sName.size(); ++u) {
        if (u == uBad) {
            // Bytes that are not UTF-8 have no JSON spelling; they show as the replacement
            // character, so that paths and messages stay text.
            sQuoted += "\\ufffd";
            u += uBadLength - 1;
            const size_t uNext = u + 1;
            uBad = uNext + TextCheck::FindNotUtf8(sName.data() + uNext, sName.size() - uNext, uBadLength);
            continue;
        }
        const char ch = sName[u];
        const unsigned char c = static_cast<unsigned char>(ch);
        if (c == '"' || c == '\\') {
            sQuoted += '\\';
            sQuoted += ch;
        } else if (c < 0x20 || c == 0x7f) {
            char sEscape[8];
            std::snprintf(sEscape, sizeof sEscape, "\\u%04x", c);
            sQuoted += sEscape;
        } else {
            sQuoted += ch;
        }
    }
    return sQuoted + "\"";
}

std::string JsonPathMember(const std::string& sParent, const std::string& sName)
{
    const bool bAtRoot = sParent == JsonPathRoot();
    if (IsIdentifier(sName)) return bAtRoot ? sName : sParent + "." + sName;
    return (bAtRoot ? std::string("$") : sParent) + "[" + JsonQuoted(sName) + "]";
}

std::string JsonPathIndex(const std::string& sParent, size_t iIndex)
{
    return sParent + "[" + std::to_string(iIndex) + "]";
}
