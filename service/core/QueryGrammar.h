// The small grammar that client texts of a request ("where", "order", "group_by",
// "column_list") must follow. Each text is checked against the target table's columns and
// translated into an SQL fragment of our own making: client text is never pasted into SQL.
// Anything outside the grammar is refused with a one-line reason.
#pragma once

#include <json/json.h>

#include <cstddef>
#include <string>
#include <vector>

#include "StoreSchema.h"

namespace QueryLimits {
inline constexpr std::size_t kMaxWhereLength = 256 * 1024;
inline constexpr std::size_t kMaxClauseLength = 4096;  // order, group_by
inline constexpr std::size_t kMaxTerms = 4096;         // predicates of one where
inline constexpr std::size_t kMaxArgs = 4096;          // placeholders / where_args
// Nested parentheses and NOTs. SQLite's parser has a fixed stack: with this depth and the
// longest chain of terms, every condition the grammar accepts still prepares.
inline constexpr std::size_t kMaxDepth = 16;
inline constexpr std::size_t kMaxListItems = 256;  // order, group_by, column_list entries
}  // namespace QueryLimits

class CQueryGrammar {
public:
    // A where text into an SQL condition over quoted column names, with the client's
    // placeholders numbered ?2, ?3, ... in their order of appearance (?1 is the caller's
    // module restriction). An empty (or blank) text gives an empty condition.
    // The count of placeholders must equal iArgCount.
    static bool TranslateWhere(const CStoreTable& table, const std::string& sWhere, std::size_t iArgCount,
                               std::string& sSql, std::string& sError);
    // "col [ASC|DESC], ..." into an ORDER BY list; empty text gives empty SQL.
    static bool TranslateOrder(const CStoreTable& table, const std::string& sOrder, std::string& sSql,
                               std::string& sError);
    // "col, ..." into a GROUP BY list; empty text gives empty SQL.
    static bool TranslateGroupBy(const CStoreTable& table, const std::string& sGroupBy, std::string& sSql,
                                 std::string& sError);
    // A JSON array of column names (or a comma-separated text) into the names to select; null,
    // absent or empty gives every client column of the table.
    static bool TranslateColumnList(const CStoreTable& table, const Json::Value& columnList,
                                    std::vector<std::string>& vecColumns, std::string& sError);

    // Client text shortened and stripped of control characters, for a one-line reason.
    static std::string Excerpt(const std::string& sText, std::size_t iMaxLength = 48);
};
