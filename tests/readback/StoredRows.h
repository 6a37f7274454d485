// Stored rows for the read path: cells of the storage kinds the store gives, results made with
// the store library's writer, and a scripted store that answers each select of the loaders with
// the rows the test put under that table and where argument.
#pragma once

#include <dlog.h>
#include <pelmo/SharedResult.h>
#include <unistd.h>

#include <atomic>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "FakeServiceFixture.h"
#include "PelmoAPI.h"
#include "PreviewDataUtil.h"

namespace readback {

const char* const kAccelerators = "content://org.orvik.pelmo/accelerators";
const char* const kSections = "content://org.orvik.pelmo/sections";
const char* const kTiles = "content://org.orvik.pelmo/tiles";

// One stored row: column name to cell. A column that the row does not name reads as NULL.
using StoredRow = std::map<std::string, CResultCell>;

inline CResultCell Text(const std::string& sText)
{
    return CResultCell::Text(sText);
}
inline CResultCell Integer(long long llValue)
{
    return CResultCell::Integer(llValue);
}
inline CResultCell Real(double dValue)
{
    return CResultCell::Double(dValue);
}

// The rows as a result table with the given columns, in that order.
inline CResultTable MakeTable(const std::vector<std::string>& vecColumns, const std::vector<StoredRow>& vecRows)
{
    CResultTable table;
    table.vecColumns = vecColumns;
    for (const StoredRow& row : vecRows) {
        std::vector<CResultCell> vecCells;
        for (const std::string& sColumn : vecColumns) {
            auto it = row.find(sColumn);
            vecCells.push_back(it == row.end() ? CResultCell() : it->second);
        }
        table.vecRows.push_back(std::move(vecCells));
    }
    return table;
}

// A cursor over the table, read back from its shared-memory bytes without a bus.
inline std::shared_ptr<ISQLiteCursor> CursorOver(const CResultTable& table)
{
    const std::string sBytes = CSharedResultWriter::Serialize(table);
    std::string sError;
    std::shared_ptr<ISQLiteCursor> cursor = CSharedResultReader::FromBytes(sBytes.data(), sBytes.size(), sError);
    EXPECT_NE(cursor, nullptr) << sError;
    return cursor;
}

// The loaders' selects against the scripted service. Every select is answered with the rows
// stored under its table and its one where argument, in the columns it asked for, published
// in shared memory as the store service does; a refused (table, argument) gets a false flag.
class ReadbackTest : public FakeServiceTest {
protected:
    void Prepare() override
    {
        m_service.SetResponder([this](const CRecordedCall& call) { return Respond(call); });
    }

    void Store(const std::string& sTable, const std::string& sArg, std::vector<StoredRow> vecRows)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_mapRows[{sTable, sArg}] = std::move(vecRows);
    }
    void Refuse(const std::string& sTable, const std::string& sArg)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_setRefused.insert({sTable, sArg});
    }

    // The parsed envelopes of the selects sent, in order.
    std::vector<Json::Value> Selects() const
    {
        std::vector<Json::Value> vecOut;
        for (const CRecordedCall& call : m_service.Calls()) {
            Json::Value root;
            EXPECT_TRUE(Json::Reader().parse(call.sInput, root)) << call.sInput;
            EXPECT_EQ(call.sMethod, "select");
            vecOut.push_back(root);
        }
        return vecOut;
    }

    // How many entry lines (info, nothing after the prefix) a function of the library logged.
    size_t EntryLines(const std::string& sFunction) const
    {
        size_t n = 0;
        for (const CLogLine& line : m_log.Lines()) {
            if (line.iPriority == DLOG_INFO && CLogCapture::Body(line.sMessage).empty() &&
                line.sMessage.find("][" + sFunction + ":") != std::string::npos) {
                ++n;
            }
        }
        return n;
    }

    CPreviewDataUtil m_util;

private:
    CScriptedReply Respond(const CRecordedCall& call)
    {
        static std::atomic<int> s_iCounter{0};
        Json::Value root;
        if (call.sMethod != "select" || !Json::Reader().parse(call.sInput, root))
            return {CScriptedReply::kAnswer, false, "bad"};
        const std::pair<std::string, std::string> key{root["table_name"].asString(), root["where_args"][0].asString()};
        std::vector<StoredRow> vecRows;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (m_setRefused.count(key) != 0) return {CScriptedReply::kAnswer, false, "refused"};
            auto it = m_mapRows.find(key);
            if (it != m_mapRows.end()) vecRows = it->second;
        }
        std::vector<std::string> vecColumns;
        for (const Json::Value& column : root["column_list"]) vecColumns.push_back(column.asString());
        const std::string sBytes = CSharedResultWriter::Serialize(MakeTable(vecColumns, vecRows));
        const std::string sKey =
            "/pelmo-readback-test-" + std::to_string(getpid()) + "-" + std::to_string(++s_iCounter);
        std::string sError;
        if (sBytes.empty() || !CSharedResultWriter::Publish(sKey, sBytes, sError)) {
            ADD_FAILURE() << "cannot publish a result: " << sError;
            return {CScriptedReply::kAnswer, false, "publish"};
        }
        return {CScriptedReply::kAnswer, true,
                "{\"key\":\"" + sKey + "\",\"memory_size\":\"" + std::to_string(sBytes.size()) + "\",\"req_id\":\"" +
                    std::to_string(s_iCounter.load()) + "\"}"};
    }

    std::mutex m_mutex;
    std::map<std::pair<std::string, std::string>, std::vector<StoredRow>> m_mapRows;
    std::set<std::pair<std::string, std::string>> m_setRefused;
};

}  // namespace readback
