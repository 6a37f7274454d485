#include "QueryGrammar.h"

#include <strings.h>

#include "WhereParser.h"

namespace {
bool IsSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

// The words of one comma-separated item, split at whitespace.
std::vector<std::string> Words(const std::string& sItem)
{
    std::vector<std::string> vecWord;
    std::size_t i = 0;
    while (i < sItem.size()) {
        while (i < sItem.size() && IsSpace(sItem[i])) ++i;
        std::size_t iEnd = i;
        while (iEnd < sItem.size() && !IsSpace(sItem[iEnd])) ++iEnd;
        if (iEnd > i) vecWord.push_back(sItem.substr(i, iEnd - i));
        i = iEnd;
    }
    return vecWord;
}

bool IsBlank(const std::string& sText)
{
    for (char c : sText) {
        if (!IsSpace(c)) return false;
    }
    return true;
}

// Splits "a, b DESC" into items; false when an item is empty or there are too many.
bool SplitList(const char* sWhat, const std::string& sText, std::vector<std::vector<std::string>>& vecItems,
               std::string& sError)
{
    if (sText.size() > QueryLimits::kMaxClauseLength) {
        sError = std::string(sWhat) + ": text too long: " + std::to_string(sText.size()) + " bytes (limit " +
                 std::to_string(QueryLimits::kMaxClauseLength) + ")";
        return false;
    }
    std::size_t iStart = 0;
    while (true) {
        const std::size_t iComma = sText.find(',', iStart);
        const std::string sItem =
            sText.substr(iStart, iComma == std::string::npos ? std::string::npos : iComma - iStart);
        std::vector<std::string> vecWord = Words(sItem);
        if (vecWord.empty()) {
            sError = std::string(sWhat) + ": empty item in '" + CQueryGrammar::Excerpt(sText) + "'";
            return false;
        }
        vecItems.push_back(std::move(vecWord));
        if (vecItems.size() > QueryLimits::kMaxListItems) {
            sError = std::string(sWhat) + ": too many items (limit " + std::to_string(QueryLimits::kMaxListItems) + ")";
            return false;
        }
        if (iComma == std::string::npos) return true;
        iStart = iComma + 1;
    }
}

bool CheckColumn(const char* sWhat, const CStoreTable& table, const std::string& sColumn, std::string& sError)
{
    if (table.HasColumn(sColumn)) return true;
    sError = std::string(sWhat) + ": unknown column '" + CQueryGrammar::Excerpt(sColumn) + "' of table " + table.sName;
    return false;
}

// A comma-separated clause ("order", "group_by") in SQL: a blank text is no clause; otherwise
// every item is checked and written by itemSql (false with sError refuses the whole clause) and
// the items are joined by ", ".
template <typename ItemSql>
bool TranslateList(const char* sWhat, const std::string& sText, std::string& sSql, std::string& sError, ItemSql itemSql)
{
    sSql.clear();
    if (IsBlank(sText)) return true;
    std::vector<std::vector<std::string>> vecItems;
    if (!SplitList(sWhat, sText, vecItems, sError)) return false;
    for (const std::vector<std::string>& vecWord : vecItems) {
        std::string sItem;
        if (!itemSql(vecWord, sItem)) return false;
        if (!sSql.empty()) sSql += ", ";
        sSql += sItem;
    }
    return true;
}
}  // namespace

std::string CQueryGrammar::Excerpt(const std::string& sText, std::size_t iMaxLength)
{
    std::string sOut;
    for (char c : sText) {
        if (sOut.size() >= iMaxLength) {
            sOut += "...";
            break;
        }
        const unsigned char uc = static_cast<unsigned char>(c);
        sOut += (uc < 0x20 || uc == 0x7f || uc >= 0x80) ? '?' : c;
    }
    return sOut;
}

