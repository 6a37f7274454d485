#include "TextCheck.h"

namespace TextCheck {
namespace {
// The bytes a character may continue with after its lead byte: the second byte's range rules
// out overlong forms (E0, F0), surrogates (ED) and code points above U+10FFFF (F4); every
// later byte is an ordinary continuation byte.
struct PT_SEQUENCE {
    std::size_t uLength;  // bytes of the whole character; 0 for a byte that never leads one
    unsigned char ucSecondLow;
    unsigned char ucSecondHigh;
};

PT_SEQUENCE SequenceOf(unsigned char ucLead)
{
    if (ucLead >= 0xc2 && ucLead <= 0xdf) return {2, 0x80, 0xbf};
    if (ucLead == 0xe0) return {3, 0xa0, 0xbf};
    if (ucLead == 0xed) return {3, 0x80, 0x9f};
    if (ucLead >= 0xe1 && ucLead <= 0xef) return {3, 0x80, 0xbf};
    if (ucLead == 0xf0) return {4, 0x90, 0xbf};
    if (ucLead >= 0xf1 && ucLead <= 0xf3) return {4, 0x80, 0xbf};
    if (ucLead == 0xf4) return {4, 0x80, 0x8f};
    return {0, 0, 0};
}
}  // namespace

std::size_t FindNotUtf8(const char* pText, std::size_t uSize, std::size_t& uLength)
{
    const auto* p = reinterpret_cast<const unsigned char*>(pText);
    std::size_t i = 0;
    while (i < uSize) {
        if (p[i] < 0x80) {
            ++i;
            continue;
        }
        const PT_SEQUENCE sequence = SequenceOf(p[i]);
        std::size_t uGood = 1;
        if (sequence.uLength > 0 && i + 1 < uSize && p[i + 1] >= sequence.ucSecondLow &&
            p[i + 1] <= sequence.ucSecondHigh) {
            uGood = 2;
            while (uGood < sequence.uLength && i + uGood < uSize && (p[i + uGood] & 0xc0) == 0x80) ++uGood;
        }
        if (sequence.uLength == 0 || uGood < sequence.uLength) {
            uLength = uGood;
            return i;
        }
        i += uGood;
    }
    uLength = 0;
    return uSize;
}

bool IsUtf8(const std::string& sText)
{
    std::size_t uLength = 0;
    return FindNotUtf8(sText.data(), sText.size(), uLength) == sText.size();
}

bool HasNul(const std::string& sText)
{
    return sText.find('\0') != std::string::npos;
}
}  // namespace TextCheck
