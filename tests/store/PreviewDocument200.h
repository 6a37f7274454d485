// A preview document of 200 tiles (10 sections of 20), as the store tests publish it.
#pragma once

#include <json/json.h>

#include <string>

// sVariant is appended to every tile title (another variant shares no tile); iExtraBytes of
// tile_extra make the rows larger.
inline std::string PreviewDocument200(const std::string& sVariant = "", std::size_t iExtraBytes = 0)
{
    Json::Value root;
    for (int s = 0; s < 10; ++s) {
        Json::Value section;
        section["section_id"] = s + 1;
        section["section_title"] = "Section " + std::to_string(s);
        section["section_position"] = s;
        for (int t = 0; t < 20; ++t) {
            const std::string sNumber = std::to_string(s * 100 + t);
            Json::Value tile;
            tile["tile_id"] = s * 100 + t;
            tile["tile_title"] = "Tile " + sNumber + sVariant;
            tile["tile_subtitle"] = "Subtitle " + std::to_string(t);
            tile["tile_image_url"] = "https://images.example.org/" + sNumber + ".jpg";
            tile["tile_position"] = t;
            tile["action_data"] = "app://org.example.store-test/play?id=" + sNumber;
            if (iExtraBytes > 0) tile["tile_extra"] = std::string(iExtraBytes, 'e');
            section["tiles"].append(tile);
        }
        root["sections"].append(section);
    }
    return Json::FastWriter().write(root);
}
