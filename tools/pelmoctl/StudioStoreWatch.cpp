#include "StudioStoreWatch.h"

#include <pelmo/TilesModel.h>

#include <algorithm>
#include <ctime>
#include <memory>
#include <set>
#include <sstream>

#include "PelmoAPI.h"
#include "RenderCommand.h"

namespace {

// The name the studio asks "modules" under; it reads no module's rows as itself.
constexpr const char* kCaller = "org.orvik.pelmoctl.studio";

Json::Value ParseObject(const std::string& sText)
{
    Json::Value value;
    Json::CharReaderBuilder builder;
    std::string sErrors;
    std::unique_ptr<Json::CharReader> pReader(builder.newCharReader());
    if (!pReader->parse(sText.data(), sText.data() + sText.size(), &value, &sErrors)) return Json::Value();
    return value;
}

// Every row of one of the module's tables, each as {column: value}, in the given order.
bool SelectRows(const std::string& sUri, const std::string& sModule, const std::string& sOrder, Json::Value& rows,
                std::string& sError)
{
    PT_CONSUMER_SELECT_IN_PARAM in;
    in.table_name = sUri;
    in.order = sOrder;
    PT_CONSUMER_SELECT_OUT_PARAM out;
    if (!select_request(in, out, sModule) || !out.cursor) {
        sError = "cannot read " + sUri + " of " + sModule;
        return false;
    }
    rows = Json::Value(Json::arrayValue);
    ISQLiteCursor& cursor = *out.cursor;
    cursor.Reset();
    while (cursor.MoveNext() == 0) {
        Json::Value row(Json::objectValue);
        for (int i = 0; i < cursor.GetColumnCount(); ++i) {
            const std::string sName = cursor.GetColumnName(i);
            switch (cursor.GetColumnType(i)) {
                case ISQLiteCursor::COLUMN_TYPE_INT:
                case ISQLiteCursor::COLUMN_TYPE_INT64: {
                    long long ll = 0;
                    if (cursor.GetInt64(i, ll) != 0) {
                        int iValue = 0;
                        cursor.GetInt(i, iValue);
                        ll = iValue;
                    }
                    row[sName] = static_cast<Json::Int64>(ll);
                    break;
                }
                case ISQLiteCursor::COLUMN_TYPE_DOUBLE: {
                    double d = 0;
                    cursor.GetDouble(i, d);
                    row[sName] = d;
                    break;
                }
                default: {
                    std::string sValue;
                    cursor.GetString(i, sValue);
                    row[sName] = sValue;
                }
            }
        }
        rows.append(row);
    }
    return true;
}

std::string RowId(const Json::Value& row)
{
    const Json::Value& id = row["_id"];
    return id.isIntegral() ? std::to_string(id.asInt64()) : id.asString();
}

// The store hands a deleted row's id to the next row it inserts, so a row id alone does not
// follow a tile: it is the same tile when its section and its content key stayed too.
bool SameTile(const Json::Value& before, const Json::Value& after)
{
    for (const char* sColumn :
         {TilesModel::Tiles::TILE_SECTION_RAW_ID, TilesModel::Tiles::TILE_TITLE, TilesModel::Tiles::TILE_SUBTITLE,
          TilesModel::Tiles::TILE_IMAGE_URL, TilesModel::Tiles::TILE_ACTION_PLAY}) {
        if (before[sColumn] != after[sColumn]) return false;
    }
    return true;
}

long long Changed(const Json::Value& entry, const char* sTable, const char* sWhat)
{
    return entry["changes"][sTable][sWhat].asInt64();
}

// A journal entry as the details panel names the request.
Json::Value RequestSummary(const Json::Value& entry)
{
    Json::Value request(Json::objectValue);
    for (const char* sName : {"seq", "time", "method", "table", "rows"}) request[sName] = entry[sName];
    return request;
}

}  // namespace

Json::Value CStudioStoreWatch::TileDetails(const std::string& sModule, const std::string& sRowId) const
{
    auto it = m_mapModule.find(sModule);
    if (it == m_mapModule.end() || !it->second.details.isMember(sRowId)) return Json::Value();
    return it->second.details[sRowId];
}

