// The page drawn from a stored preview: order, titles, hostile texts, image placeholders of the
// tile's ratio, the playable mark, the display window, and a page that allows only its own
// script.
#include <glib.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "RenderCommand.h"

namespace {

size_t Count(const std::string& sText, const std::string& sNeedle)
{
    size_t uCount = 0;
    for (size_t u = sText.find(sNeedle); u != std::string::npos; u = sText.find(sNeedle, u + 1)) ++uCount;
    return uCount;
}

Json::Value Tile(const std::string& sTitle, const std::string& sUrl = "https://images.example.org/1.jpg")
{
    Json::Value tile;
    tile["tile_title"] = sTitle;
    if (!sUrl.empty()) tile["tile_image_url"] = sUrl;
    tile["tile_image_ratio"] = "16:9";
    return tile;
}

Json::Value Section(const std::string& sTitle, const std::vector<Json::Value>& vecTiles)
{
    Json::Value section;
    section["section_title"] = sTitle;
    for (const Json::Value& tile : vecTiles) section["tiles"].append(tile);
    return section;
}

Json::Value Preview(const std::vector<Json::Value>& vecSections)
{
    Json::Value root;
    root["accelerator_title"] = "Player";
    for (const Json::Value& section : vecSections) root["sections"].append(section);
    return root;
}

// The markup of the one tile of a one-tile page.
std::string OnlyTile(const Json::Value& tile)
{
    const std::string sPage = RenderPreviewHtml(Preview({Section("Row", {tile})}), "org.example.a");
    const size_t uStart = sPage.find("<li class=\"tile");
    const size_t uEnd = sPage.find("</li>", uStart);
    if (uStart == std::string::npos || uEnd == std::string::npos) return std::string();
    return sPage.substr(uStart, uEnd - uStart);
}

}  // namespace

TEST(RenderPage, SectionsAndTilesAppearInStoredOrderWithIndexes)
{
    const std::string sPage = RenderPreviewHtml(
        Preview({Section("Zeta row", {Tile("Zulu"), Tile("Alpha")}), Section("Alpha row", {Tile("Mike")})}),
        "org.example.a");
    const std::vector<std::string> vecInOrder = {
        "data-section-index=\"0\"", ">Zeta row<", "data-tile-index=\"0\"", ">Zulu<", "data-tile-index=\"1\"",
        ">Alpha<",                  "data-section-index=\"1\"", ">Alpha row<", "data-tile-index=\"0\"", ">Mike<"};
    size_t uFrom = 0;
    for (const std::string& sPart : vecInOrder) {
        const size_t uAt = sPage.find(sPart, uFrom);
        ASSERT_NE(uAt, std::string::npos) << sPart << " after " << uFrom;
        uFrom = uAt + sPart.size();
    }
    EXPECT_EQ(Count(sPage, "<section class=\"preview-section\""), 2u);
    EXPECT_EQ(Count(sPage, "<li class=\"tile"), 3u);
    EXPECT_NE(sPage.find("data-section-count=\"2\" data-tile-count=\"3\""), std::string::npos);
}

TEST(RenderPage, HostileTitlesAndModuleNameAreTextNotMarkup)
{
    const std::string sScript = "<script>alert(1)</script>";
    const std::string sBreakOut = "\"><img src=x onerror=alert(2)>";
    Json::Value preview = Preview({Section(sScript, {Tile(sBreakOut), Tile("</h3></li></ol><p>x")})});
    preview["accelerator_title"] = "</title><script>alert(3)</script>";
    preview["sections"][0]["tiles"][0]["tile_subtitle"] = "' onmouseover='alert(4)";
    preview["sections"][0]["section_id"] = "\" onclick=\"alert(5)";
    const std::string sPage = RenderPreviewHtml(preview, "org.example.<b>a</b>");

    // Only the page's own markup: one script element, one image per tile with an address.
    EXPECT_EQ(Count(sPage, "<script"), 1u);
    EXPECT_EQ(Count(sPage, "<img"), 2u);
    EXPECT_EQ(Count(sPage, "<b>"), 0u);
    EXPECT_EQ(Count(sPage, "</title>"), 1u);
    EXPECT_EQ(Count(sPage, "</li>"), 2u);
    EXPECT_EQ(sPage.find("<img src=x"), std::string::npos);
    EXPECT_EQ(sPage.find("onclick=\"alert"), std::string::npos);
    EXPECT_EQ(sPage.find("' onmouseover"), std::string::npos);
    EXPECT_NE(sPage.find("&lt;script&gt;alert(1)&lt;/script&gt;"), std::string::npos);
    EXPECT_NE(sPage.find("&quot;&gt;&lt;img src=x onerror=alert(2)&gt;"), std::string::npos);
    EXPECT_NE(sPage.find("&#39; onmouseover=&#39;alert(4)"), std::string::npos);
    EXPECT_NE(sPage.find("org.example.&lt;b&gt;a&lt;/b&gt;"), std::string::npos);
}

