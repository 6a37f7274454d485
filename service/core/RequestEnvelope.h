// Reading a request's input text: strict JSON, the target table, and the row condition
// ("where" with its "where_args") translated through the query grammar.
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

#include "StoreSchema.h"

namespace RequestEnvelope {
// The input as a JSON object, or false with a reason. Duplicate members, trailing text and
// nesting deeper than a row needs are refused.
bool ParseObject(const std::string& sInput, Json::Value& root, std::string& sError);
// The table named by the "table_name" member.
const CStoreTable* TargetTable(const Json::Value& root, std::string& sError);
// A text member that may be absent or null (then empty).
bool OptionalText(const Json::Value& root, const char* sMember, std::string& sText, std::string& sError);

// The condition of "where" / "where_args" as SQL ("" for all rows) and its arguments.
struct CCondition {
    std::string sSql;
    std::vector<Json::Value> vecArgs;
};
bool ReadCondition(const Json::Value& root, const CStoreTable& table, CCondition& condition, std::string& sError);
}  // namespace RequestEnvelope
