// pelmoctl get, withdraw and status: reading the stored preview, taking it off, and why it is
// or is not shown.
#include <json/json.h>
#include <pwd.h>
#include <unistd.h>

#include <sstream>

#include "PelmoctlStoreFixture.h"

using PelmoctlGet = PelmoctlTest;
using PelmoctlWithdraw = PelmoctlTest;
using PelmoctlStatus = PelmoctlTest;

namespace {
// A document with one section: one tile whose display window is over, one that lasts.
const char* kHalfExpired = R"({"sections": [{"section_id": 1, "section_title": "News", "tiles": [
  {"tile_id": 1, "tile_title": "Yesterday", "action_data": "app://news/1", "tile_display_until": 1000},
  {"tile_id": 2, "tile_title": "Tomorrow", "action_data": "app://news/2", "tile_display_until": 4102444800}]}]})";
const char* kAllExpired = R"({"sections": [{"section_id": 1, "section_title": "News", "tiles": [
  {"tile_id": 1, "tile_title": "Yesterday", "action_data": "app://news/1", "tile_display_until": 1000}]}]})";
}  // namespace

TEST_F(PelmoctlGet, PrintsTheStoredPreviewAsJson)
{
    RegisterAndPublish("org.example.player", Example("small.json"));
    const PT_CHILD_RESULT result = Host({"get", "org.example.player"});
    EXPECT_EQ(result.iExit, 0) << result.sErr;
    EXPECT_EQ(result.sErr, "");
    const Json::Value stored = ParseJson(result.sOut);
    EXPECT_EQ(stored["app_pkg_name"].asString(), "org.example.player");
    ASSERT_EQ(stored["sections"].size(), 1u);
    EXPECT_EQ(stored["sections"][0]["section_title"].asString(), "Continue watching");
    ASSERT_EQ(stored["sections"][0]["tiles"].size(), 1u);
    EXPECT_EQ(stored["sections"][0]["tiles"][0]["tile_title"].asString(), "The Lighthouse Keeper");
}

TEST_F(PelmoctlGet, UnregisteredModuleFailsInOneLineAndChangesNothing)
{
    RegisterAndPublish("org.example.player", Example("small.json"));
    const std::string sBefore = DumpStore();
    ExpectOneLineFailure(Host({"get", "org.example.unknown"}), "get", "module org.example.unknown is not registered");
    EXPECT_EQ(DumpStore(), sBefore);
}

TEST_F(PelmoctlGet, EmptyModuleNameFailsInOneLineAndChangesNothing)
{
    RegisterAndPublish("org.example.player", Example("small.json"));
    const std::string sBefore = DumpStore();
    ExpectOneLineFailure(Host({"get", ""}), "get", "the module name is empty");
    EXPECT_EQ(DumpStore(), sBefore);
}

TEST_F(PelmoctlWithdraw, RemovesSectionsAndTilesAndKeepsTheRegistration)
{
    RegisterAndPublish("org.example.player", Example("first.json"));
    RegisterAndPublish("org.example.other", Example("small.json"));
    const PT_CHILD_RESULT result = Host({"withdraw", "org.example.player"});
    EXPECT_EQ(result.iExit, 0) << result.sErr;
    EXPECT_EQ(result.sOut,
              "sections: 0 inserted, 0 updated, 3 deleted\n"
              "tiles: 0 inserted, 0 updated, 7 deleted\n");
    EXPECT_EQ(CountRows("accelerators", "org.example.player"), 1);
    EXPECT_EQ(CountRows("sections", "org.example.player"), 0);
    EXPECT_EQ(CountRows("tiles", "org.example.player"), 0);
    // Another module's preview is not touched.
    EXPECT_EQ(CountRows("tiles", "org.example.other"), 1);

    const PT_CHILD_RESULT got = Host({"get", "org.example.player"});
    ASSERT_EQ(got.iExit, 0) << got.sErr;
    EXPECT_TRUE(ParseJson(got.sOut)["sections"].empty()) << got.sOut;
}

TEST_F(PelmoctlWithdraw, UnregisteredModuleFailsInOneLineAndChangesNothing)
{
    RegisterAndPublish("org.example.player", Example("small.json"));
    const std::string sBefore = DumpStore();
    ExpectOneLineFailure(Host({"withdraw", "org.example.unknown"}), "withdraw",
                         "module org.example.unknown is not registered");
    EXPECT_EQ(DumpStore(), sBefore);
}

TEST_F(PelmoctlWithdraw, EmptyModuleNameFailsInOneLineAndChangesNothing)
{
    RegisterAndPublish("org.example.player", Example("small.json"));
    const std::string sBefore = DumpStore();
    ExpectOneLineFailure(Host({"withdraw", ""}), "withdraw", "the module name is empty");
    EXPECT_EQ(DumpStore(), sBefore);
}

