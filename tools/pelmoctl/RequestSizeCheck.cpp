#include "RequestSizeCheck.h"

#include <json/json.h>
#include <pelmo/TilesModel.h>

#include "PreviewRequestText.h"

namespace {
// Room for what the request adds around the bulk: the message header, the method and module.
constexpr long long kMessageOverhead = 4096;
}  // namespace

long long TileBulkSize(const CPreviewSection& section)
{
    using namespace TilesModel::Tiles;
    Json::Value document;
    document["table_name"] = CONTENT_URI;
    for (const std::shared_ptr<CPreviewTile>& pTile : section.m_vecTile) {
        if (!pTile) continue;
        Json::Value row;
        // The longest row id the store hands out.
        row[TILE_SECTION_RAW_ID] = "9223372036854775807";
        for (const auto& property : pTile->m_mapProperty) {
            if (!property.second.second.empty()) row[property.first] = property.second.second;
        }
        document["arrayitem"].append(std::move(row));
    }
    return static_cast<long long>(PreviewRequestText::WriteDocument(document).size()) + kMessageOverhead;
}

void CheckRequestSizes(const CPreviewAccelerator& accelerator, const std::vector<PT_SECTION_PLACE>& vecSections,
                       long long llLimit, std::vector<PT_VALIDATE_FINDING>& vecFinding)
{
    for (std::size_t i = 0; i < accelerator.m_vecSection.size(); ++i) {
        if (!accelerator.m_vecSection[i]) continue;
        const long long llSize = TileBulkSize(*accelerator.m_vecSection[i]);
        const bool bOver = llSize > llLimit;
        if (!bOver && llSize * 4 <= llLimit * 3) continue;
        PT_VALIDATE_FINDING finding;
        finding.bError = bOver;
        if (i < vecSections.size()) {
            finding.sPath = vecSections[i].place.sPath;
            finding.iLine = vecSections[i].place.iLine;
        } else {
            finding.sPath = "sections[" + std::to_string(i) + "]";
        }
        finding.sKind = ValidateKind::REQUEST_SIZE;
        finding.sMessage = "the request that stores this section's tiles is about " + std::to_string(llSize) +
                           " bytes; the bus carries at most " + std::to_string(llLimit) + " in one message" +
                           (bOver ? ": the section's tiles would not be stored" : ", so little room is left");
        vecFinding.push_back(finding);
    }
}
