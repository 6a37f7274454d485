// `pelmoctl studio` in a real headless Chromium: the page follows publishes made by other
// processes, marks what the last publish changed, moves its focus with the arrow keys, shows a
// tile's details on Enter and keeps every store text as text. A screenshot of the page is kept
// in the build folder. Chromium is installed by scripts/setup-deps.sh; without it these fail.
#include <glib.h>

#include <chrono>
#include <fstream>

#include "BrowserFixture.h"
#include "DevToolsPipe.h"
#include "HeadlessChromium.h"
#include "StudioProcess.h"

namespace {

// A script that waits, inside the page, until `sCondition` (an expression) is truthy and gives
// its value, or null once iMs passed; it looks again on every change of the DOM.
std::string WaitFor(const std::string& sCondition, int iMs)
{
    return "new Promise(function (resolve) {"
           "  function value() { try { return (" +
           sCondition +
           "); } catch (e) { return null; } }"
           "  var first = value(); if (first) { resolve(first); return; }"
           "  var observer = new MutationObserver(function () { var v = value(); if (v) { observer.disconnect(); "
           "resolve(v); } });"
           "  observer.observe(document, {subtree: true, childList: true, attributes: true, characterData: true});"
           "  setTimeout(function () { observer.disconnect(); resolve(value() || null); }, " +
           std::to_string(iMs) + ");})";
}

// The sections and tiles a module's row shows, with each tile's change mark.
std::string DrawnRow(const std::string& sModule)
{
    return "(function () { var row = document.querySelector('.studio-row[data-module=\"" + sModule +
           "\"]'); if (!row) return null;"
           " return {publishes: row.getAttribute('data-publishes'), change: "
           "row.querySelector('.studio-row-change').textContent,"
           "  sections: Array.from(row.querySelectorAll('.preview-section')).map(function (s) { return {"
           "   title: s.querySelector('.section-title-text').textContent,"
           "   tiles: Array.from(s.querySelectorAll('.tile')).map(function (t) { return {"
           "    title: t.querySelector('.tile-title').textContent, change: t.getAttribute('data-change') || '',"
           "    ghost: t.classList.contains('is-ghost'), window: t.getAttribute('data-window') || '' }; }) }; }),"
           "  removed: Array.from(row.querySelectorAll('.studio-removed .tile')).map(function (t) {"
           "   return t.querySelector('.tile-title').textContent + ' ' + t.getAttribute('data-change'); }) }; })()";
}

const char kFocused[] =
    "(function () { var t = document.querySelector('.tile.is-focused'); if (!t) return null;"
    " return t.closest('.preview-section').querySelector('.section-title-text').textContent + ' / ' +"
    " t.querySelector('.tile-title').textContent; })()";

class StudioBrowserTest : public BrowserRenderTest {
protected:
    void PrepareBrowser() override
    {
        std::string sError;
        ASSERT_TRUE(m_studio.Start(PELMOCTL_PATH, WorkFile("studio.log"), sError))
            << sError << ReadText(m_sWorkDir + "/studio.log");
        ASSERT_TRUE(m_browser.Start(m_sChromium, m_sWorkDir + "/chromium-profile", sError)) << sError;
        WorkFile("chromium-profile.log");
    }
    void TearDown() override
    {
        m_browser.Stop();
        EXPECT_EQ(m_studio.Stop(), 0) << "the studio should end cleanly on SIGTERM";
        RunChild({"rm", "-rf", m_sWorkDir + "/chromium-profile"}, ShellRun(30000));
        BrowserRenderTest::TearDown();
    }

    Json::Value Eval(const std::string& sExpression, int iTimeoutMs = 30000)
    {
        Json::Value value;
        std::string sError;
        EXPECT_TRUE(m_browser.Evaluate(m_sSession, sExpression, value, sError, iTimeoutMs)) << sError;
        return value;
    }
    void Key(const char* sKey, int iCode)
    {
        std::string sError;
        ASSERT_TRUE(m_browser.PressKey(m_sSession, sKey, iCode, sError)) << sError;
    }
    void OpenStudio()
    {
        std::string sError;
        ASSERT_TRUE(m_browser.OpenPage(m_studio.Address(), m_sSession, sError)) << sError;
        ASSERT_EQ(Eval(WaitFor("document.getElementById('studio-state').getAttribute('data-state') === 'live' && "
                               "document.querySelector('.studio-row[data-module=\"" +
                                   std::string(kModule) + "\"]') !== null",
                               10000)),
                  Json::Value(true))
            << "the page never showed the registered module";
    }
    void Publish(const std::string& sFile)
    {
        const PT_CHILD_RESULT result = Pelmoctl({"publish", kModule, sFile});
        ASSERT_EQ(result.iExit, 0) << result.sErr;
    }

