// "modules": the registered modules a caller may see, in accelerator order, with the numbers a
// tool uses to tell that a module changed.
#include <memory>

#include "StoreTestSupport.h"

class StoreModuleList : public CStoreFixture {
protected:
    Json::Value Modules(const std::string& sCaller = "org.example.tool")
    {
        const CStoreReply reply = CallText("modules", sCaller, "");
        EXPECT_TRUE(reply.bResult) << reply.sOutput;
        return ParseJsonText(reply.sOutput);
    }
    long long AddPositionedAccelerator(const std::string& sModule, const std::string& sTitle, const char* sPosition)
    {
        Json::Value row;
        row["table_name"] = StoreUris::kAccelerators;
        row["accelerator_title"] = sTitle;
        if (sPosition != nullptr) row["accelerator_position"] = sPosition;
        const CStoreReply reply = Call("insert", sModule, row);
        EXPECT_TRUE(reply.bResult) << reply.sOutput;
        return reply.llRows;
    }
    static std::vector<std::string> Names(const Json::Value& answer)
    {
        std::vector<std::string> vecNames;
        for (const Json::Value& module : answer["modules"]) vecNames.push_back(module["module"].asString());
        return vecNames;
    }
};

TEST_F(StoreModuleList, ListsRegisteredModulesByPositionThenRegistrationWithTheirRowCounts)
{
    AddPositionedAccelerator("org.example.c", "C", nullptr);
    AddPositionedAccelerator("org.example.b", "B", "2");
    const long long llA = AddAccelerator("org.example.a", "A");
    AddPositionedAccelerator("org.example.d", "D", "1");
    const long long llSection = AddSection("org.example.a", llA);
    AddTile("org.example.a", llSection, "one");
    AddTile("org.example.a", llSection, "two");
    // A second accelerator row of a module does not list it twice.
    AddPositionedAccelerator("org.example.d", "D again", "0");

    const Json::Value answer = Modules();
    EXPECT_EQ(answer["caller"].asString(), "org.example.tool");
    EXPECT_FALSE(answer["truncated"].asBool());
    EXPECT_EQ(Names(answer),
              (std::vector<std::string>{"org.example.d", "org.example.b", "org.example.c", "org.example.a"}));
    const Json::Value& a = answer["modules"][3];
    EXPECT_EQ(a["title"].asString(), "A");
    EXPECT_TRUE(a["position"].isNull());
    EXPECT_EQ(a["sections"].asInt64(), 1);
    EXPECT_EQ(a["tiles"].asInt64(), 2);
    EXPECT_EQ(answer["modules"][0]["title"].asString(), "D");
    EXPECT_EQ(answer["modules"][0]["position"].asInt64(), 1);
    EXPECT_EQ(answer["modules"][1]["tiles"].asInt64(), 0);
}

TEST_F(StoreModuleList, ChangeSeqFollowsWritesAndSyncsButNotReads)
{
    const long long llA = AddAccelerator("org.example.a");
    const Json::Value before = Modules()["modules"][0];
    EXPECT_EQ(before["change_seq"].asInt64(), 1);
    EXPECT_EQ(before["sync_count"].asInt64(), 0);

    std::string sReason;
    ASSERT_NE(Select("org.example.a", Envelope(StoreUris::kSections)), nullptr);
    const Json::Value afterRead = Modules()["modules"][0];
    EXPECT_EQ(afterRead["journal_seq"].asInt64(), 2);
    EXPECT_EQ(afterRead["change_seq"].asInt64(), 1);

    AddSection("org.example.a", llA);
    ASSERT_TRUE(CallText("send_sync", "org.example.a", " ").bResult);
    const Json::Value afterWrite = Modules()["modules"][0];
    EXPECT_EQ(afterWrite["change_seq"].asInt64(), 4);
    EXPECT_EQ(afterWrite["sync_count"].asInt64(), 1);
    // Asking changes nothing that the next answer shows.
    EXPECT_EQ(Modules()["modules"][0], afterWrite);
}

