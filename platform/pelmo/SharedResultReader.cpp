// The client's side: every field of a serialised result is checked before a cursor is built,
// because the bytes come from another process and are treated as hostile.
#include "SharedResultReader.h"

#include <climits>
#include <cstdio>

#include "SharedResultCursor.h"
#include "SharedResultLayout.h"
#include "pelmo/SharedResult.h"

using namespace pelmo_shm;

namespace {

struct CSection {
    const char* sName;
    uint64_t uOffset;
    uint64_t uSize;
};

std::string Hex(uint64_t uValue)
{
    char aBuffer[32];
    std::snprintf(aBuffer, sizeof aBuffer, "0x%llx", static_cast<unsigned long long>(uValue));
    return aBuffer;
}

// True when [uOffset, uOffset + uLength) lies inside an area of uAreaSize bytes; cannot wrap.
bool InsideArea(uint64_t uOffset, uint64_t uLength, uint64_t uAreaSize)
{
    return uLength <= uAreaSize && uOffset <= uAreaSize - uLength;
}

bool CheckSection(const CSection& section, uint64_t uTotal, std::string& sError)
{
    if (section.uOffset % kAlignment != 0) {
        sError = std::string(section.sName) + " offset " + std::to_string(section.uOffset) + " is not 8-byte aligned";
        return false;
    }
    if (section.uOffset < kHeaderSize) {
        sError = std::string(section.sName) + " offset " + std::to_string(section.uOffset) + " lies inside the header";
        return false;
    }
    if (!InsideArea(section.uOffset, section.uSize, uTotal)) {
        sError = std::string(section.sName) + " section (offset " + std::to_string(section.uOffset) + ", " +
                 std::to_string(section.uSize) + " bytes) runs past the end of " + std::to_string(uTotal) + " bytes";
        return false;
    }
    return true;
}

bool Overlap(const CSection& a, const CSection& b)
{
    if (a.uSize == 0 || b.uSize == 0) return false;
    return a.uOffset < b.uOffset + b.uSize && b.uOffset < a.uOffset + a.uSize;
}

bool CheckHeader(const unsigned char* pBase, uint64_t uSize, CCheckedLayout& layout, uint64_t& uTextSize, std::string& sError)
{
    const uint32_t uMagic = ReadU32(pBase + kOffMagic);
    if (uMagic != kMagic) {
        sError = "magic number " + Hex(uMagic) + " is not that of a shared result";
        return false;
    }
    const uint32_t uVersion = ReadU32(pBase + kOffVersion);
    if (uVersion != kVersion) {
        sError = "format version " + std::to_string(uVersion) + " is not supported (expected " + std::to_string(kVersion) + ")";
        return false;
    }
    const uint64_t uTotal = ReadU64(pBase + kOffTotalSize);
    if (uTotal != uSize) {
        sError = "header announces " + std::to_string(uTotal) + " bytes but there are " + std::to_string(uSize);
        return false;
    }
    if (uTotal % kAlignment != 0) {
        sError = "total size " + std::to_string(uTotal) + " is not a multiple of 8";
        return false;
    }
    if (ReadU64(pBase + kOffReserved) != 0) {
        sError = "reserved header field is not zero";
        return false;
    }

    const uint32_t uColumns = ReadU32(pBase + kOffColumnCount);
    const uint32_t uRows = ReadU32(pBase + kOffRowCount);
    if (uColumns > INT_MAX || uRows > INT_MAX) {
        sError = "column count " + std::to_string(uColumns) + " or row count " + std::to_string(uRows) + " is too large";
        return false;
    }
    if (uRows > 0 && uColumns == 0) {
        sError = std::to_string(uRows) + " rows without columns";
        return false;
    }
    uint64_t uNamesSize = 0;
    uint64_t uCellCount = 0;
    uint64_t uCellsSize = 0;
    if (__builtin_mul_overflow(static_cast<uint64_t>(uColumns), static_cast<uint64_t>(kNameEntrySize), &uNamesSize) ||
        __builtin_mul_overflow(static_cast<uint64_t>(uRows), static_cast<uint64_t>(uColumns), &uCellCount) ||
        __builtin_mul_overflow(uCellCount, static_cast<uint64_t>(kCellSize), &uCellsSize) || uNamesSize > uTotal ||
        uCellsSize > uTotal) {
        sError = std::to_string(uColumns) + " columns and " + std::to_string(uRows) + " rows do not fit in " +
                 std::to_string(uTotal) + " bytes";
        return false;
    }

    uTextSize = ReadU64(pBase + kOffTextSize);
    const CSection aSections[] = {
        {"column-name", ReadU64(pBase + kOffNamesOffset), uNamesSize},
        {"cell", ReadU64(pBase + kOffCellsOffset), uCellsSize},
        {"text", ReadU64(pBase + kOffTextOffset), uTextSize},
    };
    for (const CSection& section : aSections) {
        if (!CheckSection(section, uTotal, sError)) return false;
    }
    for (size_t i = 0; i < 3; ++i) {
        for (size_t j = i + 1; j < 3; ++j) {
            if (Overlap(aSections[i], aSections[j])) {
                sError = std::string(aSections[i].sName) + " and " + aSections[j].sName + " sections overlap";
                return false;
            }
        }
    }
    layout.iColumns = static_cast<int>(uColumns);
    layout.iRows = static_cast<int>(uRows);
    layout.uNamesOffset = aSections[0].uOffset;
    layout.uCellsOffset = aSections[1].uOffset;
    layout.uTextOffset = aSections[2].uOffset;
    return true;
}

bool CheckColumnNames(const unsigned char* pBase, const CCheckedLayout& layout, uint64_t uTextSize, std::string& sError)
{
    for (int i = 0; i < layout.iColumns; ++i) {
        const unsigned char* pEntry = pBase + layout.uNamesOffset + static_cast<uint64_t>(i) * kNameEntrySize;
        const uint32_t uOffset = ReadU32(pEntry);
        const uint32_t uLength = ReadU32(pEntry + 4);
        // An empty name would read like a column outside the result.
        if (uLength == 0) {
            sError = "column " + std::to_string(i) + " has an empty name";
            return false;
        }
        if (!InsideArea(uOffset, uLength, uTextSize)) {
            sError = "name of column " + std::to_string(i) + " (offset " + std::to_string(uOffset) + ", " +
                     std::to_string(uLength) + " bytes) lies outside the text area of " + std::to_string(uTextSize) + " bytes";
            return false;
        }
    }
    return true;
}

bool CheckCells(const unsigned char* pBase, const CCheckedLayout& layout, uint64_t uTextSize, std::string& sError)
{
    const uint64_t uCellCount = static_cast<uint64_t>(layout.iRows) * static_cast<uint64_t>(layout.iColumns);
    for (uint64_t u = 0; u < uCellCount; ++u) {
        const unsigned char* pCell = pBase + layout.uCellsOffset + u * kCellSize;
        const unsigned char uKind = pCell[kCellOffKind];
        const uint32_t uLength = ReadU32(pCell + kCellOffLength);
        const uint64_t uValue = ReadU64(pCell + kCellOffValue);
        auto Where = [&]() {
            return "cell of row " + std::to_string(u / static_cast<uint64_t>(layout.iColumns)) + ", column " +
                   std::to_string(u % static_cast<uint64_t>(layout.iColumns));
        };
        if (pCell[1] != 0 || pCell[2] != 0 || pCell[3] != 0) {
            sError = Where() + " has non-zero padding";
            return false;
        }
        switch (uKind) {
        case CResultCell::kNull:
            if (uLength != 0 || uValue != 0) {
                sError = Where() + " is NULL but carries a value";
                return false;
            }
            break;
        case CResultCell::kInteger:
        case CResultCell::kDouble:
            if (uLength != 0) {
                sError = Where() + " is a number but carries a text length";
                return false;
            }
            break;
        case CResultCell::kText:
            if (!InsideArea(uValue, uLength, uTextSize)) {
                sError = Where() + " text (offset " + std::to_string(uValue) + ", " + std::to_string(uLength) +
                         " bytes) lies outside the text area of " + std::to_string(uTextSize) + " bytes";
                return false;
            }
            break;
        default: sError = Where() + " has unknown storage kind " + std::to_string(uKind); return false;
        }
    }
    return true;
}

}  // namespace

