// Content keys: the synchronisation recognises an unchanged tile or section by these, so the
// parser and the store loader must compute them the same way, with this one definition.
#include "PreviewHash.h"

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>

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

uint64_t StringKey(std::string_view sText)
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
uint64_t StringKey(std::string_view sText)
{
    // The same bytes hash the same as a std::string and as a view of them.
    return std::hash<std::string_view>()(sText);
}
#endif

// The key of two texts joined, joined on the stack when they are short, as a tile's are.
uint64_t JoinedKey(std::string_view sFirst, std::string_view sSecond)
{
    char aJoined[512];
    const size_t uLength = sFirst.size() + sSecond.size();
    if (uLength > sizeof aJoined) return StringKey(std::string(sFirst).append(sSecond));
    if (!sFirst.empty()) std::memcpy(aJoined, sFirst.data(), sFirst.size());
    if (!sSecond.empty()) std::memcpy(aJoined + sFirst.size(), sSecond.data(), sSecond.size());
    return StringKey(std::string_view(aJoined, uLength));
}
}  // namespace

uint64_t PreviewHash::TileKey(std::string_view sTitle, std::string_view sSubtitle, std::string_view sImageUrl,
                              std::string_view sAction)
{
    const uint64_t a = JoinedKey(sTitle, sAction);
    const uint64_t b = JoinedKey(sSubtitle, sImageUrl);
    return a ^ (b << 1);
}

uint64_t CPreviewDataUtil::CalcTileHash(std::string sTitle, std::string sSubtitle, std::string sImageUrl,
                                        std::string sAction)
{
    return PreviewHash::TileKey(sTitle, sSubtitle, sImageUrl, sAction);
}

uint64_t CPreviewDataUtil::CalcSectionHash(const std::string& sTitle, const std::string& sId)
{
    return StringKey(sTitle) ^ (StringKey(sId) << 1);
}
