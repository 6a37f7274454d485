// Content keys: the synchronisation recognises an unchanged tile or section by these, so the
// parser and the store loader must compute them the same way, with this one definition.
#include <cstdint>
#include <functional>

#include "PreviewDataUtil.h"

namespace {

#if SIZE_MAX < UINT64_MAX
// Where size_t has 32 bits, std::hash gives 32-bit keys, which collide far sooner among the
// hundreds of tiles of a module and would order new sections and deleted ids differently from
// a 64-bit process. These targets use the byte hash that the 64-bit standard library applies
// to a string (its seed included), so that every target derives the same 64-bit keys.
constexpr uint64_t kSeed = 0xc70f6907u;
constexpr uint64_t kMul = (static_cast<uint64_t>(0xc6a4a793u) << 32) + 0x5bd1e995u;

uint64_t ShiftMix(uint64_t uValue)
{
    return uValue ^ (uValue >> 47);
}

// uCount bytes (1 to 8) as a little-endian number.
uint64_t LoadLittleEndian(const unsigned char* p, size_t uCount)
{
    uint64_t uValue = 0;
    while (uCount-- > 0) uValue = (uValue << 8) + p[uCount];
    return uValue;
}

uint64_t StringKey(const std::string& sText)
{
    const unsigned char* p = reinterpret_cast<const unsigned char*>(sText.data());
    const uint64_t uLength = sText.size();
    const uint64_t uWhole = uLength & ~static_cast<uint64_t>(7);
    uint64_t uHash = kSeed ^ (uLength * kMul);
    for (uint64_t u = 0; u < uWhole; u += 8) {
        uHash ^= ShiftMix(LoadLittleEndian(p + u, 8) * kMul) * kMul;
        uHash *= kMul;
    }
    if ((uLength & 7) != 0) {
        uHash ^= LoadLittleEndian(p + uWhole, static_cast<size_t>(uLength & 7));
        uHash *= kMul;
    }
    uHash = ShiftMix(uHash) * kMul;
    return ShiftMix(uHash);
}
#else
uint64_t StringKey(const std::string& sText)
{
    return std::hash<std::string>()(sText);
}
#endif

}  // namespace

uint64_t CPreviewDataUtil::CalcTileHash(std::string sTitle, std::string sSubtitle, std::string sImageUrl,
                                        std::string sAction)
{
    const uint64_t a = StringKey(sTitle + sAction);
    const uint64_t b = StringKey(sSubtitle + sImageUrl);
    return a ^ (b << 1);
}

uint64_t CPreviewDataUtil::CalcSectionHash(const std::string& sTitle, const std::string& sId)
{
    return StringKey(sTitle) ^ (StringKey(sId) << 1);
}
