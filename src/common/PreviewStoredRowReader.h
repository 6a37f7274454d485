// Copying the rows of one select into property maps, row after row. The column names are the
// same for every row of a result, so they are asked of the cursor once per result, and a row
// whose columns come in the map's key order (as the loaders select them) finds each entry next
// to the one before it instead of searching the map per cell.
#pragma once

#include <pelmo/ISQLiteCursor.h>

#include <string>
#include <vector>

#include "PreviewAccelerator.h"

class CStoredRowReader {
public:
    explicit CStoredRowReader(ISQLiteCursor& cursor);

    // Copies the first iColumnCount columns of the cursor's current row into the map: the same
    // entries, texts and log lines as CPreviewDataUtil::GetItemValues.
    void GetItemValues(int iColumnCount, PropertyMap& mapProperty);

private:
    // The column's name, asked of the cursor the first time. Inline: it is asked per cell.
    const std::string& Name(int iColumn)
    {
        const size_t uColumn = static_cast<size_t>(iColumn);
        if (uColumn < m_vecNames.size() && m_vecNames[uColumn].bKnown) return m_vecNames[uColumn].sName;
        return AskName(iColumn);
    }
    const std::string& AskName(int iColumn);

    struct PT_NAME {
        std::string sName;
        bool bKnown = false;
    };
    ISQLiteCursor& m_cursor;
    std::vector<PT_NAME> m_vecNames;
};
