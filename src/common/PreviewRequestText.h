// Texts that the preview writes put into their requests: the row condition that names a list
// of stored rows by id, and the bulk and row documents; and the request parameters that carry
// them, made in one place so that every write of the preview sends the same shape.
#pragma once

#include <json/json.h>

#include <string>
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
