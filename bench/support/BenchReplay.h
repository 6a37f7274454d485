// The floor a client library is measured against: a minimal client on plain GIO that sends
// recorded calls again, in order, on one connection of its own, and opens and reads every
// select result the way the store library does (the shared-memory cursor, every cell of every
// row). It parses no JSON: the only answer it reads is a select's, for the result's key and size.
#pragma once

#include <gio/gio.h>
#include <pelmo/ISharedQueryObject.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "BenchBusConnection.h"
#include "BenchBusRecorder.h"
#include "PelmoBusNames.h"

namespace BenchReplay {

// The text value of a top-level member `"sName":"value"` or `"sName":number` of a flat JSON
// answer; empty when it is not there. Enough for the select answer's key and size, which
// hold no escapes.
inline std::string FlatMember(const char* sAnswer, const char* sName)
{
    const std::string sQuoted = std::string("\"") + sName + "\"";
    const char* pAt = strstr(sAnswer, sQuoted.c_str());
    if (pAt == nullptr) return std::string();
    pAt += sQuoted.size();
    while (*pAt == ' ' || *pAt == ':') ++pAt;
    if (*pAt == '"') {
        const char* pEnd = strchr(++pAt, '"');
        return pEnd != nullptr ? std::string(pAt, pEnd) : std::string();
    }
    const char* pEnd = pAt;
    while (*pEnd >= '0' && *pEnd <= '9') ++pEnd;
    return std::string(pAt, pEnd);
}

// What a replay saw, for checking it against the recorded answers.
struct CReplayOutcome {
    size_t uCalls = 0;
    size_t uFailed = 0;     // no answer or an error where the recording had an answer, or the reverse
    size_t uDifferent = 0;  // an answer other than the recorded one (select answers: the flag only)
    size_t uSelects = 0;    // select results opened and read
    size_t uCells = 0;      // cells read from them
    std::string sFirstDifference;
};

class CReplayClient {
public:
    CReplayClient() = default;
    CReplayClient(const CReplayClient&) = delete;
    CReplayClient& operator=(const CReplayClient&) = delete;
    ~CReplayClient()
    {
        if (m_pConnection != nullptr) g_dbus_connection_close_sync(m_pConnection, nullptr, nullptr);
        g_clear_object(&m_pConnection);
    }

    // Opens the client's own connection to the bus at sAddress.
    bool Open(const std::string& sAddress, std::string& sError)
    {
        m_pConnection = BenchBusConnection::Open(sAddress, "replay connection", sError);
        return m_pConnection != nullptr;
    }

    GDBusConnection* Connection() const { return m_pConnection; }
    std::string UniqueName() const
    {
        const char* sName = m_pConnection ? g_dbus_connection_get_unique_name(m_pConnection) : nullptr;
        return sName != nullptr ? sName : "";
    }