Json::Value CStudioStoreWatch::StoreState() const
{
    Json::Value state(Json::objectValue);
    state["reachable"] = m_bReachable;
    state["error"] = m_sStoreError;
    return state;
}

bool CStudioStoreWatch::ReadRows(const std::string& sModule, Json::Value& tree, std::string& sError)
{
    Json::Value sections, tiles;
    if (!SelectRows(TilesModel::Sections::CONTENT_URI, sModule, "section_position, _id", sections, sError) ||
        !SelectRows(TilesModel::Tiles::CONTENT_URI, sModule, "tile_section_raw_id, tile_position, _id", tiles,
                    sError)) {
        return false;
    }
    std::map<std::string, Json::Value> mapTiles;
    for (const Json::Value& tile : tiles) {
        Json::Value& list = mapTiles[tile[TilesModel::Tiles::TILE_SECTION_RAW_ID].asString().empty()
                                         ? std::to_string(tile[TilesModel::Tiles::TILE_SECTION_RAW_ID].asInt64())
                                         : tile[TilesModel::Tiles::TILE_SECTION_RAW_ID].asString()];
        if (list.isNull()) list = Json::Value(Json::arrayValue);
        list.append(tile);
    }
    tree = Json::Value(Json::objectValue);
    tree["sections"] = Json::Value(Json::arrayValue);
    for (Json::Value section : sections) {
        auto it = mapTiles.find(RowId(section));
        section["tiles"] = it != mapTiles.end() ? it->second : Json::Value(Json::arrayValue);
        tree["sections"].append(section);
    }
    return true;
}

