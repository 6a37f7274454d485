// pelmoctl publish: a document through set_preview_metadata, and what it changed as the store
// counted it; bad input changes nothing.
#include <json/json.h>

#include <fstream>
#include <iterator>
#include <sstream>

#include "PelmoctlStoreFixture.h"

using PelmoctlPublish = PelmoctlTest;

namespace {
std::string ReadText(const std::string& sPath)
{
    std::ifstream in(sPath);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}
}  // namespace

TEST_F(PelmoctlPublish, RegisterPublishAndGetWorkAsThreeSeparateRuns)
{
    ASSERT_EQ(Host({"register", "org.example.player"}).iExit, 0);
    const PT_CHILD_RESULT published = Host({"publish", "org.example.player", Example("first.json")});
    EXPECT_EQ(published.iExit, 0) << published.sErr;
    EXPECT_EQ(published.sOut,
              "sections: 3 inserted, 0 updated, 0 deleted\n"
              "tiles: 7 inserted, 0 updated, 0 deleted\n");
    EXPECT_EQ(published.sErr, "");

    const PT_CHILD_RESULT got = Host({"get", "org.example.player"});
    ASSERT_EQ(got.iExit, 0) << got.sErr;
    const Json::Value stored = ParseJson(got.sOut);
    const Json::Value document = ParseJson(ReadText(Example("first.json")));
    ASSERT_EQ(stored["sections"].size(), document["sections"].size());
    for (Json::ArrayIndex i = 0; i < document["sections"].size(); ++i) {
        EXPECT_EQ(stored["sections"][i]["section_title"], document["sections"][i]["section_title"]);
        EXPECT_EQ(stored["sections"][i]["tiles"].size(), document["sections"][i]["tiles"].size());
    }
    EXPECT_EQ(CountRows("sections", "org.example.player"), 3);
    EXPECT_EQ(CountRows("tiles", "org.example.player"), 7);
}

TEST_F(PelmoctlPublish, ChangedDocumentPrintsOnlyWhatChanged)
{
    RegisterAndPublish("org.example.player", Example("first.json"));
    const PT_CHILD_RESULT result = Host({"publish", "org.example.player", Example("changed.json")});
    EXPECT_EQ(result.iExit, 0) << result.sErr;
    // One section dropped (its two tiles with it), one added with two tiles; in the sections
    // that stay, two tiles replaced by new ones and three tiles updated in place.
    EXPECT_EQ(result.sOut,
              "sections: 1 inserted, 2 updated, 1 deleted\n"
              "tiles: 4 inserted, 3 updated, 4 deleted\n");
    EXPECT_EQ(CountRows("sections", "org.example.player"), 3);
    EXPECT_EQ(CountRows("tiles", "org.example.player"), 7);
}

TEST_F(PelmoctlPublish, SameDocumentAgainInsertsAndDeletesNothing)
{
    RegisterAndPublish("org.example.player", Example("first.json"));
    const std::string sBefore = DumpStore();
    const PT_CHILD_RESULT result = Host({"publish", "org.example.player", Example("first.json")});
    EXPECT_EQ(result.iExit, 0) << result.sErr;
    EXPECT_EQ(result.sOut,
              "sections: 0 inserted, 3 updated, 0 deleted\n"
              "tiles: 0 inserted, 7 updated, 0 deleted\n");
    EXPECT_EQ(DumpStore(), sBefore);
}

TEST_F(PelmoctlPublish, RequestsOptionListsEachRequestBeforeTheCounts)
{
    ASSERT_EQ(Host({"register", "org.example.player"}).iExit, 0);
    const PT_CHILD_RESULT result = Host({"publish", "org.example.player", Example("small.json"), "--requests"});
    EXPECT_EQ(result.iExit, 0) << result.sErr;
    EXPECT_NE(result.sOut.find("insert sections ok rows=1\n"), std::string::npos) << result.sOut;
    EXPECT_NE(result.sOut.find("insert_bulk tiles ok rows=1\n"), std::string::npos) << result.sOut;
    EXPECT_NE(result.sOut.find("send_sync ok rows=0\n"), std::string::npos) << result.sOut;
    const std::string sCounts = "sections: 1 inserted, 0 updated, 0 deleted\ntiles: 1 inserted, 0 updated, 0 deleted\n";
    ASSERT_GE(result.sOut.size(), sCounts.size());
    EXPECT_EQ(result.sOut.substr(result.sOut.size() - sCounts.size()), sCounts);
}

TEST_F(PelmoctlPublish, ReadsTheDocumentFromStandardInput)
{
    ASSERT_EQ(Host({"register", "org.example.player"}).iExit, 0);
    const PT_CHILD_RESULT result = Host({"publish", "org.example.player", "-"}, ReadText(Example("small.json")));
    EXPECT_EQ(result.iExit, 0) << result.sErr;
    EXPECT_EQ(result.sOut,
              "sections: 1 inserted, 0 updated, 0 deleted\n"
              "tiles: 1 inserted, 0 updated, 0 deleted\n");
    EXPECT_EQ(CountRows("tiles", "org.example.player"), 1);
}