    CStudioProcess m_studio;
    CDevToolsPipe m_browser;
    std::string m_sSession;
};

}  // namespace

TEST_F(StudioBrowserTest, PageFollowsPublishesOfOtherProcessesMarksChangesAndAnswersTheRemote)
{
    Register();
    OpenStudio();
    if (HasFatalFailure()) return;

    // Another process publishes; the page shows it within 2 s without being reloaded.
    Publish(std::string(PELMO_EXAMPLES_DIR) + "/first.json");
    const auto published = std::chrono::steady_clock::now();
    const Json::Value first =
        Eval(WaitFor("(function () { var r = " + DrawnRow(kModule) +
                         "; return r && r.publishes === '1' && r.sections.length === 3 ? r : null; })()",
                     2000));
    const long long llFirstMs =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - published).count();
    ASSERT_TRUE(first.isObject()) << "first.json did not reach the page within 2 s";
    EXPECT_LE(llFirstMs, 2000);
    const Json::Value stored = Stored();
    ASSERT_EQ(stored["sections"].size(), 3u);
    for (Json::ArrayIndex s = 0; s < 3; ++s) {
        EXPECT_EQ(first["sections"][s]["title"], stored["sections"][s]["section_title"]);
        const Json::Value& tiles = stored["sections"][s]["tiles"];
        ASSERT_EQ(first["sections"][s]["tiles"].size(), tiles.size()) << "section " << s;
        for (Json::ArrayIndex t = 0; t < tiles.size(); ++t) {
            EXPECT_EQ(first["sections"][s]["tiles"][t]["title"], tiles[t]["tile_title"]);
            EXPECT_EQ(first["sections"][s]["tiles"][t]["change"].asString(), "inserted");
        }
    }

    // The changed publish: kept tiles are rewritten in place, new ones inserted, old ones gone.
    Publish(std::string(PELMO_EXAMPLES_DIR) + "/changed.json");
    const Json::Value changed = Eval(WaitFor(
        "(function () { var r = " + DrawnRow(kModule) + "; return r && r.publishes === '2' ? r : null; })()", 2000));
    ASSERT_TRUE(changed.isObject()) << "changed.json did not reach the page within 2 s";
    std::map<std::string, std::string> mapMark;
    std::vector<std::string> vecSections;
    for (const Json::Value& section : changed["sections"]) {
        vecSections.push_back(section["title"].asString());
        for (const Json::Value& tile : section["tiles"]) {
            const std::string sKey = section["title"].asString() + " / " + tile["title"].asString();
            mapMark[sKey + (tile["ghost"].asBool() ? " (gone)" : "")] = tile["change"].asString();
        }
    }
    EXPECT_EQ(vecSections,
              (std::vector<std::string>{"Continue watching", "Recommended", "Because you watched Night Trains"}));
    const std::map<std::string, std::string> mapExpected = {
        {"Continue watching / The Lighthouse Keeper", "updated"},
        {"Continue watching / Night Trains", "updated"},
        {"Recommended / Glass Valley", "updated"},   // made a favourite: the same tile
        {"Recommended / Quiet Fields", "inserted"},  // its subtitle changed: a new tile
        {"Recommended / Paper Moons", "inserted"},
        {"Recommended / Quiet Fields (gone)", "deleted"},
        {"Recommended / The Ninth Bridge (gone)", "deleted"},
        {"Because you watched Night Trains / Rail Stories", "inserted"},
        {"Because you watched Night Trains / Northbound", "inserted"},
    };
    EXPECT_EQ(mapMark, mapExpected);
    // "New this week" went away with its tiles: they leave from a strip of their own.
    Json::Value removed(Json::arrayValue);
    removed.append("Harbour Lights deleted");
    removed.append("Salt and Stone deleted");
    EXPECT_EQ(changed["removed"], removed);
    // The section that went away takes its tiles along; the page shows them leaving too.
    const std::string sChange = changed["change"].asString();
    EXPECT_NE(sChange.find("sections +1 ~2 -1, tiles +4 ~3 -4"), std::string::npos) << sChange;

    // The remote: focus starts on the first tile and moves as on a TV.
    EXPECT_EQ(Eval(kFocused).asString(), "Continue watching / The Lighthouse Keeper");
    Key("ArrowLeft", 37);
    EXPECT_EQ(Eval(kFocused).asString(), "Continue watching / The Lighthouse Keeper");
    Key("ArrowRight", 39);
    EXPECT_EQ(Eval(kFocused).asString(), "Continue watching / Night Trains");
    Key("ArrowDown", 40);
    const std::string sBelow = Eval(kFocused).asString();
    EXPECT_EQ(sBelow.rfind("Recommended / ", 0), 0u) << sBelow;
    Key("ArrowDown", 40);
    Key("ArrowLeft", 37);
    Key("ArrowLeft", 37);
    EXPECT_EQ(Eval(kFocused).asString(), "Because you watched Night Trains / Rail Stories");
    Key("ArrowUp", 38);
    EXPECT_EQ(Eval(kFocused).asString(), "Recommended / Glass Valley");

    // Enter: the focused tile's stored columns and public extra, decoded; Escape closes.
    Key("Enter", 13);
    const Json::Value details = Eval(
        WaitFor("(function () { var p = document.getElementById('studio-details'); if (p.hidden) return null;"
                " var cell = function (n) { var r = p.querySelector('tr[data-column=\"' + n + '\"] td'); return r ? "
                "r.textContent : null; };"
                " return {title: p.querySelector('.details-title').textContent, stored_title: cell('tile_title'),"
                " favorite: cell('tile_favorite'), extra: p.querySelector('.details-public-extra').textContent,"
                " window: p.querySelector('.details-window').textContent,"
                " written: p.querySelector('.details-written-by').textContent}; })()",
                2000));
    ASSERT_TRUE(details.isObject()) << "Enter opened no details";
    EXPECT_EQ(details["title"].asString(), "Glass Valley");
    EXPECT_EQ(details["stored_title"].asString(), "Glass Valley");
    EXPECT_EQ(details["favorite"].asString(), "1");
    Json::Value extra;
    ASSERT_TRUE(Json::Reader().parse(details["extra"].asString(), extra)) << details["extra"].asString();
    EXPECT_EQ(extra["is_resumable"], Json::Value(false));
    EXPECT_EQ(extra["video_url"].asString(), "");
    EXPECT_EQ(details["window"].asString(), "shown now");
    EXPECT_NE(details["written"].asString().find(": update on tiles, "), std::string::npos) << details["written"];

    const std::string sShot = std::string(PELMO_RENDER_OUTPUT_DIR) + "/studio_home.png";
    {
        Json::Value params, result;
        params["format"] = "png";
        std::string sError;
        ASSERT_TRUE(m_browser.Call("Page.captureScreenshot", params, result, sError, m_sSession)) << sError;
        gsize uSize = 0;
        g_autofree guchar* pPng = g_base64_decode(result["data"].asString().c_str(), &uSize);
        std::ofstream(sShot, std::ios::binary)
            .write(reinterpret_cast<const char*>(pPng), static_cast<std::streamsize>(uSize));
    }
    ExpectHomeScreenShot(sShot);
    if (HasFatalFailure()) return;

    Key("Escape", 27);
    EXPECT_EQ(Eval("document.getElementById('studio-details').hidden"), Json::Value(true));
    Key("ArrowRight", 39);
    EXPECT_EQ(Eval(kFocused).asString(), "Recommended / Quiet Fields");
}