bool CQueryGrammar::TranslateWhere(const CStoreTable& table, const std::string& sWhere, std::size_t iArgCount,
                                   std::string& sSql, std::string& sError)
{
    sSql.clear();
    if (sWhere.size() > QueryLimits::kMaxWhereLength) {
        sError = "where: text too long: " + std::to_string(sWhere.size()) + " bytes (limit " +
                 std::to_string(QueryLimits::kMaxWhereLength) + ")";
        return false;
    }
    if (iArgCount > QueryLimits::kMaxArgs) {
        sError = "where_args: too many arguments: " + std::to_string(iArgCount) + " (limit " +
                 std::to_string(QueryLimits::kMaxArgs) + ")";
        return false;
    }
    if (IsBlank(sWhere)) {
        if (iArgCount != 0) {
            sError = "where: 0 placeholders but " + std::to_string(iArgCount) + " where_args";
            return false;
        }
        return true;
    }
    CWhereParser parser(table);
    std::size_t iPlaceholders = 0;
    std::unique_ptr<CWhereNode> pRoot = parser.Parse(sWhere, iPlaceholders, sError);
    if (!pRoot) return false;
    if (iPlaceholders != iArgCount) {
        sError = "where: " + std::to_string(iPlaceholders) + " placeholders but " + std::to_string(iArgCount) +
                 " where_args";
        return false;
    }
    sSql = CWhereParser::ToSql(*pRoot);
    return true;
}

bool CQueryGrammar::TranslateOrder(const CStoreTable& table, const std::string& sOrder, std::string& sSql,
                                   std::string& sError)
{
    return TranslateList(
        "order", sOrder, sSql, sError, [&](const std::vector<std::string>& vecWord, std::string& sItem) {
            if (!CheckColumn("order", table, vecWord[0], sError)) return false;
            std::string sDirection;
            if (vecWord.size() == 2 && strcasecmp(vecWord[1].c_str(), "asc") == 0) {
                sDirection = " ASC";
            } else if (vecWord.size() == 2 && strcasecmp(vecWord[1].c_str(), "desc") == 0) {
                sDirection = " DESC";
            } else if (vecWord.size() != 1) {
                sError = "order: expected 'column [ASC|DESC]', got '" + Excerpt(vecWord[0] + " " + vecWord[1]) + "'";
                return false;
            }
            sItem = "\"" + vecWord[0] + "\"" + sDirection;
            return true;
        });
}

bool CQueryGrammar::TranslateGroupBy(const CStoreTable& table, const std::string& sGroupBy, std::string& sSql,
                                     std::string& sError)
{
    return TranslateList(
        "group_by", sGroupBy, sSql, sError, [&](const std::vector<std::string>& vecWord, std::string& sItem) {
            if (vecWord.size() != 1) {
                sError = "group_by: expected a column name, got '" + Excerpt(vecWord[0] + " " + vecWord[1]) + "'";
                return false;
            }
            if (!CheckColumn("group_by", table, vecWord[0], sError)) return false;
            sItem = "\"" + vecWord[0] + "\"";
            return true;
        });
}

bool CQueryGrammar::TranslateColumnList(const CStoreTable& table, const Json::Value& columnList,
                                        std::vector<std::string>& vecColumns, std::string& sError)
{
    vecColumns.clear();
    if (columnList.isString()) {
        const std::string sList = columnList.asString();
        if (!IsBlank(sList)) {
            std::vector<std::vector<std::string>> vecItems;
            if (!SplitList("column_list", sList, vecItems, sError)) return false;
            for (const std::vector<std::string>& vecWord : vecItems) {
                if (vecWord.size() != 1) {
                    sError =
                        "column_list: expected a column name, got '" + Excerpt(vecWord[0] + " " + vecWord[1]) + "'";
                    return false;
                }
                if (!CheckColumn("column_list", table, vecWord[0], sError)) return false;
                vecColumns.push_back(vecWord[0]);
            }
        }
    } else if (columnList.isArray()) {
        if (columnList.size() > QueryLimits::kMaxListItems) {
            sError = "column_list: too many items (limit " + std::to_string(QueryLimits::kMaxListItems) + ")";
            return false;
        }
        for (const Json::Value& item : columnList) {
            if (!item.isString()) {
                sError = "column_list: every item must be a column name text";
                return false;
            }
            if (!CheckColumn("column_list", table, item.asString(), sError)) return false;
            vecColumns.push_back(item.asString());
        }
    } else if (!columnList.isNull()) {
        sError = "column_list: must be an array of column names";
        return false;
    }
    if (vecColumns.empty()) {
        for (const CStoreColumn& column : table.vecColumns) vecColumns.push_back(column.sName);
    }
    return true;
}
