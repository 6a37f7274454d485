#include "NameSuggestion.h"

#include <algorithm>

size_t EditDistance(const std::string& sFrom, const std::string& sTo)
{
    // One row of the distance table at a time.
    std::vector<size_t> vecRow(sTo.size() + 1);
    for (size_t j = 0; j <= sTo.size(); ++j) vecRow[j] = j;
    for (size_t i = 1; i <= sFrom.size(); ++i) {
        size_t iDiagonal = vecRow[0];
        vecRow[0] = i;
        for (size_t j = 1; j <= sTo.size(); ++j) {
            const size_t iAbove = vecRow[j];
            const size_t iCost = sFrom[i - 1] == sTo[j - 1] ? 0 : 1;
            vecRow[j] = std::min({iAbove + 1, vecRow[j - 1] + 1, iDiagonal + iCost});
            iDiagonal = iAbove;
        }
    }
    return vecRow[sTo.size()];
}

std::string SuggestName(const std::string& sName, const std::vector<std::string>& vecKnown,
                        const std::string& sCommonPrefix)
{
    // Names of unbounded length are not worth comparing; nobody misspells a 100-byte name.
    constexpr size_t kLongestName = 64;
    if (sName.empty() || sName.size() > kLongestName) return std::string();
    const bool bTryPrefix = !sCommonPrefix.empty() && sName.compare(0, sCommonPrefix.size(), sCommonPrefix) != 0;
    std::string sBest;
    size_t iBest = static_cast<size_t>(-1);
    for (const std::string& sKnown : vecKnown) {
        size_t iDistance = EditDistance(sName, sKnown);
        if (bTryPrefix) iDistance = std::min(iDistance, EditDistance(sCommonPrefix + sName, sKnown));
        if (iDistance < iBest) {
            iBest = iDistance;
            sBest = sKnown;
        }
    }
    // Plausible: at most 2 edits, or a fifth of the name for long names.
    const size_t iAllowed = std::max<size_t>(2, sName.size() / 5);
    if (iBest > iAllowed || sBest == sName) return std::string();
    return sBest;
}
