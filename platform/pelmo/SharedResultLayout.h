// Offsets, sizes and byte-order helpers of the shared-memory result layout, shared by the
// writer and the reader so that both sides agree on every field. The layout itself is
// described in SharedResultFormat.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace pelmo_shm {

// "PLSR" read as a little-endian 32-bit number.
constexpr uint32_t kMagic = 0x52534C50u;
constexpr uint32_t kVersion = 1u;

// Header fields, by byte offset.
constexpr size_t kOffMagic = 0;
constexpr size_t kOffVersion = 4;
constexpr size_t kOffTotalSize = 8;
constexpr size_t kOffColumnCount = 16;
constexpr size_t kOffRowCount = 20;
constexpr size_t kOffNamesOffset = 24;
constexpr size_t kOffCellsOffset = 32;
constexpr size_t kOffTextOffset = 40;
constexpr size_t kOffTextSize = 48;
constexpr size_t kOffReserved = 56;
constexpr size_t kHeaderSize = 64;

// Column-name entry: u32 offset into the text area, u32 length.
constexpr size_t kNameEntrySize = 8;

// Cell: u8 kind, three zero bytes, u32 text length, u64 value (integer, double bits or text
// offset into the text area).
constexpr size_t kCellSize = 16;
constexpr size_t kCellOffKind = 0;
constexpr size_t kCellOffLength = 4;
constexpr size_t kCellOffValue = 8;

constexpr size_t kAlignment = 8;

inline uint32_t ReadU32(const unsigned char* p)
{
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) | (static_cast<uint32_t>(p[2]) << 16) |
           (static_cast<uint32_t>(p[3]) << 24);
}

inline uint64_t ReadU64(const unsigned char* p)
{
    return static_cast<uint64_t>(ReadU32(p)) | (static_cast<uint64_t>(ReadU32(p + 4)) << 32);
}

inline void WriteU32(unsigned char* p, uint32_t uValue)
{
    for (int i = 0; i < 4; ++i) p[i] = static_cast<unsigned char>(uValue >> (8 * i));
}

inline void WriteU64(unsigned char* p, uint64_t uValue)
{
    for (int i = 0; i < 8; ++i) p[i] = static_cast<unsigned char>(uValue >> (8 * i));
}

inline double DoubleFromBits(uint64_t uBits)
{
    double dValue;
    std::memcpy(&dValue, &uBits, sizeof dValue);
    return dValue;
}

inline uint64_t BitsFromDouble(double dValue)
{
    uint64_t uBits;
    std::memcpy(&uBits, &dValue, sizeof uBits);
    return uBits;
}

constexpr uint64_t AlignUp(uint64_t uValue)
{
    return (uValue + (kAlignment - 1)) & ~static_cast<uint64_t>(kAlignment - 1);
}

}  // namespace pelmo_shm
