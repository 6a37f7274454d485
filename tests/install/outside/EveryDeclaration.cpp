// Uses every declaration of the installed library headers, so that it links only when each of
// them is exported. What needs no store is also called and printed; the rest is referenced
// by address (a request cannot run without a bus).
#include <PelmoAPI.h>
#include <PelmoBusNames.h>
#include <PelmoExport.h>
#include <PelmoGDBusUtil.h>
#include <PreviewAccelerator.h>
#include <PreviewDataUtil.h>
#include <pelmo_service_gdbus_generated.h>
#include <pthread.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

// Made from the installed binding header: how many functions it declares and their addresses.
extern "C" const int kBindingFunctionCount;
extern "C" const void* const kBindingFunctions[];

// The export macro, on a function of the program's own.
extern "C" PELMO_API int outside_exported_function()
{
    return 1;
}

namespace {
// Every function of the request interface, by address.
const void* const kRequestFunctions[] = {
    reinterpret_cast<const void*>(&insert_request),
    reinterpret_cast<const void*>(&insert_request_for_bulk_data),
    reinterpret_cast<const void*>(&update_request_for_bulk_data),
    reinterpret_cast<const void*>(&delete_request),
    reinterpret_cast<const void*>(&finalize_json_bytes),
    reinterpret_cast<const void*>(&select_request),
    reinterpret_cast<const void*>(&start_preview_scheduler),
    reinterpret_cast<const void*>(&stop_preview_scheduler),
    reinterpret_cast<const void*>(&terminate_service_app),
    reinterpret_cast<const void*>(&set_preview_metadata),
    reinterpret_cast<const void*>(&update_json_str_to_preview_db),
    reinterpret_cast<const void*>(&get_preview_metadata),
    reinterpret_cast<const void*>(&GetAppID),
    reinterpret_cast<const void*>(&CreateInputJsonStr),
};

// Members of the exported classes that need a bus or a store, by pointer to member.
struct PT_TRANSPORT_MEMBERS {
    CPelmoGDBusUtil* (*pGetInstance)() = &CPelmoGDBusUtil::GetInstance;
    void (*pReleaseInstance)() = &CPelmoGDBusUtil::ReleaseInstance;
    GDBusConnection* (CPelmoGDBusUtil::*pGetConnection)() = &CPelmoGDBusUtil::GetConnection;
    bool (CPelmoGDBusUtil::*pCreateProxy)(std::string) = &CPelmoGDBusUtil::CreateProxy;
    void (CPelmoGDBusUtil::*pDestroyProxy)() = &CPelmoGDBusUtil::DestroyProxy;
    GVariant* (CPelmoGDBusUtil::*pSend)(const std::string&, const std::string&, const std::string&,
                                        const std::string&) = &CPelmoGDBusUtil::SendMessageViaDBUS;
    bool (CPelmoGDBusUtil::*pGetDBusData)(GVariant*, std::string&) = &CPelmoGDBusUtil::GetDBusData;
};

struct PT_STORE_MEMBERS {
    using U = CPreviewDataUtil;
    using Section = std::shared_ptr<CPreviewSection>;
    void (U::*pGetItemValues)(std::shared_ptr<ISQLiteCursor>, int, PropertyMap&) = &U::GetItemValues;
    bool (U::*pGetAcceleratorItems)(const std::string&, CPreviewAccelerator&) = &U::GetAcceleratorItems;
    bool (U::*pGetSectionItems)(const std::string&, const std::string&, CPreviewAccelerator&) = &U::GetSectionItems;
    bool (U::*pGetTileItems)(const std::string&, const std::string&, Section) = &U::GetTileItems;
    bool (U::*pGetMetaDataFromDB)(const std::string&, CPreviewAccelerator&) = &U::GetMetaDataFromDB;
    std::string (U::*pGetMetaDataByJson)(const std::string&) = &U::GetMetaDataByJson;
    long long (U::*pGetAcceleratorID)(std::string) = &U::GetAcceleratorID;
    bool (U::*pAddAcceleratorItem)(CPreviewAccelerator&, std::string) = &U::AddAcceleratorItem;
    long long (U::*pCreateSection)(long long, CPreviewSection&, std::string) = &U::CreateSection;
    void (U::*pCreateTilesById)(long long, CPreviewSection&, std::string) = &U::CreateTiles;
    void (U::*pCreateTilesByRawId)(std::string, CPreviewSection&, std::string) = &U::CreateTiles;
    void (U::*pCreateTilesList)(std::string, const std::vector<std::shared_ptr<CPreviewTile>>&,
                                std::string) = &U::CreateTiles;
    bool (U::*pDeleteAcceleratorItem)(std::string) = &U::DeleteAcceleratorItem;
    void (U::*pComparedDBUpdate)(std::string, CPreviewAccelerator&, CPreviewAccelerator&) = &U::ComparedDBUpdate;
    void (U::*pUpdateOldSectionItem)(std::string, CPreviewAccelerator&,
                                     CPreviewAccelerator&) = &U::UpdateOldSectionItem;
    void (U::*pDeleteExpiredSectionItem)(std::string, CPreviewAccelerator&,
                                         CPreviewAccelerator&) = &U::DeleteExpiredSectionItem;
    void (U::*pCreateNewSectionItem)(std::string, CPreviewAccelerator&,
                                     CPreviewAccelerator&) = &U::CreateNewSectionItem;
    void (U::*pUpdateSectionItem)(std::string, std::string, const Section&) = &U::UpdateSectionItem;
    void (U::*pDeleteExpiredTileItem)(std::string, const Section&, const Section&) = &U::DeleteExpiredTileItem;
    void (U::*pCreateNewTileItem)(std::string, const Section&, const Section&) = &U::CreateNewTileItem;
    void (U::*pUpdateCommonTileItem)(std::string, const Section&, const Section&) = &U::UpdateCommonTileItem;
};
}  // namespace

