// The one script of the rendered preview page: it swaps every tile image that cannot be loaded
// for a placeholder box of the tile's image ratio, and records on each tile what it shows.
#pragma once

// Constant text; it holds nothing from the store, so the page can allow exactly this script.
const char* PreviewPageScript();
