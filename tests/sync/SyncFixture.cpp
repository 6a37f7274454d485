#include "SyncFixture.h"

#include <pelmo/SharedResult.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "PelmoGDBusUtil.h"

namespace {
// Result names stay unique across all tests of one process.
int s_iResultCounter = 0;
}  // namespace

void SyncTest::Prepare()
{
    m_service.SetResponder([this](const CRecordedCall& call) { return Answer(call); });
}

CRecordedCall SyncTest::OnlyCall(const std::string& sMethod, const std::string& sPackage) const
{
    const std::vector<CRecordedCall> calls = Calls();
    EXPECT_EQ(calls.size(), 1u);
    if (calls.size() != 1u) return CRecordedCall();
    EXPECT_EQ(calls[0].sMethod, sMethod);
    EXPECT_EQ(calls[0].sPackage, sPackage);
    return calls[0];
}

void SyncTest::SetAcceleratorRows(std::vector<long long> vecRowIds)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_vecAcceleratorRows = std::move(vecRowIds);
}

void SyncTest::Refuse(const std::string& sMethod)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_setRefused.insert(sMethod);
}

void SyncTest::RefuseNth(const std::string& sMethod, int iNth)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_setRefusedNth.insert({sMethod, iNth});
}

bool SyncTest::HasEntryLine(const std::string& sFunction) const
{
    for (const CLogLine& line : m_log.Lines()) {
        if (line.iPriority == DLOG_INFO && CLogCapture::Body(line.sMessage).empty() &&
            line.sMessage.find("][" + sFunction + ":") != std::string::npos) {
            return true;
        }
    }
    return false;
}

void SyncTest::SetNextRowId(long long llRowId)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_llNextRowId = llRowId;
}

std::vector<std::string> SyncTest::Methods() const
{
    std::vector<std::string> vecMethods;
    for (const CRecordedCall& call : Calls()) vecMethods.push_back(call.sMethod);
    return vecMethods;
}

std::vector<CRecordedCall> SyncTest::CallsOf(const std::string& sMethod) const
{
    std::vector<CRecordedCall> vecOut;
    for (const CRecordedCall& call : Calls()) {
        if (call.sMethod == sMethod) vecOut.push_back(call);
    }
    return vecOut;
}

CScriptedReply SyncTest::Answer(const CRecordedCall& call)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    CScriptedReply reply;
    const int iNth = ++m_mapCallCount[call.sMethod];
    if (m_setRefused.count(call.sMethod) != 0 || m_setRefusedNth.count({call.sMethod, iNth}) != 0) {
        reply.bResult = false;
        reply.sOutput = "refused by the test";
        return reply;
    }
    if (call.sMethod == "insert") {
        reply.sOutput = std::to_string(m_llNextRowId++);
    } else if (call.sMethod == "insert_bulk") {
        reply.sOutput = "999";
    } else if (call.sMethod == "delete") {
        reply.sOutput = "1";
    } else if (call.sMethod == "select") {
        // The accelerator's _id column, one row per scripted id, in a real shared-memory result.
        CResultTable table;
        table.vecColumns = {"_id"};
        for (long long llRowId : m_vecAcceleratorRows) table.vecRows.push_back({CResultCell::Integer(llRowId)});
        const std::string sBytes = CSharedResultWriter::Serialize(table);
        const std::string sKey =
            "/pelmo-sync-test-" + std::to_string(getpid()) + "-" + std::to_string(++s_iResultCounter);
        std::string sError;
        if (!CSharedResultWriter::Publish(sKey, sBytes, sError)) {
            reply.bResult = false;
            reply.sOutput = sError;
            return reply;
        }
        reply.sOutput = "{\"key\":\"" + sKey + "\",\"memory_size\":\"" + std::to_string(sBytes.size()) +
                        "\",\"req_id\":\"r" + std::to_string(s_iResultCounter) + "\"}";
    } else {
        reply.sOutput = "";
    }
    return reply;
}

