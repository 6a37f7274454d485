#include "StudioServer.h"

#include <cstring>

#include "StudioPage.h"

namespace {
// A page that stops reading is dropped once this much waits for it; its browser opens the
// stream again and gets a fresh snapshot, so nothing piles up in the studio.
constexpr size_t kMaxPendingBytes = 4u * 1024u * 1024u;

void Reply(SoupServerMessage* pMessage, unsigned uStatus, const char* sText)
{
    soup_server_message_set_status(pMessage, uStatus, nullptr);
    soup_server_message_set_response(pMessage, "text/plain; charset=utf-8", SOUP_MEMORY_COPY, sText,
                                     std::strlen(sText));
}
}  // namespace

std::string FormatServerSentEvent(const PT_STUDIO_EVENT& event)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    // The writer escapes control characters, so the data is one line.
    return "event: " + event.sName + "\ndata: " + Json::writeString(builder, event.data) + "\n\n";
}

CStudioServer::~CStudioServer()
{
    for (auto& client : m_mapClient) {
        g_signal_handlers_disconnect_by_data(client.first, this);
        g_object_unref(client.first);
    }
    m_mapClient.clear();
    if (m_pServer != nullptr) soup_server_disconnect(m_pServer);
    g_clear_object(&m_pServer);
}

bool CStudioServer::Listen(unsigned uPort, std::string& sAddress, std::string& sError)
{
    m_pServer = soup_server_new("server-header", "pelmoctl-studio", nullptr);
    soup_server_add_handler(m_pServer, nullptr, &CStudioServer::OnRequest, this, nullptr);
    g_autoptr(GInetAddress) pLoopback = g_inet_address_new_from_string("127.0.0.1");
    g_autoptr(GSocketAddress) pAddress = g_inet_socket_address_new(pLoopback, static_cast<guint16>(uPort));
    g_autoptr(GError) pError = nullptr;
    if (!soup_server_listen(m_pServer, pAddress, static_cast<SoupServerListenOptions>(0), &pError)) {
        sError = std::string("cannot listen on 127.0.0.1:") + std::to_string(uPort) + ": " + pError->message;
        return false;
    }
    GSList* pUris = soup_server_get_uris(m_pServer);
    if (pUris != nullptr) m_uPort = static_cast<unsigned>(g_uri_get_port(static_cast<GUri*>(pUris->data)));
    g_slist_free_full(pUris, reinterpret_cast<GDestroyNotify>(g_uri_unref));
    if (m_uPort == 0) {
        sError = "cannot tell the port the server listens on";
        return false;
    }
    sAddress = "http://127.0.0.1:" + std::to_string(m_uPort) + "/";
    return true;
}

bool CStudioServer::HostAllowed(SoupServerMessage* pMessage) const
{
    const char* sHost = soup_message_headers_get_one(soup_server_message_get_request_headers(pMessage), "Host");
    if (sHost == nullptr) return false;
    const std::string sPort = ":" + std::to_string(m_uPort);
    return sHost == "127.0.0.1" + sPort || sHost == "localhost" + sPort;
}

void CStudioServer::OnRequest(SoupServer*, SoupServerMessage* pMessage, const char* sPath, GHashTable* pQuery,
                              gpointer pUser)
{
    auto* pSelf = static_cast<CStudioServer*>(pUser);
    SoupMessageHeaders* pHeaders = soup_server_message_get_response_headers(pMessage);
    soup_message_headers_replace(pHeaders, "Cache-Control", "no-store");
    soup_message_headers_replace(pHeaders, "X-Content-Type-Options", "nosniff");
    soup_message_headers_replace(pHeaders, "Referrer-Policy", "no-referrer");
    if (!pSelf->HostAllowed(pMessage)) {
        Reply(pMessage, SOUP_STATUS_FORBIDDEN, "This studio answers only requests for its own address.\n");
        return;
    }
    if (std::strcmp(soup_server_message_get_method(pMessage), SOUP_METHOD_GET) != 0) {
        soup_message_headers_replace(pHeaders, "Allow", "GET");
        Reply(pMessage, SOUP_STATUS_METHOD_NOT_ALLOWED, "Only GET.\n");
        return;
    }
    const std::string sWhere = sPath != nullptr ? sPath : "";
    if (sWhere == "/") {
        const std::string& sPage = StudioPageHtml();
        soup_message_headers_replace(pHeaders, "Content-Security-Policy", StudioPagePolicy().c_str());
        soup_message_headers_replace(pHeaders, "X-Frame-Options", "DENY");
        soup_server_message_set_status(pMessage, SOUP_STATUS_OK, nullptr);
        soup_server_message_set_response(pMessage, "text/html; charset=utf-8", SOUP_MEMORY_STATIC, sPage.data(),
                                         sPage.size());
        return;
    }
    if (sWhere == "/events") {
        pSelf->StartStream(pMessage);
        return;
    }
    if (sWhere == "/tile" && pSelf->m_details) {
        const char* sModule =
            pQuery != nullptr ? static_cast<const char*>(g_hash_table_lookup(pQuery, "module")) : nullptr;
        const char* sId = pQuery != nullptr ? static_cast<const char*>(g_hash_table_lookup(pQuery, "id")) : nullptr;
        const Json::Value details =
            sModule != nullptr && sId != nullptr ? pSelf->m_details(sModule, sId) : Json::Value();
        if (details.isNull()) {
            Reply(pMessage, SOUP_STATUS_NOT_FOUND, "No such tile.\n");
            return;
        }
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        const std::string sJson = Json::writeString(builder, details);
        soup_server_message_set_status(pMessage, SOUP_STATUS_OK, nullptr);
        soup_server_message_set_response(pMessage, "application/json", SOUP_MEMORY_COPY, sJson.data(), sJson.size());
        return;
    }
    Reply(pMessage, SOUP_STATUS_NOT_FOUND, "Not found.\n");
}