TEST_F(PelmoctlPublish, MissingFileFailsInOneLineAndChangesNothing)
{
    RegisterAndPublish("org.example.player", Example("first.json"));
    const std::string sBefore = DumpStore();
    const std::string sMissing = m_sDir + "/no-such-preview.json";
    ExpectOneLineFailure(Host({"publish", "org.example.player", sMissing}), "publish",
                         "cannot read " + sMissing + ": No such file or directory");
    EXPECT_EQ(DumpStore(), sBefore);
}

TEST_F(PelmoctlPublish, FileThatIsNotJsonFailsInOneLineAndChangesNothing)
{
    RegisterAndPublish("org.example.player", Example("first.json"));
    const std::string sBefore = DumpStore();
    const std::string sPath = WriteFile("notes.txt", "sections: none\nreally\n");
    ExpectOneLineFailure(Host({"publish", "org.example.player", sPath}), "publish", sPath + " is not JSON: Line 1");
    // Cut short: valid start, no end.
    const std::string sCut = WriteFile("cut.json", "{\"sections\": [{\"section_title\": \"A\"");
    ExpectOneLineFailure(Host({"publish", "org.example.player", sCut}), "publish", sCut + " is not JSON");
    ExpectOneLineFailure(Host({"publish", "org.example.player", "-"}, "{{"), "publish", "standard input is not JSON");
    EXPECT_EQ(DumpStore(), sBefore);
}

TEST_F(PelmoctlPublish, DocumentTheLibraryRefusesFailsInOneLineAndChangesNothing)
{
    RegisterAndPublish("org.example.player", Example("first.json"));
    const std::string sBefore = DumpStore();
    const std::string sPath = WriteFile("array.json", "[1, 2, 3]\n");
    // The reason in the document's terms, as the offline check words it.
    ExpectOneLineFailure(Host({"publish", "org.example.player", sPath}), "publish",
                         "the document was refused, nothing was changed: $ (line 1): the document is an array");
    const std::string sTitles =
        WriteFile("titles.json", "{\"sections\": [{\"section_id\": 1,\n  \"section_title\": [\"A\"]}]}");
    ExpectOneLineFailure(Host({"publish", "org.example.player", sTitles}), "publish",
                         "nothing was changed: sections[0].section_title (line 2): an array");
    EXPECT_EQ(DumpStore(), sBefore);
}

TEST_F(PelmoctlPublish, SummaryIsOneLineWithWhatIsStoredAndTheRequestsSent)
{
    ASSERT_EQ(Host({"register", "org.example.player"}).iExit, 0);
    const PT_CHILD_RESULT first = Host({"publish", "org.example.player", Example("first.json"), "--summary"});
    EXPECT_EQ(first.iExit, 0) << first.sErr;
    EXPECT_EQ(first.sOut.rfind("sections +3 -0 ~0 =3, tiles +7 -0 ~0 =7: ", 0), 0u) << first.sOut;
    const PT_CHILD_RESULT changed = Host({"publish", "org.example.player", Example("changed.json"), "--summary"});
    EXPECT_EQ(changed.sOut.rfind("sections +1 -1 ~2 =3, tiles +4 -4 ~3 =7: ", 0), 0u) << changed.sOut;
    // An unchanged republish rewrites every kept item: all counted as updated.
    const PT_CHILD_RESULT again = Host({"publish", "org.example.player", Example("changed.json"), "--summary"});
    EXPECT_EQ(again.sOut.rfind("sections +0 -0 ~3 =3, tiles +0 -0 ~7 =7: ", 0), 0u) << again.sOut;
    EXPECT_NE(again.sOut.find(" requests\n"), std::string::npos) << again.sOut;
}

TEST_F(PelmoctlPublish, UnregisteredModuleFailsInOneLineAndChangesNothing)
{
    RegisterAndPublish("org.example.player", Example("first.json"));
    const std::string sBefore = DumpStore();
    ExpectOneLineFailure(Host({"publish", "org.example.unknown", Example("small.json")}), "publish",
                         "module org.example.unknown is not registered");
    EXPECT_EQ(DumpStore(), sBefore);
    EXPECT_EQ(CountRows("sections", "org.example.unknown"), 0);
}

TEST_F(PelmoctlPublish, EmptyModuleNameFailsInOneLineAndChangesNothing)
{
    RegisterAndPublish("org.example.player", Example("first.json"));
    const std::string sBefore = DumpStore();
    ExpectOneLineFailure(Host({"publish", "", Example("small.json")}), "publish", "the module name is empty");
    EXPECT_EQ(DumpStore(), sBefore);
}

TEST_F(PelmoctlPublish, WrongArgumentsAreAUsageError)
{
    for (const std::vector<std::string>& vecArgs : {std::vector<std::string>{"publish"},
                                                    {"publish", "org.example.player"},
                                                    {"publish", "a", "b", "c"},
                                                    {"publish", "a", "b", "--quiet"}}) {
        const PT_CHILD_RESULT result = Host(vecArgs);
        EXPECT_EQ(result.iExit, 2) << result.sErr;
        EXPECT_NE(result.sErr.find("usage: pelmoctl publish MODULE FILE|-"), std::string::npos) << result.sErr;
        EXPECT_EQ(result.sOut, "");
    }
}