TEST_F(StudioBrowserTest, StoreTextsStayTextAndTilesOutsideTheirWindowSayWhy)
{
    const std::string sHostile = "<img src=x onerror=\"document.title='owned'\"> & \"quotes\"";
    Register(kModule, sHostile);
    OpenStudio();
    if (HasFatalFailure()) return;
    Json::Value document;
    Json::Value section;
    section["section_id"] = 1;
    section["section_title"] = "</h2><script>document.title='owned'</script>";
    Json::Value over;
    over["tile_title"] = sHostile;
    over["tile_display_from"] = 1000000000;
    over["tile_display_until"] = 1500000000;
    Json::Value future;
    future["tile_title"] = "Later";
    future["tile_display_from"] = 4000000000u;
    section["tiles"].append(over);
    section["tiles"].append(future);
    document["sections"].append(section);
    const std::string sFile = WorkFile("hostile.json");
    std::ofstream(sFile) << Json::FastWriter().write(document);
    Publish(sFile);

    const Json::Value row = Eval(WaitFor(
        "(function () { var r = " + DrawnRow(kModule) + "; return r && r.publishes === '1' ? r : null; })()", 2000));
    ASSERT_TRUE(row.isObject());
    EXPECT_EQ(row["sections"][0]["title"].asString(), section["section_title"].asString());
    EXPECT_EQ(row["sections"][0]["tiles"][0]["title"].asString(), sHostile);
    EXPECT_EQ(row["sections"][0]["tiles"][0]["window"].asString(), "over");
    EXPECT_EQ(row["sections"][0]["tiles"][1]["window"].asString(), "not-yet");
    const Json::Value page = Eval(
        "({title: document.title, rowTitle: document.querySelector('.studio-row-title').textContent,"
        " scripts: document.scripts.length, images: document.querySelectorAll('img').length,"
        " reasons: Array.from(document.querySelectorAll('.tile-window-state')).map(function (p) { return "
        "p.textContent; })})");
    EXPECT_EQ(page["title"].asString(), "Home screen studio");
    EXPECT_EQ(page["rowTitle"].asString(), sHostile);
    EXPECT_EQ(page["scripts"].asInt(), 1);
    EXPECT_EQ(page["images"].asInt(), 0);
    ASSERT_EQ(page["reasons"].size(), 2u);
    EXPECT_EQ(page["reasons"][0].asString(), "not shown: its display window ended 14 Jul 2017 02:40 UTC");
    EXPECT_EQ(page["reasons"][1].asString(), "not shown yet: its display window begins 2 Oct 2096 07:06 UTC");
}

