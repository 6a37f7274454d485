// The JSON Schema (draft 2020-12) of a preview document, built from one table of the members
// a document may use, each with its JSON kind and what the library does with it. The table is
// checked against the preview model's own members, so that the schema, the library and
// `pelmoctl validate` name the same members.
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

// The schema; empty (null) when the table and the model disagree.
Json::Value BuildPreviewSchema();
// Where the table and the model disagree, one line each; empty when they agree. The extra
// names stand in for members the model gained (tests plant one to see that it is noticed).
std::vector<std::string> PreviewSchemaDisagreements(const std::vector<std::string>& vecExtraTileMembers = {},
                                                    const std::vector<std::string>& vecExtraSectionMembers = {});
// The member names the table gives tiles and sections.
std::vector<std::string> PreviewSchemaTileMembers();
std::vector<std::string> PreviewSchemaSectionMembers();
