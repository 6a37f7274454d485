// Two connections publishing one module at once: the store notices when one writes between the
// other's load and its writes, keeps a notice in the module's journal and shows it in "stats"
// until a publish from one writer completes. Readers and writers that stopped half way before
// the next load are no such case.
#include "StoreTestSupport.h"

namespace {
constexpr const char* kModule = "org.example.app";
}

class StorePublishOverlap : public CStoreFixture {
protected:
    void SetUp() override
    {
        CStoreFixture::SetUp();
        m_llSection = AddSection(kModule, AddAccelerator(kModule));
    }
    CStoreReply As(const std::string& sConnection, const std::string& sMethod, const Json::Value& input)
    {
        PT_CALLER_IDENTITY caller = AppCaller();
        caller.sConnection = sConnection;
        const CStoreReply reply =
            m_pHandler->Handle(sMethod, kModule, sMethod == "send_sync" ? " " : ToText(input), caller);
        EXPECT_TRUE(reply.bResult) << sMethod << ": " << reply.sOutput;
        return reply;
    }
    // The library's load: the accelerator row, then sections and tiles.
    void Load(const std::string& sConnection)
    {
        As(sConnection, "select", Envelope(StoreUris::kAccelerators));
        As(sConnection, "select", Envelope(StoreUris::kSections));
        As(sConnection, "select", Envelope(StoreUris::kTiles));
    }
    void Write(const std::string& sConnection, const std::string& sTitle)
    {
        Json::Value row;
        row["table_name"] = StoreUris::kTiles;
        row["tile_title"] = sTitle;
        row["tile_section_raw_id"] = std::to_string(m_llSection);
        As(sConnection, "insert", row);
    }
    // The end of a publish: the library reads the accelerator row again (to add new sections
    // to it), then sends the completion event.
    void Done(const std::string& sConnection)
    {
        As(sConnection, "select", Envelope(StoreUris::kAccelerators));
        As(sConnection, "send_sync", Json::Value());
    }
    Json::Value Notices()
    {
        Json::Value notices(Json::arrayValue);
        const Json::Value journal = ParseJsonText(CallText("journal", kModule, "").sOutput);
        for (const Json::Value& entry : journal["entries"]) {
            if (entry.isMember("note")) notices.append(entry);
        }
        return notices;
    }
    Json::Value TwoWriters() { return ParseJsonText(CallText("stats", kModule, "").sOutput)["two_writers"]; }

    long long m_llSection = 0;
};

TEST_F(StorePublishOverlap, WriteBetweenAnotherConnectionsLoadAndItsWritesIsNoticedOnce)
{
    Load(":1.5");
    Load(":1.7");
    Write(":1.5", "a");
    EXPECT_EQ(Notices().size(), 0u) << "the first writer wrote what it loaded";
    Write(":1.7", "b");  // works from rows that :1.5 changed since
    Write(":1.7", "c");
    const Json::Value notices = Notices();
    ASSERT_EQ(notices.size(), 1u);
    EXPECT_EQ(notices[0]["method"].asString(), "two_writers");
    EXPECT_EQ(notices[0]["note"].asString(),
              "two writers published this module at the same time: :1.7 wrote after :1.5 changed the rows it had "
              "loaded; the store may hold a mix of both documents");
    const Json::Value writers = TwoWriters();
    EXPECT_EQ(writers["writer"].asString(), ":1.7");
    EXPECT_EQ(writers["other"].asString(), ":1.5");
    EXPECT_FALSE(writers["republished"].asBool());
    EXPECT_TRUE(writers["time"].isIntegral());
}

TEST_F(StorePublishOverlap, APublishFromOneWriterAfterwardsSaysTheStoreHoldsOneDocumentAgain)
{
    Load(":1.5");
    Load(":1.7");
    Write(":1.5", "a");
    Write(":1.7", "b");
    Done(":1.5");
    Done(":1.7");
    ASSERT_TRUE(TwoWriters().isObject());
    ASSERT_FALSE(TwoWriters()["republished"].asBool());
    Load(":1.7");
    Write(":1.7", "c");
    Done(":1.7");
    EXPECT_TRUE(TwoWriters()["republished"].asBool());
}

TEST_F(StorePublishOverlap, PublishesOneAfterTheOtherAndReadersBesideAPublishAreNoOverlap)
{
    Load(":1.5");
    Write(":1.5", "a");
    Load(":1.9");  // a reader (a read-back of the preview) in the middle of the publish
    Write(":1.5", "b");
    Done(":1.5");
    Load(":1.7");
    Write(":1.7", "c");
    Done(":1.7");
    // The first one's completion event came after the second's writes: still one at a time,
    // because the second loaded what the first had written.
    Load(":1.5");
    Write(":1.5", "d");
    Load(":1.7");
    Write(":1.7", "e");
    Done(":1.5");
    Done(":1.7");
    EXPECT_EQ(Notices().size(), 0u);
    EXPECT_TRUE(TwoWriters().isNull());
}

TEST_F(StorePublishOverlap, WriterKilledHalfWayBeforeTheNextLoadIsNoOverlap)
{
    Load(":1.5");
    Write(":1.5", "a");  // and never its completion event: the process was killed
    Load(":1.7");
    Write(":1.7", "b");
    Done(":1.7");
    EXPECT_EQ(Notices().size(), 0u);
}

TEST_F(StorePublishOverlap, ReaderThatLaterPublishesStartsAfreshAtItsLoad)
{
    Load(":1.5");  // read the preview back
    Load(":1.7");
    Write(":1.7", "a");
    Done(":1.7");
    Load(":1.5");  // now publishes: its load sees what :1.7 wrote
    Write(":1.5", "b");
    Done(":1.5");
    EXPECT_EQ(Notices().size(), 0u);
}

TEST_F(StorePublishOverlap, NextLoadOfAWriterWhosePublishNeverCompletedStartsAfresh)
{
    Load(":1.5");
    Load(":1.7");
    Write(":1.7", "a");
    Write(":1.5", "b");  // the overlap; :1.5 never sends its completion event
    ASSERT_EQ(Notices().size(), 1u);
    Load(":1.5");
    Write(":1.5", "c");
    Done(":1.5");
    EXPECT_EQ(Notices().size(), 1u);
    EXPECT_TRUE(TwoWriters()["republished"].asBool());
}
