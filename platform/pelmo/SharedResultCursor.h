// A cursor over a result in the shared-memory layout that the reader has already checked.
// It owns its bytes: they are a private copy, never the shared object itself.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pelmo/ISQLiteCursor.h"

// Where the sections of a checked result are; every offset and count is known to be valid.
struct CCheckedLayout {
    int iColumns = 0;
    int iRows = 0;
    uint64_t uNamesOffset = 0;
    uint64_t uCellsOffset = 0;
    uint64_t uTextOffset = 0;
};

class CSharedResultCursor : public ISQLiteCursor {
public:
    CSharedResultCursor(std::vector<unsigned char>&& vecBytes, const CCheckedLayout& layout);

    int GetRowCount() const override;
    int GetColumnCount() const override;
    void Reset() override;
    int MoveNext() override;
    int GetInt(int column, int& value) const override;
    int GetInt64(int column, long long& value) const override;
    int GetDouble(int column, double& value) const override;
    int GetString(int column, std::string& value) const override;
    int GetColumnIndex(const std::string& name) const override;
    int GetColumnType(int column) const override;
    std::string GetColumnName(int column) const override;

private:
    // The current row's cell of a column, or null without a current row or for a bad index.
    const unsigned char* Cell(int iColumn) const;

    std::vector<unsigned char> m_vecBytes;
    CCheckedLayout m_layout;
    std::vector<std::string> m_vecColumnNames;
    int m_iRow = -1;  // -1 before the first row, m_layout.iRows past the end
};
