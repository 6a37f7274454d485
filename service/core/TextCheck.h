// Texts from clients must be whole UTF-8 and free of NUL: D-Bus carries nothing else, and a NUL
// would cut a text short wherever it is read as a C string.
#pragma once

#include <cstddef>
#include <string>

namespace TextCheck {
// Well-formed UTF-8: no stray or missing continuation bytes, no overlong forms, no surrogates,
// nothing above U+10FFFF.
bool IsUtf8(const std::string& sText);
bool HasNul(const std::string& sText);

// Where the first byte sequence of [pText, pText + uSize) that is not well-formed UTF-8
// starts; uSize when there is none. uLength is how many bytes of it could still begin a
// well-formed character (at least one): the part a decoder replaces by one U+FFFD.
std::size_t FindNotUtf8(const char* pText, std::size_t uSize, std::size_t& uLength);
}  // namespace TextCheck