TEST(RenderPage, RefusedImageAddressesGetAPlaceholderOfTheTilesRatio)
{
    for (const char* sUrl : {"javascript:alert(1)", "data:image/svg+xml,<svg onload=alert(1)>", " http://x/1.jpg"}) {
        Json::Value tile = Tile("T", sUrl);
        tile["tile_image_ratio"] = "1:1";
        const std::string sTile = OnlyTile(tile);
        EXPECT_EQ(sTile.find("<img"), std::string::npos) << sUrl;
        EXPECT_EQ(sTile.find("alert"), std::string::npos) << sUrl;
        EXPECT_NE(sTile.find("data-placeholder=\"no-image\""), std::string::npos) << sUrl;
        EXPECT_NE(sTile.find("data-image-state=\"none\""), std::string::npos) << sUrl;
        EXPECT_NE(sTile.find("data-image-ratio=\"1:1\" style=\"aspect-ratio:1 / 1\""), std::string::npos) << sTile;
        EXPECT_NE(sTile.find("width:126px"), std::string::npos) << sTile;
    }
}

TEST(RenderPage, LoadableImagesAreImagesThatTheScriptCanStillReplace)
{
    const std::string sTile = OnlyTile(Tile("T", "https://images.example.org/a.jpg?x=1&y=\"2\""));
    EXPECT_NE(sTile.find("<img class=\"tile-img\" src=\"https://images.example.org/a.jpg?x=1&amp;y=&quot;2&quot;\""),
              std::string::npos)
        << sTile;
    EXPECT_NE(sTile.find("data-image-state=\"loading\""), std::string::npos);
    EXPECT_EQ(sTile.find("data-placeholder"), std::string::npos);
}

TEST(RenderPage, CardWidthFollowsTheImageRatio)
{
    struct {
        const char* sRatio;
        const char* sWidth;
        const char* sAspect;
    } aCases[] = {{"16:9", "width:224px", "aspect-ratio:16 / 9"},
                  {"1:1", "width:126px", "aspect-ratio:1 / 1"},
                  {"2:3", "width:84px", "aspect-ratio:2 / 3"},
                  {"4:3", "width:168px", "aspect-ratio:4 / 3"},
                  {"wide", "width:224px", "aspect-ratio:16 / 9"}};
    for (const auto& c : aCases) {
        Json::Value tile = Tile("T", "");
        tile["tile_image_ratio"] = c.sRatio;
        const std::string sTile = OnlyTile(tile);
        EXPECT_NE(sTile.find(c.sWidth), std::string::npos) << c.sRatio << ": " << sTile;
        EXPECT_NE(sTile.find(c.sAspect), std::string::npos) << c.sRatio << ": " << sTile;
    }
    // No ratio text: the image's own size decides.
    Json::Value tile = Tile("T", "");
    tile.removeMember("tile_image_ratio");
    tile["tile_image_width"] = 300;
    tile["tile_image_height"] = 450;
    EXPECT_NE(OnlyTile(tile).find("width:84px"), std::string::npos) << OnlyTile(tile);
}

TEST(RenderPage, PlayableMarkOnlyOnPlayableTiles)
{
    Json::Value playable = Tile("P");
    playable["tile_playable"] = 1;  // as the store keeps it
    Json::Value playableBool = Tile("B");
    playableBool["tile_playable"] = true;
    Json::Value notPlayable = Tile("N");
    notPlayable["tile_playable"] = 0;
    EXPECT_NE(OnlyTile(playable).find("class=\"tile-playable\""), std::string::npos);
    EXPECT_NE(OnlyTile(playable).find("data-playable=\"true\""), std::string::npos);
    EXPECT_NE(OnlyTile(playableBool).find("class=\"tile-playable\""), std::string::npos);
    EXPECT_EQ(OnlyTile(notPlayable).find("class=\"tile-playable\""), std::string::npos);
    EXPECT_NE(OnlyTile(notPlayable).find("data-playable=\"false\""), std::string::npos);
    EXPECT_EQ(OnlyTile(Tile("none")).find("class=\"tile-playable\""), std::string::npos);
}

TEST(RenderPage, DisplayWindowIsShownAsDates)
{
    Json::Value tile = Tile("T");
    tile["tile_display_from"] = 1767225600;   // 2026-01-01 00:00 UTC
    tile["tile_display_until"] = 1893456000;  // 2030-01-01 00:00 UTC
    const std::string sTile = OnlyTile(tile);
    EXPECT_NE(sTile.find("<time class=\"tile-window-from\" datetime=\"2026-01-01\">1 Jan 2026</time>"),
              std::string::npos)
        << sTile;
    EXPECT_NE(sTile.find("<time class=\"tile-window-until\" datetime=\"2030-01-01\">1 Jan 2030</time>"),
              std::string::npos)
        << sTile;

    Json::Value fromOnly = Tile("T");
    fromOnly["tile_display_from"] = 1767270600;  // 2026-01-01 12:30 UTC
    EXPECT_NE(OnlyTile(fromOnly).find("from <time class=\"tile-window-from\" datetime=\"2026-01-01T12:30Z\">"
                                      "1 Jan 2026 12:30 UTC</time>"),
              std::string::npos)
        << OnlyTile(fromOnly);

    Json::Value odd = Tile("T");
    odd["tile_display_until"] = "<soon>";
    EXPECT_NE(OnlyTile(odd).find("until <span class=\"tile-window-until\">&lt;soon&gt;</span>"), std::string::npos);
    EXPECT_EQ(OnlyTile(Tile("T")).find("tile-window"), std::string::npos);
}

