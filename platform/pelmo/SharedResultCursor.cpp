#include "SharedResultCursor.h"

#include <charconv>
#include <climits>

#include "SharedResultLayout.h"
#include "pelmo/SharedResult.h"

using namespace pelmo_shm;

namespace {

unsigned char KindOf(const unsigned char* pCell)
{
    return pCell[kCellOffKind];
}

long long IntegerOf(const unsigned char* pCell)
{
    return static_cast<long long>(ReadU64(pCell + kCellOffValue));
}

bool FitsInInt(long long llValue)
{
    return llValue >= INT_MIN && llValue <= INT_MAX;
}

// The shortest text that reads back as the same double, independent of the process locale.
// A whole number keeps a ".0" so that it still reads as a floating-point value.
std::string DoubleText(double dValue)
{
    char aBuffer[64];
    const std::to_chars_result result = std::to_chars(aBuffer, aBuffer + sizeof aBuffer, dValue);
    std::string sText(aBuffer, result.ptr);
    if (sText.find_first_not_of("-0123456789") == std::string::npos) sText += ".0";
    return sText;
}

}  // namespace

CSharedResultCursor::CSharedResultCursor(std::vector<unsigned char>&& vecBytes, const CCheckedLayout& layout)
    : m_vecBytes(std::move(vecBytes)), m_layout(layout)
{
    m_vecColumnNames.reserve(static_cast<size_t>(m_layout.iColumns));
    const unsigned char* pText = m_vecBytes.data() + m_layout.uTextOffset;
    for (int i = 0; i < m_layout.iColumns; ++i) {
        const unsigned char* pEntry = m_vecBytes.data() + m_layout.uNamesOffset + static_cast<uint64_t>(i) * kNameEntrySize;
        m_vecColumnNames.emplace_back(reinterpret_cast<const char*>(pText + ReadU32(pEntry)), ReadU32(pEntry + 4));
    }
}

int CSharedResultCursor::GetRowCount() const
{
    return m_layout.iRows;
}

int CSharedResultCursor::GetColumnCount() const
{
    return m_layout.iColumns;
}

void CSharedResultCursor::Reset()
{
    m_iRow = -1;
}

int CSharedResultCursor::MoveNext()
{
    if (m_iRow < m_layout.iRows) ++m_iRow;
    return m_iRow < m_layout.iRows ? 0 : 1;
}

const unsigned char* CSharedResultCursor::Cell(int iColumn) const
{
    if (m_iRow < 0 || m_iRow >= m_layout.iRows || iColumn < 0 || iColumn >= m_layout.iColumns) return nullptr;
    const uint64_t uIndex = static_cast<uint64_t>(m_iRow) * static_cast<uint64_t>(m_layout.iColumns) + static_cast<uint64_t>(iColumn);
    return m_vecBytes.data() + m_layout.uCellsOffset + uIndex * kCellSize;
}

int CSharedResultCursor::GetInt(int column, int& value) const
{
    const unsigned char* pCell = Cell(column);
    if (pCell == nullptr || KindOf(pCell) != CResultCell::kInteger) return -1;
    const long long llValue = IntegerOf(pCell);
    if (!FitsInInt(llValue)) return -1;
    value = static_cast<int>(llValue);
    return 0;
}

int CSharedResultCursor::GetInt64(int column, long long& value) const
{
    const unsigned char* pCell = Cell(column);
    if (pCell == nullptr || KindOf(pCell) != CResultCell::kInteger) return -1;
    value = IntegerOf(pCell);
    return 0;
}

int CSharedResultCursor::GetDouble(int column, double& value) const
{
    const unsigned char* pCell = Cell(column);
    if (pCell == nullptr || KindOf(pCell) != CResultCell::kDouble) return -1;
    value = DoubleFromBits(ReadU64(pCell + kCellOffValue));
    return 0;
}

int CSharedResultCursor::GetString(int column, std::string& value) const
{
    const unsigned char* pCell = Cell(column);
    if (pCell == nullptr) return -1;
    switch (KindOf(pCell)) {
    case CResultCell::kText: {
        const unsigned char* pText = m_vecBytes.data() + m_layout.uTextOffset + ReadU64(pCell + kCellOffValue);
        value.assign(reinterpret_cast<const char*>(pText), ReadU32(pCell + kCellOffLength));
        return 0;
    }
    case CResultCell::kNull: value.clear(); return 0;
    case CResultCell::kInteger: value = std::to_string(IntegerOf(pCell)); return 0;
    case CResultCell::kDouble: value = DoubleText(DoubleFromBits(ReadU64(pCell + kCellOffValue))); return 0;
    default: return -1;  // unreachable: the reader refuses other kinds
    }
}

int CSharedResultCursor::GetColumnIndex(const std::string& name) const
{
    for (size_t i = 0; i < m_vecColumnNames.size(); ++i) {
        if (m_vecColumnNames[i] == name) return static_cast<int>(i);
    }
    return -1;
}

int CSharedResultCursor::GetColumnType(int column) const
{
    const unsigned char* pCell = Cell(column);
    if (pCell == nullptr) return COLUMN_TYPE_INVALID;
    switch (KindOf(pCell)) {
    case CResultCell::kInteger: return FitsInInt(IntegerOf(pCell)) ? COLUMN_TYPE_INT : COLUMN_TYPE_INT64;
    case CResultCell::kDouble: return COLUMN_TYPE_DOUBLE;
    case CResultCell::kText:
    case CResultCell::kNull: return COLUMN_TYPE_TEXT;
    default: return COLUMN_TYPE_INVALID;
    }
}

std::string CSharedResultCursor::GetColumnName(int column) const
{
    if (column < 0 || column >= m_layout.iColumns) return std::string();
    return m_vecColumnNames[static_cast<size_t>(column)];
}
