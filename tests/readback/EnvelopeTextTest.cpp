// The request envelope: its text is the styled layout of the envelope tree, and a text that
// cannot travel (not UTF-8, or with a NUL) refuses the envelope with an error naming the member.
#include <dlog.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include <string>

#include "LogCapture.h"
#include "PelmoAPI.h"

namespace {
PT_JSON_IN_PARAM Param(std::vector<std::string> vecArgs)
{
    PT_JSON_IN_PARAM param;
    param.table_name = "content://org.orvik.pelmo/tiles";
    param.data = "tile_section_raw_id = ?";
    param.where_args = std::move(vecArgs);
    return param;
}

// The one error line of a refused envelope.
std::string RefusalOf(Json::Value object, std::vector<std::string> vecArgs)
{
    CLogCapture log;
    PT_JSON_IN_PARAM param = Param(std::move(vecArgs));
    EXPECT_EQ(CreateInputJsonStr(object, param), "");
    const std::vector<std::string> vecErrors = log.Bodies(DLOG_ERROR);
    return vecErrors.size() == 1 ? vecErrors[0] : log.Dump();
}
}  // namespace

TEST(EnvelopeText, AnEnvelopeIsTheStyledLayoutOfItsTree)
{
    Json::Value object;
    object["module_name"] = "org.example.app";
    object["order"] = "tile_position";
    for (int i = 0; i < 28; ++i) object["column_list"].append("tile_column_" + std::to_string(i));
    PT_JSON_IN_PARAM param = Param({"17", "caf\xc3\xa9 \"q\""});
    const std::string sText = CreateInputJsonStr(object, param);
    EXPECT_EQ(sText, Json::StyledWriter().write(object));
    EXPECT_NE(sText.find("\"where_args\" : [ \"17\", \"caf\\u00e9 \\\"q\\\"\" ]"), std::string::npos) << sText;
}

TEST(EnvelopeText, ATextThatCannotTravelIsNamedByItsPathAndOffset)
{
    EXPECT_EQ(RefusalOf(Json::Value(), {"ok", "bad\xff"}),
              "Error in json: where_args[1] is not valid UTF-8 text without NUL (byte 3)");
    Json::Value nested;
    nested["a"]["b"] = "x\xc3";
    EXPECT_EQ(RefusalOf(nested, {"1"}), "Error in json: a.b is not valid UTF-8 text without NUL (byte 1)");
    Json::Value listed;
    listed["list"][0]["n"] = std::string("a\0b", 3);
    EXPECT_EQ(RefusalOf(listed, {"1"}), "Error in json: list[0].n is not valid UTF-8 text without NUL (byte 1)");
    Json::Value named;
    named["\xff"] = "x";
    EXPECT_EQ(RefusalOf(named, {"1"}), "Error in json: a member name is not valid UTF-8 text");
}

TEST(EnvelopeText, TheFirstBadTextInMemberOrderIsTheOneNamed)
{
    Json::Value object;
    object["z"] = "\xff";
    object["b"][1] = "\xfe";
    EXPECT_EQ(RefusalOf(object, {"1"}), "Error in json: b[1] is not valid UTF-8 text without NUL (byte 0)");
}
