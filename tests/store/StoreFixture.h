// The real store service on a private bus, with a database file in a fresh directory, and
// helpers to drive it through the library's own request functions.
#pragma once

#include <dlog.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "DatabaseRows.h"
#include "HostStore.h"
#include "LogCapture.h"
#include "PelmoAPI.h"
#include "PelmoGDBusUtil.h"

// The default context of a stock system bus (nobody owns names or calls methods unless a
// policy file allows it), with the given policy file included, as a real system bus applies it.
inline std::string StockSystemBusPolicyWith(const std::string& sPolicyFile)
{
    return "  <policy context=\"default\">\n"
           "    <allow user=\"*\"/>\n"
           "    <deny own=\"*\"/>\n"
           "    <deny send_type=\"method_call\"/>\n"
           "    <allow send_type=\"signal\"/>\n"
           "    <allow send_requested_reply=\"true\" send_type=\"method_return\"/>\n"
           "    <allow send_requested_reply=\"true\" send_type=\"error\"/>\n"
           "    <allow receive_type=\"method_call\"/>\n"
           "    <allow receive_type=\"method_return\"/>\n"
           "    <allow receive_type=\"error\"/>\n"
           "    <allow receive_type=\"signal\"/>\n"
           "    <allow send_destination=\"org.freedesktop.DBus\" send_interface=\"org.freedesktop.DBus\"/>\n"
           "    <allow send_destination=\"org.freedesktop.DBus\" "
           "send_interface=\"org.freedesktop.DBus.Introspectable\"/>\n"
           "  </policy>\n"
           "  <include>" +
           sPolicyFile + "</include>\n";
}

class StoreTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        setenv("PELMO_APP_ID", "org.example.caller", 1);
        char sTemplate[] = "/tmp/pelmo-store-test.XXXXXX";
        ASSERT_NE(mkdtemp(sTemplate), nullptr);
        m_sDir = sTemplate;
        // A build for another architecture runs its tests against this one's service as well.
        const char* sService = getenv("PELMO_TEST_SERVICE_PATH");
        m_options.sServicePath = (sService != nullptr && *sService != '\0') ? sService : PELMO_SERVICE_PATH;
        m_options.sDatabase = m_sDir + "/store.db";
        m_options.sLogFile = m_sDir + "/requests.log";
        ConfigureService(m_options);
        std::string sError;
        ASSERT_TRUE(m_store.Start(m_options, sError)) << sError;
        Prepare();
    }
    // A test that starts the service with options of its own sets them here.
    virtual void ConfigureService(CHostStoreOptions&) {}
    // A fixture built on this one sets itself up here: it runs only once the service is up, as a
    // failed start has already ended SetUp.
    virtual void Prepare() {}
    void TearDown() override
    {
        CPelmoGDBusUtil::ReleaseInstance();
        m_store.Stop();
        for (const char* sName : {"/store.db", "/store.db-wal", "/store.db-shm", "/requests.log"}) {
            unlink((m_sDir + sName).c_str());
        }
        rmdir(m_sDir.c_str());
    }

    // Rows of a table straight from the database file, all modules together.
    long long CountRows(const std::string& sTable, const std::string& sWhere = "") const
    {
        return CountRowsIn(m_options.sDatabase, sTable, sWhere);
    }

    std::string ReadRequestLog() const
    {
        std::ifstream in(m_options.sLogFile);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

    long long Insert(const std::string& sRow, const std::string& sModule)
    {
        PT_JSON_IN_PARAM param;
        param.data = sRow;
        long long llRowId = -1;
        if (insert_request(param, &llRowId, sModule) != 0) return -1;
        return llRowId;
    }

    // Registers a module with an accelerator row of the given title; returns the row's id, -1
    // when the store refused it.
    long long AddAccelerator(const std::string& sTitle, const std::string& sModule)
    {
        return Insert(
            "{\"table_name\":\"content://org.orvik.pelmo/accelerators\",\"accelerator_title\":\"" + sTitle + "\"}",
            sModule);
    }

    // Registers a module with an accelerator row and one section; returns the section's id.
    long long AddModuleWithSection(const std::string& sModule, long long* pAcceleratorId = nullptr)
    {
        const long long llAccelerator = AddAccelerator(sModule, sModule);
        if (pAcceleratorId) *pAcceleratorId = llAccelerator;
        return Insert(
            "{\"table_name\":\"content://org.orvik.pelmo/sections\",\"section_title\":\"s\","
            "\"section_accelerator_raw_id\":\"" +
                std::to_string(llAccelerator) + "\"}",
            sModule);
    }

    CHostStore m_store;
    CHostStoreOptions m_options;
    std::string m_sDir;
    CLogCapture m_log;
};

inline PT_CONSUMER_SELECT_IN_PARAM SelectTiles(const std::string& sWhere = "", std::vector<std::string> vecArgs = {})
{
    PT_CONSUMER_SELECT_IN_PARAM in;
    in.table_name = "content://org.orvik.pelmo/tiles";
    in.where = sWhere;
    in.where_args = std::move(vecArgs);
    return in;
}
