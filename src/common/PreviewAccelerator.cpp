#include "PreviewAccelerator.h"

#include <pelmo/TilesModel.h>

// Log lines name this unit by its path in the tree, whatever path the build hands the compiler.
#define PELMO_LOG_UNIT "src/common/PreviewAccelerator.cpp"
#include "PelmoLog.h"

namespace {
const PropertyValue kNone{JSON_VALUE_NONE, ""};
}  // namespace

namespace {
// A publish builds hundreds of tiles; each starts as a copy of one default map, built once,
// which is cheaper than inserting 28 keys one by one.
PropertyMap MakeTileDefaults()
{
    PropertyMap mapProperty;
    using namespace TilesModel::Tiles;
    for (const char* sKey : {_ID, TILE_ID, TILE_SECTION_RAW_ID, TILE_TYPE, TILE_TITLE, TILE_SUBTITLE,
                             TILE_DISPLAY_FROM, TILE_DISPLAY_UNTIL, TILE_ACTION_PLAY, TILE_ACTION_CLICK}) {
        mapProperty.emplace(sKey, kNone);
    }
    mapProperty.emplace(TILE_ACTION_TYPE, PropertyValue{JSON_VALUE_STRING, TileActionTypes::TILE_ACTION_APP_LAUNCH});
    for (const char* sKey : {TILE_ACTION_DETAILS, TILE_IMAGE_URL, TILE_IMAGE_PATH, TILE_IMAGE_WIDTH, TILE_IMAGE_HEIGHT,
                             TILE_IMAGE_RATIO, TILE_SOURCE_ICON, TILE_SOURCE_ICON_PATH, TILE_ACTION_PRE_PLAY,
                             TILE_ACTION_POST_PLAY, TILE_EXTRA_APP_ID, TILE_PLAYABLE, TILE_POSITION, TILE_PROGRESS,
                             TILE_NOTIFICATION, TILE_FAVORITE, TILE_EXTRA}) {
        mapProperty.emplace(sKey, kNone);
    }
    return mapProperty;
}
}  // namespace

CPreviewTile::CPreviewTile()
{
    static const PropertyMap kDefaults = MakeTileDefaults();
    m_mapProperty = kDefaults;
}

CPreviewTile::~CPreviewTile()
{
    m_mapProperty.clear();
}

CPreviewSection::CPreviewSection()
{
    using namespace TilesModel::Sections;
    for (const char* sKey : {_ID, SECTION_ID, SECTION_TITLE, SECTION_POSITION, SECTION_ACCELERATOR_RAW_ID}) {
        m_mapProperty.emplace(sKey, kNone);
    }
    // Both display modes default to the title mode's highlighted-only text.
    const PropertyValue highlighted{JSON_VALUE_STRING, SectionTitleDisplayMode::SECTION_TITLE_DISPLAY_MODE_HIGHLIGHTED_ONLY};
    m_mapProperty.emplace(SECTION_TITLE_DISPLAY_MODE, highlighted);
    m_mapProperty.emplace(SECTION_SUBTITLE_DISPLAY_MODE, highlighted);
    m_mapProperty.emplace(SECTION_EXTRA, kNone);
}

CPreviewSection::~CPreviewSection()
{
    m_mapProperty.clear();
    m_vecTile.clear();
    m_vecTileHash.clear();
}

CPreviewAccelerator::CPreviewAccelerator()
{
    using namespace TilesModel::Accelerators;
    namespace Internal = TilesInternalModel::Accelerators;
    for (const char* sKey : {_ID, ACCELERATOR_TITLE, ACCELERATOR_ICON, ACCELERATOR_ICON_UNFOCUSED, ACCELERATOR_ENABLED,
                             ACCELERATOR_ID, Internal::ACCELERATOR_APP_PKG_NAME, Internal::ACCELERATOR_WAS_WEB_APP_ID,
                             Internal::ACCELERATOR_POSITION, "expires"}) {
        m_mapProperty.emplace(sKey, kNone);
    }
}

CPreviewAccelerator::~CPreviewAccelerator()
{
    m_mapProperty.clear();
    m_vecSection.clear();
    m_vecSectionHash.clear();
}

void CPreviewAccelerator::AddProperty(const std::string& sKey, int iType, const std::string& sValue, int iDepth)
{
    switch (iDepth) {
    case 3:
        m_vecSection.push_back(std::make_shared<CPreviewSection>());
        return;
    case 4: {
        auto it = m_mapProperty.find(sKey);
        if (it != m_mapProperty.end()) it->second = PropertyValue{iType, sValue};
        return;
    }
    case 2: {
        if (m_vecSection.empty() || !m_vecSection.back()) return;
        PropertyMap& mapSection = m_vecSection.back()->m_mapProperty;
        auto it = mapSection.find(sKey);
        if (it != mapSection.end()) it->second = PropertyValue{iType, sValue};
        return;
    }
    case 1:
        if (m_vecSection.empty() || !m_vecSection.back()) return;
        m_vecSection.back()->m_vecTile.push_back(std::make_shared<CPreviewTile>());
        return;
    case 0: {
        if (m_vecSection.empty() || !m_vecSection.back()) return;
        CPreviewSection& section = *m_vecSection.back();
        if (section.m_vecTile.empty() || !section.m_vecTile.back()) return;
        PropertyMap& mapTile = section.m_vecTile.back()->m_mapProperty;
        // Three document names are stored under columns of other names; other names must
        // already be columns of the tile.
        PropertyMap::iterator it;
        if (sKey == "action_data") {
            it = mapTile.try_emplace(TilesModel::Tiles::TILE_ACTION_PLAY).first;
        } else if (sKey == "public_extra") {
            it = mapTile.try_emplace(TilesModel::Tiles::TILE_ACTION_PRE_PLAY).first;
        } else if (sKey == "source_icon") {
            it = mapTile.try_emplace(TilesModel::Tiles::TILE_SOURCE_ICON).first;
        } else {
            it = mapTile.find(sKey);
            if (it == mapTile.end()) return;
        }
        it->second.first = iType;
        it->second.second = sValue;
        return;
    }
    default:
        PELMO_LOGE("ERROR, Invalid depth value.");
        return;
    }
}
