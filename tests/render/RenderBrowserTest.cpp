// The rendered page in a real headless Chromium: the DOM after the page's script ran holds
// every stored section and tile in order with its title, images that cannot load became
// placeholders, hostile titles stayed text, and a screenshot of the page is kept in the build
// folder. Chromium is installed by scripts/setup-deps.sh; without it these tests fail.
#include <dirent.h>
#include <signal.h>

#include <cstring>

#include "BrowserFixture.h"
#include "EventWait.h"
#include "HeadlessChromium.h"

namespace {

// The text of an element as the browser serialises it, back to plain text.
std::string DomText(const std::string& sSerialised)
{
    static const std::pair<const char*, const char*> kEntities[] = {
        {"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&#39;", "'"}, {"&nbsp;", "\xC2\xA0"}, {"&amp;", "&"}};
    std::string sOut;
    for (size_t u = 0; u < sSerialised.size();) {
        bool bReplaced = false;
        if (sSerialised[u] == '&') {
            for (const auto& entity : kEntities) {
                if (sSerialised.compare(u, std::strlen(entity.first), entity.first) == 0) {
                    sOut += entity.second;
                    u += std::strlen(entity.first);
                    bReplaced = true;
                    break;
                }
            }
        }
        if (!bReplaced) sOut += sSerialised[u++];
    }
    return sOut;
}

// Value of an attribute in the start tag that begins `sElement`, or "" when absent.
std::string Attribute(const std::string& sElement, const std::string& sName)
{
    const std::string sStartTag = sElement.substr(0, sElement.find('>'));
    const std::string sNeedle = " " + sName + "=\"";
    const size_t uAt = sStartTag.find(sNeedle);
    if (uAt == std::string::npos) return std::string();
    const size_t uValue = uAt + sNeedle.size();
    return DomText(sStartTag.substr(uValue, sStartTag.find('"', uValue) - uValue));
}

// The serialised content of the first element that has `sClassAttr` (e.g. class="tile-title").
std::string ElementText(const std::string& sHtml, const std::string& sClassAttr, const std::string& sEndTag)
{
    const size_t uAt = sHtml.find(sClassAttr);
    if (uAt == std::string::npos) return "<missing>";
    const size_t uStart = sHtml.find('>', uAt) + 1;
    return DomText(sHtml.substr(uStart, sHtml.find(sEndTag, uStart) - uStart));
}

// Pieces of `sHtml` that start with `sStart` and end before the next `sEnd`, in order.
std::vector<std::string> Pieces(const std::string& sHtml, const std::string& sStart, const std::string& sEnd)
{
    std::vector<std::string> vecPieces;
    for (size_t u = sHtml.find(sStart); u != std::string::npos; u = sHtml.find(sStart, u + 1)) {
        const size_t uEnd = sHtml.find(sEnd, u);
        vecPieces.push_back(sHtml.substr(u, uEnd == std::string::npos ? std::string::npos : uEnd - u));
    }
    return vecPieces;
}

struct PT_DRAWN_TILE {
    std::string sIndex;
    std::string sTitle;
    std::string sImageState;
    std::string sElement;
};

struct PT_DRAWN_SECTION {
    std::string sIndex;
    std::string sTitle;
    std::vector<PT_DRAWN_TILE> vecTiles;
};

std::vector<PT_DRAWN_SECTION> DrawnSections(const std::string& sDom)
{
    std::vector<PT_DRAWN_SECTION> vecSections;
    for (const std::string& sSection : Pieces(sDom, "<section class=\"preview-section\"", "</section>")) {
        PT_DRAWN_SECTION section;
        section.sIndex = Attribute(sSection, "data-section-index");
        section.sTitle = ElementText(sSection, "class=\"section-title-text\"", "</span>");
        for (const std::string& sTile : Pieces(sSection, "<li class=\"tile", "</li>")) {
            section.vecTiles.push_back({Attribute(sTile, "data-tile-index"),
                                        ElementText(sTile, "class=\"tile-title", "</h3>"),
                                        Attribute(sTile, "data-image-state"), sTile});
        }
        vecSections.push_back(section);
    }
    return vecSections;
}

// Pids of live (not zombie) processes whose command line mentions `sNeedle`.
std::vector<pid_t> ProcessesMentioning(const std::string& sNeedle)
{
    std::vector<pid_t> vecPids;
    DIR* pDir = opendir("/proc");
    if (pDir == nullptr) return vecPids;
    while (dirent* pEntry = readdir(pDir)) {
        const pid_t pid = static_cast<pid_t>(std::atoi(pEntry->d_name));
        if (pid <= 0) continue;
        std::ifstream cmdline("/proc/" + std::string(pEntry->d_name) + "/cmdline", std::ios::binary);
        const std::string sCmd((std::istreambuf_iterator<char>(cmdline)), std::istreambuf_iterator<char>());
        if (sCmd.find(sNeedle) == std::string::npos) continue;
        std::ifstream stat("/proc/" + std::string(pEntry->d_name) + "/stat");
        std::string sStat;
        std::getline(stat, sStat);
        const size_t uParen = sStat.rfind(')');
        if (uParen != std::string::npos && uParen + 2 < sStat.size() && sStat[uParen + 2] == 'Z') continue;
        vecPids.push_back(pid);
    }
    closedir(pDir);
    return vecPids;
}

class RenderBrowserTest : public BrowserRenderTest {
protected:
    void PrepareBrowser() override { m_sProfile = m_sWorkDir + "/chromium-profile"; }
    void TearDown() override
    {
        // The browser's own processes all mention the private profile folder. Its crash handler
        // runs in a process group of its own and ends by itself once the browser is gone: each
        // one still there is waited for, and only one that does not end counts as left over.
        std::vector<pid_t> vecLeft;
        for (const pid_t pid : ProcessesMentioning(m_sProfile)) {
            if (!WaitForProcessEnd(pid, 10000)) vecLeft.push_back(pid);
        }
        EXPECT_TRUE(vecLeft.empty()) << vecLeft.size() << " browser processes outlived the browser";
        for (const pid_t pid : vecLeft) kill(pid, SIGKILL);
        RunChild({"rm", "-rf", m_sProfile}, ShellRun(30000));
        BrowserRenderTest::TearDown();
    }

