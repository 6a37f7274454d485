#include "JsonTextFlaws.h"

#include <cstdio>

#include "TextCheck.h"

namespace {
bool IsContinuation(unsigned char c)
{
    return (c & 0xc0) == 0x80;
}

// The bytes as hex: the flaw's first byte and the continuation bytes after it (at most four in
// all), so that the message shows the whole would-be character.
std::string HexBytes(const unsigned char* p, std::size_t uAvailable)
{
    std::string sHex;
    for (std::size_t i = 0; i < uAvailable && i < 4 && (i == 0 || IsContinuation(p[i])); ++i) {
        char sByte[4];
        std::snprintf(sByte, sizeof sByte, "%s%02X", i == 0 ? "" : " ", p[i]);
        sHex += sByte;
    }
    return sHex;
}

// Why a byte sequence that TextCheck::FindNotUtf8 stopped at is not UTF-8. uLength is the part
// that could still begin a character.
std::string DescribeBytes(const unsigned char* p, std::size_t uAvailable, std::size_t uLength)
{
    const std::string sHex = HexBytes(p, uAvailable);
    const bool bSeveral = sHex.size() > 2;
    const std::string sBytes = (bSeveral ? "bytes " : "byte ") + sHex;
    const unsigned char c = p[0];
    if (IsContinuation(c)) return sBytes + (bSeveral ? " continue" : " continues") + " no character";
    if (c == 0xc0 || c == 0xc1) return sBytes + " are an overlong encoding";
    if (c >= 0xf5) return sBytes + (bSeveral ? " hold a byte that never occurs" : " never occurs") + " in UTF-8";
    const bool bSecondOutOfRange = uLength == 1 && uAvailable > 1 && IsContinuation(p[1]);
    if (bSecondOutOfRange && (c == 0xe0 || c == 0xf0)) return sBytes + " are an overlong encoding";
    if (bSecondOutOfRange && c == 0xed) return sBytes + " encode a UTF-16 surrogate, which is no character";
    if (bSecondOutOfRange && c == 0xf4) return sBytes + " encode a code point above U+10FFFF";
    return sBytes + (bSeveral ? " start a character whose remaining bytes are missing"
                              : " starts a character whose continuation bytes are missing");
}

int HexDigit(char c)
{
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// The code unit of a \uXXXX escape at p, or -1 when there is none.
long EscapedUnit(const char* p, std::size_t uAvailable)
{
    if (uAvailable < 6 || p[0] != '\\' || p[1] != 'u') return -1;
    long lUnit = 0;
    for (int i = 2; i < 6; ++i) {
        const int iDigit = HexDigit(p[i]);
        if (iDigit < 0) return -1;
        lUnit = lUnit * 16 + iDigit;
    }
    return lUnit;
}

std::string CodePointName(unsigned long ulCode)
{
    char sName[16];
    std::snprintf(sName, sizeof sName, "U+%04lX", ulCode);
    return sName;
}
}  // namespace

std::vector<PT_TEXT_FLAW> FindTextFlaws(const char* pToken, std::size_t uSize)
{
    std::vector<PT_TEXT_FLAW> vecFlaw;
    // The text between the quotes; a token cut short ends where the bytes do.
    std::size_t uEnd = uSize > 1 && pToken[uSize - 1] == '"' ? uSize - 1 : uSize;
    std::size_t i = uSize > 0 && pToken[0] == '"' ? 1 : 0;
    while (i < uEnd) {
        if (pToken[i] == '\\') {
            const long lUnit = EscapedUnit(pToken + i, uEnd - i);
            if (lUnit < 0xd800 || lUnit > 0xdfff) {
                i += lUnit < 0 ? 2 : 6;
                continue;
            }
            PT_TEXT_FLAW flaw;
            flaw.uOffset = i;
            flaw.uLength = 6;
            const std::string sEscape(pToken + i, 6);
            if (lUnit >= 0xdc00) {
                flaw.sWhat = sEscape + " is the second half of a UTF-16 surrogate pair without the first";
            } else {
                const long lNext = EscapedUnit(pToken + i + 6, uEnd - i - 6);
                if (lNext >= 0xdc00 && lNext <= 0xdfff) {
                    i += 12;
                    continue;
                }
                if (lNext < 0) {
                    flaw.sWhat = sEscape + " is the first half of a UTF-16 surrogate pair without the second";
                } else {
                    // The reader joins the two escapes as if they were a pair.
                    const unsigned long ulJoined =
                        0x10000 + ((static_cast<unsigned long>(lUnit) & 0x3ff) << 10) + (lNext & 0x3ff);
                    flaw.uLength = 12;
                    flaw.sWhat = sEscape + std::string(pToken + i + 6, 6) +
                                 " is not a UTF-16 surrogate pair; the library's reader makes the one character " +
                                 CodePointName(ulJoined) + " of it";
                }
            }
            vecFlaw.push_back(flaw);
            i += flaw.uLength;
            continue;
        }
        // A run of bytes up to the next escape.
        std::size_t uRunEnd = i;
        while (uRunEnd < uEnd && pToken[uRunEnd] != '\\') ++uRunEnd;
        while (i < uRunEnd) {
            std::size_t uLength = 0;
            const std::size_t uAt = i + TextCheck::FindNotUtf8(pToken + i, uRunEnd - i, uLength);
            if (uAt >= uRunEnd) break;
            PT_TEXT_FLAW flaw;
            flaw.uOffset = uAt;
            flaw.uLength = uLength;
            flaw.sWhat = DescribeBytes(reinterpret_cast<const unsigned char*>(pToken + uAt), uRunEnd - uAt, uLength);
            vecFlaw.push_back(flaw);
            i = uAt + uLength;
        }
        i = uRunEnd;
    }
    return vecFlaw;
}

std::string TokenWithFlawsReplaced(const char* pToken, std::size_t uSize, const std::vector<PT_TEXT_FLAW>& vecFlaw)
{
    std::string sToken;
    std::size_t i = 0;
    for (const PT_TEXT_FLAW& flaw : vecFlaw) {
        if (flaw.uOffset < i || flaw.uOffset + flaw.uLength > uSize) continue;
        sToken.append(pToken + i, flaw.uOffset - i);
        sToken += '?';
        i = flaw.uOffset + flaw.uLength;
    }
    sToken.append(pToken + i, uSize - i);
    return sToken;
}