int main()
{
    int iReferenced = 0;
    for (const void* p : kRequestFunctions) iReferenced += p != nullptr;
    for (int i = 0; i < kBindingFunctionCount; ++i) iReferenced += kBindingFunctions[i] != nullptr;
    const PT_TRANSPORT_MEMBERS transport;
    const PT_STORE_MEMBERS store;
    iReferenced += transport.pGetInstance != nullptr && transport.pSend != nullptr && transport.pGetDBusData != nullptr;
    iReferenced += store.pGetMetaDataByJson != nullptr && store.pUpdateCommonTileItem != nullptr;

    // The request records.
    PT_JSON_IN_PARAM param{"content://org.orvik.pelmo/tiles", "_id = ?", {"7"}, ""};
    PT_CONSUMER_SELECT_IN_PARAM selectIn{"content://org.orvik.pelmo/tiles", "", {}, "", {"_id"}, ""};
    PT_CONSUMER_SELECT_OUT_PARAM selectOut;
    Json::Value envelope;
    const std::string sEnvelope = CreateInputJsonStr(envelope, param);
    std::printf("envelope has where_args: %s\n", envelope["where_args"][0].asCString());
    std::printf("select table %s, no cursor yet: %d\n", selectIn.table_name.c_str(), selectOut.cursor == nullptr);
    finalize_json_bytes(nullptr);

    // The scoped lock on a mutex of the program's own.
    static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    {
        CPelmoScopedLock lock(&mutex);
        std::printf("locked: %d\n", pthread_mutex_trylock(&mutex) != 0);
    }
    std::printf("unlocked: %d\n", pthread_mutex_trylock(&mutex) == 0);
    pthread_mutex_unlock(&mutex);

    // The preview model and the operations that need no store.
    CPreviewDataUtil util;
    CPreviewAccelerator accelerator;
    accelerator.AddProperty("", JSON_VALUE_NONE, "", 3);
    accelerator.AddProperty("", JSON_VALUE_NONE, "", 1);
    CPreviewSection section;
    CPreviewTile tile;
    const PropertyValue value{JSON_VALUE_INT, "42"};
    Json::Value object;
    util.SetPropertyInJson(object, "tile_id", value);
    util.SetComponentsInJson(object, tile.m_mapProperty);
    util.GetPropertyByJson(accelerator, "tile_title", Json::Value("By address"), 0);
    int iTileCount = 0;
    Json::Value sectionJson;
    sectionJson["section_title"] = "S";
    util.GetSectionsByJson(accelerator, sectionJson, iTileCount);
    Json::Value tileJson;
    tileJson["tile_title"] = "T";
    util.GetTilesByJson(accelerator, tileJson);
    Json::Value row;
    util.MakeUpdatedSectionJson("org.example.outside", row, accelerator.m_vecSection.at(0));
    util.MakeUpdatedTileJson("org.example.outside", row, accelerator.m_vecSection.at(0)->m_vecTile.at(0));
    std::vector<int> vecTaken(1, 0);
    const bool bFound = util.FindTile(accelerator.m_vecSection.at(0),
                                      accelerator.m_vecSection.at(0)->m_vecTileHash.at(0), vecTaken) != nullptr;
    const bool bSectionFound = util.FindSection(accelerator, accelerator.m_vecSectionHash.at(0)) != nullptr;
    std::printf("tile key %016llx, section key %016llx, found %d %d\n",
                static_cast<unsigned long long>(util.CalcTileHash("T", "", "", "")),
                static_cast<unsigned long long>(CPreviewDataUtil::CalcSectionHash("S", "")), bFound, bSectionFound);
    std::printf("integer %s, limit %d, bools %zu %zu, model %zu %zu %llu\n", util.IntegerValidator("42abc").c_str(),
                CPreviewDataUtil::GetTileLimit("org.orvik.plinth-app"), CPreviewDataUtil::m_mapBoolToString.size(),
                CPreviewDataUtil::m_mapStringToBool.size(), section.m_vecTile.size(), section.m_vecTileHash.size(),
                static_cast<unsigned long long>(tile.m_hash));
    std::printf("written: %s, json id %d\n", util.WriteMetaData(accelerator).empty() ? "no" : "yes",
                object["tile_id"].asInt());
    std::printf("store %s, provider %s, object %s, interface %s\n", PELMO_STORE_BUS_NAME, PELMO_PROVIDER_BUS_NAME,
                PELMO_SERVICE_OBJECT_PATH, PELMO_SERVICE_INTERFACE);
    std::printf("export macro: %d, binding functions: %d, referenced: %d\n", outside_exported_function(),
                kBindingFunctionCount, iReferenced);
    return 0;
}