    // Runs the browser on a local page with the given extra arguments; it may not resolve any
    // host name, so that tile images on the network fail at once, as they do offline.
    PT_CHILD_RESULT Chromium(const std::string& sPage, const std::vector<std::string>& vecExtra)
    {
        std::vector<std::string> vecArgv = HeadlessChromiumArgs(m_sChromium, m_sProfile);
        vecArgv.push_back("--host-resolver-rules=MAP * ~NOTFOUND");
        vecArgv.push_back("--virtual-time-budget=5000");
        vecArgv.insert(vecArgv.end(), vecExtra.begin(), vecExtra.end());
        vecArgv.push_back("file://" + sPage);
        // Its crash-report and settings folders go into the profile folder too, not into HOME.
        PT_CHILD_OPTIONS options = ShellRun(120000);
        options.vecEnv = {"HOME=" + m_sProfile, "XDG_CONFIG_HOME=" + m_sProfile + "/config",
                          "XDG_CACHE_HOME=" + m_sProfile + "/cache"};
        return RunChild(vecArgv, options);
    }

    std::string RenderToFile(const std::string& sModule, const std::string& sName)
    {
        const std::string sOut = WorkFile(sName);
        const PT_CHILD_RESULT result = Pelmoctl({"render", sModule, "-o", sOut});
        EXPECT_EQ(result.iExit, 0) << result.sErr;
        return sOut;
    }

    std::string m_sProfile;
};

}  // namespace

TEST_F(RenderBrowserTest, PublishedExampleIsDrawnSectionBySectionAndTileByTileWithTitles)
{
    Register();
    ASSERT_EQ(set_preview_metadata(Example("first.json").c_str(), kModule), 1) << m_log.Dump();
    const Json::Value stored = Stored();
    const Json::Value& sections = stored["sections"];
    ASSERT_EQ(sections.size(), 3u) << stored.toStyledString();
    const std::string sPage = RenderToFile(kModule, "first.html");

    const PT_CHILD_RESULT dom = Chromium(sPage, {"--dump-dom"});
    ASSERT_FALSE(dom.bTimedOut) << dom.sErr;
    ASSERT_EQ(dom.iExit, 0) << dom.sErr;
    const std::vector<PT_DRAWN_SECTION> vecDrawn = DrawnSections(dom.sOut);
    ASSERT_EQ(vecDrawn.size(), sections.size()) << dom.sOut.substr(0, 2000);
    for (Json::ArrayIndex s = 0; s < sections.size(); ++s) {
        EXPECT_EQ(vecDrawn[s].sIndex, std::to_string(s));
        EXPECT_EQ(vecDrawn[s].sTitle, sections[s]["section_title"].asString());
        const Json::Value& tiles = sections[s]["tiles"];
        ASSERT_EQ(vecDrawn[s].vecTiles.size(), tiles.size()) << "section " << s;
        for (Json::ArrayIndex t = 0; t < tiles.size(); ++t) {
            const PT_DRAWN_TILE& drawn = vecDrawn[s].vecTiles[t];
            EXPECT_EQ(drawn.sIndex, std::to_string(t));
            EXPECT_EQ(drawn.sTitle, tiles[t]["tile_title"].asString());
            // The example's images are on a host nobody can reach here: the page's script must
            // have put a placeholder of the tile's ratio in each image's place.
            EXPECT_EQ(drawn.sImageState, "failed") << drawn.sElement;
            EXPECT_NE(drawn.sElement.find("data-placeholder=\"image-failed\""), std::string::npos) << drawn.sElement;
            EXPECT_NE(drawn.sElement.find("<span class=\"tile-placeholder-ratio\">" +
                                          tiles[t]["tile_image_ratio"].asString() + "</span>"),
                      std::string::npos)
                << drawn.sElement;
            EXPECT_EQ(drawn.sElement.find("<img"), std::string::npos) << drawn.sElement;
            EXPECT_NE(drawn.sElement.find("class=\"tile-playable\""), std::string::npos) << drawn.sElement;
            EXPECT_NE(drawn.sElement.find("datetime=\"2026-01-01\""), std::string::npos) << drawn.sElement;
        }
    }

    const std::string sShot = std::string(PELMO_RENDER_OUTPUT_DIR) + "/render_preview.png";
    unlink(sShot.c_str());
    const PT_CHILD_RESULT shot =
        Chromium(sPage, {"--screenshot=" + sShot, "--window-size=1280,900", "--hide-scrollbars"});
    ASSERT_FALSE(shot.bTimedOut) << shot.sErr;
    ASSERT_EQ(shot.iExit, 0) << shot.sErr;
    ExpectHomeScreenShot(sShot);
}