bool CStudioStoreWatch::Refresh(const Json::Value& listing, CModule& module, bool bFirstSight, bool bForeignWrite,
                                bool& bChanged, std::string& sError)
{
    const std::string sName = listing["module"].asString();
    const long long llSince = bFirstSight ? 0 : module.baseListing["change_seq"].asInt64();
    Json::Value journal;
    if (!StoreCommand::FetchJournal(sName, llSince, journal, sError, m_log)) return false;
    Json::Value tree;
    if (!ReadRows(sName, tree, sError)) return false;

    // What the requests since the last look changed, from the journal.
    Json::Value change(Json::objectValue);
    const Json::Value* pLastInsert = nullptr;
    const Json::Value* pLastUpdate = nullptr;
    long long llRequests = 0, llRefused = 0;
    for (const char* sTable : {"accelerators", "sections", "tiles"}) {
        for (const char* sWhat : {"inserted", "updated", "deleted"}) change[sTable][sWhat] = 0;
    }
    const Json::Value& entries = journal["entries"];
    for (const Json::Value& entry : entries) {
        // Reads change nothing; notices (two writers at once) are the store's, not requests.
        if (entry["method"].asString() == "select" || entry.isMember("note")) continue;
        ++llRequests;
        if (!entry["ok"].asBool()) {
            ++llRefused;
            change["last_refusal"] = entry["reason"];
            continue;
        }
        for (const char* sTable : {"accelerators", "sections", "tiles"}) {
            for (const char* sWhat : {"inserted", "updated", "deleted"}) {
                change[sTable][sWhat] =
                    static_cast<Json::Int64>(change[sTable][sWhat].asInt64() + Changed(entry, sTable, sWhat));
            }
        }
        if (Changed(entry, "tiles", "inserted") > 0) pLastInsert = &entry;
        if (Changed(entry, "tiles", "updated") > 0) pLastUpdate = &entry;
    }
    change["requests"] = static_cast<Json::Int64>(llRequests);
    change["refused"] = static_cast<Json::Int64>(llRefused);
    change["from_seq"] = static_cast<Json::Int64>(llSince + 1);
    change["to_seq"] = listing["change_seq"];
    change["time"] = entries.empty() ? Json::Value() : entries[entries.size() - 1]["time"];
    // Entries between the last look and the first one kept were dropped from the journal.
    change["incomplete"] = journal["first_kept_seq"].asInt64() > llSince + 1 && llSince > 0;

    const long long llNow = static_cast<long long>(std::time(nullptr));
    Json::Value marks(Json::objectValue), deleted(Json::arrayValue), details(Json::objectValue);
    std::map<std::string, Json::Value> mapColumns;
    std::map<std::string, Json::Value> mapWrittenBy;
    for (const Json::Value& section : tree["sections"]) {
        for (const Json::Value& tile : section["tiles"]) {
            const std::string sId = RowId(tile);
            mapColumns[sId] = tile;
            auto base = module.mapBaseColumns.find(sId);
            const bool bKnown = base != module.mapBaseColumns.end() && SameTile(base->second, tile);
            Json::Value writtenBy;
            if (!bFirstSight && !bKnown) {
                marks[sId] = "inserted";
                if (pLastInsert != nullptr) writtenBy = RequestSummary(*pLastInsert);
            } else if (!bFirstSight && pLastUpdate != nullptr) {
                // The library rewrites every tile of a section it keeps, changed or not.
                marks[sId] = "updated";
                writtenBy = RequestSummary(*pLastUpdate);
            } else if (bKnown && module.mapBaseColumns[sId] != tile) {
                // Written by another service process on the same database: no journal tells.
                marks[sId] = "updated";
            } else if (bKnown) {
                writtenBy = module.mapBaseWrittenBy[sId];
            }
            mapWrittenBy[sId] = writtenBy;

            Json::Value detail(Json::objectValue);
            detail["columns"] = tile;
            const std::string sExtra = tile[TilesModel::Tiles::TILE_ACTION_PRE_PLAY].asString();
            const Json::Value extra = ParseObject(sExtra);
            if (extra.isObject()) {
                detail["public_extra"] = extra;
            } else if (!sExtra.empty()) {
                detail["public_extra_error"] = "not a JSON object: " + sExtra.substr(0, 200);
            }
            const std::string sOutside = TileOutsideWindowReason(tile, llNow);
            detail["window"] = sOutside.empty() ? std::string("shown now") : sOutside;
            detail["written_by"] = writtenBy;
            detail["content_changed"] = bKnown && module.mapBaseColumns[sId] != tile;
            details[sId] = detail;
        }
    }
    if (!bFirstSight) {
        for (const auto& known : module.mapBaseColumns) {
            auto now = mapColumns.find(known.first);
            if (now == mapColumns.end() || !SameTile(known.second, now->second)) deleted.append(known.first);
        }
    }
    if (bFirstSight || bForeignWrite || listing["sync_count"] != module.baseListing["sync_count"]) {
        module.baseListing = listing;
        module.mapBaseColumns = std::move(mapColumns);
        module.mapBaseWrittenBy = std::move(mapWrittenBy);
    }
    module.listing = listing;

    PT_RENDER_OPTIONS options;
    options.llNow = llNow;
    const Json::Value previous = module.event;
    Json::Value& event = module.event;
    event = Json::Value(Json::objectValue);
    event["module"] = sName;
    for (const char* sMember : {"title", "position", "sections", "tiles", "sync_count", "change_seq"}) {
        event[sMember] = listing[sMember];
    }
    event["html"] = RenderSectionsHtml(tree, options);
    bChanged = bFirstSight || llRequests > 0 || !marks.empty() || !deleted.empty() ||
               event["html"] != previous["html"] || event["title"] != previous["title"] ||
               event["sync_count"] != previous["sync_count"] || event["position"] != previous["position"];
    if (!bChanged) {
        event = previous;
        return true;
    }
    event["last_change"] = bFirstSight ? Json::Value() : change;
    event["marks"] = marks;
    event["deleted"] = deleted;
    // Details travel only when the page asks for one tile: a row's event stays small.
    module.details = details;
    event["tile_ids"] = Json::Value(Json::arrayValue);
    for (const std::string& sId : details.getMemberNames()) event["tile_ids"].append(sId);
    return true;
}

