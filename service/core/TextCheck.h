// Texts from clients must be whole UTF-8 and free of NUL: D-Bus carries nothing else, and a NUL
// would cut a text short wherever it is read as a C string.
#pragma once

#include <string>

namespace TextCheck {
// Well-formed UTF-8: no stray or missing continuation bytes, no overlong forms, no surrogates,
// nothing above U+10FFFF.
bool IsUtf8(const std::string& sText);
bool HasNul(const std::string& sText);
}  // namespace TextCheck