TEST_F(RenderBrowserTest, LocalImageIsShownAndHostileTitlesStayTextInTheBrowser)
{
    Register();
    const std::string sSvg = WorkFile("tile.svg");
    {
        std::ofstream(sSvg) << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"160\" height=\"90\">"
                               "<rect width=\"160\" height=\"90\" fill=\"#3a7bd5\"/></svg>";
    }
    const std::string sHostile = "<img src=x onerror=\"document.title='owned'\"> & \"quotes\"";
    Json::Value document;
    Json::Value section;
    section["section_id"] = 1;
    section["section_title"] = "</h2><script>document.title='owned'</script>";
    Json::Value shown;
    shown["tile_id"] = 1;
    shown["tile_title"] = "Shown from disk";
    shown["tile_image_url"] = "file://" + sSvg;
    shown["tile_image_ratio"] = "16:9";
    shown["action_data"] = "app://org.example.player/play?id=1";
    Json::Value hostile;
    hostile["tile_id"] = 2;
    hostile["tile_title"] = sHostile;
    hostile["tile_image_url"] = "javascript:document.title='owned'";
    hostile["tile_image_ratio"] = "1:1";
    hostile["action_data"] = "app://org.example.player/play?id=2";
    section["tiles"].append(shown);
    section["tiles"].append(hostile);
    document["sections"].append(section);
    ASSERT_EQ(set_preview_metadata(Json::FastWriter().write(document).c_str(), kModule), 1) << m_log.Dump();
    const std::string sPage = RenderToFile(kModule, "hostile.html");

    const PT_CHILD_RESULT dom = Chromium(sPage, {"--dump-dom"});
    ASSERT_EQ(dom.iExit, 0) << dom.sErr;
    EXPECT_NE(dom.sOut.find("<title>Preview of org.example.player</title>"), std::string::npos);
    EXPECT_EQ(dom.sOut.find("owned</title>"), std::string::npos);
    const std::vector<PT_DRAWN_SECTION> vecDrawn = DrawnSections(dom.sOut);
    ASSERT_EQ(vecDrawn.size(), 1u) << dom.sOut;
    EXPECT_EQ(vecDrawn[0].sTitle, section["section_title"].asString());
    ASSERT_EQ(vecDrawn[0].vecTiles.size(), 2u);
    EXPECT_EQ(vecDrawn[0].vecTiles[0].sTitle, "Shown from disk");
    EXPECT_EQ(vecDrawn[0].vecTiles[0].sImageState, "loaded") << vecDrawn[0].vecTiles[0].sElement;
    EXPECT_NE(vecDrawn[0].vecTiles[0].sElement.find("<img class=\"tile-img\""), std::string::npos);
    EXPECT_EQ(vecDrawn[0].vecTiles[1].sTitle, sHostile);
    EXPECT_EQ(vecDrawn[0].vecTiles[1].sImageState, "none");
    EXPECT_NE(vecDrawn[0].vecTiles[1].sElement.find("data-placeholder=\"no-image\""), std::string::npos);
    // The one image of the page is the loaded tile's; the hostile title made none.
    size_t uImages = 0;
    for (size_t u = dom.sOut.find("<img"); u != std::string::npos; u = dom.sOut.find("<img", u + 1)) ++uImages;
    EXPECT_EQ(uImages, 1u);
}
