// Builds the page of a stored preview: a header for the module, then one row per section in
// the stored order, each tile a card with its image (or a placeholder of the image's ratio), a
// playable mark, its title, subtitle and display window.
#include <glib.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "RenderCommand.h"
#include "RenderHtmlText.h"
#include "RenderScript.h"
#include "RenderStyle.h"

namespace {

constexpr int kImageHeightPx = 126;  // the height of every card's image, as .tile-image says

// A member's text as the page shows it: strings as they are, numbers in decimal.
std::string MemberText(const Json::Value& value)
{
    if (value.isString()) return value.asString();
    if (value.isBool()) return value.asBool() ? "true" : "false";
    if (value.isIntegral()) return value.isInt64() ? std::to_string(value.asInt64()) : std::to_string(value.asUInt64());
    if (value.isDouble()) {
        char sBuffer[64];
        std::snprintf(sBuffer, sizeof(sBuffer), "%g", value.asDouble());
        return sBuffer;
    }
    return std::string();
}

// Whole numbers arrive as JSON numbers or, from documents written by hand, as decimal text.
bool AsInteger(const Json::Value& value, long long& llOut)
{
    if (value.isIntegral() && value.isInt64()) {
        llOut = value.asInt64();
        return true;
    }
    if (value.isDouble()) {
        const double d = value.asDouble();
        if (!std::isfinite(d) || d != std::floor(d) || std::fabs(d) > 9.0e15) return false;
        llOut = static_cast<long long>(d);
        return true;
    }
    if (value.isString()) {
        const std::string sText = value.asString();
        if (sText.empty()) return false;
        errno = 0;
        char* pEnd = nullptr;
        const long long ll = std::strtoll(sText.c_str(), &pEnd, 10);
        if (errno != 0 || pEnd == sText.c_str() || *pEnd != '\0') return false;
        llOut = ll;
        return true;
    }
    return false;
}

// The store keeps booleans as 0 / 1; a document may still say true or "true".
bool IsTrue(const Json::Value& value)
{
    if (value.isBool()) return value.asBool();
    long long ll = 0;
    if (AsInteger(value, ll)) return ll != 0;
    return value.isString() && value.asString() == "true";
}

struct PT_IMAGE_RATIO {
    double dWidth = 16;
    double dHeight = 9;
    std::string sLabel = "16:9";
};

bool ParseRatioText(const std::string& sText, double& dWidth, double& dHeight)
{
    const size_t uSep = sText.find_first_of(":/x");
    if (uSep == std::string::npos || uSep == 0 || uSep + 1 >= sText.size()) return false;
    const std::string sW = sText.substr(0, uSep);
    const std::string sH = sText.substr(uSep + 1);
    for (const std::string* pPart : {&sW, &sH}) {
        if (pPart->size() > 8) return false;
        for (const char c : *pPart) {
            if (!(c >= '0' && c <= '9') && c != '.') return false;
        }
    }
    dWidth = std::strtod(sW.c_str(), nullptr);
    dHeight = std::strtod(sH.c_str(), nullptr);
    return dWidth > 0 && dHeight > 0;
}

// The tile's image ratio: its ratio text ("16:9", "1:1", "2:3" ...), else its image width and
// height, else the home screen's usual 16:9. Extreme ratios are held within 1:4 .. 4:1 so that
// one card cannot swallow the row.
PT_IMAGE_RATIO TileImageRatio(const Json::Value& tile)
{
    PT_IMAGE_RATIO ratio;
    const std::string sText = MemberText(tile["tile_image_ratio"]);
    double dW = 0, dH = 0;
    long long llW = 0, llH = 0;
    if (ParseRatioText(sText, dW, dH)) {
        ratio.dWidth = dW;
        ratio.dHeight = dH;
        ratio.sLabel = sText;
    } else if (AsInteger(tile["tile_image_width"], llW) && AsInteger(tile["tile_image_height"], llH) && llW > 0 &&
               llH > 0) {
        ratio.dWidth = static_cast<double>(llW);
        ratio.dHeight = static_cast<double>(llH);
        ratio.sLabel = std::to_string(llW) + "\xC3\x97" + std::to_string(llH);
    }
    const double dRatio = ratio.dWidth / ratio.dHeight;
    if (dRatio > 4.0) ratio.dWidth = ratio.dHeight * 4.0;
    if (dRatio < 0.25) ratio.dWidth = ratio.dHeight * 0.25;
    return ratio;
}

// Seconds since the epoch as a date: the machine-readable form for <time datetime> and the
// one a person reads. False for values that are not a date.
bool FormatDate(long long llSeconds, std::string& sIso, std::string& sHuman)
{
    static const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    if (llSeconds < 0 || llSeconds > 253402300799LL) return false;  // up to the end of year 9999
    const time_t t = static_cast<time_t>(llSeconds);
    struct tm tmUtc;
    if (gmtime_r(&t, &tmUtc) == nullptr) return false;
    char sBuffer[64];
    std::snprintf(sBuffer, sizeof(sBuffer), "%04d-%02d-%02d", tmUtc.tm_year + 1900, tmUtc.tm_mon + 1, tmUtc.tm_mday);
    sIso = sBuffer;
    std::snprintf(sBuffer, sizeof(sBuffer), "%d %s %04d", tmUtc.tm_mday, kMonths[tmUtc.tm_mon], tmUtc.tm_year + 1900);
    sHuman = sBuffer;
    if (tmUtc.tm_hour != 0 || tmUtc.tm_min != 0) {
        std::snprintf(sBuffer, sizeof(sBuffer), "T%02d:%02dZ", tmUtc.tm_hour, tmUtc.tm_min);
        sIso += sBuffer;
        std::snprintf(sBuffer, sizeof(sBuffer), " %02d:%02d UTC", tmUtc.tm_hour, tmUtc.tm_min);
        sHuman += sBuffer;
    }
    return true;
}

// One end of the display window as markup; empty when the tile does not set it (0 or absent).
std::string WindowEnd(const Json::Value& value, const char* sClass)
{
    if (value.isNull()) return std::string();
    long long llSeconds = 0;
    if (AsInteger(value, llSeconds)) {
        if (llSeconds == 0) return std::string();
        std::string sIso, sHuman;
        if (FormatDate(llSeconds, sIso, sHuman)) {
            return std::string("<time class=\"") + sClass + "\" datetime=\"" + sIso + "\">" + sHuman + "</time>";
        }
    }
    const std::string sText = MemberText(value);
    if (sText.empty()) return std::string();
    return std::string("<span class=\"") + sClass + "\">" + EscapeHtml(sText) + "</span>";
}

std::string DisplayWindow(const Json::Value& tile)
{
    const std::string sFrom = WindowEnd(tile["tile_display_from"], "tile-window-from");
    const std::string sUntil = WindowEnd(tile["tile_display_until"], "tile-window-until");
    if (sFrom.empty() && sUntil.empty()) return std::string();
    std::string sHtml = "<p class=\"tile-window\">";
    if (!sFrom.empty() && !sUntil.empty()) {
        sHtml += sFrom + " \xE2\x80\x93 " + sUntil;
    } else if (!sFrom.empty()) {
        sHtml += "from " + sFrom;
    } else {
        sHtml += "until " + sUntil;
    }
    return sHtml + "</p>";
}

// The address the card's image comes from: the image URL, else the local image path.
std::string TileImageSource(const Json::Value& tile)
{
    const std::string sUrl = MemberText(tile["tile_image_url"]);
    if (!sUrl.empty()) return PageImageUrl(sUrl);
    return FileUrlFromPath(MemberText(tile["tile_image_path"]));
}

std::string Placeholder(const char* sReason, const std::string& sRatioLabel)
{
    return std::string("<div class=\"tile-placeholder\" data-placeholder=\"") + sReason +
           "\"><span class=\"tile-placeholder-icon\"></span><span class=\"tile-placeholder-ratio\">" +
           EscapeHtml(sRatioLabel) + "</span></div>";
}

// Whether the service would show the tile at llNow, judged as its statistics judge it: an end
// before now or a start after now hides it; 0 is no bound. Empty when it is shown.
std::string OutsideWindowReason(const Json::Value& tile, long long llNow, std::string& sState)
{
    long long llUntil = 0, llFrom = 0;
    std::string sIso, sHuman;
    if (AsInteger(tile["tile_display_until"], llUntil) && llUntil > 0 && llUntil < llNow) {
        sState = "over";
        return FormatDate(llUntil, sIso, sHuman) ? "not shown: its display window ended " + sHuman
                                                 : std::string("not shown: its display window is over");
    }
    if (AsInteger(tile["tile_display_from"], llFrom) && llFrom > llNow) {
        sState = "not-yet";
        return FormatDate(llFrom, sIso, sHuman) ? "not shown yet: its display window begins " + sHuman
                                                : std::string("not shown yet: its display window has not begun");
    }
    return std::string();
}

std::string RenderTile(const Json::Value& tile, Json::ArrayIndex uSection, Json::ArrayIndex uTile,
                       const PT_RENDER_OPTIONS& options)
{
    const PT_IMAGE_RATIO ratio = TileImageRatio(tile);
    const int iWidthPx = static_cast<int>(std::lround(kImageHeightPx * ratio.dWidth / ratio.dHeight));
    const int iHue = static_cast<int>((uSection * 67 + uTile * 29 + 200) % 360);
    const bool bPlayable = IsTrue(tile["tile_playable"]);
    const std::string sImage = TileImageSource(tile);
    const std::string sTitle = MemberText(tile["tile_title"]);
    const std::string sSubtitle = MemberText(tile["tile_subtitle"]);

    char sStyle[160];
    std::snprintf(sStyle, sizeof(sStyle), "width:%dpx;--hue:%d", iWidthPx, iHue);
    std::string sWindowState;
    const std::string sOutside = options.llNow > 0 ? OutsideWindowReason(tile, options.llNow, sWindowState) : "";
    std::string sHtml = "<li class=\"tile";
    if (uSection == 0 && uTile == 0) sHtml += " is-focused";  // where the home screen's focus starts
    if (!sOutside.empty()) sHtml += " is-outside-window";
    sHtml += "\" data-tile-index=\"" + std::to_string(uTile) + "\"";
    // The store's own row id, by which a live page follows a tile from one publish to the next.
    const std::string sRowId = MemberText(tile["_id"]);
    if (!sRowId.empty()) sHtml += " data-row-id=\"" + EscapeHtml(sRowId) + "\"";
    if (!sWindowState.empty()) sHtml += " data-window=\"" + sWindowState + "\"";
    const std::string sId = MemberText(tile["tile_id"]);
    if (!sId.empty()) sHtml += " data-tile-id=\"" + EscapeHtml(sId) + "\"";
    sHtml += std::string(" data-playable=\"") + (bPlayable ? "true" : "false") + "\"";
    sHtml += std::string(" data-image-state=\"") + (sImage.empty() ? "none" : "loading") + "\"";
    sHtml += std::string(" style=\"") + sStyle + "\">";

    char sRatioStyle[96];
    std::snprintf(sRatioStyle, sizeof(sRatioStyle), "aspect-ratio:%.4g / %.4g", ratio.dWidth, ratio.dHeight);
    sHtml += "<div class=\"tile-image\" data-image-ratio=\"" + EscapeHtml(ratio.sLabel) + "\" style=\"" + sRatioStyle +
             "\">";
    if (sImage.empty()) {
        sHtml += Placeholder("no-image", ratio.sLabel);
    } else {
        sHtml += "<img class=\"tile-img\" src=\"" + EscapeHtml(sImage) + "\" alt=\"\" decoding=\"async\">";
    }
    if (bPlayable)
        sHtml += "<span class=\"tile-playable\" title=\"Playable\" aria-label=\"playable\">\xE2\x96\xB6</span>";
    long long llProgress = 0;
    if (AsInteger(tile["tile_progress"], llProgress) && llProgress > 0) {
        if (llProgress > 100) llProgress = 100;
        sHtml += "<div class=\"tile-progress\"><span class=\"tile-progress-bar\" style=\"width:" +
                 std::to_string(llProgress) + "%\"></span></div>";
    }
    sHtml += "</div>";

    sHtml += "<div class=\"tile-text\">";
    if (sTitle.empty()) {
        sHtml += "<h3 class=\"tile-title is-empty\">Untitled</h3>";
    } else {
        sHtml += "<h3 class=\"tile-title\">" + EscapeHtml(sTitle) + "</h3>";
    }
    if (!sSubtitle.empty()) sHtml += "<p class=\"tile-subtitle\">" + EscapeHtml(sSubtitle) + "</p>";
    sHtml += DisplayWindow(tile);
    if (!sOutside.empty()) sHtml += "<p class=\"tile-window-state\">" + EscapeHtml(sOutside) + "</p>";
    sHtml += "</div></li>\n";
    return sHtml;
}

std::string RenderSection(const Json::Value& section, Json::ArrayIndex uSection, const PT_RENDER_OPTIONS& options)
{
    const std::string sMode = MemberText(section["section_title_display_mode"]);
    std::string sHtml = "<section class=\"preview-section\" data-section-index=\"" + std::to_string(uSection) + "\"";
    const std::string sId = MemberText(section["section_id"]);
    if (!sId.empty()) sHtml += " data-section-id=\"" + EscapeHtml(sId) + "\"";
    if (!sMode.empty()) sHtml += " data-title-display-mode=\"" + EscapeHtml(sMode) + "\"";
    const std::string sRowId = MemberText(section["_id"]);
    if (!sRowId.empty()) sHtml += " data-row-id=\"" + EscapeHtml(sRowId) + "\"";
    sHtml += ">\n";

    // The title is always drawn; a row whose title the home screen hides or shows only when
    // focused says so beside it.
    std::string sTitleClass = "section-title";
    std::string sModeNote;
    if (sMode == "highlighted_only") {
        sTitleClass += " is-highlighted-only";
        sModeNote = "shown when focused";
    } else if (sMode == "never") {
        sTitleClass += " is-never";
        sModeNote = "title hidden";
    }
    sHtml += "<h2 class=\"" + sTitleClass + "\"><span class=\"section-title-text\">" +
             EscapeHtml(MemberText(section["section_title"])) + "</span>";
    if (!sModeNote.empty()) sHtml += "<span class=\"section-title-mode\">" + sModeNote + "</span>";
    sHtml += "</h2>\n";

    const Json::Value& tiles = section["tiles"];
    if (!tiles.isArray() || tiles.empty()) {
        sHtml += "<p class=\"tile-row-empty\">No tiles stored in this section.</p>\n";
    } else {
        sHtml += "<ol class=\"tile-row\">\n";
        for (Json::ArrayIndex uTile = 0; uTile < tiles.size(); ++uTile) {
            if (tiles[uTile].isObject()) sHtml += RenderTile(tiles[uTile], uSection, uTile, options);
        }
        sHtml += "</ol>\n";
    }
    return sHtml + "</section>\n";
}

}  // namespace

