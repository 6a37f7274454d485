// A private bus with the scripted service on it, and a fresh transport for every test.
#pragma once

#include <dlog.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "FakeService.h"
#include "HostBus.h"
#include "LogCapture.h"
#include "PelmoAPI.h"
#include "PelmoGDBusUtil.h"

class TransportTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        setenv("PELMO_APP_ID", "org.example.caller", 1);
        std::string sError;
        ASSERT_TRUE(m_bus.Start(sError)) << sError;
        ASSERT_TRUE(m_service.Start()) << "fake service did not get its names";
    }
    void TearDown() override
    {
        CPelmoGDBusUtil::ReleaseInstance();
        m_service.Stop();
        m_bus.Stop();
    }

    // The scripted service takes every call and never answers it.
    void NeverAnswer()
    {
        m_service.SetResponder([](const CRecordedCall&) {
            CScriptedReply reply;
            reply.eKind = CScriptedReply::kNoAnswer;
            return reply;
        });
    }

    CHostBus m_bus;
    CFakeService m_service;
    CLogCapture m_log;
};

inline PT_JSON_IN_PARAM MakeParam(const std::string& sTable, const std::string& sData,
                                  std::vector<std::string> vecArgs = {}, const std::string& sGroupBy = "")
{
    PT_JSON_IN_PARAM param;
    param.table_name = sTable;
    param.data = sData;
    param.where_args = std::move(vecArgs);
    param.group_by = sGroupBy;
    return param;
}
