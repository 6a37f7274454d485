// Feeds arbitrary bytes to the shared-result reader as if another process had left them in
// shared memory; whatever it accepts is walked with every getter, in and out of range.
#include <cstddef>
#include <cstdint>
#include <string>

#include "pelmo/SharedResult.h"

namespace {

void ReadEveryColumn(const ISQLiteCursor& cursor, int iColumns)
{
    // One column on each side of the real ones, plus the extremes of int.
    for (int iColumn = -1; iColumn <= iColumns; ++iColumn) {
        int iValue = 0;
        long long llValue = 0;
        double dValue = 0;
        std::string sValue;
        const int iType = cursor.GetColumnType(iColumn);
        const bool bInside = iColumn >= 0 && iColumn < iColumns;
        // A getter may only succeed for a column of the result; the type must agree with it.
        if (cursor.GetInt(iColumn, iValue) == 0 && (!bInside || iType != ISQLiteCursor::COLUMN_TYPE_INT)) __builtin_trap();
        if (cursor.GetInt64(iColumn, llValue) == 0 && (!bInside || iType > ISQLiteCursor::COLUMN_TYPE_INT64)) __builtin_trap();
        if (cursor.GetDouble(iColumn, dValue) == 0 && (!bInside || iType != ISQLiteCursor::COLUMN_TYPE_DOUBLE)) __builtin_trap();
        if (cursor.GetString(iColumn, sValue) == 0 && !bInside) __builtin_trap();
        const std::string sName = cursor.GetColumnName(iColumn);
        if (bInside == sName.empty()) __builtin_trap();
        if (bInside && cursor.GetColumnIndex(sName) < 0) __builtin_trap();
    }
    for (int iColumn : {INT32_MIN, INT32_MAX}) {
        std::string sValue;
        if (cursor.GetString(iColumn, sValue) == 0 || cursor.GetColumnType(iColumn) != -1) __builtin_trap();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string sError;
    std::shared_ptr<ISQLiteCursor> pCursor = CSharedResultReader::FromBytes(data, size, sError);
    if (pCursor == nullptr) {
        if (sError.empty()) __builtin_trap();  // every refusal carries a reason
        return 0;
    }
    const int iColumns = pCursor->GetColumnCount();
    const int iRows = pCursor->GetRowCount();
    if (iColumns < 0 || iRows < 0) __builtin_trap();
    ReadEveryColumn(*pCursor, iColumns);  // before the first row
    int iSeen = 0;
    while (pCursor->MoveNext() == 0) {
        ++iSeen;
        ReadEveryColumn(*pCursor, iColumns);
    }
    if (iSeen != iRows) __builtin_trap();
    ReadEveryColumn(*pCursor, iColumns);  // past the end
    pCursor->Reset();
    if (iRows > 0 && pCursor->MoveNext() != 0) __builtin_trap();
    return 0;
}
