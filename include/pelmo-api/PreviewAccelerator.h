// The preview tree of one module: an accelerator, its sections, and each section's tiles.
// Every property is a (value type, text) pair keyed by its store column name. The three classes
// are exported with CPreviewDataUtil, whose operations take and fill them.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "PelmoExport.h"

enum JsonValueType {
    JSON_VALUE_BOOL = 0,
    JSON_VALUE_INT = 1,
    JSON_VALUE_UINT = 2,
    JSON_VALUE_DOUBLE = 3,
    JSON_VALUE_STRING = 4,
    JSON_VALUE_NONE = 5,
};

using PropertyValue = std::pair<int, std::string>;
using PropertyMap = std::map<std::string, PropertyValue>;

class PELMO_API CPreviewTile {
public:
    CPreviewTile();
    ~CPreviewTile();

    PropertyMap m_mapProperty;
    uint64_t m_hash = 0;
};

class PELMO_API CPreviewSection {
public:
    CPreviewSection();
    ~CPreviewSection();

    PropertyMap m_mapProperty;
    std::vector<std::shared_ptr<CPreviewTile>> m_vecTile;
    std::vector<uint64_t> m_vecTileHash;
    uint64_t m_hash = 0;
};

class PELMO_API CPreviewAccelerator {
public:
    CPreviewAccelerator();
    ~CPreviewAccelerator();

    // Grows and fills the tree in document order; `depth` says what to do:
    // 0 tile property, 1 new tile, 2 section property, 3 new section, 4 accelerator property.
    void AddProperty(const std::string& sKey, int iType, const std::string& sValue, int iDepth);

    PropertyMap m_mapProperty;
    std::vector<std::shared_ptr<CPreviewSection>> m_vecSection;
    std::vector<uint64_t> m_vecSectionHash;
};