TEST_F(StoreModuleList, AnswersOnlyForModulesTheCallingUserOwnsUnlessPrivileged)
{
    AddAccelerator("org.example.a");  // registered by the application's user
    Json::Value row;
    row["table_name"] = StoreUris::kAccelerators;
    row["accelerator_title"] = "theirs";
    ASSERT_TRUE(m_pHandler->Handle("insert", "org.example.b", ToText(row), OtherUserCaller()).bResult);

    const auto ModulesAs = [this](const PT_CALLER_IDENTITY& caller) {
        const CStoreReply reply = m_pHandler->Handle("modules", "org.example.tool", "", caller);
        EXPECT_TRUE(reply.bResult) << reply.sOutput;
        return Names(ParseJsonText(reply.sOutput));
    };
    EXPECT_EQ(ModulesAs(AppCaller()), (std::vector<std::string>{"org.example.a"}));
    EXPECT_EQ(ModulesAs(OtherUserCaller()), (std::vector<std::string>{"org.example.b"}));
    EXPECT_EQ(ModulesAs(RootCaller()), (std::vector<std::string>{"org.example.a", "org.example.b"}));
    EXPECT_TRUE(ModulesAs(MakeCaller(1234, 99)).empty());
}

TEST_F(StoreModuleList, RefusesAnEmptyCallerAndChangesNoRows)
{
    AddAccelerator("org.example.a");
    const CRowCounts before = Counts();
    EXPECT_FALSE(CallText("modules", "", "").bResult);
    EXPECT_TRUE(CallText("modules", "org.example.tool", "ignored").bResult);
    EXPECT_EQ(Counts(), before);
}

TEST_F(StoreModuleList, OutsideCommitsCountOnlyWritesOfConnectionsOutsideTheService)
{
    // Two handlers on their own connections to one file, as the daemon's workers are: each
    // one's commits move the other's SQLite data_version, but neither is an outside write.
    CTempDir dir;
    const std::string sPath = dir.Path() + "/store.db";
    auto pShared = std::make_shared<CStoreSharedState>();
    CWorkerHandler firstWorker, secondWorker;
    std::string sError;
    ASSERT_TRUE(firstWorker.Open(sPath, pShared, sError)) << sError;
    ASSERT_TRUE(secondWorker.Open(sPath, pShared, sError)) << sError;
    ASSERT_TRUE(pShared->outsideWrites.Open(sPath, sError)) << sError;
    CStoreRequestHandler& first = *firstWorker.pHandler;
    CStoreRequestHandler& second = *secondWorker.pHandler;
    const auto OutsideCommits = [](CStoreRequestHandler& handler) {
        const CStoreReply reply = handler.Handle("modules", "org.example.tool", "", AppCaller());
        EXPECT_TRUE(reply.bResult) << reply.sOutput;
        return ParseJsonText(reply.sOutput)["outside_commits"];
    };
    ASSERT_TRUE(OutsideCommits(first).isIntegral());
    const long long llStart = OutsideCommits(first).asInt64();

    Json::Value accelerator;
    accelerator["table_name"] = StoreUris::kAccelerators;
    accelerator["accelerator_title"] = "A";
    ASSERT_TRUE(first.Handle("insert", "org.example.a", ToText(accelerator), AppCaller()).bResult);
    ASSERT_TRUE(second.Handle("insert", "org.example.b", ToText(accelerator), AppCaller()).bResult);
    EXPECT_EQ(OutsideCommits(second).asInt64(), llStart);
    ASSERT_TRUE(first.Handle("insert", "org.example.a", ToText(accelerator), AppCaller()).bResult);
    EXPECT_EQ(OutsideCommits(first).asInt64(), llStart);
    EXPECT_EQ(OutsideCommits(second).asInt64(), llStart);

    // The sqlite3 shell, or a second service, on the same file.
    sqlite3* pOutside = nullptr;
    ASSERT_EQ(sqlite3_open_v2(sPath.c_str(), &pOutside, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(pOutside, "UPDATE accelerators SET accelerator_title = 'B'", nullptr, nullptr, nullptr),
              SQLITE_OK);
    EXPECT_EQ(OutsideCommits(second).asInt64(), llStart + 1);
    // Seen once: the service's next own write does not count it again.
    ASSERT_TRUE(second.Handle("insert", "org.example.b", ToText(accelerator), AppCaller()).bResult);
    EXPECT_EQ(OutsideCommits(first).asInt64(), llStart + 1);
    // An outside commit noticed first by one of the service's own writes still counts.
    ASSERT_EQ(sqlite3_exec(pOutside, "UPDATE accelerators SET accelerator_title = 'C'", nullptr, nullptr, nullptr),
              SQLITE_OK);
    ASSERT_TRUE(first.Handle("insert", "org.example.a", ToText(accelerator), AppCaller()).bResult);
    EXPECT_EQ(OutsideCommits(second).asInt64(), llStart + 2);
    sqlite3_close_v2(pOutside);
}
