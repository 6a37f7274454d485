#include "RenderCommand.h"

#include <cstdio>

std::string RenderPreviewHtml(const Json::Value&, const std::string&) { return std::string(); }

int RunRenderCommand(int, char**)
{
    std::fprintf(stderr, "pelmoctl: render is not built yet\n");
    return 1;
}