std::string PageScriptHash(const std::string& sScript)
{
    g_autoptr(GChecksum) pChecksum = g_checksum_new(G_CHECKSUM_SHA256);
    g_checksum_update(pChecksum, reinterpret_cast<const guchar*>(sScript.data()), static_cast<gssize>(sScript.size()));
    guint8 aDigest[32];
    gsize uLen = sizeof(aDigest);
    g_checksum_get_digest(pChecksum, aDigest, &uLen);
    g_autofree gchar* pBase64 = g_base64_encode(aDigest, uLen);
    return std::string("sha256-") + pBase64;
}

std::string TileOutsideWindowReason(const Json::Value& tile, long long llNow)
{
    std::string sState;
    return OutsideWindowReason(tile, llNow, sState);
}

std::string RenderSectionsHtml(const Json::Value& stored, const PT_RENDER_OPTIONS& options)
{
    std::string sHtml;
    const Json::Value empty;
    const Json::Value& sections = stored.isObject() ? stored["sections"] : empty;
    Json::ArrayIndex uIndex = 0;
    if (sections.isArray()) {
        for (const Json::Value& section : sections) {
            if (section.isObject()) sHtml += RenderSection(section, uIndex++, options);
        }
    }
    return sHtml;
}

std::string RenderPreviewHtml(const Json::Value& stored, const std::string& sModule)
{
    const Json::Value empty;
    const Json::Value& sections = stored.isObject() ? stored["sections"] : empty;
    Json::ArrayIndex uSections = 0;
    size_t uTiles = 0;
    if (sections.isArray()) {
        for (const Json::Value& section : sections) {
            if (!section.isObject()) continue;
            ++uSections;
            if (section["tiles"].isArray()) uTiles += section["tiles"].size();
        }
    }
    const std::string sAccelTitle = stored.isObject() ? MemberText(stored["accelerator_title"]) : std::string();
    const std::string sHeading = sAccelTitle.empty() ? sModule : sAccelTitle;
    const char* sScript = PreviewPageScript();

    std::string sHtml =
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; img-src http: https: file:; "
        "style-src 'unsafe-inline'; script-src '" +
        PageScriptHash(sScript) +
        "'\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<title>Preview of " +
        EscapeHtml(sModule) + "</title>\n<style>" + PreviewPageStyle() + "</style>\n</head>\n<body>\n";
    sHtml += "<header class=\"preview-header\"><h1 class=\"preview-title\">" + EscapeHtml(sHeading) +
             "</h1><p class=\"preview-module\">" + EscapeHtml(sModule) + "</p><p class=\"preview-counts\">" +
             std::to_string(uSections) + (uSections == 1 ? " section, " : " sections, ") + std::to_string(uTiles) +
             (uTiles == 1 ? " tile" : " tiles") + "</p></header>\n";
    sHtml += "<main class=\"preview\" data-module=\"" + EscapeHtml(sModule) + "\" data-section-count=\"" +
             std::to_string(uSections) + "\" data-tile-count=\"" + std::to_string(uTiles) + "\">\n";
    if (uSections == 0) sHtml += "<p class=\"preview-empty\">Nothing stored for this module.</p>\n";
    sHtml += RenderSectionsHtml(stored, PT_RENDER_OPTIONS());
    sHtml += "</main>\n<script>" + std::string(sScript) + "</script>\n</body>\n</html>\n";
    return sHtml;
}