// Times past 2147483647 are dates after 2038-01-19, also where a process's long has 32 bits.
TEST(RenderPage, DisplayWindowAfter2038IsShownAsItsDate)
{
    Json::Value tile = Tile("T");
    tile["tile_display_from"] = Json::Int64(2147483648LL);   // 2038-01-19 03:14:08 UTC
    tile["tile_display_until"] = Json::Int64(4102444800LL);  // 2100-01-01 00:00 UTC
    const std::string sTile = OnlyTile(tile);
    EXPECT_NE(
        sTile.find("<time class=\"tile-window-from\" datetime=\"2038-01-19T03:14Z\">19 Jan 2038 03:14 UTC</time>"),
        std::string::npos)
        << sTile;
    EXPECT_NE(sTile.find("<time class=\"tile-window-until\" datetime=\"2100-01-01\">1 Jan 2100</time>"),
              std::string::npos)
        << sTile;
}

TEST(RenderPage, TileWithoutTitleIsDrawnAsUntitled)
{
    Json::Value tile = Tile("");
    tile.removeMember("tile_title");
    EXPECT_NE(OnlyTile(tile).find("<h3 class=\"tile-title is-empty\">Untitled</h3>"), std::string::npos);
}

TEST(RenderPage, SectionTitleDisplayModeIsMarked)
{
    Json::Value hidden = Section("Hidden row", {Tile("T")});
    hidden["section_title_display_mode"] = "never";
    Json::Value focused = Section("Focus row", {Tile("U")});
    focused["section_title_display_mode"] = "highlighted_only";
    const std::string sPage = RenderPreviewHtml(Preview({hidden, focused}), "org.example.a");
    EXPECT_NE(sPage.find("data-title-display-mode=\"never\""), std::string::npos);
    EXPECT_NE(sPage.find("<h2 class=\"section-title is-never\"><span class=\"section-title-text\">Hidden row</span>"),
              std::string::npos);
    EXPECT_NE(sPage.find("class=\"section-title is-highlighted-only\""), std::string::npos);
}

TEST(RenderPage, EmptyPreviewSaysNothingIsStored)
{
    const std::string sPage = RenderPreviewHtml(Json::Value(Json::objectValue), "org.example.a");
    EXPECT_NE(sPage.find("Nothing stored for this module."), std::string::npos);
    EXPECT_EQ(Count(sPage, "<section"), 0u);
    const std::string sNull = RenderPreviewHtml(Json::Value(), "org.example.a");
    EXPECT_NE(sNull.find("Nothing stored for this module."), std::string::npos);
}

TEST(RenderPage, PageIsSelfContainedAndAllowsOnlyItsOwnScript)
{
    const std::string sPage = RenderPreviewHtml(Preview({Section("Row", {Tile("T")})}), "org.example.a");
    EXPECT_EQ(sPage.find("<link"), std::string::npos);
    EXPECT_EQ(sPage.find("@import"), std::string::npos);
    EXPECT_EQ(sPage.find("url("), std::string::npos);
    EXPECT_EQ(sPage.find("<script src"), std::string::npos);

    const size_t uStart = sPage.find("<script>");
    const size_t uEnd = sPage.find("</script>");
    ASSERT_NE(uStart, std::string::npos);
    ASSERT_NE(uEnd, std::string::npos);
    const std::string sScript = sPage.substr(uStart + 8, uEnd - uStart - 8);
    GChecksum* pChecksum = g_checksum_new(G_CHECKSUM_SHA256);
    g_checksum_update(pChecksum, reinterpret_cast<const guchar*>(sScript.data()), static_cast<gssize>(sScript.size()));
    guint8 aDigest[32];
    gsize uLen = sizeof(aDigest);
    g_checksum_get_digest(pChecksum, aDigest, &uLen);
    g_checksum_free(pChecksum);
    gchar* pBase64 = g_base64_encode(aDigest, uLen);
    const std::string sPolicy = std::string("default-src 'none'; img-src http: https: file:; style-src 'unsafe-inline'; "
                                            "script-src 'sha256-") + pBase64 + "'";
    g_free(pBase64);
    EXPECT_NE(sPage.find("<meta http-equiv=\"Content-Security-Policy\" content=\"" + sPolicy + "\">"), std::string::npos)
        << sPage.substr(0, 400);
}
