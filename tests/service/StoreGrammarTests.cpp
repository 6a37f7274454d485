// Client texts outside the request grammar are refused with a reason and change nothing.
#include "QueryGrammar.h"
#include "StoreTestSupport.h"

namespace {
struct CRefusedWhere {
    const char* sName;
    std::string sWhere;
    std::vector<std::string> vecArgs;
    std::string sReason;  // the expected start of the reason
};

std::string Nested(int iLevels)
{
    std::string sWhere = "tile_title = ?";
    for (int i = 0; i < iLevels; ++i) sWhere = "(" + sWhere + ")";
    return sWhere;
}

void PrintTo(const CRefusedWhere& param, std::ostream* pStream)
{
    *pStream << param.sName;
}

class StoreGrammarRefusal : public CStoreFixture, public ::testing::WithParamInterface<CRefusedWhere> {};
}  // namespace

TEST_P(StoreGrammarRefusal, SelectAndDeleteAnswerFalseAndChangeNothing)
{
    const CRefusedWhere& param = GetParam();
    AddTile("org.example.app", AddSection("org.example.app", AddAccelerator("org.example.app")), "keep");
    const CRowCounts before = Counts();
    Json::Value envelope = Envelope(StoreUris::kTiles, param.sWhere);
    for (const std::string& sArg : param.vecArgs) envelope["where_args"].append(sArg);
    for (const char* sMethod : {"select", "delete"}) {
        const CStoreReply reply = Call(sMethod, "org.example.app", envelope);
        EXPECT_FALSE(reply.bResult) << sMethod;
        EXPECT_EQ(reply.sOutput.rfind(param.sReason, 0), 0u) << sMethod << ": " << reply.sOutput;
        EXPECT_EQ(reply.sOutput.find('\n'), std::string::npos);
    }
    EXPECT_EQ(Counts(), before);
}

INSTANTIATE_TEST_SUITE_P(
    Where, StoreGrammarRefusal,
    ::testing::Values(
        CRefusedWhere{"StatementAfterCondition", "1=1; DROP TABLE tiles", {}, "where: literal values are not accepted"},
        CRefusedWhere{"SemicolonAfterPredicate", "tile_title = ?; DROP TABLE tiles", {"x"}, "where: unexpected character ';'"},
        CRefusedWhere{"UnknownColumn", "tile_colour = ?", {"red"}, "where: unknown column 'tile_colour' of table tiles"},
        CRefusedWhere{"OtherTablesColumn", "section_title = ?", {"x"}, "where: unknown column 'section_title'"},
        CRefusedWhere{"UnclosedParenthesis", "(tile_title = ? or tile_id = ?", {"a", "b"}, "where: unbalanced parentheses"},
        CRefusedWhere{"ExtraClosingParenthesis", "tile_title = ?)", {"a"}, "where: unbalanced parentheses"},
        CRefusedWhere{"MorePlaceholdersThanArgs", "tile_title = ? and tile_id = ?", {"a"}, "where: 2 placeholders but 1 where_args"},
        CRefusedWhere{"MoreArgsThanPlaceholders", "tile_title = ?", {"a", "b"}, "where: 1 placeholders but 2 where_args"},
        CRefusedWhere{"ArgsWithoutCondition", "", {"a"}, "where: 0 placeholders but 1 where_args"},
        CRefusedWhere{"TextLiteral", "tile_title = 'x'", {}, "where: literal values are not accepted"},
        CRefusedWhere{"NumberLiteral", "_id = 5", {}, "where: literal values are not accepted"},
        CRefusedWhere{"QuotedIdentifier", "\"tile_title\" = ?", {"x"}, "where: literal values are not accepted"},
        CRefusedWhere{"NumberedPlaceholder", "tile_title = ?1", {"x"}, "where: numbered or named placeholders"},
        CRefusedWhere{"NamedPlaceholder", "tile_title = :t", {"x"}, "where: unexpected character ':'"},
        CRefusedWhere{"Comment", "tile_title = ? -- x", {"x"}, "where: literal values are not accepted"},
        CRefusedWhere{"Subquery", "_id IN (SELECT _id FROM tiles)", {}, "where: expected ?"},
        CRefusedWhere{"Function", "length(tile_title) > ?", {"1"}, "where: unknown column 'length'"},
        CRefusedWhere{"DanglingOr", "tile_title = ? or", {"x"}, "where: expected a column name at the end"},
        CRefusedWhere{"ColumnWithoutOperator", "tile_title", {}, "where: expected an operator"},
        CRefusedWhere{"EmptyInList", "_id IN ()", {}, "where: expected ?"},
        CRefusedWhere{"TooDeep", Nested(17), {"x"}, "where: nested deeper than 16 levels"},
        CRefusedWhere{"NonAscii", "tile_title = ? or tile_title \xc3\xa9 ?", {"x", "y"}, "where: unexpected character 0xc3"}),
    [](const ::testing::TestParamInfo<CRefusedWhere>& info) { return std::string(info.param.sName); });

using StoreGrammar = CStoreFixture;

TEST_F(StoreGrammar, DeepestAcceptedParenthesesAreAccepted)
{
    AddTile("org.example.app", AddSection("org.example.app", AddAccelerator("org.example.app")), "keep");
    const CResultTable* pTable = Select("org.example.app", Envelope(StoreUris::kTiles, Nested(16), {"keep"}));
    ASSERT_NE(pTable, nullptr);
    EXPECT_EQ(pTable->vecRows.size(), 1u);
}

