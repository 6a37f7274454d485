// The preview logic: reading a preview document into the model, content keys, and (later)
// loading, exporting and synchronising stored previews. Stateless; callers use a local instance.
#pragma once

#include <json/json.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "PelmoExport.h"
#include "PreviewAccelerator.h"

class ISQLiteCursor;

class PELMO_API CPreviewDataUtil {
public:
    // Boolean texts, built when the library loads; a lookup miss inserts the default.
    static std::map<bool, std::string> m_mapBoolToString;
    static std::map<std::string, bool> m_mapStringToBool;

    // --- Content keys -------------------------------------------------------------------
    // The key of a tile: H(title + action) XOR (H(subtitle + image URL) << 1).
    uint64_t CalcTileHash(std::string sTitle, std::string sSubtitle, std::string sImageUrl, std::string sAction);
    // The key of a section: H(title) XOR (H(id) << 1). Shared by the parser and the loader.
    static uint64_t CalcSectionHash(const std::string& sTitle, const std::string& sId);

    // --- Reading a preview document -----------------------------------------------------
    bool GetPreviewDataUsingJsonStr(std::string sJsonStr, CPreviewAccelerator& accelerator, std::string sModuleName);
    void GetSectionsByJson(CPreviewAccelerator& accelerator, const Json::Value& section, int& iTileCount);
    void GetTilesByJson(CPreviewAccelerator& accelerator, const Json::Value& tile);
    void GetPropertyByJson(CPreviewAccelerator& accelerator, const std::string& sKey, const Json::Value& value,
                           int iDepth);
    // The most tiles one document of this module may hold; a document with more is refused.
    static int GetTileLimit(const std::string& sModuleName);
    // The canonical decimal text of the integer a text starts with ("42abc" -> "42", "abc" -> "0").
    std::string IntegerValidator(std::string sValue);

    // Reading the stored preview back.
    // Copies the cursor's current row into a property map: per column its value type and text.
    void GetItemValues(std::shared_ptr<ISQLiteCursor> cursor, int iColumnCount, PropertyMap& mapProperty);
    // One select each; false only when the select itself failed (no rows is success).
    bool GetAcceleratorItems(const std::string& sModuleName, CPreviewAccelerator& accelerator);
    bool GetSectionItems(const std::string& sModuleName, const std::string& sAcceleratorRawID,
                         CPreviewAccelerator& accelerator);
    bool GetTileItems(const std::string& sModuleName, const std::string& sSectionRawID,
                      std::shared_ptr<CPreviewSection> section);
    // The module's whole stored tree, with the same content keys the parser computes.
    bool GetMetaDataFromDB(const std::string& sModuleName, CPreviewAccelerator& accelerator);
    // Writes one property as a member of the JSON type its value type names; number texts that
    // cannot be converted throw the standard conversion errors.
    void SetPropertyInJson(Json::Value& object, const std::string& sName, const PropertyValue& value);
    void SetComponentsInJson(Json::Value& object, const PropertyMap& mapProperty);
    // The module's stored tree as one styled JSON text, nested like a preview document; "" on failure.
    std::string GetMetaDataByJson(const std::string& sModuleName);
    // The loaded tree as styled JSON text; throws what the number conversions throw.
    std::string WriteMetaData(CPreviewAccelerator& accelerator);

    // Bringing the store in line with a parsed preview.
    // Every write is a data request under the module's name; a failed request is logged and the
    // next step runs, so nothing here reports a request failure upwards except where a result is
    // declared. Row ids are 64-bit, -1 for none.

    // --- Stored rows --------------------------------------------------------------------
    // The row id of the module's accelerator, or -1 (no row, or the select failed).
    long long GetAcceleratorID(std::string sModuleName);
    // Stores every section of a parsed preview, each followed by its tiles, under the module's
    // existing accelerator row. False only when that row cannot be found.
    bool AddAcceleratorItem(CPreviewAccelerator& accelerator, std::string sModuleName);
    // Inserts one section row; the new row id, or -1.
    long long CreateSection(long long llAcceleratorRowId, CPreviewSection& section, std::string sModuleName);
    // Inserts all tiles of a section under the given section row.
    void CreateTiles(long long llSectionRowId, CPreviewSection& section, std::string sModuleName);
    void CreateTiles(std::string sSectionRawId, CPreviewSection& section, std::string sModuleName);
    // Inserts the given tiles under the given section row, in one bulk request.
    void CreateTiles(std::string sSectionRawId, const std::vector<std::shared_ptr<CPreviewTile>>& vecTile,
                     std::string sModuleName);
    // Removes every tile row and then every section row of the module; the accelerator row stays.
    bool DeleteAcceleratorItem(std::string sModuleName);

    // --- Sections: stored model first, new model second ---------------------------------
    void ComparedDBUpdate(std::string sModuleName, CPreviewAccelerator& oldAccelerator,
                          CPreviewAccelerator& newAccelerator);
    void UpdateOldSectionItem(std::string sModuleName, CPreviewAccelerator& oldAccelerator,
                              CPreviewAccelerator& newAccelerator);
    void DeleteExpiredSectionItem(std::string sModuleName, CPreviewAccelerator& oldAccelerator,
                                  CPreviewAccelerator& newAccelerator);
    void CreateNewSectionItem(std::string sModuleName, CPreviewAccelerator& oldAccelerator,
                              CPreviewAccelerator& newAccelerator);
    void UpdateSectionItem(std::string sModuleName, std::string sSectionRawId,
                           const std::shared_ptr<CPreviewSection>& pNewSection);
    void MakeUpdatedSectionJson(std::string sModuleName, Json::Value& row,
                                const std::shared_ptr<CPreviewSection>& pNewSection);
    // The first section of the list with this key, or empty.
    std::shared_ptr<CPreviewSection> FindSection(CPreviewAccelerator& accelerator, uint64_t key);

    // --- Tiles of a section in both models; both tile-key lists must be sorted ----------
    void DeleteExpiredTileItem(std::string sModuleName, const std::shared_ptr<CPreviewSection>& pOldSection,
                               const std::shared_ptr<CPreviewSection>& pNewSection);
    void CreateNewTileItem(std::string sModuleName, const std::shared_ptr<CPreviewSection>& pOldSection,
                           const std::shared_ptr<CPreviewSection>& pNewSection);
    void UpdateCommonTileItem(std::string sModuleName, const std::shared_ptr<CPreviewSection>& pOldSection,
                              const std::shared_ptr<CPreviewSection>& pNewSection);
    // The first tile with this key whose entry in vecTaken is still 0; marks it taken.
    std::shared_ptr<CPreviewTile> FindTile(const std::shared_ptr<CPreviewSection>& pSection, uint64_t key,
                                           std::vector<int>& vecTaken);
    void MakeUpdatedTileJson(std::string sModuleName, Json::Value& row, const std::shared_ptr<CPreviewTile>& pNewTile);
};
