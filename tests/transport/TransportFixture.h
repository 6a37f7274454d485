// A private bus with the scripted service on it, and a fresh transport for every test.
#pragma once

#include <dlog.h>

#include <string>
#include <vector>

#include "FakeServiceFixture.h"
#include "PelmoAPI.h"

class TransportTest : public FakeServiceTest {};

inline PT_JSON_IN_PARAM MakeParam(const std::string& sTable, const std::string& sData,
                                  std::vector<std::string> vecArgs = {}, const std::string& sGroupBy = "")
{
    PT_JSON_IN_PARAM param;
    param.table_name = sTable;
    param.data = sData;
    param.where_args = std::move(vecArgs);
    param.group_by = sGroupBy;
    return param;
}
