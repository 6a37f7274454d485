// `pelmoctl render MODULE -o FILE.html`: draws a module's stored preview as a home-screen row
// would, in one self-contained HTML page.
#pragma once

#include <json/json.h>

#include <string>

// The page for a stored preview as get_preview_metadata gives it (parsed).
std::string RenderPreviewHtml(const Json::Value& stored, const std::string& sModule);

// Runs the subcommand on its own arguments (argv[0] is "render"); the bus must already be set
// up. Returns the exit status: 0 written, 1 failure (one line on standard error), 2 bad usage.
int RunRenderCommand(int argc, char** argv);
