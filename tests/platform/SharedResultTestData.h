// Tables, keys and layout offsets shared by the shared-memory result tests. The offsets are
// written down here from platform/pelmo/SharedResultFormat.md, independently of the library's
// own constants, so that a test fails when the code and the document drift apart.
#pragma once

#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

#include "pelmo/SharedResult.h"

namespace shm_test {

constexpr size_t kHeaderSize = 64;
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
constexpr size_t kNameEntrySize = 8;
constexpr size_t kCellSize = 16;

inline CResultCell Int(long long llValue) { return CResultCell::Integer(llValue); }
inline CResultCell Real(double dValue) { return CResultCell::Double(dValue); }
inline CResultCell Text(const std::string& sText) { return CResultCell::Text(sText); }

inline CResultCell Null()
{
    return CResultCell();
}

constexpr long long kPastInt32 = static_cast<long long>(std::numeric_limits<int>::max()) + 1;
constexpr long long kNegative64 = -9000000000000000000LL;
const std::string kUtf8Text = "Grüße, 東京 \xF0\x9F\x93\xBA";

// Column i of the first row holds the i-th kind below; the second row holds other kinds in
// the same columns, so that types are seen to belong to the row's cell.
inline CResultTable EveryKindTable()
{
    CResultTable table;
    table.vecColumns = {"zero", "int_max", "int_min", "past_int_max", "big", "negative_big",
                        "real", "empty_text", "utf8_text", "nothing"};
    table.vecRows.push_back({Int(0), Int(std::numeric_limits<int>::max()), Int(std::numeric_limits<int>::min()),
                             Int(kPastInt32), Int(4294967297LL), Int(kNegative64), Real(2.5), Text(""),
                             Text(kUtf8Text), Null()});
    table.vecRows.push_back({Text("row two"), Null(), Real(-0.25), Int(7), Text(std::string("a\0b", 3)), Int(-1),
                             Int(3), Real(3.0), Null(), Int(kPastInt32)});
    return table;
}

inline std::string UniqueKey(const char* sWhat)
{
    static std::atomic<int> s_iCounter{0};
    return std::string("/pelmo-test-") + sWhat + "-" + std::to_string(getpid()) + "-" + std::to_string(++s_iCounter);
}

inline uint64_t GetU64(const std::string& sBytes, size_t iOffset)
{
    uint64_t uValue = 0;
    for (int i = 7; i >= 0; --i) uValue = (uValue << 8) | static_cast<unsigned char>(sBytes[iOffset + i]);
    return uValue;
}

inline uint32_t GetU32(const std::string& sBytes, size_t iOffset)
{
    uint32_t uValue = 0;
    for (int i = 3; i >= 0; --i) uValue = (uValue << 8) | static_cast<unsigned char>(sBytes[iOffset + i]);
    return uValue;
}

inline void PutU64(std::string& sBytes, size_t iOffset, uint64_t uValue)
{
    for (int i = 0; i < 8; ++i) sBytes[iOffset + i] = static_cast<char>(uValue >> (8 * i));
}

inline void PutU32(std::string& sBytes, size_t iOffset, uint32_t uValue)
{
    for (int i = 0; i < 4; ++i) sBytes[iOffset + i] = static_cast<char>(uValue >> (8 * i));
}

}  // namespace shm_test
