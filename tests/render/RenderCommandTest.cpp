// `pelmoctl render` as a script runs it: help, exit codes, one-line errors, and bad input that
// leaves both the store and an existing output file as they were.
#include "RenderCommand.h"
#include "RenderFixture.h"

namespace {

void ExpectOneLine(const PT_CHILD_RESULT& result, const std::string& sNeedle)
{
    const std::vector<std::string> vecLines = SplitLines(result.sErr);
    ASSERT_EQ(vecLines.size(), 1u) << "stderr: [" << result.sErr << "]";
    EXPECT_EQ(vecLines[0].rfind("pelmoctl render: ", 0), 0u) << vecLines[0];
    EXPECT_NE(vecLines[0].find(sNeedle), std::string::npos) << vecLines[0];
}

}  // namespace

TEST_F(RenderTest, HelpExplainsTheCommandAndExitsZero)
{
    for (const char* sFlag : {"--help", "-h"}) {
        const PT_CHILD_RESULT result = Pelmoctl({"render", sFlag});
        ASSERT_TRUE(result.bStarted);
        EXPECT_EQ(result.iExit, 0) << sFlag;
        EXPECT_EQ(result.sOut.rfind("usage: pelmoctl render MODULE -o FILE.html\n", 0), 0u) << result.sOut;
        EXPECT_NE(result.sOut.find("Exit status"), std::string::npos);
        EXPECT_EQ(result.sErr, "");
    }
}

TEST_F(RenderTest, MissingOutputFileIsBadUsageWithExitTwo)
{
    Register();
    ASSERT_EQ(set_preview_metadata(Example("small.json").c_str(), kModule), 1);
    const PT_CHILD_RESULT result = Pelmoctl({"render", kModule});
    EXPECT_EQ(result.iExit, 2);
    ExpectOneLine(result, "missing -o FILE.html");
    EXPECT_EQ(result.sOut, "");
}

TEST_F(RenderTest, UnknownOptionMissingModuleAndSecondModuleAreBadUsage)
{
    const std::string sOut = WorkFile("page.html");
    const std::vector<std::vector<std::string>> vecCases = {
        {"render", kModule, "-o", sOut, "--width", "3"},
        {"render", "-o", sOut},
        {"render", kModule, "org.example.other", "-o", sOut},
        {"render", kModule, "-o"},
    };
    for (const auto& vecArgs : vecCases) {
        const PT_CHILD_RESULT result = Pelmoctl(vecArgs);
        EXPECT_EQ(result.iExit, 2) << vecArgs.back();
        EXPECT_EQ(SplitLines(result.sErr).size(), 1u) << result.sErr;
        EXPECT_FALSE(Exists(sOut));
    }
}

TEST_F(RenderTest, EmptyModuleNameFailsInOneLineAndChangesNothing)
{
    Register();
    ASSERT_EQ(set_preview_metadata(Example("first.json").c_str(), kModule), 1);
    const std::string sBefore = StoreContents();
    const std::string sOut = WorkFile("page.html");
    const PT_CHILD_RESULT result = Pelmoctl({"render", "", "-o", sOut});
    EXPECT_EQ(result.iExit, 1);
    ExpectOneLine(result, "the module name is empty");
    EXPECT_FALSE(Exists(sOut));
    EXPECT_EQ(StoreContents(), sBefore);
}

TEST_F(RenderTest, UnregisteredModuleFailsInOneLineAndLeavesStoreAndOldPageAlone)
{
    Register();
    ASSERT_EQ(set_preview_metadata(Example("first.json").c_str(), kModule), 1);
    const std::string sBefore = StoreContents();
    const std::string sOut = WorkFile("page.html");
    {
        std::ofstream(sOut) << "an older page";
    }
    const PT_CHILD_RESULT result = Pelmoctl({"render", "org.example.nobody", "-o", sOut});
    EXPECT_EQ(result.iExit, 1);
    ExpectOneLine(result, "module 'org.example.nobody' is not registered in the store");
    EXPECT_EQ(ReadText(sOut), "an older page");
    EXPECT_EQ(StoreContents(), sBefore);
    // Nothing of the other module's page leaked into the refusal either.
    EXPECT_EQ(result.sOut, "");
}

