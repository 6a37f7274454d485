// How much of the store one module may hold, so that no app can fill the disk, or make every
// other module's requests wait behind its own, on a store that all of them depend on.
//
// The defaults leave room for every preview the library publishes. A document carries at most
// 300 tiles (the larger of the library's two tile limits), and while a publish runs the store
// can hold the tiles of both the old and the new document: the common sections get their new
// tiles before the sections that went away lose theirs. So 2000 tiles is more than three times
// what any publish needs. Sections have no limit in the library, but a section is only shown
// with tiles and 300 tiles fill at most 300 sections; 1000 leaves room for empty ones. Bytes
// count every value of the module's accelerator, section and tile rows as text.
#pragma once

struct PT_MODULE_QUOTA {
    long long llSections = 1000;
    long long llTiles = 2000;
    long long llBytes = 64LL * 1024 * 1024;
};

// `pelmoctl validate` warns for a document that reaches this share of a quota.
constexpr int kQuotaWarnPercent = 80;
