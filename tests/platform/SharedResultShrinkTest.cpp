// A writing process that shrinks and regrows the object while the client opens it must not be
// able to end the client: every attempt gives a refusal with one logged reason, or a cursor.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "LogCapture.h"
#include "SharedResultTestData.h"
#include "pelmo/ISharedQueryObject.h"
#include "pelmo/SharedResult.h"

using namespace shm_test;

TEST(SharedResultShrinkingObject, GetCursorRefusesOrOpensButNeverCrashes)
{
    CResultTable table;
    table.vecColumns = {"blob"};
    table.vecRows.push_back({Text(std::string(4u << 20, 'x'))});
    const std::string sBytes = CSharedResultWriter::Serialize(table);
    ASSERT_FALSE(sBytes.empty());
    const int iSize = static_cast<int>(sBytes.size());

    int iOpened = 0;
    int iRefused = 0;
    for (int iAttempt = 0; iAttempt < 40; ++iAttempt) {
        const std::string sKey = UniqueKey("shrink");
        std::string sError;
        ASSERT_TRUE(CSharedResultWriter::Publish(sKey, sBytes, sError)) << sError;
        const int iFd = shm_open(sKey.c_str(), O_RDWR, 0);
        ASSERT_GE(iFd, 0);
        std::atomic<bool> bStop{false};
        std::thread writer([&]() {
            while (!bStop.load()) {
                if (ftruncate(iFd, 0) != 0) break;
                if (ftruncate(iFd, iSize) != 0) break;
            }
        });
        CLogCapture capture;
        std::shared_ptr<ISQLiteCursor> pCursor = ISharedQueryObject::GetCursor(sKey, iSize);
        bStop = true;
        writer.join();
        close(iFd);
        CSharedResultWriter::Remove(sKey);  // left in place when the size was wrong at open
        if (pCursor == nullptr) {
            ++iRefused;
            size_t iErrors = 0;
            for (const CLogLine& line : capture.Lines()) iErrors += line.iPriority == 6 && line.sTag == "pelmo-store";
            EXPECT_EQ(iErrors, 1u) << capture.Dump();
        } else {
            ++iOpened;
            EXPECT_EQ(pCursor->GetRowCount(), 1);
            EXPECT_EQ(pCursor->GetColumnName(0), "blob");
        }
    }
    // Which way each attempt goes depends on timing; all of them are accounted for.
    EXPECT_EQ(iOpened + iRefused, 40);
}
