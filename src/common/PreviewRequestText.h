// Texts that the preview writes put into their requests: the row condition that names a list
// of stored rows by id, and the bulk and row documents.
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

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

}  // namespace PreviewRequestText
