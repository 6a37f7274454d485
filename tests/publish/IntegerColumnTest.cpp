// What the store keeps of numbers in integer columns, as `pelmoctl validate` warns about it: a
// display period in milliseconds keeps 6 significant digits and is stored as 1, which makes a
// module that keys tiles by their display period re-create the tile on every publish; and an
// integer wider than 32 bits leaves the module's whole read-back empty.
#include "PublishFixture.h"

namespace {
const char* const kMilliseconds = R"({"sections":[{"section_id":1,"section_title":"On air","tiles":[
    {"tile_title":"Milliseconds","tile_display_from":1700000123456},
    {"tile_title":"Seconds","tile_display_from":1700000123}]}]})";
}  // namespace

TEST_F(PublishTest, AMillisecondDisplayPeriodIsStoredAsOneAndItsTileIsRecreatedWhereThePeriodIsPartOfTheKey)
{
    const char* sPeriodKeyed = "ambrel";
    ASSERT_GT(
        Insert("{\"table_name\":\"content://org.orvik.pelmo/accelerators\",\"accelerator_title\":\"A\"}", sPeriodKeyed),
        0);
    ASSERT_EQ(set_preview_metadata(kMilliseconds, sPeriodKeyed), 1);
    EXPECT_EQ(CountRows("tiles", "module_name = 'ambrel' AND tile_display_from = 1"), 1);
    EXPECT_EQ(CountRows("tiles", "module_name = 'ambrel' AND tile_display_from = 1700000123"), 1);
    RequestsSinceLastLook();

    // Unchanged republishes: the tile keyed by 1700000123456 is not found among the stored
    // tiles (keyed by 1), so it is deleted and inserted again each time; the other is updated.
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(set_preview_metadata(kMilliseconds, sPeriodKeyed), 1);
        auto mapRequests = RequestsSinceLastLook();
        EXPECT_EQ(mapRequests["delete"], 1) << "republish " << i;
        EXPECT_EQ(mapRequests["insert_bulk"], 1) << "republish " << i;
        EXPECT_EQ(CountRows("tiles", "module_name = 'ambrel'"), 2);
    }

    // A module whose key leaves the period out updates both tiles in place.
    ASSERT_EQ(set_preview_metadata(kMilliseconds, kModule), 1);
    RequestsSinceLastLook();
    ASSERT_EQ(set_preview_metadata(kMilliseconds, kModule), 1);
    auto mapRequests = RequestsSinceLastLook();
    EXPECT_EQ(mapRequests.count("delete"), 0u);
    EXPECT_EQ(mapRequests.count("insert_bulk"), 0u);
    EXPECT_EQ(CountRows("tiles", "module_name = 'org.example.player' AND tile_display_from = 1"), 1);
}

TEST_F(PublishTest, AnIntegerWiderThan32BitsIsStoredButEmptiesTheModulesReadBack)
{
    const char* sAfter2038 = R"({"sections":[{"section_title":"Later","tiles":[
        {"tile_title":"Far","tile_display_until":3000000000}]}]})";
    ASSERT_EQ(set_preview_metadata(sAfter2038, kModule), 1);
    EXPECT_EQ(CountRows("tiles", "tile_display_until = 3000000000"), 1);
    char* pText = get_preview_metadata(kModule);
    ASSERT_NE(pText, nullptr);
    EXPECT_STREQ(pText, "");
    finalize_json_bytes(pText);
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ERROR, metadata cannot be written as JSON: stoi")) << m_log.Dump();
}
