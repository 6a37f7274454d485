// The exact requests a publish sends, byte for byte, pinned against recordings kept beside the
// test: making the client faster must not change a single request it puts on the bus.
//
// The recording sits between the library and GIO: this program defines g_dbus_connection_call_sync
// itself, so the shared library's calls land here first; each "Call" of the store's interface is
// noted (method, package, inputdata) and then handed on to GIO's own function unchanged.
//
// To record anew after a deliberate change of the requests, run the test with
// PELMO_RECORD_REQUESTS_DIR set to this folder; the test then writes the files and fails, so
// that a recording run is never mistaken for a check.
#include <dlfcn.h>
#include <gio/gio.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "PublishFixture.h"

namespace {
struct CSentRequest {
    std::string sMethod;
    std::string sPackage;
    std::string sInput;
};

std::mutex g_recordMutex;
bool g_bRecording = false;
std::vector<CSentRequest> g_vecSent;

std::string Describe(const std::vector<CSentRequest>& vecSent)
{
    std::string sText;
    for (size_t i = 0; i < vecSent.size(); ++i) {
        const CSentRequest& request = vecSent[i];
        sText += "#" + std::to_string(i + 1) + " " + request.sMethod + " " + request.sPackage + " " +
                 std::to_string(request.sInput.size()) + "\n" + request.sInput + "\n";
    }
    return sText;
}
}  // namespace

extern "C" __attribute__((visibility("default"))) GVariant* g_dbus_connection_call_sync(
    GDBusConnection* connection, const gchar* bus_name, const gchar* object_path, const gchar* interface_name,
    const gchar* method_name, GVariant* parameters, const GVariantType* reply_type, GDBusCallFlags flags,
    gint timeout_msec, GCancellable* cancellable, GError** error)
{
    using CallSync = GVariant* (*)(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                                   GVariant*, const GVariantType*, GDBusCallFlags, gint, GCancellable*, GError**);
    static const CallSync pNext = reinterpret_cast<CallSync>(dlsym(RTLD_NEXT, "g_dbus_connection_call_sync"));
    // Only the store's "Call" is a request; the test's own bus helpers call the daemon here too.
    if (g_strcmp0(interface_name, "org.orvik.pelmo_service") == 0 && g_strcmp0(method_name, "Call") == 0 &&
        parameters != nullptr && g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sss)"))) {
        std::lock_guard<std::mutex> lock(g_recordMutex);
        if (g_bRecording) {
            const gchar* sMethod = nullptr;
            const gchar* sPackage = nullptr;
            const gchar* sInput = nullptr;
            g_variant_get(parameters, "(&s&s&s)", &sMethod, &sPackage, &sInput);
            g_vecSent.push_back({sMethod, sPackage, sInput});
        }
    }
    return pNext(connection, bus_name, object_path, interface_name, method_name, parameters, reply_type, flags,
                 timeout_msec, cancellable, error);
}

class RequestSequenceTest : public PublishTest {
protected:
    void StartRecording()
    {
        std::lock_guard<std::mutex> lock(g_recordMutex);
        g_vecSent.clear();
        g_bRecording = true;
    }
    std::vector<CSentRequest> StopRecording()
    {
        std::lock_guard<std::mutex> lock(g_recordMutex);
        g_bRecording = false;
        return g_vecSent;
    }

    void ExpectSameAsRecording(const std::string& sName, const std::vector<CSentRequest>& vecSent)
    {
        ExpectSameTextAsRecording(sName, Describe(vecSent));
    }

    void ExpectSameTextAsRecording(const std::string& sName, const std::string& sActual)
    {
        const char* sRecordDir = std::getenv("PELMO_RECORD_REQUESTS_DIR");
        if (sRecordDir != nullptr && *sRecordDir != '\0') {
            std::ofstream(std::string(sRecordDir) + "/" + sName, std::ios::binary) << sActual;
            FAIL() << "recorded " << sActual.size() << " bytes into " << sRecordDir << "/" << sName;
        }
        std::ifstream in(std::string(PELMO_REQUESTS_DIR) + "/" + sName, std::ios::binary);
        ASSERT_TRUE(in.good()) << "no recording " << sName;
        std::stringstream expected;
        expected << in.rdbuf();
        if (sActual == expected.str()) return;
        // Name the first request that differs rather than dumping both texts whole.
        std::istringstream expectedLines(expected.str()), actualLines(sActual);
        std::string sExpectedLine, sActualLine;
        int iLine = 0;
        while (true) {
            ++iLine;
            const bool bMoreExpected = static_cast<bool>(std::getline(expectedLines, sExpectedLine));
            const bool bMoreActual = static_cast<bool>(std::getline(actualLines, sActualLine));
            if (!bMoreExpected && !bMoreActual) break;
            if (bMoreExpected != bMoreActual || sExpectedLine != sActualLine) {
                ADD_FAILURE() << sName << " differs at line " << iLine << "\n expected: " << sExpectedLine
                              << "\n   actual: " << sActualLine;
                return;
            }
        }
        ADD_FAILURE() << sName << " differs";
    }
};

TEST_F(RequestSequenceTest, UnchangedRepublishSendsExactlyTheRecordedRequests)
{
    const std::string sFirst = Example("first.json");
    ASSERT_EQ(set_preview_metadata(sFirst.c_str(), kModule), 1);
    StartRecording();
    ASSERT_EQ(set_preview_metadata(sFirst.c_str(), kModule), 1);
    const std::vector<CSentRequest> vecSent = StopRecording();
    // Three selects to load, the accelerator's id, two updates per section, the completion event.
    ASSERT_EQ(vecSent.size(), 1u + 1u + 3u + 1u + 6u + 1u) << Describe(vecSent);
    ExpectSameAsRecording("unchanged_republish.txt", vecSent);
}

TEST_F(RequestSequenceTest, ChangedDocumentSendsExactlyTheRecordedRequests)
{
    ASSERT_EQ(set_preview_metadata(Example("first.json").c_str(), kModule), 1);
    StartRecording();
    ASSERT_EQ(set_preview_metadata(Example("changed.json").c_str(), kModule), 1);
    const std::vector<CSentRequest> vecSent = StopRecording();
    ASSERT_FALSE(vecSent.empty());
    ExpectSameAsRecording("changed_publish.txt", vecSent);
}

TEST_F(RequestSequenceTest, ReadBackSendsExactlyTheRecordedRequests)
{
    ASSERT_EQ(set_preview_metadata(Example("first.json").c_str(), kModule), 1);
    StartRecording();
    char* pText = get_preview_metadata(kModule);
    const std::vector<CSentRequest> vecSent = StopRecording();
    ASSERT_NE(pText, nullptr);
    finalize_json_bytes(pText);
    ExpectSameAsRecording("read_back.txt", vecSent);
}

// The stored preview as it reads back, byte for byte: a process of any architecture (and
// against a store service of any architecture) reads back the same text.
TEST_F(RequestSequenceTest, ReadBackGivesTheRecordedDocuments)
{
    for (const char* sName : {"first", "changed"}) {
        ASSERT_EQ(set_preview_metadata(Example(std::string(sName) + ".json").c_str(), kModule), 1);
        char* pText = get_preview_metadata(kModule);
        ASSERT_NE(pText, nullptr);
        const std::string sText = pText;
        finalize_json_bytes(pText);
        ExpectSameTextAsRecording(std::string("read_back_") + sName + ".json", sText);
    }
}
