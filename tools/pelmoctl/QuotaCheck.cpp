#include "QuotaCheck.h"

#include <string>

namespace {
// What the store does beyond a quota, said once for every finding.
const char* const kRefusal = "the store refuses whole every write that would put the module over it";

long long ValueBytes(const PropertyMap& mapProperty)
{
    long long llBytes = 0;
    for (const auto& entry : mapProperty) llBytes += static_cast<long long>(entry.second.second.size());
    return llBytes;
}

bool Near(long long llCount, long long llLimit)
{
    return llCount * 100 >= llLimit * kQuotaWarnPercent;
}

std::string Percent(long long llCount, long long llLimit)
{
    return std::to_string(llLimit > 0 ? llCount * 100 / llLimit : 0) + "%";
}

void Add(bool bError, const PT_ITEM_PLACE& place, const std::string& sMessage,
         std::vector<PT_VALIDATE_FINDING>& vecFinding)
{
    PT_VALIDATE_FINDING finding;
    finding.bError = bError;
    finding.sPath = place.sPath;
    finding.iLine = place.iLine;
    finding.sKind = ValidateKind::QUOTA;
    finding.sMessage = sMessage;
    vecFinding.push_back(finding);
}

struct PT_COUNTED {
    const char* sWhat;     // "sections"
    const char* sNote;     // said of the count, or ""
    const char* sMissing;  // what is missing when the count is over the quota
};

// One count against its quota: an error at the first item over it, or a warning near it.
void CheckCount(long long llCount, long long llLimit, const PT_COUNTED& counted, const PT_ITEM_PLACE* pFirstOver,
                const PT_ITEM_PLACE& sectionsPlace, std::vector<PT_VALIDATE_FINDING>& vecFinding)
{
    const std::string sCount = std::to_string(llCount) + " " + counted.sWhat;
    const std::string sQuota =
        "the store's quota of " + std::to_string(llLimit) + " " + counted.sWhat + " per module" + counted.sNote;
    if (llCount > llLimit && pFirstOver != nullptr) {
        Add(true, *pFirstOver, sCount + " are over " + sQuota + "; " + kRefusal + ", so " + counted.sMissing,
            vecFinding);
    } else if (Near(llCount, llLimit)) {
        Add(false, sectionsPlace,
            sCount + " come to " + Percent(llCount, llLimit) + " of " + sQuota + "; " + kRefusal +
                ", and what that write carries would be missing",
            vecFinding);
    }
}
}  // namespace

long long EstimatedStoredBytes(const CPreviewAccelerator& accelerator)
{
    long long llBytes = 0;
    for (const auto& pSection : accelerator.m_vecSection) {
        if (!pSection) continue;
        llBytes += ValueBytes(pSection->m_mapProperty);
        for (const auto& pTile : pSection->m_vecTile) {
            if (pTile) llBytes += ValueBytes(pTile->m_mapProperty);
        }
    }
    return llBytes;
}

void CheckModuleQuota(const CPreviewAccelerator& accelerator, const std::vector<PT_SECTION_PLACE>& vecSection,
                      const PT_ITEM_PLACE& sectionsPlace, const PT_MODULE_QUOTA& quota,
                      std::vector<PT_VALIDATE_FINDING>& vecFinding)
{
    const long long llSections = static_cast<long long>(vecSection.size());
    const PT_ITEM_PLACE* pFirstSectionOver =
        llSections > quota.llSections ? &vecSection[static_cast<size_t>(quota.llSections)].place : nullptr;
    CheckCount(llSections, quota.llSections,
               PT_COUNTED{"sections", "", "this section and the ones after it would be missing"}, pFirstSectionOver,
               sectionsPlace, vecFinding);

    long long llTiles = 0;
    const PT_ITEM_PLACE* pFirstTileOver = nullptr;
    for (const PT_SECTION_PLACE& section : vecSection) {
        for (const PT_ITEM_PLACE& tile : section.vecTile) {
            if (++llTiles == quota.llTiles + 1) pFirstTileOver = &tile;
        }
    }
    CheckCount(llTiles, quota.llTiles,
               PT_COUNTED{"tiles", " (while a publish runs, the tiles it replaces still count)",
                          "the tiles of this tile's section and of the sections after it would be missing"},
               pFirstTileOver, sectionsPlace, vecFinding);

    const long long llBytes = EstimatedStoredBytes(accelerator);
    if (!Near(llBytes, quota.llBytes)) return;
    const bool bOver = llBytes > quota.llBytes;
    const PT_ITEM_PLACE documentPlace{JsonPathRoot(), 1};
    Add(bOver, documentPlace,
        "the values the publish writes come to about " + std::to_string(llBytes) +
            " bytes (an estimate: every value the reader makes of the sections and tiles, as text), " +
            (bOver ? std::string("over") : Percent(llBytes, quota.llBytes) + " of") + " the store's quota of " +
            std::to_string(quota.llBytes) + " bytes per module; " + kRefusal +
            ", so the sections and tiles whose writes would go over it would be missing",
        vecFinding);
}