TEST_F(StudioBrowserTest, AnswersOnlyGetOnItsOwnPathsForItsOwnHost)
{
    const std::string sHost = "Host: 127.0.0.1:" + std::to_string(m_studio.Port()) + "\r\n";
    const auto StatusOf = [](const std::string& sAnswer) { return sAnswer.substr(0, sAnswer.find("\r\n")); };
    const std::string sPage = RawHttp(m_studio.Port(), "GET / HTTP/1.1\r\n" + sHost + "Connection: close\r\n\r\n");
    EXPECT_EQ(StatusOf(sPage), "HTTP/1.1 200 OK");
    EXPECT_NE(sPage.find("Content-Security-Policy: default-src 'none';"), std::string::npos);
    const std::string sLocalhost = "Host: localhost:" + std::to_string(m_studio.Port()) + "\r\n";
    EXPECT_EQ(StatusOf(RawHttp(m_studio.Port(), "GET / HTTP/1.1\r\n" + sLocalhost + "Connection: close\r\n\r\n")),
              "HTTP/1.1 200 OK");
    EXPECT_EQ(StatusOf(RawHttp(m_studio.Port(), "GET / HTTP/1.1\r\nHost: attacker.example:" +
                                                    std::to_string(m_studio.Port()) + "\r\nConnection: close\r\n\r\n")),
              "HTTP/1.1 403 Forbidden");
    EXPECT_EQ(
        StatusOf(RawHttp(m_studio.Port(), "GET /events HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n\r\n")),
        "HTTP/1.1 403 Forbidden");
    EXPECT_EQ(StatusOf(RawHttp(m_studio.Port(),
                               "POST / HTTP/1.1\r\n" + sHost + "Content-Length: 0\r\nConnection: close\r\n\r\n")),
              "HTTP/1.1 405 Method Not Allowed");
    EXPECT_EQ(StatusOf(RawHttp(m_studio.Port(), "GET /store.db HTTP/1.1\r\n" + sHost + "Connection: close\r\n\r\n")),
              "HTTP/1.1 404 Not Found");
    EXPECT_EQ(StatusOf(RawHttp(m_studio.Port(), "GET /tile?module=org.example.none&id=1 HTTP/1.1\r\n" + sHost +
                                                    "Connection: close\r\n\r\n")),
              "HTTP/1.1 404 Not Found");
}
