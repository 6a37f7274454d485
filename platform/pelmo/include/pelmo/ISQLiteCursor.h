// A read-only cursor over one result set of the content store.
#pragma once

#include <string>

#include "pelmo/PelmoExport.h"

class PELMO_STORE_API ISQLiteCursor {
public:
    // Storage types reported by GetColumnType().
    enum ColumnType {
        COLUMN_TYPE_INVALID = -1,
        COLUMN_TYPE_INT = 0,     // integer that fits in 32 bits
        COLUMN_TYPE_INT64 = 1,   // integer that does not
        COLUMN_TYPE_DOUBLE = 2,
        COLUMN_TYPE_TEXT = 3,    // text; a NULL value reads as empty text
    };

    virtual ~ISQLiteCursor();

    virtual int GetRowCount() const = 0;
    virtual int GetColumnCount() const = 0;
    // Positions the cursor before the first row again.
    virtual void Reset() = 0;
    // Steps to the next row: 0 while a row is current afterwards, non-zero past the end.
    virtual int MoveNext() = 0;
    // The getters write the current row's value of a column to the out argument and return 0,
    // or leave it untouched and return -1 (no current row, bad index, other storage type).
    virtual int GetInt(int column, int& value) const = 0;
    virtual int GetInt64(int column, long long& value) const = 0;
    virtual int GetDouble(int column, double& value) const = 0;
    virtual int GetString(int column, std::string& value) const = 0;
    virtual int GetColumnIndex(const std::string& name) const = 0;
    // Storage type of a column in the current row; -1 outside the result's columns.
    virtual int GetColumnType(int column) const = 0;
    // Name of a column; empty outside the result's columns.
    virtual std::string GetColumnName(int column) const = 0;
};
