// The modules the preview treats apart from the rest.
#include "PreviewModuleRules.h"

namespace PreviewModuleRules {
int TileLimit(const std::string& sModule)
{
    return sModule == kLargeLimitModule ? kLargeTileLimit : kTileLimit;
}

bool DisplayPeriodIsPartOfTheKey(const std::string& sModule)
{
    return sModule.find("livetv_") != std::string::npos || sModule == kPlayColumnKeyModule || sModule == "ambrel" ||
           sModule == "ambrel_foryou" || sModule == "ambrel_banner";
}

bool PlayColumnIsPartOfTheKey(const std::string& sModule)
{
    return sModule == kPlayColumnKeyModule;
}
}  // namespace PreviewModuleRules
