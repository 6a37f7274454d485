// Records the method calls that reach a bus, with the answers they got, through a monitor
// connection (org.freedesktop.DBus.Monitoring.BecomeMonitor) of the bus this process uses. The
// benchmark records each operation once, outside its timed runs, to replay the very same calls.
#pragma once

#include <gio/gio.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "BenchBusConnection.h"

namespace BenchBusRecorder {

// One method call as it travelled, and the answer it got.
struct CRecordedCall {
    std::string sDestination, sPath, sInterface, sMember;
    std::shared_ptr<GVariant> body;    // null when the call had no arguments
    std::shared_ptr<GVariant> answer;  // the reply's body; null for an error or no reply seen
    bool bAnswered = false;            // a reply or an error was seen
    bool bError = false;
};

inline std::shared_ptr<GVariant> Hold(GVariant* pValue)
{
    if (pValue == nullptr) return nullptr;
    return std::shared_ptr<GVariant>(g_variant_ref_sink(pValue), g_variant_unref);
}

class CBusRecorder {
public:
    CBusRecorder() = default;
    CBusRecorder(const CBusRecorder&) = delete;
    CBusRecorder& operator=(const CBusRecorder&) = delete;
    ~CBusRecorder() { Close(); }

    // Starts monitoring the bus at sAddress. Calls sent by sIgnoredSender (the replay's own
    // connection) are not recorded, except for the marker that ends a recording.
    bool Start(const std::string& sAddress, const std::string& sIgnoredSender, std::string& sError)
    {
        m_pConnection = BenchBusConnection::Open(sAddress, "monitor connection", sError);
        if (m_pConnection == nullptr) return false;
        g_autoptr(GError) pError = nullptr;
        m_sIgnoredSender = sIgnoredSender;
        m_uFilter = g_dbus_connection_add_filter(m_pConnection, &CBusRecorder::Filter, this, nullptr);
        const char* aRules[] = {"type='method_call'", "type='method_return'", "type='error'", nullptr};
        g_autoptr(GVariant) pReply = g_dbus_connection_call_sync(
            m_pConnection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus.Monitoring",
            "BecomeMonitor", g_variant_new("(^asu)", aRules, 0u), nullptr, G_DBUS_CALL_FLAGS_NONE, 5000, nullptr,
            &pError);
        if (pReply == nullptr) {
            sError = std::string("BecomeMonitor: ") + pError->message;
            Close();
            return false;
        }
        return true;
    }

    // Ends the recording: sends a marker call on pMarkerConnection (the ignored sender), waits
    // until the monitor has seen it, so that every call before it is in, and returns the calls.
    bool Finish(GDBusConnection* pMarkerConnection, std::vector<CRecordedCall>& vecCalls, std::string& sError)
    {
        g_autoptr(GError) pError = nullptr;
        g_autoptr(GVariant) pReply = g_dbus_connection_call_sync(
            pMarkerConnection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId",
            nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, &pError);
        if (pReply == nullptr) {
            sError = std::string("marker call: ") + pError->message;
            return false;
        }
        std::unique_lock<std::mutex> lock(m_mutex);
        // A generous guard only: the monitor sees the marker within milliseconds.
        if (!m_condition.wait_for(lock, std::chrono::seconds(30), [this] { return m_bMarkerSeen; })) {
            sError = "the monitor never saw the marker call";
            return false;
        }
        vecCalls = std::move(m_vecCalls);
        m_vecCalls.clear();
        m_mapPending.clear();
        m_bMarkerSeen = false;
        return true;
    }

    void Close()
    {
        if (m_pConnection == nullptr) return;
        if (m_uFilter != 0) g_dbus_connection_remove_filter(m_pConnection, m_uFilter);
        m_uFilter = 0;
        g_dbus_connection_close_sync(m_pConnection, nullptr, nullptr);
        g_clear_object(&m_pConnection);
    }

private:
    static std::string Text(const char* sValue) { return sValue != nullptr ? sValue : ""; }

    // Runs on GDBus's worker thread for every message the monitor receives. Answers to this
    // connection's own calls go on to GDBus; everything else is kept as needed and dropped, so
    // that GDBus does not answer calls that were never meant for it (a monitor that sends is
    // disconnected).
    static GDBusMessage* Filter(GDBusConnection* pConnection, GDBusMessage* pMessage, gboolean bIncoming,
                                gpointer pData)
    {
        if (!bIncoming) return pMessage;
        const GDBusMessageType type = g_dbus_message_get_message_type(pMessage);
        const char* sOwnName = g_dbus_connection_get_unique_name(pConnection);
        const char* sTo = g_dbus_message_get_destination(pMessage);
        if ((type == G_DBUS_MESSAGE_TYPE_METHOD_RETURN || type == G_DBUS_MESSAGE_TYPE_ERROR) && sOwnName != nullptr &&
            sTo != nullptr && g_strcmp0(sOwnName, sTo) == 0) {
            return pMessage;
        }
        static_cast<CBusRecorder*>(pData)->Take(pMessage);
        g_object_unref(pMessage);
        return nullptr;
    }

    void Take(GDBusMessage* pMessage)
    {
        const std::string sSender = Text(g_dbus_message_get_sender(pMessage));
        std::lock_guard<std::mutex> lock(m_mutex);
        switch (g_dbus_message_get_message_type(pMessage)) {
            case G_DBUS_MESSAGE_TYPE_METHOD_CALL: {
                if (sSender == m_sIgnoredSender) {
                    if (Text(g_dbus_message_get_member(pMessage)) == "GetId") {
                        m_bMarkerSeen = true;
                        m_condition.notify_all();
                    }
                    return;
                }
                CRecordedCall call;
                call.sDestination = Text(g_dbus_message_get_destination(pMessage));
                call.sPath = Text(g_dbus_message_get_path(pMessage));
                call.sInterface = Text(g_dbus_message_get_interface(pMessage));
                call.sMember = Text(g_dbus_message_get_member(pMessage));
                GVariant* pBody = g_dbus_message_get_body(pMessage);
                if (pBody != nullptr) call.body = Hold(g_variant_ref(pBody));
                m_mapPending[{sSender, g_dbus_message_get_serial(pMessage)}] = m_vecCalls.size();
                m_vecCalls.push_back(std::move(call));
                return;
            }
            case G_DBUS_MESSAGE_TYPE_METHOD_RETURN:
            case G_DBUS_MESSAGE_TYPE_ERROR: {
                const std::string sTo = Text(g_dbus_message_get_destination(pMessage));
                auto it = m_mapPending.find({sTo, g_dbus_message_get_reply_serial(pMessage)});
                if (it == m_mapPending.end()) return;
                CRecordedCall& call = m_vecCalls[it->second];
                call.bAnswered = true;
                call.bError = g_dbus_message_get_message_type(pMessage) == G_DBUS_MESSAGE_TYPE_ERROR;
                GVariant* pBody = g_dbus_message_get_body(pMessage);
                if (!call.bError && pBody != nullptr) call.answer = Hold(g_variant_ref(pBody));
                m_mapPending.erase(it);
                return;
            }
            default:
                return;
        }
    }

    GDBusConnection* m_pConnection = nullptr;
    guint m_uFilter = 0;
    std::string m_sIgnoredSender;
    std::mutex m_mutex;
    std::condition_variable m_condition;
    bool m_bMarkerSeen = false;
    std::vector<CRecordedCall> m_vecCalls;
    std::map<std::pair<std::string, guint32>, size_t> m_mapPending;
};

}  // namespace BenchBusRecorder
