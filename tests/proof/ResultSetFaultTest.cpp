// Select results that arrive damaged: the load of the stored preview fails with its error lines,
// the process goes on, and a publish treats the store as unreadable (it is cleared, nothing of
// the document is written).
#include <dlog.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <mutex>

#include "FakeServiceFixture.h"
#include "PelmoAPI.h"
#include "pelmo/SharedResult.h"

namespace {
constexpr const char* kModule = "org.example.damaged";
// Offsets of the result header, from platform/pelmo/SharedResultFormat.md.
constexpr size_t kOffMagic = 0;
constexpr size_t kOffTotalSize = 8;
constexpr size_t kOffRowCount = 20;
constexpr size_t kOffTextOffset = 40;

CResultCell Int(long long llValue)
{
    CResultCell cell;
    cell.eKind = CResultCell::kInteger;
    cell.llValue = llValue;
    return cell;
}

CResultCell Text(const std::string& sText)
{
    CResultCell cell;
    cell.eKind = CResultCell::kText;
    cell.sText = sText;
    return cell;
}

std::string AcceleratorResult()
{
    CResultTable table;
    table.vecColumns = {"_id", "accelerator_title", "app_pkg_name"};
    table.vecRows.push_back({Int(5), Text("Damaged"), Text(kModule)});
    return CSharedResultWriter::Serialize(table);
}

std::string EmptyResult()
{
    CResultTable table;
    table.vecColumns = {"_id", "section_title"};
    return CSharedResultWriter::Serialize(table);
}

template <typename T>
void Put(std::string& sBytes, size_t uOffset, T value)
{
    std::memcpy(&sBytes[uOffset], &value, sizeof(value));
}

// How the accelerator's result is spoiled, and what the reply says about its size.
struct PT_DAMAGE {
    const char* sName;
    std::function<void(std::string& sBytes, std::string& sMemorySize)> spoil;
};
}  // namespace

class ResultSetFaultTest : public FakeServiceTest {
protected:
    void Prepare() override
    {
        m_service.SetResponder([this](const CRecordedCall& call) { return Answer(call); });
    }
    void TearDown() override
    {
        FakeServiceTest::TearDown();
        std::lock_guard<std::mutex> lock(m_mutex);
        for (const std::string& sKey : m_vecKeys) CSharedResultWriter::Remove(sKey);
    }

    // Selects of the accelerator get the (possibly spoilt) accelerator result, every other select
    // an empty one; writes succeed.
    CScriptedReply Answer(const CRecordedCall& call)
    {
        CScriptedReply reply;
        if (call.sMethod != "select") {
            reply.sOutput = call.sMethod == "delete" ? "0" : "1";
            return reply;
        }
        std::lock_guard<std::mutex> lock(m_mutex);
        const bool bAccelerator = call.sInput.find("content://org.orvik.pelmo/accelerators") != std::string::npos;
        std::string sBytes = bAccelerator ? AcceleratorResult() : EmptyResult();
        std::string sMemorySize = std::to_string(sBytes.size());
        if (bAccelerator && m_damage.spoil) m_damage.spoil(sBytes, sMemorySize);
        const std::string sKey = "/pelmo-proof-" + std::to_string(getpid()) + "-" + std::to_string(m_vecKeys.size());
        std::string sError;
        if (!CSharedResultWriter::Publish(sKey, sBytes, sError)) {
            reply.bResult = false;
            reply.sOutput = sError;
            return reply;
        }
        m_vecKeys.push_back(sKey);
        reply.sOutput = "{\"key\":\"" + sKey + "\",\"memory_size\":\"" + sMemorySize + "\",\"req_id\":\"1\"}";
        return reply;
    }

    size_t CallsOf(const std::string& sMethod) const
    {
        size_t uCount = 0;
        for (const CRecordedCall& call : m_service.Calls()) uCount += call.sMethod == sMethod;
        return uCount;
    }

    std::mutex m_mutex;
    std::vector<std::string> m_vecKeys;
    PT_DAMAGE m_damage{"none", nullptr};
};

TEST_F(ResultSetFaultTest, SoundResultLoadsThePreview)
{
    char* pText = get_preview_metadata(kModule);
    ASSERT_NE(pText, nullptr);
    Json::Value root;
    ASSERT_TRUE(Json::Reader().parse(pText, root)) << pText;
    finalize_json_bytes(pText);
    EXPECT_EQ(root["_id"], Json::Value(5));
    EXPECT_EQ(root["accelerator_title"], Json::Value("Damaged"));
    EXPECT_FALSE(m_log.Has(DLOG_ERROR, "CSharedQueryObject::GetCursor() failed.")) << m_log.Dump();
}

TEST_F(ResultSetFaultTest, DamagedResultGivesAFailedLoadNotACrash)
{
    const std::vector<PT_DAMAGE> vecDamage = {
        {"wrong magic", [](std::string& s, std::string&) { s[kOffMagic] = static_cast<char>(s[kOffMagic] ^ 0x5a); }},
        {"row count far past the end",
         [](std::string& s, std::string&) { Put<uint32_t>(s, kOffRowCount, 0x7fffffffu); }},
        {"text block outside the result",
         [](std::string& s, std::string&) { Put<uint64_t>(s, kOffTextOffset, s.size() + 4096); }},
        {"total size larger than the memory",
         [](std::string& s, std::string&) { Put<uint64_t>(s, kOffTotalSize, 1u << 30); }},
        {"object shorter than the reply says",
         [](std::string& s, std::string& sSize) {
             sSize = std::to_string(s.size());
             s.resize(s.size() / 2);
         }},
        {"reply claims more than the largest result",
         [](std::string&, std::string& sSize) { sSize = std::to_string(128 * 1024 * 1024); }},
        {"size that is not a number", [](std::string&, std::string& sSize) { sSize = "lots"; }},
        {"empty object", [](std::string& s, std::string&) { s.assign(1, '\0'); }},
    };
    for (const PT_DAMAGE& damage : vecDamage) {
        SCOPED_TRACE(damage.sName);
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_damage = damage;
        }
        m_log.Clear();
        m_service.ClearCalls();

        char* pText = get_preview_metadata(kModule);
        ASSERT_NE(pText, nullptr);
        EXPECT_STREQ(pText, "");
        finalize_json_bytes(pText);
        EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ERROR, GetAcceleratorItems() failed.")) << m_log.Dump();
        EXPECT_TRUE(m_log.Has(DLOG_ERROR, "CSharedQueryObject::GetCursor() failed.") ||
                    m_log.Has(DLOG_ERROR, "Error in json parsing: stoi"))
            << m_log.Dump();

        // A publish against a store it cannot read clears the module and writes nothing.
        m_service.ClearCalls();
        EXPECT_EQ(set_preview_metadata("{\"sections\":[{\"section_title\":\"s\",\"tiles\":[{\"tile_title\":\"t\"}]}]}",
                                       kModule),
                  0);
        EXPECT_TRUE(
            m_log.Has(DLOG_ERROR, std::string("ERROR, CGetMetaDataFromDB failed. Clear all tiles of ") + kModule));
        EXPECT_EQ(CallsOf("delete"), 2u);
        EXPECT_EQ(CallsOf("insert"), 0u);
        EXPECT_EQ(CallsOf("insert_bulk"), 0u);
        EXPECT_EQ(CallsOf("send_sync"), 0u);
    }
}
