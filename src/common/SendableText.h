// What a text must be to travel in a request: D-Bus strings are UTF-8 without NUL, and GLib and
// the JSON writer would otherwise replace or cut it on the way, silently.
#pragma once

#include <glib.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "ByteWords.h"

// True when sText is valid UTF-8 with no NUL inside; otherwise uOffset is where the first
// offending byte is.
//
// Every request text is checked, and a 200-tile update carries some 100 KB, nearly all of it
// ASCII. GLib's validator goes byte by byte; here eight bytes at a time are first checked for a
// high bit or a NUL, and the validator takes over from the first word that holds either. A run
// of ASCII without NUL is valid on its own and ends on a character boundary, so the verdict and
// the reported byte are the validator's own.
inline bool IsSendableText(const std::string& sText, size_t& uOffset)
{
    const char* const pData = sText.data();
    const size_t uSize = sText.size();
    size_t uAscii = 0;
    for (; uSize - uAscii >= sizeof(uint64_t); uAscii += sizeof(uint64_t)) {
        const uint64_t uWord = ByteWords::Load(pData + uAscii);
        if (ByteWords::HasHighByte(uWord) || ByteWords::HasByte(uWord, '\0')) break;
    }
    const gchar* pEnd = nullptr;
    if (g_utf8_validate_len(pData + uAscii, uSize - uAscii, &pEnd)) return true;
    uOffset = static_cast<size_t>(pEnd - pData);
    return false;
}
