// The envelope of a select or delete request (table, condition, its arguments, columns) is
// written in the JSON library's styled layout, which the store has always received. Writing it
// through that writer cost a select more than reading the select's reply.
#pragma once

#include <json/json.h>

#include <string>

namespace RequestEnvelopeText {

// Exactly what Json::StyledWriter().write(value) returns.
std::string WriteStyled(const Json::Value& value);

}  // namespace RequestEnvelopeText