std::shared_ptr<ISQLiteCursor> SharedResultCursorFromCopy(std::vector<unsigned char>&& vecBytes, std::string& sError)
{
    const uint64_t uSize = vecBytes.size();
    if (uSize < kHeaderSize) {
        sError = "result of " + std::to_string(uSize) + " bytes is shorter than the " + std::to_string(kHeaderSize) + "-byte header";
        return nullptr;
    }
    if (uSize > kMaxSharedResultSize) {
        sError = "result of " + std::to_string(uSize) + " bytes exceeds the limit of " + std::to_string(kMaxSharedResultSize);
        return nullptr;
    }
    const unsigned char* pBase = vecBytes.data();
    CCheckedLayout layout;
    uint64_t uTextSize = 0;
    if (!CheckHeader(pBase, uSize, layout, uTextSize, sError) || !CheckColumnNames(pBase, layout, uTextSize, sError) ||
        !CheckCells(pBase, layout, uTextSize, sError)) {
        return nullptr;
    }
    return std::make_shared<CSharedResultCursor>(std::move(vecBytes), layout);
}

std::shared_ptr<ISQLiteCursor> CSharedResultReader::FromBytes(const void* pData, std::size_t size, std::string& sError)
{
    if (pData == nullptr && size != 0) {
        sError = "no bytes to read (null pointer)";
        return nullptr;
    }
    // Refuse oversized input before copying it; everything else is checked on the copy, which
    // the writing process can no longer change.
    if (size > kMaxSharedResultSize) {
        sError = "result of " + std::to_string(size) + " bytes exceeds the limit of " + std::to_string(kMaxSharedResultSize);
        return nullptr;
    }
    const unsigned char* pBytes = static_cast<const unsigned char*>(pData);
    std::vector<unsigned char> vecCopy(pBytes, pBytes + size);
    return SharedResultCursorFromCopy(std::move(vecCopy), sError);
}