TEST_F(PelmoctlStatus, TellsRegistrationCountsAndTilesPastTheirDisplayWindow)
{
    ASSERT_EQ(Host({"register", "org.example.news", "--title", "News"}).iExit, 0);
    ASSERT_EQ(Host({"publish", "org.example.news", "-"}, kHalfExpired).iExit, 0);
    const PT_CHILD_RESULT result = Host({"status", "org.example.news"});
    EXPECT_EQ(result.iExit, 0) << result.sErr;
    EXPECT_EQ(result.sErr, "");
    EXPECT_NE(result.sOut.find("module: org.example.news\n"), std::string::npos) << result.sOut;
    EXPECT_NE(result.sOut.find("registered: yes (accelerator row 1, title \"News\")\n"), std::string::npos)
        << result.sOut;
    // The module is the user's who registered it: the one running these commands.
    const passwd* pMe = getpwuid(geteuid());
    const std::string sUid = "uid " + std::to_string(geteuid());
    EXPECT_NE(
        result.sOut.find("owner: " + (pMe != nullptr ? std::string(pMe->pw_name) + " (" + sUid + ")" : sUid) + "\n"),
        std::string::npos)
        << result.sOut;
    EXPECT_NE(result.sOut.find("sections: 1\n"), std::string::npos) << result.sOut;
    EXPECT_NE(result.sOut.find("tiles: 2 (1 past their display window, 0 before it)\n"), std::string::npos)
        << result.sOut;
    // Each --host run has a store of its own, which saw no completion event yet.
    EXPECT_NE(result.sOut.find("last completion event: none since the store started\n"), std::string::npos)
        << result.sOut;
    EXPECT_NE(result.sOut.find("preview: shown: 1 tile in 1 section inside its display window\n"), std::string::npos)
        << result.sOut;
}

TEST_F(PelmoctlStatus, SaysWhyAPreviewIsNotShown)
{
    ASSERT_EQ(Host({"register", "org.example.news"}).iExit, 0);
    PT_CHILD_RESULT result = Host({"status", "org.example.news"});
    EXPECT_EQ(result.iExit, 0) << result.sErr;
    EXPECT_NE(result.sOut.find("preview: not shown: no tiles are stored (publish a document)\n"), std::string::npos)
        << result.sOut;

    ASSERT_EQ(Host({"publish", "org.example.news", "-"}, kAllExpired).iExit, 0);
    result = Host({"status", "org.example.news"});
    EXPECT_EQ(result.iExit, 0) << result.sErr;
    EXPECT_NE(result.sOut.find("tiles: 1 (1 past their display window, 0 before it)\n"), std::string::npos)
        << result.sOut;
    EXPECT_NE(result.sOut.find("preview: not shown: no tile is inside its display window\n"), std::string::npos)
        << result.sOut;

    ASSERT_EQ(Host({"withdraw", "org.example.news"}).iExit, 0);
    result = Host({"status", "org.example.news"});
    EXPECT_NE(result.sOut.find("preview: not shown: no tiles are stored"), std::string::npos) << result.sOut;
}

TEST_F(PelmoctlStatus, ChangesNothingInTheStore)
{
    RegisterAndPublish("org.example.player", Example("first.json"));
    const std::string sBefore = DumpStore();
    ASSERT_EQ(Host({"status", "org.example.player"}).iExit, 0);
    EXPECT_EQ(DumpStore(), sBefore);
}

TEST_F(PelmoctlStatus, UnregisteredModuleFailsInOneLineAndChangesNothing)
{
    RegisterAndPublish("org.example.player", Example("small.json"));
    const std::string sBefore = DumpStore();
    ExpectOneLineFailure(Host({"status", "org.example.unknown"}), "status",
                         "module org.example.unknown is not registered");
    EXPECT_EQ(DumpStore(), sBefore);
}

TEST_F(PelmoctlStatus, EmptyModuleNameFailsInOneLineAndChangesNothing)
{
    RegisterAndPublish("org.example.player", Example("small.json"));
    const std::string sBefore = DumpStore();
    ExpectOneLineFailure(Host({"status", ""}), "status", "the module name is empty");
    EXPECT_EQ(DumpStore(), sBefore);
}

TEST_F(PelmoctlStatus, WrongArgumentsAreAUsageError)
{
    for (const char* sCommand : {"get", "withdraw", "status"}) {
        const PT_CHILD_RESULT none = Host({sCommand});
        EXPECT_EQ(none.iExit, 2) << sCommand << ": " << none.sErr;
        EXPECT_NE(none.sErr.find(std::string("usage: pelmoctl ") + sCommand + " MODULE"), std::string::npos)
            << none.sErr;
        const PT_CHILD_RESULT two = Host({sCommand, "a", "b"});
        EXPECT_EQ(two.iExit, 2) << sCommand << ": " << two.sErr;
    }
}
