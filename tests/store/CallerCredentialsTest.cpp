// The service's view of its callers: the bus names each sender's Unix user and process id,
// the answer is kept per unique name, and forgotten when that name leaves the bus.
#include <gio/gio.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <string>

#include "CallerCredentials.h"
#include "HostBus.h"

namespace {
GDBusConnection* Connect(const std::string& sAddress)
{
    GError* pError = nullptr;
    GDBusConnection* pConn = g_dbus_connection_new_for_address_sync(
        sAddress.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &pError);
    if (pConn == nullptr) {
        ADD_FAILURE() << pError->message;
        g_clear_error(&pError);
        return nullptr;
    }
    g_dbus_connection_set_exit_on_close(pConn, FALSE);
    return pConn;
}
}  // namespace

TEST(CallerCredentials, BusNamesTheCallersUserAndProcessAndTheAnswerGoesWhenTheCallerLeaves)
{
    CHostBus bus;
    std::string sError;
    ASSERT_TRUE(bus.Start(sError)) << sError;
    GDBusConnection* pService = Connect(bus.GetAddress());
    GDBusConnection* pCaller = Connect(bus.GetAddress());
    ASSERT_NE(pService, nullptr);
    ASSERT_NE(pCaller, nullptr);
    {
        CCallerCredentials credentials;
        credentials.Attach(pService);
        PT_CALLER_IDENTITY caller;
        const std::string sSender = g_dbus_connection_get_unique_name(pCaller);
        ASSERT_TRUE(credentials.Lookup(sSender, caller, sError)) << sError;
        EXPECT_EQ(caller.uUid, geteuid());
        EXPECT_EQ(caller.iPid, getpid());
        EXPECT_EQ(credentials.Cached(), 1u);

        // A name that is not on the bus (any more) has no credentials; nothing is kept for it.
        EXPECT_FALSE(credentials.Lookup(":1.9999", caller, sError));
        EXPECT_EQ(sError.rfind("cannot tell who the caller is: ", 0), 0u) << sError;
        EXPECT_FALSE(credentials.Lookup("org.example.WellKnown", caller, sError));
        EXPECT_EQ(credentials.Cached(), 1u);

        // The caller leaves: the bus says so, and its entry goes.
        g_dbus_connection_close_sync(pCaller, nullptr, nullptr);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (credentials.Cached() > 0 && std::chrono::steady_clock::now() < deadline) {
            g_main_context_iteration(nullptr, TRUE);
        }
        EXPECT_EQ(credentials.Cached(), 0u);
    }
    g_object_unref(pCaller);
    g_dbus_connection_close_sync(pService, nullptr, nullptr);
    g_object_unref(pService);
    bus.Stop();
}
