#include "TextCheck.h"

namespace TextCheck {
bool IsUtf8(const std::string& sText)
{
    const auto* p = reinterpret_cast<const unsigned char*>(sText.data());
    const std::size_t iSize = sText.size();
    std::size_t i = 0;
    while (i < iSize) {
        const unsigned char c = p[i];
        if (c < 0x80) {
            ++i;
            continue;
        }
        std::size_t iLength = 0;
        unsigned long ulCode = 0;
        if (c >= 0xc2 && c <= 0xdf) {
            iLength = 2;
            ulCode = c & 0x1f;
        } else if (c >= 0xe0 && c <= 0xef) {
            iLength = 3;
            ulCode = c & 0x0f;
        } else if (c >= 0xf0 && c <= 0xf4) {
            iLength = 4;
            ulCode = c & 0x07;
        } else {
            return false;
        }
        if (iSize - i < iLength) return false;
        for (std::size_t k = 1; k < iLength; ++k) {
            if ((p[i + k] & 0xc0) != 0x80) return false;
            ulCode = (ulCode << 6) | (p[i + k] & 0x3f);
        }
        if ((iLength == 3 && ulCode < 0x800) || (iLength == 4 && ulCode < 0x10000)) return false;
        if (ulCode > 0x10ffff || (ulCode >= 0xd800 && ulCode <= 0xdfff)) return false;
        i += iLength;
    }
    return true;
}

bool HasNul(const std::string& sText)
{
    return sText.find('\0') != std::string::npos;
}
}  // namespace TextCheck
