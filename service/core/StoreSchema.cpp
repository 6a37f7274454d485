#include "StoreSchema.h"

#include <pelmo/TilesModel.h>

namespace {
// Ids, parent ids, positions, sizes, display periods, flags and progress are numbers in the
// preview model (the library writes section and tile ids and display periods as validated
// integers); values arrive as JSON strings and INTEGER affinity turns numeric text into
// integers, so a read-back gives numbers where the model has numbers, while text that is not a
// number is kept as it came. The accelerator id an application chooses stays TEXT, and so does
// the image ratio, which applications write as "16:9".
constexpr const char* kInteger = "INTEGER";
constexpr const char* kText = "TEXT";

CStoreTable MakeAccelerators()
{
    using namespace TilesModel::Accelerators;
    namespace Internal = TilesInternalModel::Accelerators;
    CStoreTable table;
    table.sName = "accelerators";
    table.sContentUri = CONTENT_URI;
    table.vecColumns = {{_ID, kInteger},
                        {ACCELERATOR_TITLE, kText},
                        {ACCELERATOR_ICON, kText},
                        {ACCELERATOR_ICON_UNFOCUSED, kText},
                        {ACCELERATOR_ENABLED, kInteger},
                        {ACCELERATOR_ID, kText},
                        {ACCELERATOR_POSITION, kInteger},
                        {Internal::ACCELERATOR_APP_PKG_NAME, kText},
                        {Internal::ACCELERATOR_WAS_WEB_APP_ID, kText}};
    return table;
}

CStoreTable MakeSections()
{
    using namespace TilesModel::Sections;
    CStoreTable table;
    table.sName = "sections";
    table.sContentUri = CONTENT_URI;
    table.vecColumns = {{_ID, kInteger},
                        {SECTION_ID, kInteger},
                        {SECTION_TITLE, kText},
                        {SECTION_POSITION, kInteger},
                        {SECTION_ACCELERATOR_RAW_ID, kInteger},
                        {SECTION_TITLE_DISPLAY_MODE, kText},
                        {SECTION_SUBTITLE_DISPLAY_MODE, kText},
                        {SECTION_EXTRA, kText}};
    table.sParentColumn = SECTION_ACCELERATOR_RAW_ID;
    table.sParentTable = "accelerators";
    return table;
}

CStoreTable MakeTiles()
{
    using namespace TilesModel::Tiles;
    CStoreTable table;
    table.sName = "tiles";
    table.sContentUri = CONTENT_URI;
    table.vecColumns = {{_ID, kInteger},
                        {TILE_ID, kInteger},
                        {TILE_SECTION_RAW_ID, kInteger},
                        {TILE_TYPE, kText},
                        {TILE_TITLE, kText},
                        {TILE_SUBTITLE, kText},
                        {TILE_DISPLAY_FROM, kInteger},
                        {TILE_DISPLAY_UNTIL, kInteger},
                        {TILE_ACTION_PLAY, kText},
                        {TILE_ACTION_CLICK, kText},
                        {TILE_ACTION_TYPE, kText},
                        {TILE_ACTION_DETAILS, kText},
                        {TILE_IMAGE_URL, kText},
                        {TILE_IMAGE_PATH, kText},
                        {TILE_IMAGE_WIDTH, kInteger},
                        {TILE_IMAGE_HEIGHT, kInteger},
                        {TILE_IMAGE_RATIO, kText},
                        {TILE_SOURCE_ICON, kText},
                        {TILE_SOURCE_ICON_PATH, kText},
                        {TILE_ACTION_PRE_PLAY, kText},
                        {TILE_ACTION_POST_PLAY, kText},
                        {TILE_EXTRA_APP_ID, kText},
                        {TILE_PLAYABLE, kInteger},
                        {TILE_POSITION, kInteger},
                        {TILE_PROGRESS, kInteger},
                        {TILE_NOTIFICATION, kInteger},
                        {TILE_FAVORITE, kInteger},
                        {TILE_EXTRA, kText}};
    table.sParentColumn = TILE_SECTION_RAW_ID;
    table.sParentTable = "sections";
    return table;
}
}  // namespace

bool CStoreTable::HasColumn(const std::string& sColumn) const
{
    return FindColumn(sColumn) != nullptr;
}

const CStoreColumn* CStoreTable::FindColumn(const std::string& sColumn) const
{
    for (const CStoreColumn& column : vecColumns) {
        if (column.sName == sColumn) return &column;
    }
    return nullptr;
}

namespace StoreSchema {
const CStoreTable& Accelerators()
{
    static const CStoreTable kTable = MakeAccelerators();
    return kTable;
}

const CStoreTable& Sections()
{
    static const CStoreTable kTable = MakeSections();
    return kTable;
}

const CStoreTable& Tiles()
{
    static const CStoreTable kTable = MakeTiles();
    return kTable;
}

const std::vector<const CStoreTable*>& AllTables()
{
    static const std::vector<const CStoreTable*> kTables = {&Accelerators(), &Sections(), &Tiles()};
    return kTables;
}

const CStoreTable* FindByContentUri(const std::string& sUri)
{
    for (const CStoreTable* pTable : AllTables()) {
        if (pTable->sContentUri == sUri) return pTable;
    }
    return nullptr;
}

std::vector<std::string> CreateStatements()
{
    std::vector<std::string> vecSql;
    for (const CStoreTable* pTable : AllTables()) {
        std::string sSql = "CREATE TABLE IF NOT EXISTS \"" + pTable->sName + "\" (";
        for (const CStoreColumn& column : pTable->vecColumns) {
            sSql += "\"" + column.sName + "\" " + column.sAffinity;
            if (column.sName == kIdColumn) sSql += " PRIMARY KEY";
            sSql += ", ";
        }
        sSql += "\"" + std::string(kModuleColumn) + "\" TEXT NOT NULL)";
        vecSql.push_back(sSql);
        vecSql.push_back("CREATE INDEX IF NOT EXISTS \"" + pTable->sName + "_module\" ON \"" + pTable->sName +
                         "\" (\"" + kModuleColumn + "\")");
        if (!pTable->sParentColumn.empty()) {
            vecSql.push_back("CREATE INDEX IF NOT EXISTS \"" + pTable->sName + "_parent\" ON \"" + pTable->sName +
                             "\" (\"" + pTable->sParentColumn + "\", \"" + kModuleColumn + "\")");
        }
    }
    return vecSql;
}
}  // namespace StoreSchema
