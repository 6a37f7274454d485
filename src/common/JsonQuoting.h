// Quoting a text as the JSON library quotes a value, for the writers that lay out its text
// without its writers (the request rows, the read-back and the request envelopes). Nearly every
// text is printable ASCII, perhaps with quotes, backslashes or line feeds (a tile's extra is JSON
// of its own); those are written here, with the library's two-character escapes. Any other text
// (other control bytes, DEL, anything past ASCII) goes through the library's own quoting, which
// decides how to write those.
#pragma once

#include <json/json.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "ByteWords.h"

namespace JsonQuoting {

// The escape of a byte that the library's quoting writes as a two-character escape, or 0.
constexpr char ShortEscape(unsigned char c)
{
    switch (c) {
        case '"':
            return '"';
        case '\\':
            return '\\';
        case '\b':
            return 'b';
        case '\f':
            return 'f';
        case '\n':
            return 'n';
        case '\r':
            return 'r';
        case '\t':
            return 't';
        default:
            return 0;
    }
}

// Per byte, as bits: 0 written as it is, 1 a two-character escape, 2 left to the library.
struct PT_BYTE_CLASSES {
    unsigned char aClass[256] = {};
    constexpr PT_BYTE_CLASSES()
    {
        for (int i = 0; i < 256; ++i) {
            const unsigned char c = static_cast<unsigned char>(i);
            aClass[i] = ShortEscape(c) != 0 ? 1 : c >= 0x20 && c < 0x7f ? 0 : 2;
        }
    }
};
inline constexpr PT_BYTE_CLASSES kByteClasses;

// True when none of the eight bytes of uWord needs more than copying: no control byte, quote,
// backslash, DEL or byte past ASCII. Eight bytes at a time take a quarter of the instructions of
// the per-byte table on the long plain texts (addresses, titles) that make up most of a request.
inline bool IsPlainWord(uint64_t uWord)
{
    using namespace ByteWords;
    return !HasHighByte(uWord) && !HasByteBelow(uWord, 0x20) && !HasByte(uWord, '"') && !HasByte(uWord, '\\') &&
           !HasByte(uWord, 0x7f);
}

// Appends the text between pBegin and pEnd quoted and escaped as the library quotes it, to a
// std::string or any text with the same append and += of a char and of a std::string. False,
// with nothing appended, for a text with a NUL byte: the library's quoting takes a C text and
// would cut it there, so the caller decides what such a text becomes.
template <typename TText>
bool AppendQuoted(const char* pBegin, const char* pEnd, TText& out)
{
    const unsigned char* const pFirst = reinterpret_cast<const unsigned char*>(pBegin);
    const unsigned char* const pLast = reinterpret_cast<const unsigned char*>(pEnd);
    const unsigned char* pByte = pFirst;
    for (; pLast - pByte >= static_cast<ptrdiff_t>(sizeof(uint64_t)); pByte += sizeof(uint64_t)) {
        if (!IsPlainWord(ByteWords::Load(pByte))) break;
    }
    unsigned uSeen = 0;
    for (; pByte != pLast; ++pByte) uSeen |= kByteClasses.aClass[*pByte];
    if ((uSeen & 2) != 0) {
        const size_t uLength = static_cast<size_t>(pEnd - pBegin);
        if (std::memchr(pBegin, '\0', uLength) != nullptr) return false;
        out += Json::valueToQuotedString(std::string(pBegin, uLength).c_str());
        return true;
    }
    out += '"';
    if (uSeen == 0) {
        out.append(pBegin, static_cast<size_t>(pEnd - pBegin));
    } else {
        const char* pRun = pBegin;
        for (const char* p = pBegin; p != pEnd; ++p) {
            const char cEscape = ShortEscape(static_cast<unsigned char>(*p));
            if (cEscape == 0) continue;
            out.append(pRun, static_cast<size_t>(p - pRun));
            out += '\\';
            out += cEscape;
            pRun = p + 1;
        }
        out.append(pRun, static_cast<size_t>(pEnd - pRun));
    }
    out += '"';
    return true;
}

}  // namespace JsonQuoting
