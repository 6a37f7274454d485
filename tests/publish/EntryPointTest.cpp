// The preview entry points' own decisions, against the scripted service: what they log, when
// they clear a store that cannot be read, and when they stay silent towards the store.
#include <dlog.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "FakeServiceFixture.h"
#include "PelmoAPI.h"

namespace {
size_t CountMethod(const std::vector<CRecordedCall>& vecCalls, const std::string& sMethod)
{
    size_t uCount = 0;
    for (const CRecordedCall& call : vecCalls) uCount += call.sMethod == sMethod;
    return uCount;
}
const char* kDocument =
    "{\"sections\":[{\"section_id\":1,\"section_title\":\"s\",\"tiles\":[{\"tile_title\":\"t\"}]}]}";
}  // namespace

class EntryPointTest : public FakeServiceTest {};

TEST_F(EntryPointTest, UnreadableStoreIsClearedAndThePublishFailsWithoutCompletionEvent)
{
    // Every select is refused: the stored tree cannot be loaded.
    m_service.SetResponder([](const CRecordedCall& call) {
        CScriptedReply reply;
        reply.bResult = call.sMethod != "select";
        reply.sOutput = call.sMethod == "delete" ? "0" : "";
        return reply;
    });
    EXPECT_EQ(set_preview_metadata(kDocument, "org.example.m"), 0);
    const auto vecCalls = m_service.Calls();
    EXPECT_EQ(CountMethod(vecCalls, "delete"), 2u);  // tiles, then sections
    EXPECT_EQ(CountMethod(vecCalls, "insert"), 0u);
    EXPECT_EQ(CountMethod(vecCalls, "insert_bulk"), 0u);
    EXPECT_EQ(CountMethod(vecCalls, "send_sync"), 0u);
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ERROR, CGetMetaDataFromDB failed. Clear all tiles of org.example.m"));
    EXPECT_FALSE(m_log.Has(DLOG_ERROR, "ERROR, DeleteAcceleratorItem(org.example.m) failed. return "));
}

TEST_F(EntryPointTest, FailedClearOfAnUnreadableStoreIsLoggedAndThePublishFails)
{
    m_service.AnswerAlways(false, "refused");
    EXPECT_EQ(set_preview_metadata(kDocument, "org.example.m"), 0);
    // The tile delete failed, so the section delete was never sent.
    EXPECT_EQ(CountMethod(m_service.Calls(), "delete"), 1u);
    EXPECT_EQ(CountMethod(m_service.Calls(), "send_sync"), 0u);
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ERROR, DeleteAcceleratorItem(org.example.m) failed. return "));
}

TEST_F(EntryPointTest, DocumentTheParserRefusesSendsNothing)
{
    EXPECT_EQ(set_preview_metadata("[1,2,3]", "org.example.m"), 0);
    EXPECT_EQ(m_service.CallCount(), 0u);
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ERROR, GetPreviewDataUsingJsonStr failed. [org.example.m]"));
    EXPECT_TRUE(m_log.Has(DLOG_INFO, "sModuleName : org.example.m, sJsonStr : [1,2,3]"));
}

TEST_F(EntryPointTest, WithdrawalDeletesTilesThenSectionsAndSendsTheCompletionEvent)
{
    m_service.AnswerAlways(true, "0");
    std::string sJson = "{}";
    std::string sModule = "org.example.m";
    EXPECT_EQ(update_json_str_to_preview_db(sJson, sModule), 1);
    const auto vecCalls = m_service.Calls();
    ASSERT_EQ(vecCalls.size(), 3u);
    EXPECT_EQ(vecCalls[0].sMethod, "delete");
    EXPECT_NE(vecCalls[0].sInput.find("content://org.orvik.pelmo/tiles"), std::string::npos);
    EXPECT_EQ(vecCalls[1].sMethod, "delete");
    EXPECT_NE(vecCalls[1].sInput.find("content://org.orvik.pelmo/sections"), std::string::npos);
    EXPECT_EQ(vecCalls[2].sMethod, "send_sync");
    EXPECT_EQ(vecCalls[2].sPackage, "org.example.m");
    EXPECT_EQ(vecCalls[2].sInput, " ");
}

TEST_F(EntryPointTest, WithdrawalSucceedsEvenWhenTheStoreRefusesTheDeletes)
{
    m_service.AnswerAlways(false, "refused");
    EXPECT_EQ(set_preview_metadata("{}", "org.example.m"), 1);
    EXPECT_EQ(CountMethod(m_service.Calls(), "send_sync"), 1u);
}

TEST_F(EntryPointTest, ReadAsksForTheSchedulerFirstEvenWhenNothingIsStored)
{
    // No accelerator row: every select comes back refused.
    m_service.SetResponder([](const CRecordedCall& call) {
        CScriptedReply reply;
        reply.bResult = call.sMethod != "select";
        return reply;
    });
    char* pText = get_preview_metadata("org.example.m");
    ASSERT_NE(pText, nullptr);
    EXPECT_STREQ(pText, "");
    finalize_json_bytes(pText);
    const auto vecCalls = m_service.Calls();
    ASSERT_GE(vecCalls.size(), 2u);
    EXPECT_EQ(vecCalls[0].sMethod, "start_preview_scheduler");
    EXPECT_EQ(vecCalls[0].sPackage, "org.example.m");
    EXPECT_EQ(vecCalls[0].sInput, "org.example.caller");
    EXPECT_EQ(vecCalls[1].sMethod, "select");
    EXPECT_TRUE(m_log.Has(DLOG_INFO, "pkgName : org.example.m"));
    EXPECT_TRUE(m_log.Has(DLOG_INFO, "json : "));
}

TEST_F(EntryPointTest, NullPackageRaisesTheLogicErrorAfterTheSchedulerCall)
{
    EXPECT_THROW(get_preview_metadata(nullptr), std::logic_error);
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "Package name cannot be empty"));
    EXPECT_EQ(m_service.CallCount(), 0u);
}
