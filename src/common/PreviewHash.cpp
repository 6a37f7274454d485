// Content keys: the synchronisation recognises an unchanged tile or section by these, so the
// parser and the store loader must compute them the same way, with this one definition.
#include <functional>

#include "PreviewDataUtil.h"

uint64_t CPreviewDataUtil::CalcTileHash(std::string sTitle, std::string sSubtitle, std::string sImageUrl,
                                        std::string sAction)
{
    const std::hash<std::string> hasher;
    const uint64_t a = hasher(sTitle + sAction);
    const uint64_t b = hasher(sSubtitle + sImageUrl);
    return a ^ (b << 1);
}

uint64_t CPreviewDataUtil::CalcSectionHash(const std::string& sTitle, const std::string& sId)
{
    const std::hash<std::string> hasher;
    return static_cast<uint64_t>(hasher(sTitle)) ^ (static_cast<uint64_t>(hasher(sId)) << 1);
}
