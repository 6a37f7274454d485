// Requests to the store over a bus connection of the test's own, beside the library's: the
// store sees them come from another client.
#pragma once

#include <gio/gio.h>
#include <json/json.h>

#include <string>
#include <vector>

inline const std::string kTiles = "content://org.orvik.pelmo/tiles";

struct CRawAnswer {
    bool bReplied = false;
    bool bResult = false;
    std::string sOutput;
};

// A connection of its own to the bus (another process's, as the store sees it), with a call
// timeout long enough to see what the store does with a slow request instead of giving up first.
class CRawStoreConnection {
public:
    CRawStoreConnection()
    {
        g_autoptr(GError) pError = nullptr;
        g_autofree gchar* sAddress = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, &pError);
        if (sAddress != nullptr) {
            m_pConn = g_dbus_connection_new_for_address_sync(
                sAddress,
                static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                  G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
                nullptr, nullptr, &pError);
        }
    }
    ~CRawStoreConnection()
    {
        if (m_pConn != nullptr) {
            g_dbus_connection_close_sync(m_pConn, nullptr, nullptr);
            g_object_unref(m_pConn);
        }
    }
    bool Connected() const { return m_pConn != nullptr; }

    CRawAnswer Call(const std::string& sMethod, const std::string& sModule, const std::string& sInput) const
    {
        CRawAnswer answer;
        g_autoptr(GError) pError = nullptr;
        g_autoptr(GVariant) pReply = g_dbus_connection_call_sync(
            m_pConn, "org.orvik.Feltrix.dbus", "/org/orvik/pelmo_service", "org.orvik.pelmo_service", "Call",
            g_variant_new("(sss)", sMethod.c_str(), sModule.c_str(), sInput.c_str()), G_VARIANT_TYPE("(bs)"),
            G_DBUS_CALL_FLAGS_NONE, 60000, nullptr, &pError);
        if (pReply == nullptr) {
            answer.sOutput = pError ? pError->message : "no reply";
            return answer;
        }
        gboolean bResult = FALSE;
        const gchar* sOutput = nullptr;
        g_variant_get(pReply, "(b&s)", &bResult, &sOutput);
        answer.bReplied = true;
        answer.bResult = bResult;
        answer.sOutput = sOutput ? sOutput : "";
        return answer;
    }

    // A tile of the module (no section) whose title is sTitle.
    bool StoreTile(const std::string& sModule, const std::string& sTitle) const
    {
        Json::Value row;
        row["table_name"] = kTiles;
        row["tile_title"] = sTitle;
        return Call("insert", sModule, Json::FastWriter().write(row)).bResult;
    }

    static std::string SelectTiles(const std::string& sWhere = "", const std::vector<std::string>& vecArgs = {})
    {
        Json::Value envelope;
        envelope["table_name"] = kTiles;
        envelope["where"] = sWhere;
        envelope["where_args"] = Json::Value(Json::arrayValue);
        for (const std::string& sArg : vecArgs) envelope["where_args"].append(sArg);
        return Json::FastWriter().write(envelope);
    }

private:
    GDBusConnection* m_pConn = nullptr;
};
