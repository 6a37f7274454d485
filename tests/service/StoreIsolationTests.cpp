// Every request sees and touches only the rows of the module named by its package.
#include "StoreTestSupport.h"

using StoreIsolation = CStoreFixture;

namespace {
const std::string kMine = "org.example.app";
const std::string kTheirs = "org.other.app";
}  // namespace

TEST_F(StoreIsolation, ModuleCannotSelectAnotherModulesRows)
{
    AddTile(kTheirs, AddSection(kTheirs, AddAccelerator(kTheirs)), "secret");
    AddTile(kMine, AddSection(kMine, AddAccelerator(kMine)), "mine");
    const CResultTable* pTable = Select(kMine, Envelope(StoreUris::kTiles));
    ASSERT_NE(pTable, nullptr);
    ASSERT_EQ(pTable->vecRows.size(), 1u);
    // Even a condition that would match every row stays inside the module.
    const CResultTable* pAll = Select(
        kMine, Envelope(StoreUris::kTiles, "tile_title = ? or tile_title != ? or tile_title is null", {"x", "x"}));
    ASSERT_NE(pAll, nullptr);
    EXPECT_EQ(pAll->vecRows.size(), 1u);
}

TEST_F(StoreIsolation, EnvelopeModuleNameDoesNotWidenASelect)
{
    AddAccelerator(kTheirs);
    Json::Value envelope = Envelope(StoreUris::kAccelerators);
    envelope["module_name"] = kTheirs;
    const CResultTable* pTable = Select(kMine, envelope);
    ASSERT_NE(pTable, nullptr);
    EXPECT_EQ(pTable->vecRows.size(), 0u);
}

TEST_F(StoreIsolation, ModuleCannotUpdateAnotherModulesRow)
{
    const long long llTheirs = AddAccelerator(kTheirs, "theirs");
    AddAccelerator(kMine, "mine");
    const CStoreReply reply =
        Call("update", kMine, UpdateOfOneRow(StoreUris::kAccelerators, llTheirs, {{"accelerator_title", "hijacked"}}));
    EXPECT_FALSE(reply.bResult);
    const CResultTable* pTable = Select(kTheirs, Envelope(StoreUris::kAccelerators));
    ASSERT_NE(pTable, nullptr);
    ASSERT_EQ(pTable->vecRows.size(), 1u);
    EXPECT_EQ(pTable->vecRows[0][1].sText, "theirs");
    EXPECT_EQ(pTable->vecRows[0][7].sText, kTheirs);
}

TEST_F(StoreIsolation, ModuleCannotDeleteAnotherModulesTiles)
{
    const long long llTheirTile = AddTile(kTheirs, AddSection(kTheirs, AddAccelerator(kTheirs)));
    AddTile(kMine, AddSection(kMine, AddAccelerator(kMine)));
    CStoreReply reply = Call("delete", kMine, Envelope(StoreUris::kTiles, "_id = ?", {std::to_string(llTheirTile)}));
    ASSERT_TRUE(reply.bResult) << reply.sOutput;
    EXPECT_EQ(reply.sOutput, "0");
    reply = Call("delete", kMine, Envelope(StoreUris::kTiles));
    EXPECT_EQ(reply.sOutput, "1");
    EXPECT_EQ(Counts().llTiles, 1);
    const CResultTable* pTable = Select(kTheirs, Envelope(StoreUris::kTiles));
    ASSERT_NE(pTable, nullptr);
    ASSERT_EQ(pTable->vecRows.size(), 1u);
    EXPECT_EQ(pTable->vecRows[0][0].llValue, llTheirTile);
}

TEST_F(StoreIsolation, DeletingOwnAcceleratorKeepsAnotherModulesSections)
{
    AddAccelerator(kMine);
    const long long llTheirs = AddAccelerator(kTheirs);
    AddSection(kTheirs, llTheirs);
    ASSERT_TRUE(Call("delete", kMine, Envelope(StoreUris::kAccelerators)).bResult);
    EXPECT_EQ(Counts(), (CRowCounts{1, 1, 0}));
}

TEST_F(StoreIsolation, ModuleCannotAttachASectionToAnotherModulesAccelerator)
{
    const long long llTheirs = AddAccelerator(kTheirs);
    Json::Value row;
    row["table_name"] = StoreUris::kSections;
    row["section_accelerator_raw_id"] = std::to_string(llTheirs);
    const CStoreReply reply = Call("insert", kMine, row);
    EXPECT_FALSE(reply.bResult);
    EXPECT_EQ(reply.sOutput, "section_accelerator_raw_id '1' is not a row of this module's accelerators");
    EXPECT_EQ(Counts().llSections, 0);
}

TEST_F(StoreIsolation, ModuleCannotAttachATileToAnotherModulesSection)
{
    const long long llTheirSection = AddSection(kTheirs, AddAccelerator(kTheirs));
    Json::Value row;
    row["table_name"] = StoreUris::kTiles;
    row["tile_section_raw_id"] = static_cast<Json::Int64>(llTheirSection);
    EXPECT_FALSE(Call("insert", kMine, row).bResult);
    EXPECT_EQ(Counts().llTiles, 0);
}

TEST_F(StoreIsolation, ModuleCannotRepointItsTileToAnotherModulesSection)
{
    const long long llTheirSection = AddSection(kTheirs, AddAccelerator(kTheirs));
    const long long llMySection = AddSection(kMine, AddAccelerator(kMine));
    const long long llTile = AddTile(kMine, llMySection);
    EXPECT_FALSE(
        Call("update", kMine,
             UpdateOfOneRow(StoreUris::kTiles, llTile, {{"tile_section_raw_id", std::to_string(llTheirSection)}}))
            .bResult);
    const CResultTable* pTable =
        Select(kMine, Envelope(StoreUris::kTiles, "tile_section_raw_id = ?", {std::to_string(llMySection)}));
    ASSERT_NE(pTable, nullptr);
    EXPECT_EQ(pTable->vecRows.size(), 1u);
}

TEST_F(StoreIsolation, ConditionCannotNameTheModuleColumn)
{
    AddAccelerator(kTheirs);
    std::string sReason;
    EXPECT_EQ(Select(kMine, Envelope(StoreUris::kAccelerators, "module_name = ?", {kTheirs}), &sReason), nullptr);
    EXPECT_EQ(sReason, "where: unknown column 'module_name' of table accelerators");
    Json::Value envelope = Envelope(StoreUris::kAccelerators);
    envelope["column_list"].append("module_name");
    EXPECT_EQ(Select(kMine, envelope, &sReason), nullptr);
}
