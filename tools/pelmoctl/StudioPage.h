// The one page of `pelmoctl studio`: the home screen's rows, drawn by the render code as the
// server sends them, kept live through server-sent events, with remote-control keys.
#pragma once

#include <string>

// The page, the same for every request.
const std::string& StudioPageHtml();
// Its Content-Security-Policy: its own script by hash, its own event stream, the tiles' images.
const std::string& StudioPagePolicy();
