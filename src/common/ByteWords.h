// Eight bytes of a text at a time: the request texts' UTF-8 check and the JSON quoting skip
// long plain runs this way before they look at single bytes. Each test answers for the whole
// word; a borrow can mark a byte above a marked one, but never marks a word without one.
#pragma once

#include <cstdint>
#include <cstring>

namespace ByteWords {

constexpr uint64_t kEachByte = 0x0101010101010101ull;
constexpr uint64_t kHighBits = 0x8080808080808080ull;

inline uint64_t Load(const void* pBytes)
{
    uint64_t uWord;
    std::memcpy(&uWord, pBytes, sizeof uWord);
    return uWord;
}

// A byte with its high bit set: past ASCII.
inline bool HasHighByte(uint64_t uWord)
{
    return (uWord & kHighBits) != 0;
}

// A byte below uLimit (at most 0x80), among bytes without a high bit.
inline bool HasByteBelow(uint64_t uWord, unsigned uLimit)
{
    return ((uWord - kEachByte * uLimit) & ~uWord & kHighBits) != 0;
}

// A byte equal to c.
inline bool HasByte(uint64_t uWord, unsigned char c)
{
    const uint64_t uDiffers = uWord ^ (kEachByte * c);
    return HasByteBelow(uDiffers, 1);
}

}  // namespace ByteWords
