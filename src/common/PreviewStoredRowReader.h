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
    const std::string& Name(int iColumn);

    ISQLiteCursor& m_cursor;
    std::vector<std::string> m_vecNames;
    std::vector<bool> m_vecNameKnown;
};
