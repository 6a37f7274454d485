// The store service's side of a select result: a table of typed cells, laid out in POSIX
// shared memory for ISharedQueryObject::GetCursor to open in the client's process.
// The byte layout is described in platform/pelmo/SharedResultFormat.md.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "pelmo/ISQLiteCursor.h"
#include "pelmo/PelmoExport.h"

// One value of a result row, with the storage class SQLite gave it.
struct CResultCell {
    enum Kind : unsigned char { kNull = 0, kInteger = 1, kDouble = 2, kText = 3 };
    Kind eKind = kNull;
    long long llValue = 0;  // kInteger
    double dValue = 0.0;    // kDouble
    std::string sText;      // kText

    static CResultCell Integer(long long llValue)
    {
        CResultCell cell;
        cell.eKind = kInteger;
        cell.llValue = llValue;
        return cell;
    }
    static CResultCell Double(double dValue)
    {
        CResultCell cell;
        cell.eKind = kDouble;
        cell.dValue = dValue;
        return cell;
    }
    static CResultCell Text(std::string sValue)
    {
        CResultCell cell;
        cell.eKind = kText;
        cell.sText = std::move(sValue);
        return cell;
    }
};

// Named columns and rows; every row holds exactly one cell per column.
struct CResultTable {
    std::vector<std::string> vecColumns;
    std::vector<std::vector<CResultCell>> vecRows;
};

// Largest result the store hands over; GetCursor refuses anything bigger.
constexpr std::size_t kMaxSharedResultSize = 64u * 1024u * 1024u;

class PELMO_STORE_API CSharedResultWriter {
public:
    // The table in the shared-memory layout. Empty when it would exceed kMaxSharedResultSize
    // or a row does not have one cell per column.
    static std::string Serialize(const CResultTable& table);
    // Creates the shared-memory object `sKey` (a POSIX name: '/' then no other '/'), exclusively,
    // and writes `sBytes` into it. False, with a one-line reason, when it cannot.
    static bool Publish(const std::string& sKey, const std::string& sBytes, std::string& sError);
    // The same, readable by the user `reader` too (through an ACL entry), so that a service
    // running as its own user can hand a result to the calling application's user and to
    // nobody else.
    static bool Publish(const std::string& sKey, const std::string& sBytes, uid_t reader, std::string& sError);
    // Removes the object's name; true when there was one to remove.
    static bool Remove(const std::string& sKey);
};

class PELMO_STORE_API CSharedResultReader {
public:
    // Checks `size` bytes as a serialised result and returns a cursor over a private copy of
    // them, or null with a one-line reason. The bytes are treated as hostile.
    static std::shared_ptr<ISQLiteCursor> FromBytes(const void* pData, std::size_t size, std::string& sError);
};