CPreviewAccelerator ParseDocument(const std::string& sDocument, const std::string& sModule)
{
    CPreviewAccelerator accelerator;
    accelerator.m_mapProperty[TilesInternalModel::Accelerators::ACCELERATOR_APP_PKG_NAME] = {JSON_VALUE_STRING,
                                                                                             sModule};
    CPreviewDataUtil util;
    EXPECT_TRUE(util.GetPreviewDataUsingJsonStr(sDocument, accelerator, sModule)) << sDocument;
    return accelerator;
}

void AssignRowIds(CPreviewAccelerator& accelerator)
{
    for (size_t i = 0; i < accelerator.m_vecSection.size(); ++i) {
        CPreviewSection& section = *accelerator.m_vecSection[i];
        section.m_mapProperty[TilesModel::Sections::_ID] = {JSON_VALUE_UINT, std::to_string(i + 1)};
        for (size_t j = 0; j < section.m_vecTile.size(); ++j) {
            section.m_vecTile[j]->m_mapProperty[TilesModel::Tiles::_ID] = {JSON_VALUE_UINT,
                                                                           std::to_string((i + 1) * 100 + j + 1)};
        }
    }
}

std::shared_ptr<CPreviewSection> EmptySection(uint64_t key, const std::string& sRowId)
{
    auto pSection = std::make_shared<CPreviewSection>();
    for (auto& property : pSection->m_mapProperty) property.second = {JSON_VALUE_NONE, ""};
    pSection->m_mapProperty[TilesModel::Sections::_ID].second = sRowId;
    pSection->m_hash = key;
    return pSection;
}

std::shared_ptr<CPreviewTile> EmptyTile(uint64_t key, const std::string& sRowId)
{
    auto pTile = std::make_shared<CPreviewTile>();
    for (auto& property : pTile->m_mapProperty) property.second = {JSON_VALUE_NONE, ""};
    pTile->m_mapProperty[TilesModel::Tiles::_ID].second = sRowId;
    pTile->m_hash = key;
    return pTile;
}

void AddTile(CPreviewSection& section, const std::shared_ptr<CPreviewTile>& pTile)
{
    section.m_vecTile.push_back(pTile);
    section.m_vecTileHash.push_back(pTile->m_hash);
}

Json::Value ParseJson(const std::string& sText)
{
    Json::Value root;
    Json::Reader reader;
    EXPECT_TRUE(reader.parse(sText, root)) << sText;
    return root;
}

std::string WhereOf(const CRecordedCall& call)
{
    return ParseJson(call.sInput)["where"].asString();
}

std::vector<std::string> WhereArgsOf(const CRecordedCall& call)
{
    std::vector<std::string> vecArgs;
    const Json::Value root = ParseJson(call.sInput);
    for (const Json::Value& arg : root["where_args"]) vecArgs.push_back(arg.asString());
    return vecArgs;
}

void SortTileKeys(CPreviewSection& section)
{
    std::sort(section.m_vecTileHash.begin(), section.m_vecTileHash.end());
}

std::string TileLine(int iNumber, uint64_t key, const std::string& sRowId, const std::string& sTitle)
{
    char sLine[512];
    // The whole 64-bit key, whatever the width of size_t.
    snprintf(sLine, sizeof(sLine), "[%2d][%s][_ID:%s][%s]", iNumber, std::to_string(key).c_str(), sRowId.c_str(),
             sTitle.c_str());
    return sLine;
}

std::shared_ptr<CPreviewTile> TileTitled(const CPreviewSection& section, const std::string& sTitle)
{
    for (const auto& pTile : section.m_vecTile) {
        auto it = pTile->m_mapProperty.find(TilesModel::Tiles::TILE_TITLE);
        if (it != pTile->m_mapProperty.end() && it->second.second == sTitle) return pTile;
    }
    ADD_FAILURE() << "no tile titled " << sTitle;
    return std::make_shared<CPreviewTile>();
}
