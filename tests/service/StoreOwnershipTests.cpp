// Modules belong to the Unix user whose request registered them: another user is refused on
// every method, root and the configured platform services act for any module, and the owner
// goes away with the module's last accelerator row.
#include <memory>

#include "StoreTestSupport.h"

namespace {
const std::string kModule = "org.example.news";
const std::string kRefusal = "module org.example.news belongs to another user";

// One request of every method the store answers, each one that would change or show the
// module's rows if it were let through.
struct CMethodCase {
    const char* sMethod;
    std::string sInput;
};
std::vector<CMethodCase> EveryMethod(long long llAccelerator, long long llSection, long long llTile)
{
    Json::Value section;
    section["table_name"] = StoreUris::kSections;
    section["section_title"] = "Planted";
    section["section_accelerator_raw_id"] = std::to_string(llAccelerator);
    Json::Value bulk;
    bulk["table_name"] = StoreUris::kTiles;
    Json::Value tile;
    tile["tile_title"] = "Planted";
    tile["tile_section_raw_id"] = std::to_string(llSection);
    bulk["arrayitem"].append(tile);
    const Json::Value update = UpdateOfOneRow(StoreUris::kTiles, llTile, {{"tile_title", "Changed"}});
    Json::Value accelerator;
    accelerator["table_name"] = StoreUris::kAccelerators;
    return {{"insert", ToText(section)},
            {"insert", ToText(accelerator)},
            {"insert_bulk", ToText(bulk)},
            {"update", ToText(update)},
            {"delete", ToText(CStoreFixture::Envelope(StoreUris::kSections))},
            {"select", ToText(CStoreFixture::Envelope(StoreUris::kTiles))},
            {"send_sync", " "},
            {"start_preview_scheduler", "org.example.news"},
            {"stop_preview_scheduler", "org.example.news"},
            {"terminate_service", "4242"},
            {"journal", ""},
            {"stats", " "}};
}
}  // namespace

class StoreOwnership : public CStoreFixture {
protected:
    // The module registered by the application's user, with one section and one tile.
    void RegisterWithRows()
    {
        m_llAccelerator = AddAccelerator(kModule);
        m_llSection = AddSection(kModule, m_llAccelerator);
        m_llTile = AddTile(kModule, m_llSection);
    }
    CStoreReply As(const PT_CALLER_IDENTITY& caller, const std::string& sMethod, const std::string& sInput)
    {
        return m_pHandler->Handle(sMethod, kModule, sInput, caller);
    }
    std::string DumpModule()
    {
        std::string sDump;
        for (const char* sTable : {"accelerators", "sections", "tiles"}) {
            std::string sError;
            CStatement statement =
                m_pDatabase->Prepare(std::string("SELECT * FROM ") + sTable + " ORDER BY _id", sError);
            EXPECT_TRUE(static_cast<bool>(statement)) << sError;
            if (!statement) continue;
            while (sqlite3_step(statement.Get()) == SQLITE_ROW) {
                for (int i = 0; i < sqlite3_column_count(statement.Get()); ++i) {
                    const unsigned char* pText = sqlite3_column_text(statement.Get(), i);
                    sDump += pText ? reinterpret_cast<const char*>(pText) : "NULL";
                    sDump += '|';
                }
                sDump += '\n';
            }
        }
        return sDump;
    }
    long long m_llAccelerator = 0;
    long long m_llSection = 0;
    long long m_llTile = 0;
};

TEST_F(StoreOwnership, AnotherUserIsRefusedOnEveryMethodAndChangesNothing)
{
    RegisterWithRows();
    const std::string sBefore = DumpModule();
    const long long llSeqBefore = m_pHandler->Journal().LastSeq(kModule);
    for (const CMethodCase& method : EveryMethod(m_llAccelerator, m_llSection, m_llTile)) {
        const CStoreReply reply = As(OtherUserCaller(), method.sMethod, method.sInput);
        EXPECT_FALSE(reply.bResult) << method.sMethod;
        EXPECT_EQ(reply.sOutput, kRefusal) << method.sMethod;
    }
    EXPECT_EQ(DumpModule(), sBefore);
    // The owner's journal does not show the other user's attempts, and nothing was recorded.
    EXPECT_EQ(m_pHandler->Journal().LastSeq(kModule), llSeqBefore);
    EXPECT_EQ(m_pHandler->Activity().SyncCount(kModule), 0);
    EXPECT_LT(m_pHandler->Activity().SchedulerState(kModule), 0);
}

TEST_F(StoreOwnership, TheOwnerIsServedOnEveryMethod)
{
    RegisterWithRows();
    for (const CMethodCase& method : EveryMethod(m_llAccelerator, m_llSection, m_llTile)) {
        const CStoreReply reply = As(AppCaller(), method.sMethod, method.sInput);
        EXPECT_TRUE(reply.bResult) << method.sMethod << ": " << reply.sOutput;
    }
}

TEST_F(StoreOwnership, RootActsForAnyModuleWithoutTakingItOver)
{
    RegisterWithRows();
    for (const CMethodCase& method : EveryMethod(m_llAccelerator, m_llSection, m_llTile)) {
        const CStoreReply reply = As(RootCaller(), method.sMethod, method.sInput);
        EXPECT_TRUE(reply.bResult) << method.sMethod << ": " << reply.sOutput;
    }
    EXPECT_EQ(ParseJsonText(As(AppCaller(), "stats", " ").sOutput)["owner_uid"].asInt64(), 1000);
}

