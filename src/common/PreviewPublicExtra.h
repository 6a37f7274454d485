// A tile's public extra: the members a tile has beyond its columns, with two defaults
// ("is_resumable": false and "video_url": "") where a tile gives them no value, as the JSON
// library's compact writer writes that object.
//
// Tiles often carry a member or two of their own (a resume position, say), and building a value
// tree per tile and running the compact writer over it cost more than the rest of the tile's
// reading. Scalar members are written here, token for token as that writer writes them; a tile
// with an array member, or a text with a NUL byte, is written by the library's writer.
#pragma once

#include <json/json.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace PreviewPublicExtra {

class CExtraMembers {
public:
    // One member, in the order the document's object gives them (ascending byte order of the
    // names). Name and value must outlive Write().
    void Add(std::string_view sName, const Json::Value& value) { m_vecMember.emplace_back(sName, &value); }
    // The compact writer's text of the object of these members and the defaults; for a tile
    // without members of its own, the defaults' text, written once.
    std::string Write() const;

private:
    std::vector<std::pair<std::string_view, const Json::Value*>> m_vecMember;
};

}  // namespace PreviewPublicExtra