TEST_F(StoreGrammar, TranslationQuotesColumnsAndKeepsPlaceholderOrder)
{
    std::string sSql;
    std::string sError;
    ASSERT_TRUE(CQueryGrammar::TranslateWhere(StoreSchema::Tiles(), "_id=? or _id=? or _id=?", 3, sSql, sError)) << sError;
    EXPECT_EQ(sSql, "(\"_id\" = ?2 OR \"_id\" = ?3 OR \"_id\" = ?4)");
    ASSERT_TRUE(CQueryGrammar::TranslateWhere(StoreSchema::Tiles(),
                                              "\n NOT(tile_title\tLIKE ?)AND tile_id not in(?,?) Or tile_type IS  NULL",
                                              3, sSql, sError))
        << sError;
    // The nested AND goes before the plain term; the placeholders keep their numbers.
    EXPECT_EQ(sSql, "((NOT (\"tile_title\" LIKE ?2) AND \"tile_id\" NOT IN (?3, ?4)) OR \"tile_type\" IS NULL)");
    ASSERT_TRUE(CQueryGrammar::TranslateWhere(StoreSchema::Tiles(), "tile_type = ? or (_id = ? and _id = ?)", 3, sSql,
                                              sError));
    EXPECT_EQ(sSql, "((\"_id\" = ?3 AND \"_id\" = ?4) OR \"tile_type\" = ?2)");
    ASSERT_TRUE(CQueryGrammar::TranslateWhere(StoreSchema::Tiles(), "  ", 0, sSql, sError));
    EXPECT_EQ(sSql, "");
}

TEST_F(StoreGrammar, OrderGroupByAndColumnListRefusals)
{
    AddAccelerator("org.example.app");
    const CRowCounts before = Counts();
    struct CCase {
        const char* sMember;
        Json::Value value;
        std::string sReason;
    };
    Json::Value moduleColumn(Json::arrayValue);
    moduleColumn.append("module_name");
    Json::Value numberColumn(Json::arrayValue);
    numberColumn.append(3);
    const std::vector<CCase> vecCases = {
        {"order", "accelerator_title; DROP TABLE tiles", "order: unknown column 'accelerator_title;'"},
        {"order", "accelerator_title ASCENDING", "order: expected 'column [ASC|DESC]'"},
        {"order", "accelerator_title,", "order: empty item"},
        {"order", "random()", "order: unknown column 'random()'"},
        {"group_by", "accelerator_title desc", "group_by: expected a column name"},
        {"group_by", "nope", "group_by: unknown column 'nope'"},
        {"column_list", moduleColumn, "column_list: unknown column 'module_name'"},
        {"column_list", numberColumn, "column_list: every item must be a column name text"},
        {"column_list", Json::Value(7), "column_list: must be an array of column names"},
        {"order", Json::Value(1), "order must be a text"},
    };
    for (const CCase& testCase : vecCases) {
        Json::Value envelope = Envelope(StoreUris::kAccelerators);
        envelope[testCase.sMember] = testCase.value;
        const CStoreReply reply = Call("select", "org.example.app", envelope);
        EXPECT_FALSE(reply.bResult) << testCase.sReason;
        EXPECT_EQ(reply.sOutput.rfind(testCase.sReason, 0), 0u) << reply.sOutput;
    }
    EXPECT_EQ(Counts(), before);
}

TEST_F(StoreGrammar, NonJsonOrWrongShapedInputIsRefusedAndChangesNothing)
{
    AddTile("org.example.app", AddSection("org.example.app", AddAccelerator("org.example.app")));
    const CRowCounts before = Counts();
    const std::vector<std::pair<std::string, std::string>> vecCases = {
        {"not json at all", "input is not JSON"},
        {"{\"table_name\": \"content://org.orvik.pelmo/tiles\"", "input is not JSON"},
        {"{\"table_name\": \"content://org.orvik.pelmo/tiles\"} trailing", "input is not JSON"},
        {"[1, 2, 3]", "input must be a JSON object"},
        {"\"text\"", "input is not JSON"},
        {"{\"table_name\": \"content://org.orvik.pelmo/tiles\", \"table_name\": \"x\"}", "input is not JSON"},
        {"{\"table_name\": 5}", "table_name must be a text"},
        {"{\"table_name\": \"content://org.orvik.pelmo/tiles\", \"where\": 1}", "where must be a text"},
        {"{\"table_name\": \"content://org.orvik.pelmo/tiles\", \"where_args\": \"x\"}", "where_args must be an array"},
        {std::string(200, '['), "input is not JSON"},
        {"", "input is not JSON"},
    };
    for (const auto& testCase : vecCases) {
        for (const char* sMethod : {"insert", "insert_bulk", "update", "delete", "select"}) {
            const CStoreReply reply = CallText(sMethod, "org.example.app", testCase.first);
            EXPECT_FALSE(reply.bResult) << sMethod << " " << testCase.first;
            EXPECT_EQ(reply.sOutput.find('\n'), std::string::npos) << reply.sOutput;
            if (std::string(sMethod) == "delete" || std::string(sMethod) == "select") {
                EXPECT_EQ(reply.sOutput.rfind(testCase.second, 0), 0u) << sMethod << ": " << reply.sOutput;
            }
        }
    }
    EXPECT_EQ(Counts(), before);
}
