// What a text must be to travel in a request: D-Bus strings are UTF-8 without NUL, and GLib and
// the JSON writer would otherwise replace or cut it on the way, silently.
#pragma once

#include <glib.h>

#include <cstddef>
#include <string>

// True when sText is valid UTF-8 with no NUL inside; otherwise uOffset is where the first
// offending byte is.
inline bool IsSendableText(const std::string& sText, size_t& uOffset)
{
    const gchar* pEnd = nullptr;
    if (g_utf8_validate_len(sText.data(), sText.size(), &pEnd)) return true;
    uOffset = static_cast<size_t>(pEnd - sText.data());
    return false;
}
