// `pelmoctl render MODULE -o FILE.html`: draws a module's stored preview as a home-screen row
// would, in one self-contained HTML page.
#pragma once

#include <json/json.h>

#include <string>

struct PT_RENDER_OPTIONS {
    // Seconds since 1970 at which tiles are judged against their display window (marked, with
    // the reason, when the service would not show them); 0 judges nothing.
    long long llNow = 0;
};

// The sections of a stored preview as the page draws them, one <section> each, without the
// page around them (a live page puts them into its own).
std::string RenderSectionsHtml(const Json::Value& stored, const PT_RENDER_OPTIONS& options);

// Why the service would not show the tile at llNow (its display window is over or has not
// begun), in words; empty when it would show it.
std::string TileOutsideWindowReason(const Json::Value& tile, long long llNow);

// The Content-Security-Policy source ("sha256-...") that lets a page run exactly this script:
// nothing from the store can run.
std::string PageScriptHash(const std::string& sScript);

// The page for a stored preview as get_preview_metadata gives it (parsed).
std::string RenderPreviewHtml(const Json::Value& stored, const std::string& sModule);

// Runs the subcommand on its own arguments (argv[0] is "render"); the bus must already be set
// up. Returns the exit status: 0 written, 1 failure (one line on standard error), 2 bad usage.
int RunRenderCommand(int argc, char** argv);
