// The content key of a tile, from the texts that make it, for the parser and the store loader
// alike. CPreviewDataUtil::CalcTileHash gives the same key; this form takes the texts where
// they are, without the four copies its parameters make.
#pragma once

#include <cstdint>
#include <string_view>

namespace PreviewHash {
uint64_t TileKey(std::string_view sTitle, std::string_view sSubtitle, std::string_view sImageUrl,
                 std::string_view sAction);
}  // namespace PreviewHash
