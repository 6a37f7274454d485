// The style sheet of the rendered preview page: a dark home screen with one horizontal row of
// cards per section. Inlined into the page, which must not fetch anything but tile images.
#pragma once

// Constant text; it holds nothing from the store.
const char* PreviewPageStyle();
