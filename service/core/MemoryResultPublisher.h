// A publisher that keeps select results in memory, under keys of its own. The tests and the
// fuzzer run the handler with it, in one process and without shared memory.
#pragma once

#include <deque>
#include <string>
#include <utility>

#include "ResultPublisher.h"

class CMemoryResultPublisher : public IResultPublisher {
public:
    bool Publish(const std::string& /*sModule*/, const CResultTable& table, const PT_CALLER_IDENTITY& reader,
                 std::string& sKey, long long& llSize, std::string& /*sError*/) override
    {
        m_lastReader = reader;
        sKey = "memory-" + std::to_string(++m_llCounter);
        llSize = static_cast<long long>(table.vecRows.size() * (table.vecColumns.size() + 1));
        m_deqTable.emplace_back(sKey, table);
        // Only the latest results are kept, so that a long fuzzing run does not grow.
        if (m_deqTable.size() > kMaxKept) m_deqTable.pop_front();
        m_sLastKey = sKey;
        return true;
    }

    const CResultTable* Find(const std::string& sKey) const
    {
        for (const auto& entry : m_deqTable) {
            if (entry.first == sKey) return &entry.second;
        }
        return nullptr;
    }
    const std::string& LastKey() const { return m_sLastKey; }
    // Whom the latest result was published for.
    const PT_CALLER_IDENTITY& LastReader() const { return m_lastReader; }

private:
    static constexpr std::size_t kMaxKept = 16;
    long long m_llCounter = 0;
    std::string m_sLastKey;
    PT_CALLER_IDENTITY m_lastReader;
    std::deque<std::pair<std::string, CResultTable>> m_deqTable;
};
