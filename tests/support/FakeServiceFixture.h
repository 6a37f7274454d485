// A private bus with the scripted service on it, for tests of the request path: each test gets
// a bus of its own, a service that owns the store's names, a transport made afresh and the
// lines the library logs meanwhile.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "FakeService.h"
#include "HostBus.h"
#include "LogCapture.h"
#include "PelmoGDBusUtil.h"

class FakeServiceTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        setenv("PELMO_APP_ID", "org.example.caller", 1);
        std::string sError;
        ASSERT_TRUE(m_bus.Start(sError)) << sError;
        ASSERT_TRUE(m_service.Start()) << "fake service did not get its names";
        Prepare();
    }
    // A fixture built on this one sets itself up here (its responder, say): it runs only once
    // the bus and the service are up, as a failed start has already ended SetUp.
    virtual void Prepare() {}
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

    // A new instance of the service: a new connection, so a new unique name owns the service's
    // names, with nothing recorded yet. The responder stays.
    bool RestartService()
    {
        m_service.Stop();
        m_service.ClearCalls();
        return m_service.Start();
    }

    CHostBus m_bus;
    CFakeService m_service;
    CLogCapture m_log;
};
