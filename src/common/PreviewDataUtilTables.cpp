#include "PreviewDataUtil.h"

std::map<bool, std::string> CPreviewDataUtil::m_mapBoolToString = {{false, "false"}, {true, "true"}};
std::map<std::string, bool> CPreviewDataUtil::m_mapStringToBool = {{"false", false}, {"true", true}};
