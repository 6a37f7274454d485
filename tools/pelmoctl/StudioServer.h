// The HTTP side of `pelmoctl studio`: one page, one stream of server-sent events and the
// details of one tile (/tile?module=M&id=N), on
// 127.0.0.1 only, answered by libsoup on the GLib main loop. It answers GET on its own two
// paths and nothing else, and only to requests whose Host header names this server, so that a
// web page elsewhere cannot read the store through a browser on this machine.
#pragma once

#include <libsoup/soup.h>

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "StudioStoreWatch.h"

class CStudioServer {
public:
    CStudioServer() = default;
    ~CStudioServer();
    CStudioServer(const CStudioServer&) = delete;
    CStudioServer& operator=(const CStudioServer&) = delete;

    // Listens on 127.0.0.1:uPort (0: a free port); sAddress is the page's address.
    bool Listen(unsigned uPort, std::string& sAddress, std::string& sError);
    // What a page that connects to the event stream is sent first.
    void SetSnapshot(std::function<std::vector<PT_STUDIO_EVENT>()> snapshot) { m_snapshot = std::move(snapshot); }
    // What /tile answers for a module and row id; null when there is no such tile.
    void SetTileDetails(std::function<Json::Value(const std::string&, const std::string&)> details)
    {
        m_details = std::move(details);
    }
    // Sends the events to every connected page.
    void Broadcast(const std::vector<PT_STUDIO_EVENT>& vecEvents);
    // A comment line that keeps idle streams open and finds pages that went away.
    void KeepAlive();
    size_t ClientCount() const { return m_mapClient.size(); }

private:
    static void OnRequest(SoupServer* pServer, SoupServerMessage* pMessage, const char* sPath, GHashTable* pQuery,
                          gpointer pUser);
    static void OnClientFinished(SoupServerMessage* pMessage, gpointer pUser);
    static void OnChunkWritten(SoupServerMessage* pMessage, gpointer pUser);
    bool HostAllowed(SoupServerMessage* pMessage) const;
    void StartStream(SoupServerMessage* pMessage);
    void Send(SoupServerMessage* pMessage, const std::string& sText);
    void Drop(SoupServerMessage* pMessage);

    SoupServer* m_pServer = nullptr;
    unsigned m_uPort = 0;
    std::function<std::vector<PT_STUDIO_EVENT>()> m_snapshot;
    std::function<Json::Value(const std::string&, const std::string&)> m_details;
    // Bytes of the chunks handed to libsoup and not yet written, per open stream, in order.
    struct CPending {
        std::deque<size_t> dequeChunk;
        size_t uBytes = 0;
    };
    std::map<SoupServerMessage*, CPending> m_mapClient;
};

// "event: NAME\ndata: JSON\n\n", the JSON on one line.
std::string FormatServerSentEvent(const PT_STUDIO_EVENT& event);
