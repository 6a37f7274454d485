// Texts that the preview writes put into their requests: the row condition that names a list
// of stored rows by id, and the bulk and row documents; and the request parameters that carry
// them, made in one place so that every write of the preview sends the same shape.
#pragma once

#include <json/json.h>

#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "PelmoAPI.h"

namespace PreviewRequestText {

// "<column>=?" once per id, joined by " or ": one delete removes all the rows at once.
inline std::string IdCondition(const std::string& sIdColumn, const std::vector<std::string>& vecIds)
{
    std::string sWhere;
    for (size_t i = 0; i < vecIds.size(); ++i) {
        if (i > 0) sWhere += " or ";
        sWhere += sIdColumn + "=?";
    }
    return sWhere;
}

// Row and bulk documents go out in the JSON library's default stream layout (tab indents,
// " : " between name and value, members in byte order, no line feed at the end); the service
// parses them, so only their content matters to it, but the text is kept exactly as that
// writer makes it.
std::string WriteDocument(const Json::Value& document);

// The canonical decimal text of the integer a text starts with ("42abc" -> "42", "abc" -> "0"),
// read as a 64-bit number on every target.
std::string IntegerText(const std::string& sValue);

// The rows of one bulk document, all of text values, written straight into the text that
// WriteDocument makes of {"arrayitem": [rows...], "table_name": table}. A publish writes every
// tile this way; building each row as a JSON value first cost more than the rest of the request.
// Names and viewed values must outlive Write(); a name set twice in a row keeps the later value,
// as a member assignment does.
class CRowsDocument {
public:
    void BeginRow();
    void Set(std::string_view sName, std::string_view sValue);
    // For values made here (converted integers), kept by the document.
    void SetOwned(std::string_view sName, std::string sValue);
    size_t RowCount() const { return m_vecRowStart.size(); }
    // Members of the row begun last.
    size_t LastRowSize() const;
    // Copies the row begun last into a JSON object, member by member.
    void CopyLastRow(Json::Value& row) const;
    std::string Write(std::string_view sTable) const;

private:
    struct PT_CELL {
        std::string_view sName;
        std::string_view sValue;
    };
    Json::Value ToJson(std::string_view sTable) const;

    // Each row's members in the byte order of their names, which is the order they are written.
    std::vector<PT_CELL> m_vecCell;
    std::vector<size_t> m_vecRowStart;
    std::deque<std::string> m_dequeOwned;
};

// A delete of the stored rows of sTable named by id: the condition, and the ids as its arguments.
inline PT_JSON_IN_PARAM IdDeleteRequest(const char* sTable, const char* sIdColumn,
                                        const std::vector<std::string>& vecIds)
{
    PT_JSON_IN_PARAM param;
    param.table_name = sTable;
    param.data = IdCondition(sIdColumn, vecIds);
    param.where_args = vecIds;
    return param;
}

// An insert or update on sTable that carries one row or bulk document.
inline PT_JSON_IN_PARAM DocumentRequest(const char* sTable, const Json::Value& document)
{
    PT_JSON_IN_PARAM param;
    param.table_name = sTable;
    param.data = WriteDocument(document);
    return param;
}

}  // namespace PreviewRequestText