    // Sends every call in order and reads every select result; with pOutcome, also compares
    // each answer with the recorded one (outside timed runs: the comparison costs too).
    void Run(const std::vector<BenchBusRecorder::CRecordedCall>& vecCalls, CReplayOutcome* pOutcome = nullptr)
    {
        for (const BenchBusRecorder::CRecordedCall& call : vecCalls) {
            g_autoptr(GError) pError = nullptr;
            g_autoptr(GVariant) pReply = g_dbus_connection_call_sync(
                m_pConnection, call.sDestination.empty() ? nullptr : call.sDestination.c_str(), call.sPath.c_str(),
                call.sInterface.empty() ? nullptr : call.sInterface.c_str(), call.sMember.c_str(), call.body.get(),
                nullptr, G_DBUS_CALL_FLAGS_NONE, 25000, nullptr, &pError);
            const bool bStoreCall = call.sInterface == PELMO_SERVICE_INTERFACE && call.sMember == "Call" && call.body &&
                                    g_variant_is_of_type(call.body.get(), G_VARIANT_TYPE("(sss)"));
            const char* sMethod = nullptr;
            if (bStoreCall) g_variant_get_child(call.body.get(), 0, "&s", &sMethod);
            const bool bSelect = sMethod != nullptr && strcmp(sMethod, "select") == 0;

            gboolean bResult = FALSE;
            const char* sAnswer = nullptr;
            if (pReply != nullptr && g_variant_is_of_type(pReply, G_VARIANT_TYPE("(bs)"))) {
                g_variant_get(pReply, "(b&s)", &bResult, &sAnswer);
            }
            if (bSelect && bResult && sAnswer != nullptr) ReadResult(sAnswer, pOutcome);
            if (pOutcome != nullptr) Compare(call, pReply, bSelect, *pOutcome);
        }
    }

private:
    // Opens the result that a select answer names and reads every cell of every row; returns
    // the number of cells read.
    static size_t ReadResult(const char* sAnswer, CReplayOutcome* pOutcome)
    {
        const std::string sKey = FlatMember(sAnswer, "key");
        const int iSize = atoi(FlatMember(sAnswer, "memory_size").c_str());
        std::shared_ptr<ISQLiteCursor> cursor = ISharedQueryObject::GetCursor(sKey, iSize);
        if (!cursor) return 0;
        size_t uCells = 0;
        const int iColumns = cursor->GetColumnCount();
        std::string sText;
        int iValue = 0;
        long long llValue = 0;
        double dValue = 0;
        while (cursor->MoveNext() == 0) {
            for (int c = 0; c < iColumns; ++c, ++uCells) {
                switch (cursor->GetColumnType(c)) {
                    case ISQLiteCursor::COLUMN_TYPE_INT:
                        cursor->GetInt(c, iValue);
                        break;
                    case ISQLiteCursor::COLUMN_TYPE_INT64:
                        cursor->GetInt64(c, llValue);
                        break;
                    case ISQLiteCursor::COLUMN_TYPE_DOUBLE:
                        cursor->GetDouble(c, dValue);
                        break;
                    default:
                        cursor->GetString(c, sText);
                        break;
                }
            }
        }
        if (pOutcome != nullptr) ++pOutcome->uSelects, pOutcome->uCells += uCells;
        return uCells;
    }

    static void Compare(const BenchBusRecorder::CRecordedCall& call, GVariant* pReply, bool bSelect,
                        CReplayOutcome& outcome)
    {
        ++outcome.uCalls;
        const size_t uIndex = outcome.uCalls;
        auto note = [&](const std::string& sWhat) {
            if (outcome.sFirstDifference.empty()) {
                outcome.sFirstDifference = "call " + std::to_string(uIndex) + " (" + call.sMember + "): " + sWhat;
            }
        };
        const bool bRecordedAnswer = call.bAnswered && !call.bError;
        if (bRecordedAnswer != (pReply != nullptr)) {
            ++outcome.uFailed;
            note(pReply ? "answered where the recording saw no answer" : "no answer where the recording had one");
            return;
        }
        if (pReply == nullptr || !call.answer) return;
        if (bSelect) {
            // The result's name and request id are new for every select; the flag and the
            // result's being readable must agree.
            gboolean bWas = FALSE, bNow = FALSE;
            if (g_variant_is_of_type(call.answer.get(), G_VARIANT_TYPE("(bs)"))) {
                g_variant_get_child(call.answer.get(), 0, "b", &bWas);
            }
            g_variant_get_child(pReply, 0, "b", &bNow);
            if (bWas != bNow) ++outcome.uDifferent, note("select flag differs");
            return;
        }
        if (!g_variant_equal(call.answer.get(), pReply)) {
            ++outcome.uDifferent;
            g_autofree gchar* sWas = g_variant_print(call.answer.get(), FALSE);
            g_autofree gchar* sNow = g_variant_print(pReply, FALSE);
            note(std::string("answer ") + sNow + " instead of " + sWas);
        }
    }

    GDBusConnection* m_pConnection = nullptr;
};

}  // namespace BenchReplay