void CStudioStoreWatch::Poll(std::vector<PT_STUDIO_EVENT>& vecEvents)
{
    std::string sOutput, sError;
    const bool bWasReachable = m_bReachable;
    Json::Value answer;
    if (StoreCommand::CallStore("modules", kCaller, " ", sOutput, sError, m_log)) {
        answer = ParseObject(sOutput);
        if (!answer.isObject() || !answer["modules"].isArray()) {
            sError = "the store's answer to modules is not a module list (an older pelmo-service?)";
        }
    }
    m_bReachable = answer.isObject() && answer["modules"].isArray();
    if (!m_bReachable) {
        if (bWasReachable || !m_bEverPolled || sError != m_sStoreError) {
            m_sStoreError = sError;
            vecEvents.push_back({"store", StoreState()});
        }
        m_bEverPolled = true;
        return;
    }
    if (!bWasReachable) {
        m_sStoreError.clear();
        vecEvents.push_back({"store", StoreState()});
    }
    m_bEverPolled = true;

    // Another process committed to the database file: every module is read again, and only
    // those whose rows differ are sent.
    const long long llOutside = answer["outside_commits"].asInt64();
    const bool bForeignWrite = m_llOutsideCommits >= 0 && llOutside != m_llOutsideCommits;
    m_llOutsideCommits = llOutside;

    std::vector<std::string> vecOrder;
    std::set<std::string> setListed;
    for (Json::Value listing : answer["modules"]) {
        // Reads move the journal's sequence, the studio's own included; only changes count.
        listing.removeMember("journal_seq");
        const std::string sName = listing["module"].asString();
        if (sName.empty() || !setListed.insert(sName).second) continue;
        vecOrder.push_back(sName);
        auto it = m_mapModule.find(sName);
        const bool bFirstSight = it == m_mapModule.end();
        if (!bFirstSight && !bForeignWrite) {
            if (it->second.listing == listing) continue;
            // A publish ends with its completion notice; anything else is read once it settled.
            const bool bPublished = listing["sync_count"] != it->second.listing["sync_count"];
            auto moving = m_mapMoving.find(sName);
            const bool bSettled = moving != m_mapMoving.end() && moving->second == listing;
            if (!bPublished && !bSettled) {
                m_mapMoving[sName] = listing;
                continue;
            }
        }
        m_mapMoving.erase(sName);
        CModule& module = m_mapModule[sName];
        std::string sReadError;
        bool bChanged = false;
        if (!Refresh(listing, module, bFirstSight, bForeignWrite, bChanged, sReadError)) {
            // Read again at the next look.
            if (bFirstSight) m_mapModule.erase(sName);
            continue;
        }
        if (bChanged) vecEvents.push_back({"module", module.event});
    }
    for (auto it = m_mapModule.begin(); it != m_mapModule.end();) {
        if (setListed.count(it->first) == 0) {
            Json::Value gone(Json::objectValue);
            gone["module"] = it->first;
            vecEvents.push_back({"gone", gone});
            m_mapMoving.erase(it->first);
            it = m_mapModule.erase(it);
        } else {
            ++it;
        }
    }
    if (vecOrder != m_vecOrder) {
        m_vecOrder = vecOrder;
        Json::Value order(Json::arrayValue);
        for (const std::string& sName : m_vecOrder) order.append(sName);
        // The order comes first, so that a page has a row for every module it is sent.
        vecEvents.insert(vecEvents.begin(), {"order", order});
    }
}

std::vector<PT_STUDIO_EVENT> CStudioStoreWatch::Snapshot() const
{
    std::vector<PT_STUDIO_EVENT> vecEvents;
    vecEvents.push_back({"store", StoreState()});
    Json::Value order(Json::arrayValue);
    for (const std::string& sName : m_vecOrder) order.append(sName);
    vecEvents.push_back({"order", order});
    for (const std::string& sName : m_vecOrder) {
        auto it = m_mapModule.find(sName);
        if (it != m_mapModule.end()) vecEvents.push_back({"module", it->second.event});
    }
    return vecEvents;
}
