#include "ContentKeyCheck.h"

#include <algorithm>
#include <cstdint>
#include <map>

namespace {
std::string Where(const PT_ITEM_PLACE& place)
{
    return place.iLine > 0 ? place.sPath + " (line " + std::to_string(place.iLine) + ")" : place.sPath;
}

PT_VALIDATE_FINDING SharedKeyFinding(const PT_ITEM_PLACE& place, const PT_ITEM_PLACE& first, const char* sWhat,
                                     const char* sIdentity)
{
    PT_VALIDATE_FINDING finding;
    finding.bError = true;
    finding.sPath = place.sPath;
    finding.iLine = place.iLine;
    finding.sKind = ValidateKind::SHARED_KEY;
    finding.sMessage = std::string("same content key as ") + Where(first) + " (" + sIdentity +
                       "): it will not be stored as a " + sWhat + " of its own";
    return finding;
}
}  // namespace

void CheckSharedContentKeys(const CPreviewAccelerator& accelerator, const std::vector<PT_SECTION_PLACE>& vecSection,
                            std::vector<PT_VALIDATE_FINDING>& vecFinding)
{
    // The reader appends one key per section it finished, in document order.
    const size_t iSections =
        std::min({accelerator.m_vecSectionHash.size(), accelerator.m_vecSection.size(), vecSection.size()});
    std::map<uint64_t, size_t> mapFirstSection;
    for (size_t i = 0; i < iSections; ++i) {
        const auto first = mapFirstSection.emplace(accelerator.m_vecSectionHash[i], i);
        if (!first.second) {
            vecFinding.push_back(SharedKeyFinding(vecSection[i].place, vecSection[first.first->second].place, "section",
                                                  "a section is known by its section_title and section_id"));
        }
        // Tiles are matched only within their own section.
        const CPreviewSection& section = *accelerator.m_vecSection[i];
        const size_t iTiles = std::min(section.m_vecTileHash.size(), vecSection[i].vecTile.size());
        std::map<uint64_t, size_t> mapFirstTile;
        for (size_t j = 0; j < iTiles; ++j) {
            const auto firstTile = mapFirstTile.emplace(section.m_vecTileHash[j], j);
            if (!firstTile.second) {
                vecFinding.push_back(SharedKeyFinding(vecSection[i].vecTile[j],
                                                      vecSection[i].vecTile[firstTile.first->second], "tile",
                                                      "a tile is known by its title, subtitle, image URL and action"));
            }
        }
    }
}
