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

// Every data request once against a service that refuses them: each returns -1 and leaves the
// row id it was given as it was.
inline void ExpectEveryDataRequestFails(const std::string& sTable)
{
    PT_JSON_IN_PARAM param = MakeParam(sTable, "{}");
    long long llOut = 7;
    EXPECT_EQ(insert_request(param, &llOut, "m"), -1);
    EXPECT_EQ(insert_request_for_bulk_data(param, &llOut, "m"), -1);
    EXPECT_EQ(update_request_for_bulk_data(param, &llOut, "m"), -1);
    EXPECT_EQ(delete_request(param, "m"), -1);
    EXPECT_EQ(llOut, 7);
}
