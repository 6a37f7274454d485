// The policy file shipped for a real system bus, applied by a bus that otherwise denies what
// a system bus denies by default.
#include <unistd.h>

#include "StoreFixture.h"

namespace {
GVariant* CallOn(const std::string& sName, const char* sInterface, const char* sMethod, GVariant* pArgs,
                 std::string& sError)
{
    GError* pError = nullptr;
    GDBusConnection* pConn = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &pError);
    if (pConn == nullptr) {
        sError = pError->message;
        g_clear_error(&pError);
        return nullptr;
    }
    GVariant* pReply =
        g_dbus_connection_call_sync(pConn, sName.c_str(), "/org/orvik/pelmo_service", sInterface, sMethod, pArgs,
                                    nullptr, G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, &pError);
    if (pReply == nullptr) {
        sError = pError->message;
        g_clear_error(&pError);
    }
    g_object_unref(pConn);
    return pReply;
}
}  // namespace

class StorePolicyFileTest : public StoreTest {
protected:
    void SetUp() override
    {
        if (geteuid() != 0) GTEST_SKIP() << "the policy file grants the names to root and to user pelmo";
        StoreTest::SetUp();
    }
};

TEST_F(StorePolicyFileTest, StoreOwnsItsNamesAndServesCallsUnderTheShippedPolicy)
{
    // The fixture started the store on a permissive bus; start it again under the policy.
    m_store.Stop();
    m_options.sBusPolicy = StockSystemBusPolicyWith(PELMO_POLICY_FILE);
    std::string sError;
    ASSERT_TRUE(m_store.Start(m_options, sError)) << sError;

    long long llId = Insert("{\"table_name\":\"content://org.orvik.pelmo/accelerators\"}", "m");
    EXPECT_GT(llId, 0) << m_log.Dump();
    setenv("PELMO_APP_ID", "Feltrix", 1);
    EXPECT_TRUE(terminate_service_app("org.example.a", "1"));

    // Everything else stays closed: other interfaces of the service, and other names.
    GVariant* pReply = CallOn("org.orvik.Feltrix.dbus", "org.freedesktop.DBus.Properties", "GetAll",
                              g_variant_new("(s)", "org.orvik.pelmo_service"), sError);
    EXPECT_EQ(pReply, nullptr);
    EXPECT_NE(sError.find("AccessDenied"), std::string::npos) << sError;
    if (pReply) g_variant_unref(pReply);

    GError* pError = nullptr;
    GDBusConnection* pConn = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &pError);
    ASSERT_NE(pConn, nullptr);
    GVariant* pOwn = g_dbus_connection_call_sync(
        pConn, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
        g_variant_new("(su)", "org.example.Intruder", 4u), nullptr, G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, &pError);
    EXPECT_EQ(pOwn, nullptr);
    if (pOwn) g_variant_unref(pOwn);
    g_clear_error(&pError);
    g_object_unref(pConn);
}
