#include <dlog.h>
#include <gtest/gtest.h>

#include "PelmoAPI.h"

TEST(Envelope, KeepsCallerMembersAndWritesStyledSortedText)
{
    Json::Value object;
    object["module_name"] = "m";
    PT_JSON_IN_PARAM param;
    param.table_name = "t";
    param.data = "a = ?";
    param.where_args = {"1"};
    EXPECT_EQ(CreateInputJsonStr(object, param),
              "{\n   \"group_by\" : \"\",\n   \"module_name\" : \"m\",\n   \"table_name\" : \"t\",\n"
              "   \"where\" : \"a = ?\",\n   \"where_args\" : [ \"1\" ]\n}\n");
}

TEST(Envelope, ObjectThatIsNotAnObjectGivesEmptyTextAndAnErrorLine)
{
    Json::Value array(Json::arrayValue);
    PT_JSON_IN_PARAM param;
    EXPECT_EQ(CreateInputJsonStr(array, param), "");
}