void CStudioServer::StartStream(SoupServerMessage* pMessage)
{
    SoupMessageHeaders* pHeaders = soup_server_message_get_response_headers(pMessage);
    soup_server_message_set_status(pMessage, SOUP_STATUS_OK, nullptr);
    soup_message_headers_set_content_type(pHeaders, "text/event-stream", nullptr);
    soup_message_headers_set_encoding(pHeaders, SOUP_ENCODING_CHUNKED);
    // Written chunks are let go at once instead of kept for the whole stream.
    soup_message_body_set_accumulate(soup_server_message_get_response_body(pMessage), FALSE);
    g_object_ref(pMessage);
    m_mapClient[pMessage] = CPending();
    g_signal_connect(pMessage, "finished", G_CALLBACK(&CStudioServer::OnClientFinished), this);
    g_signal_connect(pMessage, "wrote-chunk", G_CALLBACK(&CStudioServer::OnChunkWritten), this);
    std::string sFirst = "retry: 500\n\n";
    if (m_snapshot) {
        for (const PT_STUDIO_EVENT& event : m_snapshot()) sFirst += FormatServerSentEvent(event);
    }
    Send(pMessage, sFirst);
}

void CStudioServer::Send(SoupServerMessage* pMessage, const std::string& sText)
{
    auto it = m_mapClient.find(pMessage);
    if (it == m_mapClient.end()) return;
    if (it->second.uBytes + sText.size() > kMaxPendingBytes) {
        soup_message_body_complete(soup_server_message_get_response_body(pMessage));
        soup_server_message_unpause(pMessage);
        Drop(pMessage);
        return;
    }
    it->second.dequeChunk.push_back(sText.size());
    it->second.uBytes += sText.size();
    soup_message_body_append(soup_server_message_get_response_body(pMessage), SOUP_MEMORY_COPY, sText.data(),
                             sText.size());
    soup_server_message_unpause(pMessage);
}

void CStudioServer::OnChunkWritten(SoupServerMessage* pMessage, gpointer pUser)
{
    auto* pSelf = static_cast<CStudioServer*>(pUser);
    auto it = pSelf->m_mapClient.find(pMessage);
    if (it == pSelf->m_mapClient.end() || it->second.dequeChunk.empty()) return;
    it->second.uBytes -= it->second.dequeChunk.front();
    it->second.dequeChunk.pop_front();
}

void CStudioServer::OnClientFinished(SoupServerMessage* pMessage, gpointer pUser)
{
    static_cast<CStudioServer*>(pUser)->Drop(pMessage);
}

void CStudioServer::Drop(SoupServerMessage* pMessage)
{
    auto it = m_mapClient.find(pMessage);
    if (it == m_mapClient.end()) return;
    m_mapClient.erase(it);
    g_signal_handlers_disconnect_by_data(pMessage, this);
    g_object_unref(pMessage);
}

void CStudioServer::Broadcast(const std::vector<PT_STUDIO_EVENT>& vecEvents)
{
    if (vecEvents.empty() || m_mapClient.empty()) return;
    std::string sText;
    for (const PT_STUDIO_EVENT& event : vecEvents) sText += FormatServerSentEvent(event);
    std::vector<SoupServerMessage*> vecClients;
    for (const auto& client : m_mapClient) vecClients.push_back(client.first);
    for (SoupServerMessage* pMessage : vecClients) Send(pMessage, sText);
}

void CStudioServer::KeepAlive()
{
    std::vector<SoupServerMessage*> vecClients;
    for (const auto& client : m_mapClient) vecClients.push_back(client.first);
    for (SoupServerMessage* pMessage : vecClients) Send(pMessage, ": still here\n\n");
}