TEST_F(StoreOwnership, ConfiguredPlatformServiceActsForAnyModule)
{
    RegisterWithRows();
    m_pHandler->SetPlatformServices({1001});
    for (const CMethodCase& method : EveryMethod(m_llAccelerator, m_llSection, m_llTile)) {
        const CStoreReply reply = As(OtherUserCaller(), method.sMethod, method.sInput);
        EXPECT_TRUE(reply.bResult) << method.sMethod << ": " << reply.sOutput;
    }
    // A user the configuration does not name is still refused.
    EXPECT_EQ(As(MakeCaller(1002, 7), "stats", " ").sOutput, kRefusal);
}

TEST_F(StoreOwnership, StatsNamesTheOwnerAndNoneBeforeRegistration)
{
    EXPECT_TRUE(ParseJsonText(As(AppCaller(), "stats", " ").sOutput)["owner_uid"].isNull());
    AddAccelerator(kModule);
    EXPECT_EQ(ParseJsonText(As(AppCaller(), "stats", " ").sOutput)["owner_uid"].asInt64(), 1000);
    // A module that root registered is root's.
    const CStoreReply reply = m_pHandler->Handle("insert", "org.example.rootish",
                                                 "{\"table_name\":\"" + StoreUris::kAccelerators + "\"}", RootCaller());
    ASSERT_TRUE(reply.bResult) << reply.sOutput;
    EXPECT_EQ(ParseJsonText(m_pHandler->Handle("stats", "org.example.rootish", " ", RootCaller()).sOutput)["owner_uid"]
                  .asInt64(),
              0);
    EXPECT_FALSE(m_pHandler->Handle("stats", "org.example.rootish", " ", AppCaller()).bResult);
}

TEST_F(StoreOwnership, OwnershipGoesAwayWithTheModulesLastAcceleratorRow)
{
    const long long llFirst = AddAccelerator(kModule, "First");
    const long long llSecond = AddAccelerator(kModule, "Second");
    ASSERT_TRUE(
        Call("delete", kModule, Envelope(StoreUris::kAccelerators, "_id = ?", {std::to_string(llFirst)})).bResult);
    EXPECT_EQ(As(OtherUserCaller(), "stats", " ").sOutput, kRefusal);
    ASSERT_TRUE(
        Call("delete", kModule, Envelope(StoreUris::kAccelerators, "_id = ?", {std::to_string(llSecond)})).bResult);
    // Unregistered now: another user may register it and owns it from then on.
    const CStoreReply reply = As(OtherUserCaller(), "insert", "{\"table_name\":\"" + StoreUris::kAccelerators + "\"}");
    ASSERT_TRUE(reply.bResult) << reply.sOutput;
    EXPECT_EQ(ParseJsonText(As(OtherUserCaller(), "stats", " ").sOutput)["owner_uid"].asInt64(), 1001);
    EXPECT_EQ(As(AppCaller(), "stats", " ").sOutput, kRefusal);
}

TEST_F(StoreOwnership, RefusedRegistrationRecordsNoOwner)
{
    Json::Value bulk;
    bulk["table_name"] = StoreUris::kAccelerators;
    bulk["arrayitem"].append(Json::Value(Json::objectValue));
    bulk["arrayitem"].append(Json::Value("not a row"));
    EXPECT_FALSE(Call("insert_bulk", kModule, bulk).bResult);
    EXPECT_TRUE(ParseJsonText(As(OtherUserCaller(), "stats", " ").sOutput)["owner_uid"].isNull());
}

TEST_F(StoreOwnership, SelectResultIsPublishedForTheCaller)
{
    RegisterWithRows();
    ASSERT_NE(Select(kModule, Envelope(StoreUris::kTiles)), nullptr);
    EXPECT_EQ(m_publisher.LastReader().uUid, 1000u);
    EXPECT_EQ(m_publisher.LastReader().iPid, 4242);
}

TEST_F(StoreOwnership, OwnershipSurvivesReopeningTheDatabase)
{
    CTempDir dir;
    ASSERT_FALSE(dir.Path().empty());
    Open(dir.Path() + "/store.db");
    RegisterWithRows();
    Open(dir.Path() + "/store.db");
    EXPECT_EQ(As(OtherUserCaller(), "stats", " ").sOutput, kRefusal);
    EXPECT_TRUE(As(AppCaller(), "stats", " ").bResult);
}

TEST_F(StoreOwnership, RegisteredModuleWithoutOwnerIsClaimedByTheFirstUnprivilegedUser)
{
    // As a database from before owners were kept: the accelerator row, no owner.
    AddAccelerator(kModule);
    std::string sError;
    ASSERT_TRUE(m_pDatabase->Execute("DELETE FROM module_owners", sError)) << sError;
    // Root looking does not take it.
    EXPECT_TRUE(As(RootCaller(), "stats", " ").bResult);
    EXPECT_TRUE(ParseJsonText(As(RootCaller(), "stats", " ").sOutput)["owner_uid"].isNull());
    EXPECT_TRUE(As(OtherUserCaller(), "stats", " ").bResult);
    EXPECT_EQ(ParseJsonText(As(RootCaller(), "stats", " ").sOutput)["owner_uid"].asInt64(), 1001);
    EXPECT_EQ(As(AppCaller(), "stats", " ").sOutput, kRefusal);
}