TEST_F(RenderTest, RegisteredModuleWithNothingStoredFailsInOneLine)
{
    Register();
    const std::string sBefore = StoreContents();
    const std::string sOut = WorkFile("page.html");
    const PT_CHILD_RESULT result = Pelmoctl({"render", kModule, "-o", sOut});
    EXPECT_EQ(result.iExit, 1);
    ExpectOneLine(result, "module 'org.example.player' has no preview stored");
    EXPECT_FALSE(Exists(sOut));
    EXPECT_EQ(StoreContents(), sBefore);
}

TEST_F(RenderTest, WithdrawnPreviewCountsAsNothingStored)
{
    Register();
    ASSERT_EQ(set_preview_metadata(Example("first.json").c_str(), kModule), 1);
    ASSERT_EQ(set_preview_metadata("{}", kModule), 1);
    const PT_CHILD_RESULT result = Pelmoctl({"render", kModule, "-o", WorkFile("page.html")});
    EXPECT_EQ(result.iExit, 1);
    EXPECT_EQ(SplitLines(result.sErr).size(), 1u) << result.sErr;
}

TEST_F(RenderTest, UnreachableStoreFailsInOneLine)
{
    const std::string sOut = WorkFile("page.html");
    const std::string sAddress = getenv("DBUS_SYSTEM_BUS_ADDRESS");
    setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + m_sWorkDir + "/no-such-bus").c_str(), 1);
    const PT_CHILD_RESULT result = Pelmoctl({"render", kModule, "-o", sOut});
    setenv("DBUS_SYSTEM_BUS_ADDRESS", sAddress.c_str(), 1);
    EXPECT_EQ(result.iExit, 1);
    ExpectOneLine(result, "cannot reach the store");
    EXPECT_FALSE(Exists(sOut));
}

TEST_F(RenderTest, UnwritableOutputFailsInOneLineAfterReadingOnly)
{
    Register();
    ASSERT_EQ(set_preview_metadata(Example("small.json").c_str(), kModule), 1);
    const std::string sBefore = StoreContents();
    const PT_CHILD_RESULT result = Pelmoctl({"render", kModule, "-o", m_sWorkDir + "/no/such/folder/page.html"});
    EXPECT_EQ(result.iExit, 1);
    ExpectOneLine(result, "cannot write");
    EXPECT_EQ(StoreContents(), sBefore);
}

TEST_F(RenderTest, PublishedPreviewIsWrittenWithEverySectionAndTileTitleAndReadingChangesNothing)
{
    Register();
    ASSERT_EQ(set_preview_metadata(Example("first.json").c_str(), kModule), 1);
    const Json::Value stored = Stored();
    ASSERT_EQ(stored["sections"].size(), 3u);
    const std::string sBefore = StoreContents();
    const std::string sOut = WorkFile("page.html");
    const PT_CHILD_RESULT result = Pelmoctl({"render", kModule, "-o", sOut});
    ASSERT_EQ(result.iExit, 0) << result.sErr;
    EXPECT_EQ(result.sErr, "");
    EXPECT_EQ(StoreContents(), sBefore);

    const std::string sPage = ReadText(sOut);
    ASSERT_EQ(sPage.rfind("<!DOCTYPE html>", 0), 0u);
    // The page is the one the renderer makes for exactly what get_preview_metadata gives.
    EXPECT_EQ(sPage, RenderPreviewHtml(stored, kModule));
    size_t uFrom = 0;
    for (const Json::Value& section : stored["sections"]) {
        uFrom = sPage.find(">" + section["section_title"].asString() + "<", uFrom);
        ASSERT_NE(uFrom, std::string::npos) << section["section_title"].asString();
        for (const Json::Value& tile : section["tiles"]) {
            uFrom = sPage.find(">" + tile["tile_title"].asString() + "<", uFrom);
            ASSERT_NE(uFrom, std::string::npos) << tile["tile_title"].asString();
        }
    }
}

TEST_F(RenderTest, DashWritesThePageToStandardOutput)
{
    Register();
    ASSERT_EQ(set_preview_metadata(Example("small.json").c_str(), kModule), 1);
    const PT_CHILD_RESULT result = Pelmoctl({"render", kModule, "-o", "-"});
    ASSERT_EQ(result.iExit, 0) << result.sErr;
    EXPECT_EQ(result.sOut, RenderPreviewHtml(Stored(), kModule));
}
