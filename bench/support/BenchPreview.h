// Preview documents for the benchmarks, and the check that a read-back holds a document.
#pragma once

#include <json/json.h>

#include <string>

namespace BenchPreview {

// A preview of `iSections` sections of `iTilesPerSection` tiles. `iVariant` changes every title
// and action, so two variants share no tile; in each section the first `iChangedPerSection`
// tiles get another title, which makes them new tiles to the store, and so does every
// `iChangeEvery`-th tile of the whole document (counted from its first) when that is positive.
inline std::string MakeDocument(int iVariant = 0, int iChangedPerSection = 0, int iSections = 10,
                                int iTilesPerSection = 20, int iChangeEvery = 0)
{
    const std::string sVariant = iVariant == 0 ? "" : " v" + std::to_string(iVariant);
    Json::Value root;
    for (int s = 0; s < iSections; ++s) {
        Json::Value section;
        section["section_id"] = s + 1;
        section["section_title"] = "Section " + std::to_string(s) + sVariant;
        section["section_position"] = s;
        for (int t = 0; t < iTilesPerSection; ++t) {
            const bool bChanged =
                t < iChangedPerSection || (iChangeEvery > 0 && (s * iTilesPerSection + t) % iChangeEvery == 0);
            const std::string sNumber = std::to_string(s * 100 + t);
            Json::Value tile;
            tile["tile_id"] = s * 100 + t;
            tile["tile_title"] = std::string(bChanged ? "Changed tile " : "Tile ") + sNumber + sVariant;
            tile["tile_subtitle"] = "Subtitle " + std::to_string(t);
            tile["tile_image_url"] = "https://images.example.org/" + sNumber + ".jpg";
            tile["tile_image_ratio"] = "16:9";
            tile["tile_image_width"] = 640;
            tile["tile_image_height"] = 360;
            tile["tile_position"] = t;
            tile["tile_playable"] = true;
            tile["action_data"] =
                "app://org.example.player/play?id=" + sNumber + (iVariant ? "&v=" + std::to_string(iVariant) : "");
            tile["tile_display_from"] = 1767225600;
            tile["tile_display_until"] = 1893456000;
            section["tiles"].append(tile);
        }
        root["sections"].append(section);
    }
    return Json::FastWriter().write(root);
}

// A document member as the store gives it back: booleans come back as 0 / 1.
inline Json::Value AsStored(const Json::Value& value)
{
    if (value.isBool()) return Json::Value(value.asBool() ? 1 : 0);
    return value;
}

// Empty when the read-back holds every section and tile of the document, in the document's
// order and with every member the document gives; otherwise the first difference found.
// Members the document does not name (row ids, defaults) may be in the read-back too.
inline std::string FirstDifference(const Json::Value& document, const Json::Value& readBack)
{
    const Json::Value& docSections = document["sections"];
    const Json::Value& gotSections = readBack["sections"];
    if (gotSections.size() != docSections.size()) {
        return "sections: " + std::to_string(gotSections.size()) + " instead of " + std::to_string(docSections.size());
    }
    for (Json::ArrayIndex s = 0; s < docSections.size(); ++s) {
        const Json::Value& docSection = docSections[s];
        const Json::Value& gotSection = gotSections[s];
        for (const std::string& sName : docSection.getMemberNames()) {
            if (sName == "tiles") continue;
            if (gotSection[sName] != AsStored(docSection[sName])) {
                return "section " + std::to_string(s) + " member " + sName;
            }
        }
        const Json::Value& docTiles = docSection["tiles"];
        const Json::Value& gotTiles = gotSection["tiles"];
        if (gotTiles.size() != docTiles.size()) {
            return "section " + std::to_string(s) + ": " + std::to_string(gotTiles.size()) + " tiles instead of " +
                   std::to_string(docTiles.size());
        }
        for (Json::ArrayIndex t = 0; t < docTiles.size(); ++t) {
            for (const std::string& sName : docTiles[t].getMemberNames()) {
                const std::string sColumn = sName == "action_data" ? "tile_action_play" : sName;
                if (sName.rfind("tile_", 0) != 0 && sName != "action_data") {
                    // Not a column: it travels inside the tile's public extra text.
                    Json::Value extra;
                    if (!Json::Reader().parse(gotTiles[t]["public_extra"].asString(), extra) ||
                        extra[sName] != docTiles[t][sName]) {
                        return "section " + std::to_string(s) + " tile " + std::to_string(t) + " extra " + sName;
                    }
                    continue;
                }
                if (gotTiles[t][sColumn] != AsStored(docTiles[t][sName])) {
                    return "section " + std::to_string(s) + " tile " + std::to_string(t) + " member " + sName;
                }
            }
        }
    }
    return "";
}

}  // namespace BenchPreview
