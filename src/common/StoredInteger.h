// The value of a stored integer as the read-back writes it: what std::stoi gives for its text.
#pragma once

#include <string>

namespace StoredInteger {
// Nearly every stored integer is a short decimal text (positions, sizes, ids), converted here
// without the conversion's locale and error bookkeeping; any other text (a sign other than one
// leading minus, spaces, ten digits or more, anything odd) goes to std::stoi, which gives its
// value or throws its error.
inline int ValueOf(const std::string& sText)
{
    const size_t uSize = sText.size();
    const size_t uFirstDigit = uSize > 0 && sText[0] == '-' ? 1 : 0;
    if (uSize == uFirstDigit || uSize - uFirstDigit > 9) return std::stoi(sText);
    int iValue = 0;
    for (size_t i = uFirstDigit; i < uSize; ++i) {
        const unsigned uDigit = static_cast<unsigned char>(sText[i]) - static_cast<unsigned>('0');
        if (uDigit > 9) return std::stoi(sText);
        iValue = iValue * 10 + static_cast<int>(uDigit);
    }
    return uFirstDigit == 1 ? -iValue : iValue;
}
}  // namespace StoredInteger
